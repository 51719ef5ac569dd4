#include "workspace/VantleEvents.h"

#include "app/Settings.h"
#include "base/Json.h"
#include "base/Network.h"
#include "base/Scheduler.h"
#include "base/Sleep.h"
#include "workspace/EventStreamParser.h"
#include "workspace/TokenStore.h"
#include "workspace/VantleClient.h"

#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>

#include <algorithm>
#include <memory>

using VantleClient::ClientError;

VantleEvents& VantleEvents::shared() {
    static auto* instance = new VantleEvents; // lives as long as the process
    return *instance;
}

void VantleEvents::start() {
    if (task) {
        return;
    }
    task = base::Cancel();
    loop(*task);
}

void VantleEvents::restart() {
    stop();
    VantleClient::reset();
    start();
}

void VantleEvents::stop() {
    if (task) {
        task->cancel();
        task.reset();
    }
    current = State::stopped;
}

QCoro::Task<> VantleEvents::loop(base::Cancel cancel) {
    QPointer<VantleEvents> self(this);
    double backoff = 2;
    while (!cancel.isCancelled() && self) {
        if (!VantleClient::isConfigured()) {
            current = State::idle;
            co_await base::sleep(30, cancel);
            continue;
        }
        current = State::connecting;
        const int keyGeneration = VantleClient::TokenStore::shared().generation();
        const auto failure = co_await listen(cancel);
        if (cancel.isCancelled() || !self) {
            co_return;
        }
        double delay = 2;
        // A refusal of a key that has since been replaced says nothing of the new one.
        if (failure && failure->kind == ClientError::Kind::keyEnded &&
            keyGeneration == VantleClient::TokenStore::shared().generation()) {
            current = State::keyEnded;
            if (self->onKeyEnded) {
                self->onKeyEnded();
            }
            co_await base::sleep(600, cancel);
            continue;
        }
        if (failure) {
            delay = backoff;
        }
        current = State::backingOff;
        co_await base::sleep(delay, cancel);
        if (cancel.isCancelled() || !self) {
            co_return;
        }
        backoff = std::min(delay * 2, 60.0);
    }
}

namespace {

// The stream's request under the workspace address; none without a usable address.
std::optional<QNetworkRequest> streamRequest(const QString& token) {
    const auto address = Settings::vantleURL();
    const QUrl url = address ? base::appended(*address, QStringLiteral("/api/events/stream")) : QUrl();
    if (!url.isValid()) {
        return std::nullopt;
    }
    QNetworkRequest request(url);
    request.setRawHeader("Accept", "application/json, text/event-stream");
    request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    return request;
}

// How a connection that has finished ended: silent past the limit, an event past the bound, a
// refused or failed request, or a clean end of the body.
std::optional<ClientError> endOf(QNetworkReply* reply, bool silent, bool overflowed) {
    if (silent) {
        return ClientError::transport(QNetworkReply::TimeoutError);
    }
    if (overflowed) {
        return ClientError::badResponse();
    }
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid()) {
        return ClientError::transport(reply->error());
    }
    if (status.toInt() == 401) {
        VantleClient::reset();
        return ClientError::api(QStringLiteral("Stream refused"));
    }
    if (status.toInt() < 200 || status.toInt() > 299) {
        return ClientError::api(QStringLiteral("HTTP %1").arg(status.toInt()));
    }
    if (reply->error() != QNetworkReply::NoError) {
        return ClientError::transport(reply->error());
    }
    return std::nullopt;
}

} // namespace

