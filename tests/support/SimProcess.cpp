#include "support/SimProcess.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>
#include <httplib.h>

#include <condition_variable>
#include <iostream>
#include <mutex>
#include <thread>

// One exchange through the HTTP library's client, on a thread of its own so that the test can
// read the body while it arrives and stop it at any point.
struct SimProcess::Stream::Exchange {
    httplib::Client client;
    std::thread thread;
    mutable std::mutex mutex;
    std::condition_variable changed;
    bool headDone = false;
    int status = 0;
    Headers headers;
    QByteArray body;
    bool complete = false;
    bool closed = false;

    Exchange(quint16 port, int timeoutMs) : client("127.0.0.1", port) {
        const auto patience = std::chrono::milliseconds(std::max(timeoutMs, 1));
        client.set_connection_timeout(patience);
        client.set_read_timeout(patience);
        // Targets are written already encoded, as the program would send them.
        client.set_url_encode(false);
    }

    void start(const QByteArray& method, const QString& target, const SimProcess::Headers& headers,
               const QByteArray& requestBody) {
        httplib::Request request;
        request.method = method.toStdString();
        request.path = target.toStdString();
        for (const auto& [name, value] : headers)
            request.headers.emplace(name.toStdString(), value.toStdString());
        request.body = requestBody.toStdString();
        if (!requestBody.isEmpty() && !request.has_header("Content-Type"))
            request.headers.emplace("Content-Type", "application/octet-stream");
        request.response_handler = [this](const httplib::Response& response) {
            const std::lock_guard lock(mutex);
            headDone = true;
            status = response.status;
            for (const auto& [name, value] : response.headers)
                this->headers.append(
                    {QByteArray::fromStdString(name).toLower(), QByteArray::fromStdString(value)});
            changed.notify_all();
            return true;
        };
        request.content_receiver = [this](const char* data, size_t length, uint64_t, uint64_t) {
            const std::lock_guard lock(mutex);
            body.append(data, static_cast<qsizetype>(length));
            changed.notify_all();
            return true;
        };
        thread = std::thread([this, request = std::move(request)]() mutable {
            const httplib::Result result = client.send(request);
            const std::lock_guard lock(mutex);
            complete = static_cast<bool>(result);
            closed = true;
            changed.notify_all();
        });
    }

    // Waits until `done` holds or the time runs out; gives what `done` says at the end.
    template <typename Done> bool waitUntil(Done done, int timeoutMs) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::milliseconds(std::max(timeoutMs, 0)), [&] {
            return done() || closed;
        }) && done();
    }

    ~Exchange() {
        client.stop();
        if (thread.joinable())
            thread.join();
    }
};

namespace {

QByteArray jsonBytes(const QJsonValue& value) {
    if (value.isObject())
        return QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact);
    if (value.isArray())
        return QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact);
    const QByteArray wrapped = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return wrapped.mid(1, wrapped.size() - 2);
}

QJsonValue parseJson(const QByteArray& bytes) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError)
        return QJsonValue(QJsonValue::Undefined);
    return document.isObject() ? QJsonValue(document.object()) : QJsonValue(document.array());
}

} // namespace

QByteArray SimProcess::Reply::header(const QByteArray& name) const {
    for (const auto& [key, value] : headers) {
        if (key == name.toLower())
            return value;
    }
    return {};
}

QJsonValue SimProcess::Reply::json() const {
    return parseJson(body);
}

SimProcess::Stream::Stream(std::unique_ptr<Exchange> exchange) : exchange_(std::move(exchange)) {}

SimProcess::Stream::~Stream() = default;

int SimProcess::Stream::status() const {
    const std::lock_guard lock(exchange_->mutex);
    return exchange_->status;
}

bool SimProcess::Stream::waitFor(const QByteArray& needle, int timeoutMs) {
    return exchange_->waitUntil([&] { return exchange_->body.contains(needle); }, timeoutMs);
}

