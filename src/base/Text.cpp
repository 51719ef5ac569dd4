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

} // namespace base
