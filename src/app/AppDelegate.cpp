#include "app/AppDelegate.h"

#include "app/AppEvents.h"
#include "app/AppIdentity.h"
#include "app/Language.h"
#include "app/Settings.h"
#include "app/TerminationSignal.h"
#include "base/Text.h"
#include "platform/Services.h"
#include "workspace/LinkCommands.h"
#include "workspace/VantleEvents.h"

#include <QCoreApplication>
#include <QDir>

AppDelegate::AppDelegate(QObject* parent) : QObject(parent) {
    runLink = [this](const QUrl& url) { LinkCommands::run(url, *this); };
}

AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching() {
    Settings::registerDefaults();
    setUpStage();
    setUpShortcuts();
    startVantleEvents();
    Language::refreshWorkspaceLanguage();
    observeLanguage();
    startRecording();
    QPointer<AppDelegate> self(this);
    // Links that came early run once everything above stands, in the order they arrived.
    startUpFinish = base::Scheduler::current().after(0, [self] {
        if (!self) {
            return;
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
    Settings::sync();
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

QString AppDelegate::settingsTitle() const {
    return base::pick(QStringLiteral("Mirk Vantle Agents Settings"),
                      QStringLiteral("Mirk Vantle Agents seaded"));
}

void AppDelegate::openReportsFolder() {
    const QString folder = AppIdentity::supportURL() + QLatin1String("/Reports");
    QDir().mkpath(folder);
    if (auto desktop = platform::services().desktop) {
        desktop->open(QUrl::fromLocalFile(folder));
    }
}

// TODO(#4): the figure's stage and window.
void AppDelegate::setUpStage() {}

// TODO(#4): the global shortcuts.
void AppDelegate::setUpShortcuts() {}

void AppDelegate::startVantleEvents() {
    auto& events = VantleEvents::shared();
    QPointer<AppDelegate> self(this);
    events.onKeyEnded = [self] {
        if (!self || self->announcedKeyEnded) {
            return;
        }
        self->announcedKeyEnded = true;
        // TODO(#6): the stage says that the key has ended, with a way to the settings.
    };
    events.start();
    if (auto session = platform::services().sessionEvents) {
        // After a sleep the old connection is dead and the token likely stale.
        session->onWake = [] { VantleEvents::shared().restart(); };
    }
}

void AppDelegate::observeLanguage() {
    QPointer<AppDelegate> self(this);
    connect(&AppEvents::shared(), &AppEvents::languageDidChange, this, [self] {
        if (self && self->settingsWindow) {
            self->settingsWindow->setWindowTitle(self->settingsTitle());
        }
    });
}

void AppDelegate::startRecording() {
    // The end by SIGTERM: settings reach the disk and the loop ends with status 0, without the
    // quit item's road.
    TerminationSignal::install([] {
        Settings::sync();
        QCoreApplication::exit(0);
    });
}
