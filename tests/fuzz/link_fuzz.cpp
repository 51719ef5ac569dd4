#include "workspace/LinkGrammar.h"

#include <cstddef>
#include <cstdint>

// Any text a page can put in a mirkvantle: link: the command is a lower-case word with no
// slash at its ends, and the parameters hold no more than a balloon can show.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    for (const QUrl& url : {QUrl(text, QUrl::StrictMode), QUrl(QStringLiteral("mirkvantle:") + text)}) {
        const QString command = LinkGrammar::command(url);
        if (command != command.toLower() || command.startsWith(QLatin1Char('/')) ||
            command.endsWith(QLatin1Char('/'))) {
            __builtin_trap();
        }
        const auto parameters = LinkGrammar::parameters(url);
        for (auto it = parameters.cbegin(); it != parameters.cend(); ++it) {
            if (it.key().size() > LinkGrammar::longestValue ||
                it.value().size() > LinkGrammar::longestValue) {
                __builtin_trap();
            }
        }
    }
    return 0;
}
