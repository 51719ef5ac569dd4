#pragma once

#include "base/Cancel.h"
#include "base/Result.h"
#include "workspace/ChatChoice.h"
#include "workspace/ClientError.h"
#include "workspace/TurnProgress.h"
#include "workspace/VantleDocument.h"

#include "app/VantleAgent.h"

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QIODevice>
#include <QJsonObject>
#include <QSet>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

struct DornReport;
struct VantleApproval;
struct TimeEntry;
struct TimerState;

// The authorised calls to the workspace. Every call takes a fresh-enough access token, made
// from the desktop key and shared by all callers, and retries once when the token was stale.
namespace VantleClient {

template <typename T> using Result = base::Result<T, ClientError>;

// The desktop key: the one taken from the environment when there was one, else the stored one,
// read anew at each call.
std::optional<QString> desktopKey();
// Takes VANTLE_DESKTOP_KEY out of the environment, once at start: its bytes in the process's
// environment block are cleared and the variable removed, so that no child inherits it. An
// empty variable counts as none.
void takeKeyFromEnvironment();
// A workspace address and a key are at hand. Makes no network call.
bool isConfigured();
// A page of the workspace for the browser: absolute links as they stand, paths under the
// workspace address.
std::optional<QUrl> dashboardURL(const QString& path);
// The same against a workspace address already read.
std::optional<QUrl> dashboardURL(const QString& path, const std::optional<QUrl>& workspace);

// One authorised request; path begins with "/" and may hold a query. The time-out is a limit
// on silence, in seconds.
QCoro::Task<Result<QByteArray>> send(QByteArray method, QString path, std::optional<QByteArray> data,
                                     QString contentType, double timeout, base::Cancel cancel = {});
// The same with a body read from a device as it goes out. body makes a fresh device, opened and
// of known size, for each attempt: a retry after a 401 sends the same bytes again.
QCoro::Task<Result<QByteArray>> sendStreamed(QByteArray method, QString path,
                                             std::function<std::unique_ptr<QIODevice>()> body,
                                             QString contentType, double timeout, base::Cancel cancel = {});

// A local file into the knowledge base's "Uploads", and a message file (RFC 822) to the inbox.
// The file is read as it is sent, never whole; one that can't be read fails before anything goes.
QCoro::Task<Result<VantleDocument>> upload(QString path);
QCoro::Task<Result<ForwardedEmail>> forwardEmail(QString path);
// The records of their replies: a document needs its id; a forwarded message takes any object.
std::optional<VantleDocument> documentFrom(const QJsonObject& reply, const QString& path);
ForwardedEmail emailFrom(const QJsonObject& reply, const QString& path);
// A JSON request whose answer is one JSON object; any other answer is a badResponse.
// A reply's body as one JSON object; anything else is a badResponse.
Result<QJsonObject> objectOf(const Result<QByteArray>& reply);
QCoro::Task<Result<QJsonObject>> sendForObject(QByteArray method, QString path,
                                               std::optional<QByteArray> data, double timeout,
                                               base::Cancel cancel = {});
// Throws the access token away; the next call makes a new exchange.
void reset();
// The error of a reply with a status outside 200 to 299.
ClientError apiError(const QByteArray& body, int status);

// Account facts.
struct Identity {
    QString name;
    QString email;
};
QCoro::Task<Result<Identity>> whoAmI();
// The account a key belongs to at an address, neither of them stored: an exchange of its own
// and the same question, leaving the shared token alone.
QCoro::Task<Result<Identity>> whoIs(QUrl workspace, QString key);
// The account of the reply to GET /api/auth/me: its email, and its name or else the email.
Result<Identity> identityOf(const QJsonObject& reply);
QCoro::Task<Result<bool>> isAdministrator();
QCoro::Task<Result<QSet<QString>>> enabledAgents();
// Marks a notification read; any failure is swallowed.
QCoro::Task<> markRead(QString notification);

// Chat.
QCoro::Task<Result<QString>> createThread(VantleAgent agent);
QCoro::Task<Result<VantleReply>> turn(QString threadId, QString message, QString turnId,
                                      QStringList attachments, std::optional<QString> choiceRef,
                                      base::Cancel cancel = {});
struct NotificationThread {
    QString threadId;
    std::optional<QString> agentId;
    std::optional<QString> lastMessage;
    QList<ChatChoice> options;
};
QCoro::Task<Result<NotificationThread>> thread(QString notification);

// Approvals (VantleClientApprovals.cpp).
// The approval a notification's link points at: "item=approval:<id>", else "approvalId=<id>".
std::optional<QString> approvalId(const std::optional<QString>& link);
QCoro::Task<Result<VantleApproval>> approval(QString id);
// Approves or rejects; a comment that isn't empty goes with it. None on success.
QCoro::Task<std::optional<ClientError>> decide(QString id, bool approve, std::optional<QString> comment);

// The timer (time/VantleClientTime.cpp).
QCoro::Task<Result<TimerState>> timerState();
// Opens an entry like the given one (its project, task and note), or one with no project.
QCoro::Task<Result<TimeEntry>> startTimer(std::optional<TimeEntry> like);
QCoro::Task<Result<TimeEntry>> stopTimer(QString id);
QCoro::Task<Result<QList<TimeEntry>>> recentTimers();

// Dorn's newest board report; none when he has written none (panels/VantleClientBoard.cpp).
QCoro::Task<Result<std::optional<DornReport>>> dornReport();

// The JSON text of a body: compact, with sorted keys.
QByteArray jsonBody(const QJsonObject& object);

} // namespace VantleClient
