#include "stage/StageViewController.h"

#include "base/Clock.h"
#include "base/Scheduler.h"
#include "base/Text.h"
#include "character/CharacterPlayer.h"
#include "character/CharacterSheet.h"
#include "panels/DornReportPanel.h"
#include "platform/LinkAction.h"
#include "stage/BalloonView.h"
#include "workspace/VantleClient.h"

#include <array>

// What the stage does with a notification of the workspace: who says it, how it reads, and
// what a click on it opens.
namespace {

const QString arrow = QStringLiteral(" \u2192 ");
constexpr double noticeSeconds = 30;

// The agent a notification names, in any case; none for "person" and anything unknown.
std::optional<VantleAgent> agentOf(const VantleNotification& n) {
    return n.agentId ? VantleAgents::fromRawValue(n.agentId->toLower()) : std::nullopt;
}

bool isInstalled(VantleAgent agent) {
    return CharacterSheet::available().contains(VantleAgents::rawValue(agent));
}

void openInBrowser(const std::optional<QString>& to) {
    // A notice's link may be absolute: it goes through the same rule as any link from outside.
    if (const auto url = to ? VantleClient::dashboardURL(*to) : std::nullopt) {
        platform::openLink(*url);
    }
}

} // namespace

bool StageViewController::isChatOpen() const {
    return balloonPanel && balloonPanel->isKey() && balloonPanel->balloon().isInputShown();
}

bool StageViewController::isBalloonBusy() const {
    if (noticeArriving || openApproval || isReceivingFiles || handOver || reportPanel) {
        return true;
    }
    if (!balloonPanel) {
        return false;
    }
    const BalloonView& balloon = balloonPanel->balloon();
    // A question on its way, a report being written, or one of Pelka's questions open.
    return isChatOpen() || readingTime.isActive() || chatSession.currentTurnId() ||
           balloon.status() == BalloonStatus::working || !balloon.choices().isEmpty();
}

void StageViewController::showVantleNotification(const VantleNotification& n) {
    const bool approval = VantleClient::approvalId(n.to).has_value();
    // Something new is a free moment for an approval that was closed undecided.
    waiting.wake();
    enqueue({base::Clock::now(), n, nullptr, approval, QString(), false, false});
    presentNext();
}

void StageViewController::notificationRead(const QString& id) {
    if (waiting.remove(id)) {
        emit waitingChanged(waiting.size());
    }
}

void StageViewController::enqueue(NoticeQueue::Entry entry) {
    waiting.add(std::move(entry));
    emit waitingChanged(waiting.size());
}

bool StageViewController::mustWait(std::function<void()> show) {
    if (!openApproval && !noticeArriving) {
        return false;
    }
    enqueue({base::Clock::now(), std::nullopt, std::move(show), false, QString(), false, false});
    return true;
}

void StageViewController::scheduleNextNotice() {
    if (waiting.isEmpty()) {
        return;
    }
    QPointer<StageViewController> self(this);
    nextNoticeStep = base::Scheduler::current().after(0, [self] {
        if (self) {
            self->presentNext();
        }
    });
}

void StageViewController::presentNext() {
    if (isBalloonBusy()) {
        return;
    }
    if (auto entry = waiting.take()) {
        emit waitingChanged(waiting.size());
        presentNotice(std::move(*entry));
    }
}

void StageViewController::showNextWaiting() {
    if (waiting.isEmpty() || noticeArriving) {
        return;
    }
    // The user asked for the next one: what the balloon holds gives way, and an approval on
    // show goes behind it.
    const auto approval = openApproval ? std::optional(openApproval->notification->id) : std::nullopt;
    closeChat();
    if (approval) {
        waiting.rest(*approval, base::Clock::now());
    }
    if (auto entry = waiting.take()) {
        emit waitingChanged(waiting.size());
        presentNotice(std::move(*entry));
    }
}

void StageViewController::presentNotice(NoticeQueue::Entry entry) {
    if (!entry.notification) {
        if (entry.show) {
            entry.show();
        }
        return;
    }
    const VantleNotification n = *entry.notification;
    QPointer<StageViewController> self(this);
    // The user may open the chat while the agents change places: then it waits again.
    auto arrive = [self, entry](std::function<void()> present) {
        if (!self) {
            return;
        }
        self->noticeArriving = false;
        if (self->isChatOpen()) {
            self->enqueue(entry);
            return;
        }
        present();
    };
    std::optional<VantleAgent> agent = agentOf(n);
    std::function<void()> present;
    if (n.agentId == QStringLiteral("person")) {
        agent = VantleAgent::dorn;
        present = [self, n] {
            if (self) {
                self->presentColleagueMessage(n);
            }
        };
    } else {
        present = [self, entry, n] {
            if (!self) {
                return;
            }
            if (const auto id = VantleClient::approvalId(n.to)) {
                self->presentDecision(*id, entry);
            } else {
                self->presentPlainNotification(n);
            }
        };
    }
    if (agent && *agent != vantleAgent() && isInstalled(*agent)) {
        noticeArriving = true;
        bringOn(VantleAgents::rawValue(*agent), [arrive, present] { arrive(present); });
        return;
    }
    arrive(present);
}

