#include "workspace/VantleClient.h"

#include "base/Json.h"
#include "notifications/VantleApproval.h"

#include <QJsonObject>

#include <algorithm>

namespace VantleClient {
namespace {

// The query's items in order, each with its value, or none where the item has no "=".
QList<std::pair<QString, std::optional<QString>>> queryItems(const QUrl& url) {
    QList<std::pair<QString, std::optional<QString>>> items;
    const QString query = url.query(QUrl::FullyEncoded);
    for (const auto& item : query.split(QLatin1Char('&'), Qt::SkipEmptyParts)) {
        const auto equals = item.indexOf(QLatin1Char('='));
        const auto decode = [](const QString& part) { return QUrl::fromPercentEncoding(part.toUtf8()); };
        if (equals < 0) {
            items.append({decode(item), std::nullopt});
        } else {
            items.append({decode(item.left(equals)), decode(item.mid(equals + 1))});
        }
    }
    return items;
}

// An id goes into the path as one segment, whatever it holds.
QString approvalPath(const QString& id) {
    return QStringLiteral("/api/approvals/") + QString::fromLatin1(QUrl::toPercentEncoding(id));
}

} // namespace

std::optional<QString> approvalId(const std::optional<QString>& link) {
    if (!link) {
        return std::nullopt;
    }
    const QUrl url(*link, QUrl::StrictMode);
    if (!url.isValid()) {
        return std::nullopt;
    }
    const auto items = queryItems(url);
    const auto named = [&items](const QString& name) {
        return std::find_if(items.begin(), items.end(),
                            [&name](const auto& item) { return item.first == name; });
    };
    const QString prefix = QStringLiteral("approval:");
    if (const auto item = named(QStringLiteral("item"));
        item != items.end() && item->second && item->second->startsWith(prefix)) {
        return item->second->mid(prefix.size());
    }
    if (const auto item = named(QStringLiteral("approvalId")); item != items.end()) {
        return item->second;
    }
    return std::nullopt;
}

QCoro::Task<Result<VantleApproval>> approval(QString id) {
    const auto object = co_await sendForObject("GET", approvalPath(id), std::nullopt, 30);
    if (!object) {
        co_return object.error();
    }
    auto read = VantleApproval::fromJson(*object, id);
    if (!read) {
        co_return ClientError::badResponse();
    }
    co_return std::move(*read);
}

QCoro::Task<std::optional<ClientError>> decide(QString id, bool approve, std::optional<QString> comment) {
    QJsonObject body;
    if (comment && !comment->isEmpty()) {
        body.insert(QStringLiteral("decisionNote"), *comment);
    }
    const QString path =
        approvalPath(id) + (approve ? QStringLiteral("/approve") : QStringLiteral("/reject"));
    const auto reply = co_await send("POST", path, jsonBody(body), QStringLiteral("application/json"), 120);
    if (!reply) {
        co_return reply.error();
    }
    co_return std::nullopt;
}

} // namespace VantleClient
