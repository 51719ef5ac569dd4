#include "stage/StageViewController.h"

#include "base/Text.h"
#include "stage/BalloonSurface.h"
#include "stage/BalloonView.h"
#include "time/TimeTracker.h"

#include <QCoro/QCoroTask>
#include <QMenu>

QMenu* StageViewController::timerStartMenu(QWidget* parent) {
    auto* menu = new QMenu(parent);
    QPointer<StageViewController> self(this);
    const QString none = base::pick(QStringLiteral("Without a Project"), QStringLiteral("Projektita"));
    // A recent entry without a project is the fixed row below; it is not offered twice.
    QList<TimeEntry> recent;
    for (const auto& entry : TimeTracker::shared().recent) {
        if (entry.label().compare(none, Qt::CaseInsensitive) != 0) {
            recent << entry;
        }
    }
    for (const auto& entry : std::as_const(recent)) {
        // Shown as plain text: a label is whatever the workspace holds.
        menu->addAction(base::menuText(entry.label()), menu, [self, entry] {
            if (self) {
                self->startTimer(entry);
            }
        });
    }
    if (!recent.isEmpty()) {
        menu->addSeparator();
    }
    menu->addAction(none, menu, [self] {
        if (self) {
            self->startTimer(std::nullopt);
        }
    });
    if (isPelkaAtHand()) {
        menu->addAction(base::pick(QStringLiteral("Other Project…"), QStringLiteral("Muu projekt…")), menu,
                        [self] {
                            if (self) {
                                self->startTimerByAsking();
                            }
                        });
    }
    return menu;
}

void StageViewController::startTimer(std::optional<TimeEntry> like) {
    [](QPointer<StageViewController> self, std::optional<TimeEntry> like) -> QCoro::Task<> {
        const auto started = co_await VantleClient::startTimer(like);
        if (!started) {
            if (self) {
                self->say(started.error().localizedDescription(), QStringLiteral("Alert"));
            }
            co_return;
        }
        TimeTracker::shared().refresh();
        if (self) {
            const QString what =
                like ? like->label()
                     : base::pick(QStringLiteral("without a project"), QStringLiteral("projektita"));
            self->timerNotice(
                base::pick(QStringLiteral("Timer started: "), QStringLiteral("Taimer käivitatud: ")) + what);
        }
    }(this, std::move(like));
}

void StageViewController::stopTimer() {
    [](QPointer<StageViewController> self) -> QCoro::Task<> {
        const auto stopped = co_await TimeTracker::shared().stop();
        if (!stopped) {
            // Most often stopped elsewhere in the meantime: the menus should stop offering it.
            TimeTracker::shared().refresh();
        }
        if (!self) {
            co_return;
        }
        if (!stopped) {
            self->say(stopped.error().localizedDescription(), QStringLiteral("Alert"));
        } else if (const auto& entry = *stopped) {
            const QString spent = TimeTracker::clock(entry->durationSeconds.value_or(0));
            self->timerNotice(base::pick(QStringLiteral("Stopped: "), QStringLiteral("Peatatud: ")) +
                              entry->label() + QStringLiteral(" — ") + spent);
        }
    }(this);
}

void StageViewController::timerNotice(const QString& text) {
    // The notices are Pelka's; another agent on stage keeps quiet.
    if (vantleAgent() != VantleAgent::pelka) {
        return;
    }
    if (balloonPanel && balloonPanel->balloon().inputSurface()->isVisible()) {
        return;
    }
    notify(text, QStringLiteral("Explain"), 6.0, std::nullopt, std::nullopt, BalloonStatus::notice, {});
}
