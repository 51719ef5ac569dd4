#include "stage/StageViewController.h"

#include "app/AppEvents.h"
#include "app/HotKey.h"
#include "app/Settings.h"
#include "base/Clock.h"
#include "base/Text.h"
#include "character/CharacterPlayer.h"
#include "character/CharacterSheet.h"
#include "character/CharacterView.h"
#include "character/CharacterWindow.h"
#include "stage/CharactersMenu.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QScreen>

#include <algorithm>
#include <cmath>

StageViewController::StageViewController(QObject* parent)
    : QObject(parent), characterView(new CharacterView),
      characterPlayer(std::make_unique<CharacterPlayer>(*characterView)) {
    characterPlayer->delegate = this;
    characterView->installEventFilter(this);

    QPointer<StageViewController> self(this);
    characterView->onDoubleClick = [self] {
        if (self) {
            self->player().playSomething();
        }
    };
    characterView->onContextMenu = [self](QPoint at) {
        if (self) {
            self->showContextMenu(at);
        }
    };
    characterView->onDragEnded = [self] {
        if (self) {
            self->noteInteraction();
            if (auto* w = self->window()) {
                w->keepOnScreen();
            }
        }
    };
    characterView->onPoseChange = [self] {
        if (self && self->window()) {
            self->window()->poseDidChange();
        }
    };
    characterView->onFilesOver = [self](bool over) {
        if (self) {
            self->areFilesOver = over;
            self->updateDropZone();
        }
    };
    characterView->onDrop = [self](const QMimeData* data) { return self && self->receiveDrop(data); };
    connect(&AppEvents::shared(), &AppEvents::settingsDidChange, this, [this] {
        if (const auto sheet = player().sheet()) {
            applySize(*sheet);
        }
    });
}

StageViewController::~StageViewController() {
    characterPlayer.reset();
    if (characterView) {
        characterView->removeEventFilter(this);
        delete characterView;
    }
}

CharacterWindow* StageViewController::window() const {
    return characterView ? qobject_cast<CharacterWindow*>(characterView->window()) : nullptr;
}

VantleAgent StageViewController::vantleAgent() const {
    const auto sheet = player().sheet();
    const QString raw =
        sheet ? sheet->definition.id : Settings::stringValue(QLatin1String(Settings::Key::lastUsedAgent));
    return VantleAgents::fromRawValue(raw).value_or(VantleAgent::dorn);
}

void StageViewController::noteInteraction() {
    player().lastInteraction = base::Clock::now();
    player().scheduleIdle(30.0);
}

bool StageViewController::eventFilter(QObject* watched, QEvent* event) {
    // The type first: a view being destroyed still sends events, and then is no CharacterView.
    const auto type = event->type();
    if (type == QEvent::Show && !event->spontaneous() && watched == characterView) {
        viewDidAppear();
    } else if (type == QEvent::KeyPress && watched == characterView) {
        return keyDown(static_cast<QKeyEvent*>(event)->key());
    }
    return QObject::eventFilter(watched, event);
}

void StageViewController::viewDidAppear() {
    characterView->setFocus();
    if (player().sheet()) {
        return;
    }
    const auto available = CharacterSheet::available();
    const QString last = Settings::stringValue(QLatin1String(Settings::Key::lastUsedAgent));
    const QString id = !last.isEmpty() && available.contains(last) ? last : available.value(0);
    if (id.isEmpty()) {
        return;
    }
    // A first choice that fails to load leaves the stage empty; no other is tried.
    if (player().switchTo(id)) {
        playerWantsToAppear(player());
    }
}

void StageViewController::playerWantsToAppear(CharacterPlayer& p) {
    if (auto* w = window()) {
        w->makeKeyAndOrderFront();
    }
    p.isHidden = false;
    noteInteraction();
    p.play({QStringLiteral("Show")});
}

void StageViewController::playerWantsToDisappear(CharacterPlayer& p) {
    closeChat();
    closeReport();
    QPointer<StageViewController> self(this);
    // Leaves at once when the character has no "Hide".
    p.play({QStringLiteral("Hide")}, false, [self] {
        if (!self) {
            return;
        }
        self->player().isHidden = true;
        if (auto* w = self->window()) {
            w->orderOut();
        }
    });
}

