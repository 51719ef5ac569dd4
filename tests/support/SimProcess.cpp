#include "support/SimProcess.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QHostAddress>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <iostream>

// An HTTP/1.1 response read incrementally: head, then a body framed by length, by chunks, or
// by the end of the connection.
struct SimProcess::Stream::Reader {
    enum class Framing { Length, Chunked, UntilClose };
    enum class ChunkState { Size, Data, DataEnd, Trailer };

    QByteArray pending;
    bool headDone = false;
    int status = 0;
    Headers headers;
    Framing framing = Framing::UntilClose;
    ChunkState chunkState = ChunkState::Size;
    qint64 left = 0;
    QByteArray body;
    bool complete = false;
    bool closed = false;

    void feed(const QByteArray& bytes) {
        pending += bytes;
        if (!headDone && !readHead())
            return;
        readBody();
    }

    void connectionClosed() {
        closed = true;
        if (headDone && framing == Framing::UntilClose)
            complete = true;
    }

    bool readHead() {
        const qsizetype end = pending.indexOf("\r\n\r\n");
        if (end < 0)
            return false;
        const QList<QByteArray> lines = pending.left(end).split('\n');
        pending.remove(0, end + 4);
        headDone = true;
        const QList<QByteArray> statusLine = lines.value(0).trimmed().split(' ');
        status = statusLine.value(1).toInt();
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const QByteArray line = lines.at(i).trimmed();
            const qsizetype colon = line.indexOf(':');
            if (colon > 0)
                headers.append({line.left(colon).trimmed().toLower(), line.mid(colon + 1).trimmed()});
        }
        for (const auto& [name, value] : headers) {
            if (name == "transfer-encoding" && value.toLower().contains("chunked")) {
                framing = Framing::Chunked;
            } else if (name == "content-length" && framing != Framing::Chunked) {
                framing = Framing::Length;
                left = value.toLongLong();
            }
        }
        if (framing == Framing::Length && left == 0)
            complete = true;
        return true;
    }

    void readBody() {
        if (complete)
            return;
        if (framing == Framing::UntilClose) {
            body += pending;
            pending.clear();
            return;
        }
        if (framing == Framing::Length) {
            const qint64 take = std::min<qint64>(left, pending.size());
            body += pending.left(take);
            pending.remove(0, take);
            left -= take;
            complete = left == 0;
            return;
        }
        while (!complete) {
            if (chunkState == ChunkState::Size || chunkState == ChunkState::Trailer) {
                const qsizetype end = pending.indexOf("\r\n");
                if (end < 0)
                    return;
                const QByteArray line = pending.left(end);
                pending.remove(0, end + 2);
                if (chunkState == ChunkState::Trailer) {
                    complete = line.isEmpty();
                    continue;
                }
                bool ok = false;
                left = line.split(';').value(0).trimmed().toLongLong(&ok, 16);
                if (!ok)
                    return;
                chunkState = left == 0 ? ChunkState::Trailer : ChunkState::Data;
            } else if (chunkState == ChunkState::Data) {
                if (pending.isEmpty())
                    return;
                const qint64 take = std::min<qint64>(left, pending.size());
                body += pending.left(take);
                pending.remove(0, take);
                left -= take;
                if (left == 0)
                    chunkState = ChunkState::DataEnd;
            } else {
                if (pending.size() < 2)
                    return;
                pending.remove(0, 2);
                chunkState = ChunkState::Size;
            }
        }
    }
};

namespace {

QByteArray requestHead(const QByteArray& method, const QString& target, quint16 port,
                       const SimProcess::Headers& headers, const QByteArray& body) {
    QByteArray head = method + ' ' + target.toUtf8() +
                      " HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(port) +
                      "\r\nConnection: close\r\n";
    for (const auto& [name, value] : headers)
        head += name + ": " + value + "\r\n";
    if (!body.isEmpty() || (method != "GET" && method != "HEAD"))
        head += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    return head + "\r\n";
}

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

SimProcess::Stream::Stream() : socket_(std::make_unique<QTcpSocket>()), reader_(std::make_unique<Reader>()) {}

SimProcess::Stream::~Stream() {
    socket_->abort();
}

int SimProcess::Stream::status() const {
    return reader_->status;
}

bool SimProcess::Stream::readSome(int timeoutMs) {
    if (reader_->closed)
        return false;
    if (socket_->bytesAvailable() == 0 && !socket_->waitForReadyRead(std::max(timeoutMs, 0))) {
        if (socket_->state() != QAbstractSocket::ConnectedState) {
            reader_->feed(socket_->readAll());
            reader_->connectionClosed();
        }
        return false;
    }
    reader_->feed(socket_->readAll());
    return true;
}

bool SimProcess::Stream::waitFor(const QByteArray& needle, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    while (!reader_->body.contains(needle)) {
        if (deadline.hasExpired() || reader_->complete || reader_->closed)
            return reader_->body.contains(needle);
        readSome(static_cast<int>(deadline.remainingTime()));
    }
    return true;
}

bool SimProcess::Stream::waitForEvents(int count, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    while (events().size() < count) {
        if (deadline.hasExpired() || reader_->complete || reader_->closed)
            return events().size() >= count;
        readSome(static_cast<int>(deadline.remainingTime()));
    }
    return true;
}

bool SimProcess::Stream::waitForEnd(int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    while (!reader_->complete && !reader_->closed) {
        if (deadline.hasExpired())
            return false;
        readSome(static_cast<int>(deadline.remainingTime()));
    }
    return true;
}

QByteArray SimProcess::Stream::body() const {
    return reader_->body;
}

QList<SimProcess::Stream::Event> SimProcess::Stream::events() const {
    QList<Event> events;
    Event current{"message", {}};
    bool hasData = false;
    QByteArray text = reader_->body;
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
    return reader_->complete || reader_->closed;
}

bool SimProcess::Stream::endedCleanly() const {
    return reader_->complete;
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
    Stream exchange;
    QDeadlineTimer deadline(timeoutMs);
    exchange.socket_->connectToHost(QHostAddress::LocalHost, port_);
    if (!exchange.socket_->waitForConnected(timeoutMs))
        return {};
    exchange.socket_->write(requestHead(method, target, port_, headers, body) + body);
    while (!exchange.reader_->complete && !exchange.reader_->closed && !deadline.hasExpired())
        exchange.readSome(static_cast<int>(deadline.remainingTime()));
    Reply reply;
    if (!exchange.reader_->headDone)
        return reply;
    reply.status = exchange.reader_->status;
    reply.headers = exchange.reader_->headers;
    reply.body = exchange.reader_->body;
    reply.complete = exchange.reader_->complete;
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
    std::unique_ptr<Stream> stream(new Stream);
    QDeadlineTimer deadline(timeoutMs);
    stream->socket_->connectToHost(QHostAddress::LocalHost, port_);
    if (!stream->socket_->waitForConnected(timeoutMs))
        return stream;
    stream->socket_->write(requestHead(
        "GET", base_ + QStringLiteral("/api/events/stream"), port_,
        {{"Accept", "application/json, text/event-stream"}, {"Authorization", "Bearer " + token.toUtf8()}},
        {}));
    while (!stream->reader_->headDone && !stream->reader_->closed && !deadline.hasExpired())
        stream->readSome(static_cast<int>(deadline.remainingTime()));
    return stream;
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
