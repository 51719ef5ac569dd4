#include "workspace/ClientError.h"

#include "base/Text.h"

namespace VantleClient {

QString ClientError::localizedDescription() const {
    switch (kind) {
    case Kind::api:
    case Kind::file:
        return text;
    case Kind::notConnected:
        return base::pick(
            QStringLiteral(
                "Not connected to Vantle yet. In Vantle, open Personal settings → Connect desktop app."),
            QStringLiteral(
                "Vantlega pole veel ühendatud. Ava Vantles Isiklikud seaded → Ühenda töölaua agendid."));
    case Kind::keyEnded:
        return base::pick(
            QStringLiteral(
                "Vantle disconnected this desktop app. Connect it again from Vantle's Personal settings."),
            QStringLiteral(
                "Vantle katkestas selle töölauarakenduse ühenduse. Ühenda see uuesti Vantle isiklikest "
                "seadetest."));
    case Kind::badResponse:
        return base::pick(QStringLiteral("Unexpected response from Vantle"),
                          QStringLiteral("Vantle vastas ootamatult"));
    case Kind::transport:
        break;
    }
    switch (network) {
    case QNetworkReply::TimeoutError:
        return base::pick(QStringLiteral("Vantle did not answer in time."),
                          QStringLiteral("Vantle ei vastanud õigel ajal."));
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
        return base::pick(QStringLiteral("Could not reach Vantle. Check the network connection."),
                          QStringLiteral("Vantlega ei saanud ühendust. Kontrolli võrguühendust."));
    case QNetworkReply::SslHandshakeFailedError:
        return base::pick(QStringLiteral("Could not make a secure connection to Vantle."),
                          QStringLiteral("Vantlega ei saanud turvalist ühendust."));
    default:
        return base::pick(QStringLiteral("The connection to Vantle failed."),
                          QStringLiteral("Ühendus Vantlega katkes."));
    }
}

} // namespace VantleClient