void StageViewController::playerWillSwitchTo(CharacterPlayer&, const CharacterSheet& sheet) {
    closeChat();
    if (auto* w = window()) {
        w->setWindowTitle(sheet.definition.name);
    }
    applySize(sheet);
}

void StageViewController::playerDidSwitchTo(CharacterPlayer&, const CharacterSheet& sheet) {
    Settings::setValue(QLatin1String(Settings::Key::lastUsedAgent), sheet.definition.id);
    chatSession.setAgent(VantleAgents::fromRawValue(sheet.definition.id).value_or(VantleAgent::dorn));
}

void StageViewController::appear(bool entrance) {
    auto* w = window();
    if (!entrance && !player().isHidden && w && w->isVisible()) {
        w->makeKeyAndOrderFront();
        return;
    }
    playerWantsToAppear(player());
}

void StageViewController::bringOn(const QString& id, std::function<void()> then) {
    const auto done = [&then] {
        if (then) {
            then();
        }
    };
    if (!CharacterSheet::available().contains(id)) {
        done();
        return;
    }
    // The agent that leaves is already on its way out; only the one to arrive changes.
    if (handOver) {
        handOver->target = id;
        if (then) {
            handOver->arrivals.push_back(std::move(then));
        }
        return;
    }
    auto& p = player();
    const auto sheet = p.sheet();
    if (sheet && sheet->definition.id == id) {
        appear(false);
        done();
        return;
    }
    auto* w = window();
    if (!p.isHidden && w && w->isVisible() && sheet) {
        handOver = HandOver{id, {}};
        if (then) {
            handOver->arrivals.push_back(std::move(then));
        }
        closeChat();
        QPointer<StageViewController> self(this);
        play(QStringLiteral("Hide"), [self] {
            if (self) {
                self->stepIn();
            }
        });
        return;
    }
    if (p.switchTo(id)) {
        playerWantsToAppear(p);
    }
    done();
}

void StageViewController::stepIn() {
    if (!handOver) {
        return;
    }
    auto arrivals = std::move(handOver->arrivals);
    const QString target = handOver->target;
    handOver.reset();
    QPointer<StageViewController> self(this);
    // Those who waited for the figure go first; then what waits for the balloon.
    auto arrive = [self, arrivals = std::move(arrivals)] {
        for (const auto& arrival : arrivals) {
            arrival();
        }
        if (self) {
            self->scheduleNextNotice();
        }
    };
    // A character that fails to load leaves the last one standing; those who wait are served.
    if (!player().switchTo(target)) {
        arrive();
        return;
    }
    play(QStringLiteral("Show"), std::move(arrive));
}

void StageViewController::play(const QString& name, std::function<void()> then) {
    auto pending = std::make_shared<std::function<void()>>(std::move(then));
    auto once = [pending] {
        if (*pending) {
            auto run = std::move(*pending);
            *pending = nullptr;
            run();
        }
    };
    double seconds = 0;
    if (const auto sheet = player().sheet()) {
        for (const auto& step : sheet->animation(name).value_or(QVector<Step>{})) {
            seconds += step.ms / 1000.0;
        }
    }
    player().play({name}, false, once);
    safetyTimers.remove_if([](const base::Timer& timer) { return !timer.isActive(); });
    safetyTimers.push_back(base::Scheduler::current().after(seconds + 0.3, once));
}

QString StageViewController::nextCharacter() const {
    const auto available = CharacterSheet::available();
    QString current;
    if (handOver) {
        current = handOver->target;
    } else if (const auto sheet = player().sheet()) {
        current = sheet->definition.id;
    }
    const auto index = available.indexOf(current);
    if (current.isEmpty() || index < 0) {
        return available.value(0);
    }
    return available.at((index + 1) % available.size());
}

