#include "workspace/VantleClient.h"

#include "app/Settings.h"
#include "base/Json.h"
#include "base/Network.h"
#include "base/Text.h"
#include "workspace/Keychain.h"
#include "workspace/TokenStore.h"
#include "workspace/VantleClientExchange.h"

#include <QJsonDocument>
#include <QNetworkRequest>

#include <cstdlib>
#include <cstring>

namespace VantleClient {
namespace {

std::optional<QUrl> workspaceURL(const QString& path) {
    const auto address = Settings::vantleURL();
    if (!address) {
        return std::nullopt;
    }
    const QUrl url = base::appended(*address, path);
    if (!url.isValid()) {
        return std::nullopt;
    }
    return url;
}

int milliseconds(double seconds) {
    return static_cast<int>(seconds * 1000.0);
}

// A reply that did not arrive whole: one too large to read is the workspace's fault, anything
// else the transport's.
std::optional<ClientError> failureOf(const base::HttpResponse& response) {
    if (response.tooLarge) {
        return ClientError::badResponse();
    }
    if (response.failure) {
        return ClientError::transport(*response.failure);
    }
    return std::nullopt;
}

std::optional<QString>& environmentKey() {
    static std::optional<QString> key;
    return key;
}

} // namespace

std::optional<QString> desktopKey() {
    if (environmentKey()) {
        return environmentKey();
    }
    return Keychain::read(QLatin1String(Keychain::desktopKeyAccount));
}

void takeKeyFromEnvironment() {
    constexpr const char* name = "VANTLE_DESKTOP_KEY";
    char* value = std::getenv(name);
    environmentKey() = value && *value ? std::optional(QString::fromUtf8(value)) : std::nullopt;
    if (value) {
        std::memset(value, 0, std::strlen(value));
    }
    ::unsetenv(name);
}

bool isConfigured() {
    return Settings::vantleURL().has_value() && desktopKey().has_value();
}

ClientError apiError(const QByteArray& body, int status) {
    std::optional<QString> detail;
    if (const auto object = base::json::parseObject(body)) {
        detail = base::json::string(*object, QStringLiteral("detail"));
    }
    if (status == 403) {
        return ClientError::api(detail ? *detail : QStringLiteral("Vantle: HTTP 403"));
    }
    if (status == 429) {
        return ClientError::api(
            base::pick(QStringLiteral("Vantle is busy; try again in a moment."),
                       QStringLiteral("Vantle on hõivatud, proovi hetke pärast uuesti.")));
    }
    return ClientError::api(detail ? QStringLiteral("Vantle: ") + *detail
                                   : QStringLiteral("Vantle: HTTP %1").arg(status));
}

QCoro::Task<base::Result<Exchanged, ClientError>> exchange() {
    const auto key = desktopKey();
    const auto address = Settings::vantleURL();
    if (!key || !address) {
        co_return ClientError::notConnected();
    }
    co_return co_await exchangeAt(*address, *key);
}

QCoro::Task<base::Result<Exchanged, ClientError>> exchangeAt(QUrl workspace, QString key) {
    const QUrl url = base::appended(workspace, QStringLiteral("/api/auth/desktop/token"));
    if (!url.isValid()) {
        co_return ClientError::notConnected();
    }
    QNetworkRequest request(url);
    request.setTransferTimeout(milliseconds(20));
    request.setRawHeader("Accept", "application/json");
    request.setRawHeader("Authorization", "Bearer " + key.toUtf8());
    const auto response = co_await base::request(request, "POST");
    if (const auto failure = failureOf(response)) {
        co_return *failure;
    }
    if (response.status == 401) {
        co_return ClientError::keyEnded();
    }
    if (response.status < 200 || response.status > 299) {
        co_return apiError(response.body, response.status);
    }
    const auto body = base::json::parseObject(response.body);
    const auto token = body ? base::json::string(*body, QStringLiteral("access_token")) : std::nullopt;
    if (!token) {
        co_return ClientError::badResponse();
    }
    const auto expiresIn = base::json::integer64(*body, QStringLiteral("expires_in"));
    co_return Exchanged{*token, expiresIn ? static_cast<double>(*expiresIn) : 900.0};
}

void reset() {
    TokenStore::shared().reset();
}

QCoro::Task<Result<Identity>> whoIs(QUrl workspace, QString key) {
    const auto exchanged = co_await exchangeAt(workspace, key);
    if (!exchanged) {
        co_return exchanged.error();
    }
    QNetworkRequest request(base::appended(workspace, QStringLiteral("/api/auth/me")));
    request.setTransferTimeout(milliseconds(30));
    request.setRawHeader("Accept", "application/json");
    request.setRawHeader("Authorization", "Bearer " + exchanged->token.toUtf8());
    const auto response = co_await base::request(request, "GET");
    if (const auto failure = failureOf(response)) {
        co_return *failure;
    }
    if (response.status < 200 || response.status > 299) {
        co_return apiError(response.body, response.status);
    }
    const auto object = base::json::parseObject(response.body);
    if (!object) {
        co_return ClientError::badResponse();
    }
    co_return identityOf(*object);
}

namespace {

// One attempt at a request that already carries the address, the token and the headers.
using Attempt = std::function<QCoro::Task<base::HttpResponse>(QNetworkRequest)>;

// The authorised road of every call: a token, the request, and once a fresh token after a 401.
// The attempt lives in the caller's frame, which waits for this one.
QCoro::Task<Result<QByteArray>> authorised(QString path, std::optional<QString> contentType, double timeout,
                                           base::Cancel cancel, const Attempt& attempt) {
    for (bool retried = false;; retried = true) {
        const auto token = co_await TokenStore::shared().token(cancel);
        if (!token) {
            co_return token.error();
        }
        const auto url = workspaceURL(path);
        if (!url) {
            co_return ClientError::notConnected();
        }
        QNetworkRequest request(*url);
        request.setTransferTimeout(milliseconds(timeout));
        request.setRawHeader("Accept", "application/json");
        request.setRawHeader("Authorization", "Bearer " + token->toUtf8());
        if (contentType) {
            request.setHeader(QNetworkRequest::ContentTypeHeader, *contentType);
        }
        const auto response = co_await attempt(request);
        if (const auto failure = failureOf(response)) {
            co_return *failure;
        }
        if (response.status == 401 && !retried) {
            reset();
            continue;
        }
        if (response.status >= 200 && response.status <= 299) {
            co_return response.body;
        }
        co_return apiError(response.body, response.status);
    }
}

} // namespace

QCoro::Task<Result<QByteArray>> send(QByteArray method, QString path, std::optional<QByteArray> data,
                                     QString contentType, double timeout, base::Cancel cancel) {
    const auto type = data ? std::optional<QString>(contentType) : std::nullopt;
    // Named, not a temporary of the co_await: GCC 12 destroys such a temporary twice.
    Attempt attempt = [method, data, cancel](QNetworkRequest request) {
        return base::request(request, method, data.value_or(QByteArray()), cancel);
    };
    co_return co_await authorised(path, type, timeout, cancel, attempt);
}

QCoro::Task<Result<QByteArray>> sendStreamed(QByteArray method, QString path,
                                             std::function<std::unique_ptr<QIODevice>()> body,
                                             QString contentType, double timeout, base::Cancel cancel) {
    Attempt attempt = [method, body, cancel](QNetworkRequest request) {
        auto device = body();
        request.setHeader(QNetworkRequest::ContentLengthHeader, device->size());
        return base::request(request, method, std::move(device), cancel);
    };
    co_return co_await authorised(path, contentType, timeout, cancel, attempt);
}

QByteArray jsonBody(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace VantleClient
