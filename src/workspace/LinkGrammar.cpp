#include "workspace/LinkGrammar.h"

#include "base/Text.h"

namespace LinkGrammar {

QString command(const QUrl& url) {
    QString name = url.host();
    if (name.isEmpty()) {
        name = url.path();
        while (name.startsWith(QLatin1Char('/'))) {
            name.remove(0, 1);
        }
        while (name.endsWith(QLatin1Char('/'))) {
            name.chop(1);
        }
    }
    return name.toLower();
}

Parameters parameters(const QUrl& url) {
    Parameters out;
    if (!url.hasQuery()) {
        return out;
    }
    for (const QByteArray& item : url.query(QUrl::FullyEncoded).toLatin1().split('&')) {
        const qsizetype equals = item.indexOf('=');
        const auto key =
            base::strictUtf8(QByteArray::fromPercentEncoding(equals < 0 ? item : item.left(equals)));
        const auto value = base::strictUtf8(
            equals < 0 ? QByteArray() : QByteArray::fromPercentEncoding(item.mid(equals + 1)));
        if (!key || !value || key->size() > longestValue || value->size() > longestValue) {
            return {};
        }
        out.insert(*key, *value);
    }
    return out;
}

} // namespace LinkGrammar
