#include "base/Json.h"
#include "base/Network.h"
#include "chat/OllamaWire.h"

#include <QNetworkAccessManager>

#include <memory>

namespace OllamaClient::wire {
namespace {

using Listener = std::function<void(const QString&)>;

// Bounds on what a streamed answer may hold in memory: one line not yet ended, and the text put
// together from the lines (in UTF-16 units, 8 MiB).
constexpr qsizetype lineLimit = 1024 * 1024;
constexpr qsizetype textLimit = 4 * 1024 * 1024;

// What the stream has come to so far. Shared by the reply's handler and the waiting task.
struct StreamState {
    QByteArray pending;   // the line being received
    QByteArray errorBody; // the body of a refusal, read to its end
    QString text;
    std::optional<QString> failure; // the server's `error` line
    bool done = false;
    bool overflowed = false;
    bool stopped() const { return done || failure || overflowed; }
};

int statusOf(const QNetworkReply* reply) {
    return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

bool isSuccess(int status) {
    return status >= 200 && status <= 299;
}

// One line of the stream. A line that isn't a JSON object says nothing.
void takeLine(StreamState& state, const QByteArray& line, const Listener& onText) {
    const auto object = base::json::parseObject(line);
    if (!object) {
        return;
    }
    if (const auto error = base::json::string(*object, QStringLiteral("error"))) {
        state.failure = *error;
        return;
    }
    const auto message = base::json::object(*object, QStringLiteral("message"));
    const auto content = message ? base::json::string(*message, QStringLiteral("content")) : std::nullopt;
    if (content && !content->isEmpty()) {
        state.text += *content;
        if (state.text.size() > textLimit) {
            state.overflowed = true;
            return;
        }
        onText(state.text);
    }
    state.done = base::json::boolean(*object, QStringLiteral("done")) == true;
}

// Takes the lines that the bytes complete; the rest waits for its line end.
void feed(StreamState& state, const QByteArray& bytes, const Listener& onText, const base::Cancel& cancel) {
    state.pending += bytes;
    qsizetype start = 0;
    for (qsizetype end = state.pending.indexOf('\n'); end >= 0 && !state.stopped() && !cancel.isCancelled();
         end = state.pending.indexOf('\n', start)) {
        takeLine(state, state.pending.mid(start, end - start), onText);
        start = end + 1;
    }
    state.pending.remove(0, start);
    state.overflowed = state.overflowed || state.pending.size() > lineLimit;
}

// How a stream that has finished came out. A time-out ends the transfer as cancelled in Qt's
// words; the caller's own cancel was handled before this.
Result<QString> outcome(const QNetworkReply* reply, StreamState& state, const Listener& onText,
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
        takeLine(state, state.pending, onText);
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
    auto state = std::make_shared<StreamState>();
    // Lines are taken as the bytes come, so onText hears each piece while the answer goes on.
    QObject::connect(raw, &QNetworkReply::readyRead, raw, [raw, state, onText, cancel] {
        const QByteArray bytes = raw->readAll();
        if (state->stopped() || cancel.isCancelled()) {
            return;
        }
        if (isSuccess(statusOf(raw))) {
            feed(*state, bytes, onText, cancel);
        } else {
            state->errorBody += bytes;
            state->overflowed = state->errorBody.size() > lineLimit;
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
