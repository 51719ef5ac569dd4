#include "chat/ChatSession.h"

#include <cstddef>
#include <cstdint>

// Any answer, finished or still being written: what the balloon shows is trimmed and no longer
// than the answer, and every link row opens a valid address with a title.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString raw = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const std::optional<QUrl> workspace(QUrl(QStringLiteral("https://acme.example/app")));
    for (const bool partial : {false, true}) {
        const auto extracted = ChatSession::extractLinks(raw, partial, workspace);
        if (extracted.text != extracted.text.trimmed() || extracted.text.size() > raw.size()) {
            __builtin_trap();
        }
        for (const auto& link : extracted.links) {
            if (!link.url.isValid() || link.title.isEmpty()) {
                __builtin_trap();
            }
        }
    }
    return 0;
}