QCoro::Task<std::optional<ClientError>> VantleEvents::listen(base::Cancel cancel) {
    QPointer<VantleEvents> self(this);
    const auto token = co_await VantleClient::TokenStore::shared().token(cancel);
    if (!token) {
        co_return token.error();
    }
    const auto request = streamRequest(*token);
    if (!request || !self || cancel.isCancelled()) {
        co_return ClientError::notConnected();
    }
    std::unique_ptr<QNetworkReply, void (*)(QNetworkReply*)> reply(
        base::network().get(*request), [](QNetworkReply* r) { r->deleteLater(); });
    QNetworkReply* raw = reply.get();

    // Silence is measured on received bytes, so that a stream that stalls is noticed whatever
    // the network layer makes of it.
    auto silent = std::make_shared<bool>(false);
    auto watchdog = std::make_shared<base::Timer>();
    auto rearm = [watchdog, silent, raw] {
        *watchdog = base::Scheduler::current().after(silenceLimit, [silent, raw] {
            if (!raw->isFinished()) {
                *silent = true;
                raw->abort();
            }
        });
    };
    rearm();

    auto parser = std::make_shared<EventStreamParser>();
    parser->onEvent = [self, cancel](const QString& event, const QString& data) {
        if (self && !cancel.isCancelled()) {
            self->dispatch(event, data);
        }
    };
    auto statusOf = [raw] { return raw->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(); };
    QObject::connect(raw, &QNetworkReply::metaDataChanged, raw, [self, rearm, statusOf, cancel] {
        rearm();
        const int status = statusOf();
        if (self && !cancel.isCancelled() && status >= 200 && status <= 299) {
            self->current = State::streaming;
        }
    });
    QObject::connect(raw, &QNetworkReply::readyRead, raw, [raw, rearm, parser, statusOf, cancel] {
        rearm();
        const QByteArray bytes = raw->readAll();
        const int status = statusOf();
        if (status >= 200 && status <= 299 && !cancel.isCancelled()) {
            parser->feed(bytes);
        }
        // An event past the bound is dropped whole; the rest of it is not worth receiving.
        if (parser->overflowed() && !raw->isFinished()) {
            raw->abort();
        }
    });

    co_await base::finished(raw, cancel);
    watchdog->cancel();
    if (cancel.isCancelled()) {
        co_return ClientError::cancelled();
    }
    co_return endOf(raw, *silent, parser->overflowed());
}

void VantleEvents::dispatch(const QString& event, const QString& data) {
    const auto object = base::json::parseObject(data.toUtf8());
    if (!object) {
        return;
    }
    if (event == QLatin1String("vantle.event")) {
        const auto type = base::json::string(*object, QStringLiteral("type"));
        const auto payload = base::json::object(*object, QStringLiteral("data"));
        if (!payload) {
            return;
        }
        if (type == QStringLiteral("notification.created")) {
            if (const auto notification = VantleNotification::fromJson(*payload);
                notification && onNotification) {
                onNotification(*notification);
            }
        } else if (type == QStringLiteral("notification.read")) {
            if (const auto id = base::json::string(*payload, QStringLiteral("id"));
                id && onNotificationRead) {
                onNotificationRead(*id);
            }
        }
    } else if (event == QLatin1String("agent.progress")) {
        progress(*object);
    }
}

void VantleEvents::progress(const QJsonObject& object) {
    using namespace base::json;
    const auto turnId = string(object, QStringLiteral("turnId"));
    if (!turnId || !turnListeners.contains(*turnId)) {
        return;
    }
    const auto kind = string(object, QStringLiteral("kind"));
    if (!kind) {
        return;
    }
    // The handler may remove its own listener, so it is called on a copy.
    const TurnListener listener = turnListeners.value(*turnId);
    if (!listener.handler) {
        return;
    }
    if (*kind == QLatin1String("delta")) {
        const auto text = string(object, QStringLiteral("text"));
        if (!text) {
            return;
        }
        const auto length = listener.text.size();
        const auto offset = integer64(object, QStringLiteral("offset"));
        const auto keep = offset ? std::clamp<qint64>(*offset, 0, length) : length;
        const QString whole = listener.text.left(keep) + text->left(answerLimit - keep);
        if (whole.size() >= answerLimit && whole == listener.text) {
            return; // all of it past the limit
        }
        turnListeners[*turnId].text = whole;
        listener.handler(TurnProgress{TurnProgress::Text{whole}});
    } else if (*kind == QLatin1String("done")) {
        const auto text = string(object, QStringLiteral("text"));
        if (text && !text->isEmpty()) {
            listener.handler(TurnProgress{TurnProgress::Text{text->left(answerLimit)}});
        }
    } else if (*kind == QLatin1String("tool")) {
        const auto tool = string(object, QStringLiteral("tool"));
        if (string(object, QStringLiteral("state")) == QStringLiteral("started") && tool) {
            listener.handler(TurnProgress{TurnProgress::Tool{*tool}});
        }
    } else if (*kind == QLatin1String("options")) {
        const auto choices = ChatChoice::list(object.value(QStringLiteral("options")));
        if (!choices.isEmpty()) {
            listener.handler(TurnProgress{TurnProgress::Options{choices}});
        }
    }
}
