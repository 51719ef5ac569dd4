#include "stage/StageViewController.h"

#include "base/Text.h"
#include "character/CharacterPlayer.h"
#include "character/CharacterSheet.h"
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
    return balloonPanel && balloonPanel->isActiveWindow() && balloonPanel->balloon().isInputShown();
}

void StageViewController::showVantleNotification(const VantleNotification& n) {
    // The user is talking to an agent: the notification stays unread in the workspace.
    if (isChatOpen()) {
        return;
    }
    QPointer<StageViewController> self(this);
    if (n.agentId == QStringLiteral("person")) {
        auto announce = [self, n] {
            if (self && !self->isChatOpen()) {
                self->presentColleagueMessage(n);
            }
        };
        if (vantleAgent() != VantleAgent::dorn && isInstalled(VantleAgent::dorn)) {
            bringOn(VantleAgents::rawValue(VantleAgent::dorn), announce);
        } else {
            announce();
        }
        return;
    }
    auto present = [self, n] {
        if (!self || self->isChatOpen()) {
            return;
        }
        if (const auto id = VantleClient::approvalId(n.to)) {
            self->presentDecision(*id, n);
        } else {
            self->presentPlainNotification(n);
        }
    };
    const auto agent = agentOf(n);
    if (agent && *agent != vantleAgent() && isInstalled(*agent)) {
        // The user may open the chat while the agents change places; present asks again.
        bringOn(VantleAgents::rawValue(*agent), present);
        return;
    }
    present();
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
        balloon.showMessage(said.text, true, std::nullopt, false, BalloonStatus::none);
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
