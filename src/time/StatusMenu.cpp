#include "time/StatusMenu.h"

#include "app/AppEvents.h"
#include "app/AppIdentity.h"
#include "app/HotKey.h"
#include "app/Settings.h"
#include "base/Text.h"
#include "character/CharacterPlayer.h"
#include "character/CharacterSheet.h"
#include "stage/CharactersMenu.h"
#include "stage/StageViewController.h"
#include "time/TimeTracker.h"
#include "time/TrayArtwork.h"
#include "workspace/VantleClient.h"

#include <QCoreApplication>
#include <QCursor>

StatusMenu::StatusMenu(StageViewController* s, QObject* parent)
    : QObject(parent), timer(TimeTracker::shared()), stageController(s) {
    menu.setTitle(QLatin1String(AppIdentity::name));
    item.setIcon(TrayArtwork::icon(false, 0));
    item.setToolTip(QLatin1String(AppIdentity::name));
    connect(&menu, &QMenu::aboutToShow, this, &StatusMenu::menuNeedsUpdate);
    item.setContextMenu(&menu);
    // A left click opens the same menu, as a click on the item does elsewhere.
    connect(&item, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger && !menu.isVisible()) {
            menu.popup(QCursor::pos());
        }
    });
    // Shown even while no tray exists: the icon takes its place as soon as one appears.
    item.show();

    QPointer<StatusMenu> self(this);
    timer.onChange = [self] {
        if (self) {
            self->showTimer();
        }
    };
    timer.start();
    if (stageController) {
        connect(stageController, &StageViewController::waitingChanged, this, &StatusMenu::showTimer);
    }
    showTimer();
}

int StatusMenu::waitingCount() const {
    return stageController ? stageController->waitingCount() : 0;
}

StatusMenu::~StatusMenu() {
    timer.onChange = nullptr;
}

bool StatusMenu::isInTray() {
    return QSystemTrayIcon::isSystemTrayAvailable();
}

void StatusMenu::showTimer() {
    const auto title = timer.runningTitle();
    QString tip;
    if (title != std::nullopt) {
        // The project once, whole: the icon's title may have cut it.
        tip = QLatin1String(AppIdentity::name) + QLatin1Char('\n') +
              base::pick(QStringLiteral("Timer: "), QStringLiteral("Taimer: ")) +
              timer.elapsed().value_or(QString()) + QStringLiteral(" · ") + timer.state->active->label();
    } else if (!VantleClient::isConfigured()) {
        tip = QLatin1String(AppIdentity::name) + QLatin1Char('\n') +
              base::pick(QStringLiteral("Not connected to Vantle"), QStringLiteral("Vantlega ühendamata"));
    } else {
        tip = QLatin1String(AppIdentity::name);
    }
    const int waiting = waitingCount();
    if (waiting > 0) {
        tip += QLatin1Char('\n') +
               base::pick(QStringLiteral("Waiting: %1"), QStringLiteral("Ootel: %1")).arg(waiting);
    }
    item.setToolTip(tip);
    const bool running = title.has_value();
    if (running != showsRunning || waiting != showsWaiting) {
        showsRunning = running;
        showsWaiting = waiting;
        item.setIcon(TrayArtwork::icon(running, waiting));
    }
}

void StatusMenu::menuNeedsUpdate() {
    menu.clear();
    // The submenus are the menu's children rather than actions it owns, so clear() leaves them.
    qDeleteAll(menu.findChildren<QMenu*>(QString(), Qt::FindDirectChildrenOnly));
    // Seen at the next opening or the next redraw; this one shows what is known now.
    timer.refresh();
    addRows(menu, Rows::all);
}

