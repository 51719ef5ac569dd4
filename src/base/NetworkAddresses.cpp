#include "base/Network.h"

#include <QHostAddress>

// The address helpers of the network layer, which need no connection and no running loop.
namespace base {

QUrl appended(const QUrl& base, const QString& path) {
    return QUrl(QString::fromLatin1(base.toEncoded()) + path, QUrl::StrictMode);
}

bool isThisComputer(const QString& host) {
    return host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0 ||
           QHostAddress(host).isLoopback();
}

} // namespace base
