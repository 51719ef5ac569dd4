#include "app/AppDelegate.h"

#include "activity/ActivityRecorder.h"
#include "app/AppEvents.h"
#include "app/AppIdentity.h"
#include "app/HotKey.h"
#include "app/Language.h"
#include "app/Settings.h"
#include "base/Clock.h"
#include "base/Files.h"
#include "base/Text.h"
#include "capture/ClipboardWatcher.h"
#include "character/CharacterSheet.h"
#include "character/CharacterView.h"
#include "character/CharacterWindow.h"
#include "panels/DornReportView.h"
#include "platform/LinkAction.h"
#include "platform/Services.h"
#include "settings/SettingsModel.h"
#include "settings/SettingsView.h"
#include "stage/BalloonSurface.h"
#include "stage/BalloonView.h"
#include "stage/PanelPlacement.h"
#include "stage/StageViewController.h"
#include "time/StatusMenu.h"
#include "time/TimeTracker.h"
#include "workspace/ClientError.h"
#include "workspace/LinkCommands.h"
#include "workspace/VantleClient.h"
#include "workspace/VantleEvents.h"

#include <QApplication>
#include <QCoreApplication>
#include <QScreen>

#include <algorithm>
#include <cstdio>
#include <unistd.h>

AppDelegate::AppDelegate(QObject* parent) : QObject(parent) {
    runLink = [this](const QUrl& url) { LinkCommands::run(url, *this); };
    // The settings window and the tray menu ask through the announcements; they don't know
    // who builds them.
    const auto& events = AppEvents::shared();
    connect(&events, &AppEvents::settingsRequested, this, &AppDelegate::openSettings);
    connect(&events, &AppEvents::vantleRequested, this, &AppDelegate::openVantle);
    connect(&events, &AppEvents::reportRequested, this, &AppDelegate::generateReport);
    connect(&events, &AppEvents::reportsFolderRequested, this, &AppDelegate::openReportsFolder);
    connect(&events, &AppEvents::workspaceDidChange, this, &AppDelegate::workspaceDidChange);
    if (auto* application = QCoreApplication::instance()) {
        connect(application, &QCoreApplication::aboutToQuit, this, &AppDelegate::applicationWillTerminate);
    }
}

AppDelegate::~AppDelegate() {
    delete settingsWindow;
    // The stage takes its view out of the window before the window goes.
    delete stage;
    delete window;
}

void AppDelegate::applicationDidFinishLaunching() {
    Settings::registerDefaults();
    setUpStage();
    setUpStatusMenu();
    setUpShortcuts();
    startVantleEvents();
    ClipboardWatcher::shared().start();
    Language::refreshWorkspaceLanguage();
    observeLanguage();
    startRecording();
    startReports();
    QPointer<AppDelegate> self(this);
    // Pelka's visit at the working day's end; the check itself decides whether it is time.
    dayEnd = base::Scheduler::current().every(300.0, [self] {
        if (self && self->stage) {
            self->stage->dayEndCheck();
        }
    });
    // Links that came early run once everything above stands, in the order they arrived.
    startUpFinish = base::Scheduler::current().after(0, [self] {
        if (!self) {
            return;
        }
        // A first start without a key: the figure says once how to connect it.
        if (self->stage && !VantleClient::isConfigured() && !CharacterSheet::available().isEmpty()) {
            self->stage->announceNotConnected();
        }
        const auto links = self->waitingLinks.value_or(QList<QUrl>{});
        self->waitingLinks.reset();
        for (const auto& url : links) {
            if (!self) {
                return;
            }
            self->runLink(url);
        }
    });
}

void AppDelegate::applicationWillTerminate() {
    closeActivitySpan();
    Settings::sync();
}

void AppDelegate::terminateBySignal() {
    closeActivitySpan();
    Settings::sync();
    std::fflush(nullptr);
    ::_exit(0);
}

void AppDelegate::closeActivitySpan() {
    emit AppEvents::shared().activityEnds(base::Clock::now());
}

void AppDelegate::open(const QList<QUrl>& urls) {
    if (waitingLinks) {
        waitingLinks->append(urls);
        return;
    }
    for (const auto& url : urls) {
        runLink(url);
    }
}

void AppDelegate::generateReport(const QDate& day) {
    reports.generate(day, false);
}

void AppDelegate::openReportsFolder() {
    const QString folder = AppIdentity::supportURL() + QLatin1String("/Reports");
    base::makePrivateFolder(folder);
    if (auto desktop = platform::services().desktop) {
        desktop->open(QUrl::fromLocalFile(folder));
    }
}

void AppDelegate::openVantle() {
    if (const auto url = VantleClient::dashboardURL(QStringLiteral("/"))) {
        platform::openLink(*url);
    }
}

void AppDelegate::workspaceDidChange() {
    // The old token goes first, so that one exchange with the new key serves the stream, the
    // timer and the settings' check alike.
    VantleClient::reset();
    announcedKeyEnded = false;
    Settings::remove(QLatin1String(Settings::Key::keyWorked));
    VantleEvents::shared().restart();
    Language::refreshWorkspaceLanguage();
    TimeTracker::shared().forgetWorkspace();
}

