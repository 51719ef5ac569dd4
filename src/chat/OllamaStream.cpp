#include "base/Network.h"
#include "chat/OllamaLineReader.h"
#include "chat/OllamaWire.h"

#include <QNetworkAccessManager>

#include <memory>

namespace OllamaClient::wire {
namespace {

using Listener = std::function<void(const QString&)>;

int statusOf(const QNetworkReply* reply) {
    return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

bool isSuccess(int status) {
    return status >= 200 && status <= 299;
}

// How a stream that has finished came out. A time-out ends the transfer as cancelled in Qt's
// words; the caller's own cancel was handled before this.
Result<QString> outcome(const QNetworkReply* reply, OllamaLineReader& state, const Listener& onText,
                        const QUrl& server) {
    const auto error = reply->error() == QNetworkReply::OperationCanceledError ? QNetworkReply::TimeoutError
                                                                               : reply->error();
    if (!reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid()) {
        return failureOf(error == QNetworkReply::NoError ? QNetworkReply::UnknownNetworkError : error, false,
                         server);
    }
    if (!isSuccess(statusOf(reply))) {
        return apiError(state.errorBody, statusOf(reply));
    }
    if (!state.stopped()) {
        if (error != QNetworkReply::NoError) {
            return failureOf(error, true, server);
        }
        // The stream may end without a line break after its last line.
        state.takeLine(state.pending, onText);
    }
    if (state.overflowed) {
        return badResponse();
    }
    if (state.failure) {
        return api(*state.failure);
    }
    if (state.text.isEmpty()) {
        return badResponse();
    }
    return state.text;
}

} // namespace

QCoro::Task<Result<QString>> streamed(QNetworkRequest request, QByteArray body, QUrl server, Listener onText,
                                      base::Cancel cancel) {
    std::unique_ptr<QNetworkReply, void (*)(QNetworkReply*)> reply(
        base::network().sendCustomRequest(request, "POST", body), [](QNetworkReply* r) { r->deleteLater(); });
    QNetworkReply* raw = reply.get();
    auto state = std::make_shared<OllamaLineReader>();
    // Lines are taken as the bytes come, so onText hears each piece while the answer goes on.
    QObject::connect(raw, &QNetworkReply::readyRead, raw, [raw, state, onText, cancel] {
        const QByteArray bytes = raw->readAll();
        if (state->stopped() || cancel.isCancelled()) {
            return;
        }
        if (isSuccess(statusOf(raw))) {
            state->feed(bytes, onText, [&cancel] { return cancel.isCancelled(); });
        } else {
            state->errorBody += bytes;
            state->overflowed = state->errorBody.size() > OllamaLineReader::lineLimit;
        }
        // Whatever follows a last line, an error or too much text is not worth receiving.
        if (state->stopped() && !raw->isFinished()) {
            raw->abort();
        }
    });
    if (!co_await base::finished(raw, cancel)) {
        co_return transport(QNetworkReply::OperationCanceledError);
    }
    co_return outcome(raw, *state, onText, server);
}

} // namespace OllamaClient::wire
