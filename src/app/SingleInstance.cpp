#include "app/SingleInstance.h"

#include "base/Scheduler.h"

#include <QFile>
#include <QLocalSocket>
#include <QPointer>
#include <QStandardPaths>
#include <QStringDecoder>

#include <memory>

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

// A sender that says nothing for this long is dropped.
constexpr double senderPatience = 5.0;

// Arguments travel as UTF-8 texts, each ended by a zero byte.
QByteArray encode(const QStringList& arguments) {
    QByteArray out;
    for (const auto& argument : arguments) {
        out += argument.toUtf8().replace('\0', ' ');
        out += '\0';
    }
    return out;
}

QStringList decode(const QByteArray& message) {
    QStringList out;
    const auto parts = message.split('\0');
    // The last part follows the final terminator; a part without one was cut off.
    for (qsizetype i = 0; i + 1 < parts.size() && out.size() < SingleInstance::maxArguments; ++i) {
        QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        QString text = utf8.decode(parts[i]);
        if (utf8.hasError() || text.isEmpty()) {
            continue;
        }
        out << text;
    }
    return out;
}

bool waitFor(int fd, short events, int timeoutMs) {
    pollfd p{fd, events, 0};
    int r;
    do {
        r = ::poll(&p, 1, timeoutMs);
    } while (r < 0 && errno == EINTR);
    return r > 0 && (p.revents & events);
}

} // namespace

SingleInstance::SingleInstance(QString socketPath, QObject* parent)
    : QObject(parent), path(std::move(socketPath)) {
    connect(&server, &QLocalServer::newConnection, this, &SingleInstance::accept);
}

SingleInstance::~SingleInstance() {
    server.close();
}

QString SingleInstance::defaultSocketPath() {
    return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation) +
           QLatin1String("/mirkvantle-agents.socket");
}

bool SingleInstance::handOver(const QString& socketPath, const QStringList& arguments) {
    const QByteArray file = QFile::encodeName(socketPath);
    sockaddr_un address{};
    if (file.size() >= static_cast<qsizetype>(sizeof address.sun_path)) {
        return false;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, file.constData(), static_cast<std::size_t>(file.size()));

    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return false;
    }
    // A socket left by a crashed instance refuses at once; a live one accepts.
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        return false;
    }
    const QByteArray message = encode(arguments).left(maxMessageBytes);
    qsizetype sent = 0;
    while (sent < message.size()) {
        if (!waitFor(fd, POLLOUT, 1000)) {
            ::close(fd);
            return false;
        }
        const auto n = ::send(fd, message.constData() + sent, static_cast<std::size_t>(message.size() - sent),
                              MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            ::close(fd);
            return false;
        }
        sent += n;
    }
    ::shutdown(fd, SHUT_WR);
    // The first instance closes its end once it has read everything.
    char byte;
    if (waitFor(fd, POLLIN | POLLHUP, 1000)) {
        [[maybe_unused]] const auto n = ::recv(fd, &byte, 1, 0);
    }
    ::close(fd);
    return true;
}

bool SingleInstance::listen() {
    if (QFile::exists(path)) {
        if (handOver(path, {})) {
            return false; // somebody is home
        }
        // Left behind by an instance that crashed.
        QLocalServer::removeServer(path);
    }
    server.setMaxPendingConnections(8);
    if (!server.listen(path)) {
        return false;
    }
    // The runtime folder is the user's alone already; the socket says so too.
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    return true;
}

void SingleInstance::accept() {
    while (QLocalSocket* socket = server.nextPendingConnection()) {
        socket->setParent(this);
        socket->setReadBufferSize(maxMessageBytes);
        auto buffer = std::make_shared<QByteArray>();
        auto patience = std::make_shared<base::Timer>();
        QPointer<QLocalSocket> guard(socket);
        *patience = base::Scheduler::current().after(senderPatience, [guard] {
            if (guard) {
                guard->abort();
            }
        });
        connect(socket, &QLocalSocket::readyRead, socket, [socket, buffer] {
            buffer->append(socket->read(maxMessageBytes + 1 - buffer->size()));
            if (buffer->size() > maxMessageBytes) {
                buffer->truncate(maxMessageBytes);
                socket->abort();
            }
        });
        QPointer<SingleInstance> self(this);
        connect(socket, &QLocalSocket::disconnected, socket, [self, socket, buffer, patience] {
            patience->cancel();
            socket->deleteLater();
            const auto arguments = decode(*buffer);
            // A launch with nothing to say, or a probe from another instance, is no message.
            if (self && self->onArguments && !arguments.isEmpty()) {
                self->onArguments(arguments);
            }
        });
        // The sender waits for this end to close once all has been read.
        connect(socket, &QLocalSocket::readChannelFinished, socket,
                [socket] { socket->disconnectFromServer(); });
    }
}