bool SimProcess::Stream::waitForEvents(int count, int timeoutMs) {
    return exchange_->waitUntil([&] { return eventsIn(exchange_->body).size() >= count; }, timeoutMs);
}

bool SimProcess::Stream::waitForEnd(int timeoutMs) {
    return exchange_->waitUntil([&] { return exchange_->closed; }, timeoutMs);
}

QByteArray SimProcess::Stream::body() const {
    const std::lock_guard lock(exchange_->mutex);
    return exchange_->body;
}

QList<SimProcess::Stream::Event> SimProcess::Stream::events() const {
    return eventsIn(body());
}

QList<SimProcess::Stream::Event> SimProcess::Stream::eventsIn(QByteArray text) {
    QList<Event> events;
    Event current{"message", {}};
    bool hasData = false;
    text.replace("\r", "");
    const QList<QByteArray> lines = text.split('\n');
    // The last piece has no line end yet, so it doesn't count.
    for (qsizetype i = 0; i + 1 < lines.size(); ++i) {
        const QByteArray& line = lines.at(i);
        if (line.isEmpty()) {
            if (hasData)
                events.append(current);
            current = Event{"message", {}};
            hasData = false;
        } else if (line.startsWith("event:")) {
            current.name = line.mid(6).trimmed();
        } else if (line.startsWith("data:")) {
            if (hasData)
                current.data += '\n';
            current.data += line.mid(5).trimmed();
            hasData = true;
        }
    }
    return events;
}

bool SimProcess::Stream::ended() const {
    const std::lock_guard lock(exchange_->mutex);
    return exchange_->closed;
}

bool SimProcess::Stream::endedCleanly() const {
    const std::lock_guard lock(exchange_->mutex);
    return exchange_->complete;
}

SimProcess::SimProcess(const QStringList& extraArguments) {
    for (qsizetype i = 0; i + 1 < extraArguments.size(); ++i) {
        if (extraArguments.at(i) == QLatin1String("--base"))
            base_ = extraArguments.at(i + 1);
        else if (extraArguments.at(i) == QLatin1String("--key"))
            key_ = extraArguments.at(i + 1);
    }
    while (base_.endsWith(QLatin1Char('/')))
        base_.chop(1);

    // Its log goes to a file rather than a pipe, so that a chatty simulator never waits for a
    // test that isn't reading; a failed test shows it.
    process_.setStandardErrorFile(logFolder_.filePath(QStringLiteral("workspace-sim.log")));
    process_.start(QStringLiteral(MIRK_WORKSPACE_SIM_PATH),
                   QStringList{QStringLiteral("--port"), QStringLiteral("0")} + extraArguments);
    if (!process_.waitForStarted(10000)) {
        ADD_FAILURE() << "workspace-sim did not start: " << process_.errorString().toStdString();
        return;
    }
    QDeadlineTimer deadline(10000);
    while (!process_.canReadLine() && !deadline.hasExpired() && process_.state() == QProcess::Running)
        process_.waitForReadyRead(static_cast<int>(deadline.remainingTime()));
    const QByteArray line = process_.readLine().trimmed();
    const QByteArray prefix = "listening on 127.0.0.1:";
    if (!line.startsWith(prefix)) {
        ADD_FAILURE() << "workspace-sim's first line was \"" << line.toStdString() << "\"";
        return;
    }
    port_ = static_cast<quint16>(line.mid(prefix.size()).toUInt());
}

SimProcess::~SimProcess() {
    if (!stopped_ && process_.state() != QProcess::NotRunning && !terminate())
        ADD_FAILURE() << "workspace-sim did not end cleanly on SIGTERM";
    if (testing::Test::HasFailure())
        std::cerr << log().toStdString();
}

QByteArray SimProcess::log() const {
    QFile file(logFolder_.filePath(QStringLiteral("workspace-sim.log")));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool SimProcess::isRunning() const {
    return port_ != 0 && process_.state() == QProcess::Running;
}

QUrl SimProcess::baseUrl() const {
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(port_).arg(base_));
}