void AppDelegate::openSettings() {
    if (!qobject_cast<QApplication*>(QCoreApplication::instance())) {
        return;
    }
    if (!settingsWindow) {
        // Built once and kept for the run, so a second opening finds it where it was left.
        settingsModel = new SettingsModel(this);
        auto* view = new SettingsView(*settingsModel);
        view->ensurePolished();
        view->fitHeight();
        // Back where the user left it; Qt keeps a restored place on a screen.
        const QByteArray place = Settings::value(QStringLiteral("SettingsWindow")).toByteArray();
        if (place.isEmpty() || !view->restoreGeometry(place)) {
            view->move(view->screen()->availableGeometry().center() - view->rect().center());
        }
        settingsWindow = view;
    }
    // The figure and the panels that open beside it, the balloon and Dorn's report, stay on top
    // of everything: a window under them would have its controls hidden whenever a notice came,
    // so the settings go beside the figure, clear of both.
    if (window && window->isVisible()) {
        const QRect figure = window->frameGeometry();
        const QRect limit = PanelPlacement::limit(figure, window->screen());
        const int widest = std::max(BalloonView::balloonWidth, DornReportView::columnWidth);
        const QRect panels =
            PanelPlacement::panelColumn(figure, limit, widest).marginsAdded(BalloonSurface::shadowMargins());
        const QRect place = settingsWindow->frameGeometry();
        if (place.intersects(figure) || place.intersects(panels)) {
            settingsWindow->move(PanelPlacement::clearOf(figure, panels, limit, place.size()));
        }
    }
    settingsWindow->show();
    settingsWindow->raise();
    settingsWindow->activateWindow();
}

void AppDelegate::setUpStage() {
    // Widgets need a QApplication; under a bare QCoreApplication there is no figure.
    if (!qobject_cast<QApplication*>(QCoreApplication::instance())) {
        return;
    }
    stage = new StageViewController(this);
    window = new CharacterWindow;
    window->setWindowTitle(QLatin1String(AppIdentity::name));
    window->setContentView(&stage->view());

    QPointer<StageViewController> weakStage(stage);
    window->hasPixel = [weakStage](QPointF point) {
        if (!weakStage) {
            return false;
        }
        const CharacterView& view = weakStage->view();
        const auto sheet = view.sheet();
        const auto cell = view.cell();
        if (!sheet || !cell || view.width() <= 0 || view.height() <= 0) {
            return false;
        }
        const QPointF local = view.mapFrom(view.window(), point);
        return sheet->isOpaque(*cell, QPointF(local.x() / view.width(), 1.0 - local.y() / view.height()));
    };
    window->figureRegion = [weakStage] {
        if (!weakStage) {
            return QRegion();
        }
        const CharacterView& view = weakStage->view();
        const auto sheet = view.sheet();
        const auto cell = view.cell();
        if (!sheet || !cell) {
            return QRegion();
        }
        return sheet->opaqueRegion(*cell, view.size()).translated(view.mapTo(view.window(), QPoint()));
    };
    window->onFileDrag = [weakStage](bool active) {
        if (!weakStage) {
            return;
        }
        weakStage->isFileDragActive = active;
        if (!active) {
            weakStage->areFilesOver = false;
        }
        weakStage->updateDropZone();
    };

    QPointer<AppDelegate> self(this);
    stage->onGenerateReport = [self](const QDate& day) {
        if (self) {
            self->generateReport(day);
        }
    };
    stage->onOpenReportsFolder = [self] {
        if (self) {
            self->openReportsFolder();
        }
    };

    const QString frameName = QStringLiteral("CharacterWindow");
    if (!window->setFrameUsingName(frameName)) {
        window->center();
    }
    window->setFrameAutosaveName(frameName);
    // With no characters at all the window stays hidden.
    if (!CharacterSheet::available().isEmpty()) {
        window->makeKeyAndOrderFront();
    }
}

void AppDelegate::setUpStatusMenu() {
    if (!stage) {
        return;
    }
    statusMenu = new StatusMenu(stage, this);
    QPointer<StatusMenu> menu(statusMenu);
    // Without a tray the figure's menu is the only one, so it takes the rows it lacks.
    stage->onContextMenu = [menu](QMenu& figureMenu) {
        if (!menu || StatusMenu::isInTray()) {
            return;
        }
        figureMenu.addSeparator();
        auto* more = figureMenu.addMenu(QLatin1String(AppIdentity::name));
        menu->addRows(*more, StatusMenu::Rows::beyondFigureMenu);
    };
}

void AppDelegate::showAgent() {
    if (stage) {
        stage->appear(false);
    }
}

