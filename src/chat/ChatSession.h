#pragma once

#include "app/VantleAgent.h"
#include "base/Cancel.h"
#include "chat/WebLink.h"
#include "workspace/ChatChoice.h"
#include "workspace/ClientError.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <optional>
#include <variant>

// The one conversation between the user and the agent on stage: it sends a question as a turn
// of a workspace thread, relays the turn's live text, tools and choices, and hands over one
// final answer. One turn is in flight at a time; a new question abandons the one before it.
// Per workspace and agent it remembers the last thread for four hours.
class ChatSession : public QObject {
    Q_OBJECT
public:
    struct Answer {
        QString text;
        QList<WebLink> links; // at most four
    };
    using Result = std::variant<Answer, VantleClient::ClientError>;

    struct AnswerHandlers {
        std::function<void(const QString&)> onText;
        std::function<void(const QString&)> onTool;
        std::function<void(const Result&)> completion;
        // The only one that may run after completion.
        std::function<void(const QList<ChatChoice>&)> onOptions;
    };

    // Raw answer text made fit for the balloon: Markdown with each link as its title alone, a
    // line that is only a link left out, and the links apart.
    struct Extracted {
        QString text;
        QList<WebLink> links;
    };
    // isPartial: the answer is still being written, so unfinished links and addresses are hidden.
    static Extracted extractLinks(const QString& raw, bool isPartial);
    // The same against a workspace address already read.
    static Extracted extractLinks(const QString& raw, bool isPartial, const std::optional<QUrl>& workspace);

    // A thread younger than this is taken up again when the chat opens.
    static constexpr double threadLifetime = 14400;
    // How long an answered turn still listens for late choices.
    static constexpr double linger = 45;

    explicit ChatSession(QObject* parent = nullptr);
    ~ChatSession() override;

    VantleAgent agent() const { return currentAgent; }
    // Another agent means another conversation: the thread is forgotten.
    void setAgent(VantleAgent agent);
    std::optional<QString> threadId;

    void ask(const QString& message, const QStringList& attachments, const std::optional<QString>& choiceRef,
             AnswerHandlers handlers);
    void cancel();
    void reset();
    void resumeRecentThread();
    void adopt(const QString& thread, VantleAgent agent);

    const std::optional<QString>& currentTurnId() const { return current; }
    const std::optional<QString>& answeredTurnId() const { return answered; }

    static QString threadKey(VantleAgent agent);
    static std::optional<QString> recentThread(VantleAgent agent);
    static void remember(const QString& thread, VantleAgent agent);

private:
    QCoro::Task<> run(QString message, QStringList attachments, std::optional<QString> choiceRef,
                      VantleAgent agent, QString turnId, std::shared_ptr<QList<ChatChoice>> heldBack,
                      AnswerHandlers handlers, base::Cancel cancel);
    static QCoro::Task<> lingerFor(QPointer<ChatSession> session, QString turnId);

    VantleAgent currentAgent = VantleAgent::dorn;
    std::optional<base::Cancel> currentTask;
    std::optional<QString> current;
    std::optional<QString> answered;
};