void StatusMenu::addRows(QMenu& to, Rows rows) {
    QPointer<StatusMenu> self(this);
    const QPointer<StageViewController> stage = stageController;
    const bool all = rows == Rows::all;
    const auto onStage = [stage](std::function<void(StageViewController&)> action) {
        return [stage, action = std::move(action)] {
            if (stage) {
                action(*stage);
            }
        };
    };

    // What waits for the balloon, the next one shown at once.
    if (const int waiting = waitingCount(); waiting > 0) {
        to.addAction(base::pick(QStringLiteral("Waiting (%1)"), QStringLiteral("Ootel (%1)")).arg(waiting),
                     &to, onStage([](StageViewController& s) { s.showNextWaiting(); }));
        to.addSeparator();
    }

    if (all) {
        auto* chat = to.addAction(base::pick(QStringLiteral("Chat…"), QStringLiteral("Vestle…")), &to,
                                  onStage([](StageViewController& s) { s.openChat(true); }));
        HotKey::showOn(*chat, HotKey::space);
        to.addAction(base::pick(QStringLiteral("New Conversation"), QStringLiteral("Uus vestlus")), &to,
                     onStage([](StageViewController& s) {
                         s.chatSession.setAgent(s.vantleAgent());
                         s.chatSession.reset();
                         s.openChat(true);
                     }));
    }

    const auto& state = timer.state;
    if (VantleClient::isConfigured() && state && state->enabled) {
        if (all) {
            to.addSeparator();
        }
        if (state->active) {
            to.addAction(base::pick(QStringLiteral("Stop Timer — "), QStringLiteral("Peata taimer — ")) +
                             base::menuText(state->active->label()) + QStringLiteral(" · ") +
                             timer.elapsed().value_or(QString()),
                         &to, onStage([](StageViewController& s) { s.stopTimer(); }));
        } else if (stage) {
            auto* start = stage->timerStartMenu(&to);
            start->setTitle(base::pick(QStringLiteral("Start Timer"), QStringLiteral("Käivita taimer")));
            to.addMenu(start);
        }
        if (!all) {
            to.addSeparator();
        }
    }

    if (all) {
        to.addSeparator();
        std::optional<QString> current;
        if (stage && stage->player().sheet()) {
            current = stage->player().sheet()->definition.id;
        } else if (Settings::contains(QLatin1String(Settings::Key::lastUsedAgent))) {
            current = Settings::stringValue(QLatin1String(Settings::Key::lastUsedAgent));
        }
        to.addMenu(CharactersMenu::make(
            current,
            [stage](const QString& id) {
                if (stage) {
                    stage->bringOn(id);
                }
            },
            &to));
        if (stage && !stage->player().isHidden) {
            to.addAction(base::pick(QStringLiteral("Hide Agent"), QStringLiteral("Peida agent")), &to,
                         onStage([](StageViewController& s) { s.playerWantsToDisappear(s.player()); }));
        } else {
            to.addAction(base::pick(QStringLiteral("Show Agent"), QStringLiteral("Näita agenti")), &to,
                         onStage([](StageViewController& s) { s.appear(false); }));
        }
        to.addSeparator();
    }

    to.addAction(base::pick(QStringLiteral("Open Vantle"), QStringLiteral("Ava Vantle")), &to,
                 [] { emit AppEvents::shared().vantleRequested(); });
    auto* mute = to.addAction(base::pick(QStringLiteral("Mute Sounds"), QStringLiteral("Vaigista helid")),
                              &to, [self] {
                                  if (self) {
                                      self->toggleMute();
                                  }
                              });
    mute->setCheckable(true);
    mute->setChecked(Settings::boolValue(QLatin1String(Settings::Key::isMuted)));
    if (all) {
        // No key beside Settings… and Quit: outside the open menu no key reaches them.
        to.addAction(base::pick(QStringLiteral("Settings…"), QStringLiteral("Seaded…")), &to,
                     [] { emit AppEvents::shared().settingsRequested(); });
    }
    to.addSeparator();
    to.addAction(
        base::pick(QStringLiteral("Quit Mirk Vantle Agents"), QStringLiteral("Sulge Mirk Vantle Agents")),
        &to, [] { QCoreApplication::quit(); });
}

void StatusMenu::toggleMute() {
    StageViewController* stage = stageController;
    if (!stage) {
        return;
    }
    CharacterPlayer& player = stage->player();
    player.setMuted(!player.isMuted);
    Settings::setValue(QLatin1String(Settings::Key::isMuted), player.isMuted);
    if (player.isMuted) {
        stage->stopSpeaking();
    }
}
