#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonValue>
#include <QList>
#include <QPair>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QUrl>

#include <memory>

// The workspace simulator (tools/workspace-sim) as a child process for one test: started on a
// free port, asked for its port by its first line, and stopped with SIGTERM when the object goes.
// The helpers block, with no event loop: each exchange is the HTTP library's client on a
// connection of its own. They are meant for tests only.
class SimProcess {
public:
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    struct Reply {
        int status = 0;        // 0: no answer at all (refused, dropped, or out of time)
        Headers headers;       // names in lower case
        QByteArray body;       // decoded from chunks, as far as it came
        bool complete = false; // the body arrived whole
        QByteArray header(const QByteArray& name) const;
        QJsonValue json() const; // undefined when the body isn't JSON
    };

    // A long-lived response read as it arrives, such as the event stream.
    class Stream {
    public:
        struct Event {
            QByteArray name;
            QByteArray data;
        };

        ~Stream();
        int status() const;
        // Reads until the body so far holds `needle`; false when the time runs out first.
        bool waitFor(const QByteArray& needle, int timeoutMs = 5000);
        // Reads until `count` events have been seen (comments don't count).
        bool waitForEvents(int count, int timeoutMs = 5000);
        // Reads until the server ends the response.
        bool waitForEnd(int timeoutMs = 5000);
        QByteArray body() const;
        // Events parsed from the body so far: LF ends a line, CR is dropped, "data:" lines joined.
        QList<Event> events() const;
        bool ended() const;
        bool endedCleanly() const; // with the closing chunk, not a lost connection

    private:
        friend class SimProcess;
        struct Exchange;
        explicit Stream(std::unique_ptr<Exchange> exchange);
        static QList<Event> eventsIn(QByteArray text);
        std::unique_ptr<Exchange> exchange_;
    };

    // The raw body of one entry of the request log.
    static QByteArray bodyOf(const QJsonValue& entry);

    // Extra arguments go after "--port 0", e.g. {"--demo"} or {"--key", "k"}.
    explicit SimProcess(const QStringList& extraArguments = {});
    ~SimProcess();
    SimProcess(const SimProcess&) = delete;
    SimProcess& operator=(const SimProcess&) = delete;

    bool isRunning() const;
    quint16 port() const { return port_; }
    QString desktopKey() const { return key_; }
    // The workspace address, e.g. http://127.0.0.1:PORT/app.
    QUrl baseUrl() const;
    // The server's root, where the control API and the model's calls live.
    QUrl rootUrl() const;
    // The base path alone, e.g. "/app"; workspace paths go behind it.
    QString basePath() const { return base_; }

    // One request on a connection of its own. `target` is the path with its query.
    Reply request(const QByteArray& method, const QString& target, const Headers& headers = {},
                  const QByteArray& body = {}, int timeoutMs = 10000) const;
    // A workspace call: `path` is relative to the base path, the token goes as a bearer.
    Reply call(const QByteArray& method, const QString& path, const QString& token = {},
               const QByteArray& body = {}, const QByteArray& contentType = "application/json") const;
    // A control call under /sim/ with a JSON body (none when `body` is undefined). Gives the JSON
    // answer; a failed call records a test failure and gives an undefined value.
    QJsonValue control(const QByteArray& method, const QString& path, const QJsonValue& body = {}) const;
    // A fresh access token for the desktop key; empty when the exchange fails.
    QString exchangeToken() const;
    // GET /sim/requests and DELETE /sim/requests.
    QJsonArray requests() const;
    void clearRequests() const;
    // Opens the event stream with this token and reads its head.
    std::unique_ptr<Stream> openStream(const QString& token, int timeoutMs = 5000) const;

    // Sends SIGTERM and waits. True when the process ended by itself with status 0 in time.
    bool terminate(int timeoutMs = 5000);
    QProcess::ExitStatus exitStatus() const { return process_.exitStatus(); }
    int exitCode() const { return process_.exitCode(); }
    // What the simulator wrote to its standard error so far.
    QByteArray log() const;

private:
    QTemporaryDir logFolder_;
    QProcess process_;
    quint16 port_ = 0;
    QString base_ = QStringLiteral("/app");
    QString key_ = QStringLiteral("demo-key");
    bool stopped_ = false;
};