void AppDelegate::setUpShortcuts() {
    QPointer<AppDelegate> self(this);
    const auto onStage = [self](std::function<void(StageViewController&)> action) {
        return [self, action = std::move(action)] {
            if (self && self->stage) {
                action(*self->stage);
            }
        };
    };
    struct Shortcut {
        unsigned keysym;
        QString name;
        QString description; // in the language in force, for the desktop's list of shortcuts
        std::function<void()> action;
    };
    const auto pick = base::pick;
    std::vector<Shortcut> table;
    table.push_back({HotKey::space, QStringLiteral("Ctrl+Alt+Space"),
                     pick(QStringLiteral("Open or close the chat"), QStringLiteral("Ava või sulge vestlus")),
                     onStage([](StageViewController& s) {
                         if (s.balloonPanel && s.balloonPanel->isActiveWindow()) {
                             s.closeChat();
                         } else {
                             s.openChat(true);
                         }
                     })});
    table.push_back(
        {HotKey::tab, QStringLiteral("Ctrl+Alt+Tab"),
         pick(QStringLiteral("Bring on the next agent"), QStringLiteral("Too välja järgmine agent")),
         onStage([](StageViewController& s) { s.bringOn(s.nextCharacter()); })});
    unsigned key = HotKey::digit1;
    for (const auto agent : VantleAgents::all) {
        const QString id = VantleAgents::rawValue(agent);
        const QString name = VantleAgents::displayName(agent);
        table.push_back({key, QStringLiteral("Ctrl+Alt+") + QChar(QLatin1Char(static_cast<char>(key))),
                         pick(QStringLiteral("Bring on %1"), QStringLiteral("Too välja %1")).arg(name),
                         onStage([id](StageViewController& s) { s.bringOn(id); })});
        ++key;
    }
    const bool canGrab = platform::services().hotKeys != nullptr;
    for (auto& shortcut : table) {
        if (auto* hotKey =
                HotKey::make(shortcut.keysym, shortcut.description, std::move(shortcut.action), this)) {
            shortcuts.push_back(hotKey);
        } else if (canGrab) {
            // Said once, at start-up; the program goes on without this one.
            qInfo().noquote() << shortcut.name +
                                     QStringLiteral(" is held by another program; that shortcut is off.");
        }
    }
}

void AppDelegate::startVantleEvents() {
    auto& events = VantleEvents::shared();
    QPointer<AppDelegate> self(this);
    // Switched off, a notification goes unseen and stays unread in the workspace.
    events.onNotification = [self](const VantleNotification& n) {
        if (self && self->stage && Settings::boolValue(Settings::Key::notifications)) {
            self->stage->showVantleNotification(n);
        }
    };
    events.onNotificationRead = [self](const QString& id) {
        if (self && self->stage) {
            self->stage->notificationRead(id);
        }
    };
    events.onKeyEnded = [self] {
        // A key that never worked was mistyped: the settings window says why, the figure keeps quiet.
        if (!self || self->announcedKeyEnded ||
            !Settings::boolValue(QLatin1String(Settings::Key::keyWorked))) {
            return;
        }
        self->announcedKeyEnded = true;
        if (self->stage) {
            self->stage->notify(
                VantleClient::ClientError::keyEnded().localizedDescription(), QStringLiteral("Alert"), 0,
                base::pick(QStringLiteral("Click to open Settings ›"), QStringLiteral("Ava seaded ›")),
                std::nullopt, BalloonStatus::warning, [] { emit AppEvents::shared().settingsRequested(); });
        }
    };
    events.start();
    if (auto session = platform::services().sessionEvents) {
        // After a sleep the old connection is dead and the token likely stale.
        connect(session.get(), &platform::SessionEvents::didWake, this, [] {
            VantleEvents::shared().restart();
            TimeTracker::shared().refresh();
        });
    }
}

void AppDelegate::startRecording() {
    // Both roads out close the open span through AppEvents::activityEnds, which the recorder hears.
    ActivityRecorder::shared().start();
}

void AppDelegate::startReports() {
    QPointer<AppDelegate> self(this);
    // A report that starts by itself starts silently.
    reports.onStart = [self](const QDate& day, bool automatic) {
        if (self && self->stage && !automatic) {
            self->stage->showReportProgress(day);
        }
    };
    reports.onFinish = [self](const QDate& day, const DailyReport::ReportResult& result, bool automatic) {
        if (!self) {
            return;
        }
        // The tick tries a failed report again every half hour; the user hears of it once a day.
        if (automatic && !result) {
            const QDateTime now = base::Clock::now();
            const auto& last = self->lastAnnouncedReportFailure;
            if (last && last->toLocalTime().date() == now.toLocalTime().date()) {
                return;
            }
            self->lastAnnouncedReportFailure = now;
        }
        if (self->stage) {
            self->stage->showReport(result, day);
        }
    };
    reports.start();
}

void AppDelegate::observeLanguage() {
    QPointer<AppDelegate> self(this);
    connect(&AppEvents::shared(), &AppEvents::languageDidChange, this, [self] {
        if (!self) {
            return;
        }
        if (self->statusMenu) {
            self->statusMenu->showTimer();
        }
    });
}
