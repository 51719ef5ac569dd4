#include "base/Json.h"
#include "workspace/VantleClient.h"

#include <QFileInfo>
#include <QJsonArray>

// What the workspace answers to an upload and a forwarded message, read apart from the sending.
namespace VantleClient {

std::optional<VantleDocument> documentFrom(const QJsonObject& o, const QString& path) {
    const auto id = base::json::string(o, QStringLiteral("id"));
    if (!id) {
        return std::nullopt;
    }
    VantleDocument document;
    document.id = *id;
    document.name = base::json::stringOr(o, QStringLiteral("name"), QFileInfo(path).fileName());
    document.folder = base::json::stringOr(o, QStringLiteral("folder"), QStringLiteral("Uploads"));
    if (const auto web = base::json::string(o, QStringLiteral("webViewLink"))) {
        const QUrl url(*web, QUrl::StrictMode);
        if (url.isValid() && !url.scheme().isEmpty()) {
            document.link = url;
        }
    }
    if (!document.link) {
        const auto folder = base::json::string(o, QStringLiteral("folderId"));
        document.link = dashboardURL(folder ? QStringLiteral("/knowledge?folder=") + *folder
                                            : QStringLiteral("/knowledge"));
    }
    return document;
}

ForwardedEmail emailFrom(const QJsonObject& o, const QString& path) {
    ForwardedEmail email;
    email.subject = base::json::stringOr(o, QStringLiteral("subject"), QFileInfo(path).completeBaseName());
    email.fromName = base::json::stringOr(o, QStringLiteral("fromName"));
    email.fromEmail = base::json::stringOr(o, QStringLiteral("fromEmail"));
    if (const auto list = base::json::array(o, QStringLiteral("attachments"))) {
        QStringList names;
        bool strings = true;
        for (const auto& value : *list) {
            strings = strings && value.isString();
            names << value.toString();
        }
        email.attachments = strings ? names : QStringList{};
    }
    email.duplicate = base::json::booleanOr(o, QStringLiteral("duplicate"), false);
    return email;
}

} // namespace VantleClient
