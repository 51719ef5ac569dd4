#include "stage/StageViewController.h"

#include "base/Clock.h"
#include "base/Scheduler.h"
#include "base/Text.h"
#include "character/CharacterPlayer.h"
#include "notifications/VantleApproval.h"
#include "platform/LinkAction.h"
#include "stage/BalloonView.h"
#include "workspace/VantleClient.h"

#include <QLineEdit>

#include <memory>
#include <utility>

// Approvals decided in the balloon: what is asked and why, three answers, and what the agent
// says once the workspace has the decision.
namespace {

constexpr double outcomeSeconds = 5.0;

} // namespace

void StageViewController::presentDecision(const QString& id, const VantleNotification& n) {
    presentDecision(id, NoticeQueue::Entry{base::Clock::now(), n, nullptr, true, QString(), false, false});
}

void StageViewController::setApprovalAside() {
    if (!openApproval) {
        return;
    }
    NoticeQueue::Entry entry = std::move(*openApproval);
    openApproval.reset();
    if (balloonPanel && balloonPanel->balloon().isDeciding()) {
        entry.comment = balloonPanel->balloon().input()->text();
    }
    entry.shownBefore = true;
    enqueue(std::move(entry));
}

void StageViewController::presentDecision(const QString& id, const NoticeQueue::Entry& entry) {
    const VantleNotification& n = *entry.notification;
    const quint64 shown = ++presentedNotifications;
    appearIfHidden();
    // The user's focus stays where it was.
    BalloonPanel& panel = makeBalloon(false);
    openApproval = entry;
    chatSession.cancel();
    autoDismissWorkItem.cancel();
    pendingAction = nullptr;
    panel.balloon().setTitle(n.title);
    panel.balloon().setInputShown(false);
    panel.balloon().showMessage(n.message.isEmpty() ? n.title : n.message, true, std::nullopt, false,
                                BalloonStatus::working);
    placeBalloon();
    player().play({QStringLiteral("GetAttention"), QStringLiteral("Explain")});

    QPointer<BalloonPanel> asked(&panel);
    QCoro::connect(VantleClient::approval(id), this, [this, asked, shown, entry](const auto& result) {
        // Still fetching in the same balloon: not closed, replaced, or turned into a chat.
        if (!asked || balloonPanel != asked || presentedNotifications != shown ||
            asked->balloon().isInputShown() || asked->balloon().isDeciding()) {
            return;
        }
        const VantleNotification& n = *entry.notification;
        // Decided meanwhile, here or in the workspace: it has had its turn.
        if (entry.shownBefore && result && !result->isPending) {
            openApproval.reset();
            closeChat();
            return;
        }
        // A refusal and a failure to read look the same: the notice as it came.
        if (!result || !result->canDecide || !result->isPending) {
            openApproval.reset();
            presentPlainNotification(n);
            return;
        }
        showApproval(*result, *asked, n, entry.comment);
    });
}

void StageViewController::showApproval(const VantleApproval& approval, BalloonPanel& panel,
                                       const VantleNotification& n, const QString& comment) {
    BalloonView& balloon = panel.balloon();
    const std::optional<QString> hint =
        approval.isWeighty ? std::optional(base::pick(QStringLiteral("Once approved, this can't be undone."),
                                                      QStringLiteral("Kinnitatut ei saa tagasi võtta.")))
                           : std::nullopt;
    balloon.showMessage(approval.action, true, hint, false, BalloonStatus::notice);

    QPointer<StageViewController> self(this);
    QPointer<BalloonPanel> asked(&panel);
    // One shared copy of what the three answers need.
    const auto asking = std::make_shared<const std::pair<VantleApproval, VantleNotification>>(approval, n);
    const auto answer = [self, asked, asking](bool approve) {
        return [self, asked, asking, approve](std::optional<QString> comment) {
            if (self && asked) {
                self->decide(asking->first, approve, comment, *asked, asking->second);
            }
        };
    };
    BalloonView::Decision decision;
    decision.approve = answer(true);
    decision.decline = answer(false);
    decision.review = [self, asking] {
        const VantleNotification& notification = asking->second;
        // Handed to the workspace's page, where it is decided: it doesn't come back here.
        if (self) {
            self->openApproval.reset();
        }
        VantleClient::markRead(notification.id);
        if (const auto url = notification.to ? VantleClient::dashboardURL(*notification.to) : std::nullopt) {
            platform::openLink(*url);
        }
        if (self) {
            self->closeChat();
        }
    };
    // The decision stays for as long as the user leaves it: no timer closes it.
    balloon.showDecision(approval.detailText(), std::move(decision));
    balloon.input()->setText(comment);
    placeBalloon();
}