void StageViewController::presentColleagueMessage(const VantleNotification& n) {
    ++presentedNotifications;
    const QStringList parts = n.title.split(arrow);
    QString headline;
    if (parts.size() >= 2) {
        const QString sender = parts.first();
        const QString place = parts.mid(1).join(arrow);
        headline = base::pick(sender + QStringLiteral(" wrote in ") + place,
                              sender + QStringLiteral(" kirjutas vestlusesse ") + place);
    } else {
        headline = base::pick(n.title + QStringLiteral(" sent you a message"),
                              n.title + QStringLiteral(" saatis sulle sõnumi"));
    }
    const QString body = n.message.isEmpty()
                             ? headline
                             : base::pick(QStringLiteral("\u201C") + n.message + QStringLiteral("\u201D"),
                                          QStringLiteral("\u201E") + n.message + QStringLiteral("\u201D"));
    QPointer<StageViewController> self(this);
    notify(body, QStringLiteral("GetAttention"), noticeSeconds,
           base::pick(QStringLiteral("Open in Vantle ›"), QStringLiteral("Ava Vantles ›")), headline,
           BalloonStatus::notice, [self, n] {
               if (self) {
                   self->openVantleNotification(n, std::nullopt);
               }
           });
}

void StageViewController::presentPlainNotification(const VantleNotification& n) {
    ++presentedNotifications;
    const auto agent = agentOf(n);
    QString title = n.title;
    // The proper agent couldn't come on stage: the one standing there names the sender.
    if (agent && *agent != vantleAgent()) {
        title = VantleAgents::displayName(*agent) + QStringLiteral(" · ") + n.title;
    }
    const bool distinct = !n.message.isEmpty() && n.message != n.title;
    const QString body = distinct ? n.message : n.title;
    const bool alarming = n.tone == QStringLiteral("warning") || n.tone == QStringLiteral("error");
    const QString hint =
        agent ? base::pick(QStringLiteral("Click to reply ›"), QStringLiteral("Vasta ›"))
              : base::pick(QStringLiteral("Click to open in Vantle ›"), QStringLiteral("Ava Vantles ›"));
    // The same words don't stand twice: a body that only repeats the title leaves the agent's name.
    const QString shownTitle = distinct || !agent ? title : VantleAgents::displayName(*agent);
    QPointer<StageViewController> self(this);
    notify(body, alarming ? QStringLiteral("Alert") : QStringLiteral("GetAttention"), noticeSeconds, hint,
           shownTitle, alarming ? BalloonStatus::warning : BalloonStatus::notice, [self, n, agent] {
               if (self) {
                   self->openVantleNotification(n, agent);
               }
           });
}

void StageViewController::openVantleNotification(const VantleNotification& n,
                                                 std::optional<VantleAgent> agent) {
    // A click is what marks a notification read; nothing waits for it.
    VantleClient::markRead(n.id);
    if (!agent) {
        openInBrowser(n.to);
        return;
    }
    if (*agent == vantleAgent()) {
        showNotificationThread(n, *agent, true);
        return;
    }
    // The stage closes its balloon when the figure changes, so the reply opens on arrival.
    QPointer<StageViewController> self(this);
    const VantleAgent target = *agent;
    bringOn(VantleAgents::rawValue(target), [self, n, target] {
        if (self) {
            self->showNotificationThread(n, target, false);
        }
    });
}

void StageViewController::showNotificationThread(const VantleNotification& n, VantleAgent agent,
                                                 bool wasOnStage) {
    const quint64 shown = ++presentedNotifications;
    BalloonPanel& panel = makeBalloon(true);
    const QString name = VantleAgents::displayName(agent);
    static const std::array<const char*, 4> estonianReply{"Vasta Dornile…", "Vasta Lirrale…",
                                                          "Vasta Morvole…", "Vasta Pelkale…"};
    panel.balloon().setTitle(name);
    panel.balloon().setPlaceholder(
        base::pick(QStringLiteral("Reply to ") + name + QStringLiteral("…"),
                   QString::fromUtf8(estonianReply[static_cast<std::size_t>(agent)])));
    panel.balloon().showThinking();
    placeBalloon();
    if (wasOnStage) {
        player().play({QStringLiteral("Thinking"), QStringLiteral("Think"), QStringLiteral("Processing")},
                      true);
    }
    QPointer<BalloonPanel> asked(&panel);
    QCoro::connect(VantleClient::thread(n.id), this, [this, asked, shown, n, agent](const auto& result) {
        // Only the balloon that asked, still waiting: not closed, not replaced, no question asked.
        if (!asked || balloonPanel != asked || presentedNotifications != shown ||
            asked->balloon().status() != BalloonStatus::working || chatSession.currentTurnId()) {
            return;
        }
        if (!result) {
            show(result.error(), *asked);
            return;
        }
        const auto resolved =
            result->agentId ? VantleAgents::fromRawValue(result->agentId->toLower()) : agent;
        chatSession.adopt(result->threadId, resolved.value_or(agent));
        const auto said = result->lastMessage ? ChatSession::extractLinks(*result->lastMessage, false)
                                              : ChatSession::Extracted{n.message, {}};
        BalloonView& balloon = asked->balloon();
        // The workspace's last word is an answer like any other; a notice's own text is plain.
        balloon.showMessage(said.text, true, std::nullopt, false, BalloonStatus::none,
                            result->lastMessage ? Qt::MarkdownText : Qt::PlainText);
        balloon.showLinks(said.links);
        if (!result->options.isEmpty()) {
            QPointer<StageViewController> self(this);
            balloon.showChoices(result->options, [self](const ChatChoice& choice) {
                if (self) {
                    self->send(choice.label, choice.ref);
                }
            });
        }
        placeBalloon();
        balloon.focusInput();
        playNext({QStringLiteral("Explain"), QStringLiteral("GetAttention")});
    });
}

void StageViewController::open(const QUrl& notificationURL) {
    platform::openLink(notificationURL);
}