void StageViewController::applySize(const CharacterSheet& sheet) {
    auto* w = window();
    if (!w) {
        return;
    }
    double scale = Settings::doubleValue(QLatin1String(Settings::Key::scale));
    if (!(scale > 0)) {
        scale = 1.0;
    }
    const int width = static_cast<int>(std::lround(sheet.definition.width * scale));
    const int height = static_cast<int>(std::lround(sheet.definition.height * scale));
    const QRect old = w->geometry();
    // The figure keeps its middle and grows upward from its feet; at first use it has neither.
    int x =
        old.width() > 0 ? static_cast<int>(std::lround(old.x() + old.width() / 2.0 - width / 2.0)) : old.x();
    int top = old.y() + old.height() - height;
    if (const auto* display = w->screen()) {
        const QRect area = display->availableGeometry();
        x = std::min(std::max(x, area.x()), area.x() + area.width() - width);
        // Too tall for the screen: the head stays in view.
        top = std::max(std::min(top, area.y() + area.height() - height), area.y());
    }
    const bool animate = old.width() > 0 && w->isVisible();
    // The balloon follows the window's new frame by itself.
    w->setFrame(QRect(x, top, width, height), animate ? 0.2 : 0);
}

void StageViewController::move(QPoint to) {
    auto* w = window();
    if (!w) {
        return;
    }
    noteInteraction();
    const QRect frame = w->geometry();
    const double distance = std::hypot(to.x() - frame.x(), to.y() - frame.y());
    if (!(distance > 1.0)) {
        return;
    }
    w->setFrame(QRect(to, frame.size()), std::clamp(distance / 500.0, 0.3, 3.0), QEasingCurve::InOutQuad);
}

bool StageViewController::keyDown(int key) {
    noteInteraction();
    switch (key) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        bringOn(nextCharacter());
        return true;
    case Qt::Key_Escape:
        closeChat();
        closeReport();
        return true;
    case Qt::Key_Space:
        player().playSomething();
        return true;
    default:
        return false;
    }
}

void StageViewController::showContextMenu(QPoint at) {
    if (!player().sheet()) {
        return;
    }
    noteInteraction();
    auto* menu = new QMenu;
    menu->setAttribute(Qt::WA_DeleteOnClose);
    QPointer<StageViewController> self(this);
    const VantleAgent agent = vantleAgent();
    static const char* const estonianChat[] = {"Vestle Dorniga…", "Vestle Lirraga…", "Vestle Morvoga…",
                                               "Vestle Pelkaga…"};
    auto* chat = menu->addAction(
        base::pick(QStringLiteral("Chat with ") + VantleAgents::displayName(agent) + QStringLiteral("…"),
                   QString::fromUtf8(estonianChat[static_cast<int>(agent)])),
        menu, [self] {
            if (self) {
                self->openChat(true);
            }
        });
    HotKey::showOn(*chat, HotKey::space);
    menu->addAction(base::pick(QStringLiteral("New Conversation"), QStringLiteral("Uus vestlus")), menu,
                    [self] {
                        if (self) {
                            self->chatSession.setAgent(self->vantleAgent());
                            self->chatSession.reset();
                            self->openChat(true);
                        }
                    });
    if (const auto own = ownActions(agent, menu); !own.isEmpty()) {
        menu->addSeparator();
        menu->addActions(own);
    }
    if (const auto reports = reportActions(agent, menu); !reports.isEmpty()) {
        menu->addSeparator();
        menu->addActions(reports);
    }
    menu->addSeparator();
    auto* agents = CharactersMenu::make(
        player().sheet()->definition.id,
        [self](const QString& id) {
            if (self) {
                self->bringOn(id);
            }
        },
        menu);
    agents->setTitle(base::pick(QStringLiteral("Choose Agent"), QStringLiteral("Vali agent")));
    menu->addMenu(agents);
    menu->addAction(base::pick(QStringLiteral("Settings…"), QStringLiteral("Seaded…")), menu,
                    [] { emit AppEvents::shared().settingsRequested(); });
    menu->addAction(base::pick(QStringLiteral("Hide"), QStringLiteral("Peida")), menu, [self] {
        if (self) {
            self->playerWantsToDisappear(self->player());
        }
    });
    if (onContextMenu) {
        onContextMenu(*menu);
    }
    menu->popup(at);
}
