#include "stage/StageViewController.h"

#include "base/Clock.h"
#include "base/Text.h"
#include "character/CharacterSheet.h"
#include "platform/LinkAction.h"
#include "time/TimeTracker.h"
#include "workspace/VantleClient.h"

#include <QAction>
#include <QMenu>

namespace {

// The action runs on the stage while it lives; a row left over from a stage that has gone does
// nothing.
QAction* row(const QString& title, QObject* parent, QPointer<StageViewController> stage,
             std::function<void(StageViewController&)> action) {
    auto* item = new QAction(title, parent);
    QObject::connect(item, &QAction::triggered, item, [stage, action = std::move(action)] {
        if (stage) {
            action(*stage);
        }
    });
    return item;
}

QAction* separator(QObject* parent) {
    auto* item = new QAction(parent);
    item->setSeparator(true);
    return item;
}

} // namespace

bool StageViewController::isPelkaAtHand() {
    const auto& enabled = TimeTracker::shared().enabledAgents;
    const QString pelka = VantleAgents::rawValue(VantleAgent::pelka);
    return CharacterSheet::available().contains(pelka) && (!enabled || enabled->contains(pelka));
}

bool StageViewController::isTimerUsable() {
    const auto& state = TimeTracker::shared().state;
    return VantleClient::isConfigured() && state && state->enabled;
}

QAction* StageViewController::vantleLink(const QString& title, const QString& path, QObject* parent) {
    auto* item = new QAction(title + QStringLiteral(" ↗"), parent);
    QObject::connect(item, &QAction::triggered, item, [path] {
        if (const auto url = VantleClient::dashboardURL(path)) {
            platform::openLink(*url);
        }
    });
    return item;
}

QList<QAction*> StageViewController::ownActions(VantleAgent agent, QObject* parent) {
    switch (agent) {
    case VantleAgent::dorn: {
        QList<QAction*> items;
        if (TimeTracker::shared().isAdministrator) {
            items << row(base::pick(QStringLiteral("Dorn's Report"), QStringLiteral("Dorni raport")), parent,
                         this, [](StageViewController& stage) { stage.showDornReport(); });
        }
        items << vantleLink(base::pick(QStringLiteral("Approvals"), QStringLiteral("Kinnitused")),
                            QStringLiteral("/approvals"), parent);
        return items;
    }
    case VantleAgent::lirra:
        return {vantleLink(base::pick(QStringLiteral("Clients"), QStringLiteral("Kliendid")),
                           QStringLiteral("/clients"), parent)};
    case VantleAgent::morvo:
        return {vantleLink(base::pick(QStringLiteral("Projects"), QStringLiteral("Projektid")),
                           QStringLiteral("/projects"), parent)};
    case VantleAgent::pelka:
        return pelkaActions(parent);
    }
    return {};
}

QList<QAction*> StageViewController::pelkaActions(QObject* parent) {
    if (!isPelkaAtHand() || !VantleClient::isConfigured()) {
        return {};
    }
    auto& tracker = TimeTracker::shared();
    // For the next opening; this one shows the state as it stands.
    tracker.refresh();
    QList<QAction*> items;
    if (isTimerUsable()) {
        if (const auto& running = tracker.state->active) {
            items << row(base::pick(QStringLiteral("Stop Timer — "), QStringLiteral("Peata taimer — ")) +
                             base::menuText(running->label()) + QStringLiteral(" · ") +
                             tracker.elapsed().value_or(QString()),
                         parent, this, [](StageViewController& stage) { stage.stopTimer(); });
        } else {
            auto* start = new QAction(
                base::pick(QStringLiteral("Start Timer"), QStringLiteral("Käivita taimer")), parent);
            // The submenu goes with its row: a menu has no QObject parent to take it.
            QMenu* menu = timerStartMenu(nullptr);
            QObject::connect(start, &QObject::destroyed, menu, &QObject::deleteLater);
            start->setMenu(menu);
            items << start;
        }
        items << row(base::pick(QStringLiteral("Log Time…"), QStringLiteral("Logi aega…")), parent, this,
                     [](StageViewController& stage) { stage.logTime(); })
              << row(base::pick(QStringLiteral("Log Today's Time…"), QStringLiteral("Logi tänane aeg…")),
                     parent, this, [](StageViewController& stage) { stage.offerTodaysTime(true); })
              << separator(parent);
    } else if (tracker.state && !tracker.state->enabled && tracker.isAdministrator) {
        items << vantleLink(base::pick(QStringLiteral("Turn On Time Tracking"),
                                       QStringLiteral("Lülita ajaarvestus sisse")),
                            QStringLiteral("/admin?tab=settings"), parent)
              << separator(parent);
    }
    items << row(base::pick(QStringLiteral("I'm Sick…"), QStringLiteral("Olen haige…")), parent, this,
                 [](StageViewController& stage) { stage.confirmSickToday(); })
          << row(base::pick(QStringLiteral("Request Time Off…"), QStringLiteral("Taotle puhkust…")), parent,
                 this, [](StageViewController& stage) { stage.requestTimeOff(); });
    return items;
}

QList<QAction*> StageViewController::reportActions(VantleAgent agent, QObject* parent) {
    // While the workspace hasn't said which agents it runs, Pelka counts as there.
    if (agent != VantleAgent::pelka && isPelkaAtHand()) {
        return {};
    }
    return {row(base::pick(QStringLiteral("Today's Report"), QStringLiteral("Tänane aruanne")), parent, this,
                [](StageViewController& stage) {
                    if (stage.onGenerateReport) {
                        stage.onGenerateReport(base::Clock::now().date());
                    }
                }),
            row(base::pick(QStringLiteral("Open Reports Folder"), QStringLiteral("Ava aruannete kaust")),
                parent, this, [](StageViewController& stage) {
                    if (stage.onOpenReportsFolder) {
                        stage.onOpenReportsFolder();
                    }
                })};
}
