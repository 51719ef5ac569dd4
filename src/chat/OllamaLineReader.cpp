#include "chat/OllamaLineReader.h"

#include "base/Json.h"

namespace OllamaClient::wire {

void OllamaLineReader::takeLine(const QByteArray& line, const Listener& onText) {
    const auto object = base::json::parseObject(line);
    if (!object) {
        return;
    }
    if (const auto error = base::json::string(*object, QStringLiteral("error"))) {
        failure = *error;
        return;
    }
    const auto message = base::json::object(*object, QStringLiteral("message"));
    const auto content = message ? base::json::string(*message, QStringLiteral("content")) : std::nullopt;
    if (content && !content->isEmpty()) {
        text += *content;
        if (text.size() > textLimit) {
            overflowed = true;
            return;
        }
        onText(text);
    }
    done = base::json::boolean(*object, QStringLiteral("done")) == true;
}

void OllamaLineReader::feed(const QByteArray& bytes, const Listener& onText,
                            const std::function<bool()>& cancelled) {
    pending += bytes;
    qsizetype start = 0;
    for (qsizetype end = pending.indexOf('\n'); end >= 0 && !stopped() && !(cancelled && cancelled());
         end = pending.indexOf('\n', start)) {
        takeLine(pending.mid(start, end - start), onText);
        start = end + 1;
    }
    pending.remove(0, start);
    overflowed = overflowed || pending.size() > lineLimit;
}

} // namespace OllamaClient::wire
