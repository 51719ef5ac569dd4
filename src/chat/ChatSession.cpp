#include "chat/ChatSession.h"

#include "app/Settings.h"
#include "base/Clock.h"
#include "base/Sleep.h"
#include "workspace/VantleClient.h"
#include "workspace/VantleEvents.h"

#include <QDateTime>
#include <QPointer>
#include <QUuid>
#include <QVariantMap>

namespace {

QString newTurnId() {
    return QStringLiteral("desktop_") +
           QUuid::createUuid().toString(QUuid::WithoutBraces).remove('-').toLower();
}

} // namespace

ChatSession::ChatSession(QObject* parent) : QObject(parent) {}

ChatSession::Extracted ChatSession::extractLinks(const QString& raw, bool isPartial) {
    // The workspace address is read once for all links of the answer.
    return extractLinks(raw, isPartial, Settings::vantleURL());
}

ChatSession::~ChatSession() {
    cancel();
}

void ChatSession::setAgent(VantleAgent agent) {
    if (agent != currentAgent) {
        currentAgent = agent;
        threadId.reset();
    }
}

void ChatSession::ask(const QString& message, const QStringList& attachments,
                      const std::optional<QString>& choiceRef, AnswerHandlers handlers) {
    cancel();
    const VantleAgent agent = currentAgent;
    const QString turnId = newTurnId();
    current = turnId;
    auto heldBack = std::make_shared<QList<ChatChoice>>();

    QPointer<ChatSession> self(this);
    VantleEvents::shared().turnListeners.insert(
        turnId, {QString(), [self, turnId, heldBack, handlers](const TurnProgress& progress) {
                     if (!self) {
                         return;
                     }
                     const bool asking = self->current == turnId;
                     if (const auto* text = std::get_if<TurnProgress::Text>(&progress.value)) {
                         if (asking && handlers.onText) {
                             handlers.onText(extractLinks(text->text, true).text);
                         }
                     } else if (const auto* tool = std::get_if<TurnProgress::Tool>(&progress.value)) {
                         if (asking && handlers.onTool) {
                             handlers.onTool(tool->name);
                         }
                     } else if (const auto* options = std::get_if<TurnProgress::Options>(&progress.value)) {
                         if (asking) {
                             *heldBack = options->choices;
                         } else if (self->answered == turnId && handlers.onOptions) {
                             handlers.onOptions(options->choices);
                         }
                     }
                 }});
    currentTask = base::Cancel();
    run(message, attachments, choiceRef, agent, turnId, heldBack, std::move(handlers), *currentTask);
}

QCoro::Task<> ChatSession::run(QString message, QStringList attachments, std::optional<QString> choiceRef,
                               VantleAgent agent, QString turnId, std::shared_ptr<QList<ChatChoice>> heldBack,
                               AnswerHandlers handlers, base::Cancel cancel) {
    QPointer<ChatSession> self(this);
    auto fail = [&](const VantleClient::ClientError& error) {
        if (self) {
            self->current.reset();
        }
        VantleEvents::shared().turnListeners.remove(turnId);
        if (handlers.completion) {
            handlers.completion(error);
        }
    };

    std::optional<QString> thread = self ? self->threadId : std::nullopt;
    if (!thread) {
        const auto created = co_await VantleClient::createThread(agent);
        if (!self || cancel.isCancelled()) {
            co_return;
        }
        if (!created) {
            fail(created.error());
            co_return;
        }
        thread = *created;
    }
    if (!self || cancel.isCancelled()) {
        co_return;
    }
    self->threadId = thread;

    const auto reply = co_await VantleClient::turn(*thread, message, turnId, attachments, choiceRef, cancel);
    if (cancel.isCancelled()) {
        co_return;
    }
    if (!reply) {
        fail(reply.error());
        co_return;
    }
    if (self) {
        self->threadId = reply->threadId;
        self->current.reset();
        self->answered = turnId;
    }
    remember(reply->threadId, agent);
    lingerFor(self, turnId);

    auto extracted = extractLinks(reply->text, false);
    if (extracted.links.size() > 4) {
        extracted.links = extracted.links.mid(0, 4);
    }
    if (handlers.completion) {
        handlers.completion(Answer{extracted.text, extracted.links});
    }
    if (!heldBack->isEmpty() && self && self->answered == turnId && handlers.onOptions) {
        handlers.onOptions(*heldBack);
    }
}

QCoro::Task<> ChatSession::lingerFor(QPointer<ChatSession> session, QString turnId) {
    co_await base::sleep(linger);
    VantleEvents::shared().turnListeners.remove(turnId);
    if (session && session->answered == turnId) {
        session->answered.reset();
    }
}

void ChatSession::cancel() {
    if (currentTask) {
        currentTask->cancel();
        currentTask.reset();
    }
    auto& listeners = VantleEvents::shared().turnListeners;
    if (current) {
        listeners.remove(*current);
    }
    if (answered) {
        listeners.remove(*answered);
    }
    current.reset();
    answered.reset();
}

void ChatSession::reset() {
    cancel();
    threadId.reset();
    Settings::remove(threadKey(currentAgent));
}

void ChatSession::resumeRecentThread() {
    cancel();
    threadId = recentThread(currentAgent);
}

void ChatSession::adopt(const QString& thread, VantleAgent agent) {
    cancel();
    setAgent(agent);
    threadId = thread;
    remember(thread, agent);
}

QString ChatSession::threadKey(VantleAgent agent) {
    const auto address = Settings::vantleURL();
    return QStringLiteral("thread.") + (address ? address->toString() : QString()) + QLatin1Char('.') +
           VantleAgents::rawValue(agent);
}

std::optional<QString> ChatSession::recentThread(VantleAgent agent) {
    const QVariant stored = Settings::value(threadKey(agent));
    if (stored.typeId() != QMetaType::QVariantMap) {
        return std::nullopt;
    }
    const QVariantMap record = stored.toMap();
    const QVariant id = record.value(QStringLiteral("id"));
    const QVariant used = record.value(QStringLiteral("used"));
    if (id.typeId() != QMetaType::QString || used.typeId() != QMetaType::QDateTime) {
        return std::nullopt;
    }
    const double age = static_cast<double>(used.toDateTime().msecsTo(base::Clock::now())) / 1000.0;
    if (age >= threadLifetime) {
        return std::nullopt;
    }
    return id.toString();
}

void ChatSession::remember(const QString& thread, VantleAgent agent) {
    // Kept to the second, which is all the age test needs.
    QDateTime now = base::Clock::now();
    now.setTime(QTime(now.time().hour(), now.time().minute(), now.time().second()));
    Settings::setValue(threadKey(agent),
                       QVariantMap{{QStringLiteral("id"), thread}, {QStringLiteral("used"), now}});
}