void StageViewController::decide(const VantleApproval& approval, bool approve,
                                 const std::optional<QString>& comment, BalloonPanel& panel,
                                 const VantleNotification& n) {
    // Disabled first, so that a second press never reaches the workspace.
    if (panel.balloon().isDeciding()) {
        panel.balloon().setDecisionEnabled(false);
        panel.balloon().setStatus(BalloonStatus::working);
        placeBalloon();
    }
    noteInteraction();
    const quint64 shown = presentedNotifications;
    QPointer<BalloonPanel> asked(&panel);
    const auto current = [this, asked, shown] {
        return asked && balloonPanel == asked && presentedNotifications == shown;
    };
    const bool withComment = comment && !comment->isEmpty();
    QCoro::connect(VantleClient::decide(approval.id, approve, comment), this,
                   [this, current, asked, approval, approve, withComment, n](const auto& failure) {
                       if (!failure) {
                           // Decided: it neither waits nor comes back.
                           if (openApproval && openApproval->notification->id == n.id) {
                               openApproval.reset();
                           }
                           if (waiting.remove(n.id)) {
                               emit waitingChanged(waiting.size());
                           }
                           // A decision that was sent stays sent, whatever became of the balloon.
                           QCoro::connect(VantleClient::markRead(n.id), this,
                                          [this, current, asked, approval, approve, withComment] {
                                              if (current()) {
                                                  showDecisionOutcome(approval, approve, withComment, *asked);
                                              }
                                          });
                           return;
                       }
                       if (!current()) {
                           return;
                       }
                       // Everything stays in place, the comment too, for another try.
                       if (asked->balloon().isDeciding()) {
                           asked->balloon().setDecisionEnabled(true);
                           asked->balloon().setStatus(BalloonStatus::failure);
                           asked->balloon().setHint(failure->localizedDescription());
                       }
                       placeBalloon();
                       player().play({QStringLiteral("Confused"), QStringLiteral("Alert")});
                   });
}

void StageViewController::showDecisionOutcome(const VantleApproval& approval, bool approve, bool withComment,
                                              BalloonPanel& panel) {
    const QString name = approval.agent.isEmpty() ? VantleAgents::displayName(vantleAgent()) : approval.agent;
    QString text;
    if (approve) {
        text = base::pick(QStringLiteral("Approved. ") + name + QStringLiteral(" takes it from here."),
                          QStringLiteral("Kinnitatud. ") + name + QStringLiteral(" jätkab siit."));
    } else if (withComment) {
        text = base::pick(QStringLiteral("Declined. ") + name + QStringLiteral(" has your comment."),
                          QStringLiteral("Tagasi lükatud. ") + name + QStringLiteral(" sai su kommentaari."));
    } else {
        text = base::pick(QStringLiteral("Declined."), QStringLiteral("Tagasi lükatud."));
    }
    // The title says what happened; only an approval carries the green check.
    panel.balloon().setTitle(approve
                                 ? base::pick(QStringLiteral("Approved"), QStringLiteral("Kinnitatud"))
                                 : base::pick(QStringLiteral("Declined"), QStringLiteral("Tagasi lükatud")));
    panel.balloon().setInputShown(false);
    panel.balloon().showMessage(text, true, std::nullopt, false,
                                approve ? BalloonStatus::success : BalloonStatus::none);
    placeBalloon();
    playNext(approve ? QStringList{QStringLiteral("Congratulate"), QStringLiteral("Explain")}
                     : QStringList{QStringLiteral("Reassure"), QStringLiteral("Explain")});
    startReadingTime(text);
    QPointer<StageViewController> self(this);
    QPointer<BalloonPanel> shown(&panel);
    autoDismissWorkItem = base::Scheduler::current().after(outcomeSeconds, [self, shown] {
        if (self && shown && self->balloonPanel == shown && !shown->balloon().isInputShown()) {
            self->closeChat();
        }
    });
}
