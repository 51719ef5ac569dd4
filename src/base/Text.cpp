#include "base/Text.h"

#include "app/Language.h"

#include <QStringDecoder>

namespace base {

QString pick(const QString& english, const QString& estonian) {
    return Language::current() == AppLanguage::et ? estonian : english;
}

std::optional<QString> strictUtf8(QByteArrayView bytes) {
    // Stateless, so that a sequence cut off at the end counts as an error too.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringConverter::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError()) {
        return std::nullopt;
    }
    return text;
}

QString menuText(QString text) {
    text.replace(QLatin1Char('&'), QLatin1String("&&"));
    for (auto& c : text) {
        if (c == QLatin1Char('\n') || c == QLatin1Char('\r') || c == QLatin1Char('\t')) {
            c = QLatin1Char(' ');
        }
    }
    return text;
}

QString truncated(const QString& text, qsizetype length) {
    if (text.size() <= length) {
        return text;
    }
    return text.left(length > 0 && text.at(length - 1).isHighSurrogate() ? length - 1 : length);
}

} // namespace base