QUrl SimProcess::rootUrl() const {
    return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(port_));
}

SimProcess::Reply SimProcess::request(const QByteArray& method, const QString& target, const Headers& headers,
                                      const QByteArray& body, int timeoutMs) const {
    Stream::Exchange exchange(port_, timeoutMs);
    exchange.start(method, target, headers, body);
    exchange.waitUntil([&] { return exchange.closed; }, timeoutMs);
    exchange.client.stop();
    exchange.thread.join();
    Reply reply;
    if (!exchange.headDone)
        return reply;
    reply.status = exchange.status;
    reply.headers = exchange.headers;
    reply.body = exchange.body;
    reply.complete = exchange.complete;
    return reply;
}

SimProcess::Reply SimProcess::call(const QByteArray& method, const QString& path, const QString& token,
                                   const QByteArray& body, const QByteArray& contentType) const {
    Headers headers{{"Accept", "application/json"}};
    if (!token.isEmpty())
        headers.append(qMakePair(QByteArray("Authorization"), "Bearer " + token.toUtf8()));
    if (!body.isEmpty())
        headers.append(qMakePair(QByteArray("Content-Type"), contentType));
    return request(method, base_ + path, headers, body);
}

QJsonValue SimProcess::control(const QByteArray& method, const QString& path, const QJsonValue& body) const {
    const QString target = path.startsWith(QLatin1String("/sim")) ? path : QStringLiteral("/sim/") + path;
    Headers headers;
    QByteArray bytes;
    if (!body.isUndefined()) {
        bytes = jsonBytes(body);
        headers.append(qMakePair(QByteArray("Content-Type"), QByteArray("application/json")));
    }
    const Reply reply = request(method, target, headers, bytes);
    if (reply.status < 200 || reply.status > 299) {
        ADD_FAILURE() << "control call " << method.toStdString() << ' ' << target.toStdString()
                      << " answered " << reply.status << ": " << reply.body.toStdString();
        return QJsonValue(QJsonValue::Undefined);
    }
    return reply.json();
}

QString SimProcess::exchangeToken() const {
    const Reply reply =
        request("POST", base_ + QStringLiteral("/api/auth/desktop/token"),
                {{"Accept", "application/json"}, {"Authorization", "Bearer " + key_.toUtf8()}});
    return reply.status == 200 ? reply.json().toObject().value(QStringLiteral("access_token")).toString()
                               : QString();
}

QJsonArray SimProcess::requests() const {
    return control("GET", QStringLiteral("/sim/requests")).toArray();
}

void SimProcess::clearRequests() const {
    control("DELETE", QStringLiteral("/sim/requests"));
}

std::unique_ptr<SimProcess::Stream> SimProcess::openStream(const QString& token, int timeoutMs) const {
    // The stream stays open as long as the test wants it; only its head is awaited here.
    auto exchange = std::make_unique<Stream::Exchange>(port_, 24 * 3600 * 1000);
    exchange->start(
        "GET", base_ + QStringLiteral("/api/events/stream"),
        {{"Accept", "application/json, text/event-stream"}, {"Authorization", "Bearer " + token.toUtf8()}},
        {});
    exchange->waitUntil([&] { return exchange->headDone; }, timeoutMs);
    return std::unique_ptr<Stream>(new Stream(std::move(exchange)));
}

bool SimProcess::terminate(int timeoutMs) {
    stopped_ = true;
    if (process_.state() == QProcess::NotRunning)
        return process_.exitStatus() == QProcess::NormalExit && process_.exitCode() == 0;
    process_.terminate();
    if (!process_.waitForFinished(timeoutMs)) {
        process_.kill();
        process_.waitForFinished(2000);
        return false;
    }
    return process_.exitStatus() == QProcess::NormalExit && process_.exitCode() == 0;
}

QByteArray SimProcess::bodyOf(const QJsonValue& entry) {
    return QByteArray::fromBase64(entry.toObject().value("body_base64").toString().toLatin1());
}
