#include "activity/ActivityRecorder.h"

#include "app/AppEvents.h"
#include "app/AppIdentity.h"
#include "app/Settings.h"
#include "base/Clock.h"
#include "base/Files.h"
#include "platform/Services.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QPointer>
#include <QSet>

namespace {

constexpr double sampleInterval = 20;
// Samples further apart than this mean the program did not run in between (a sleep the session
// did not announce, a stopped process): nobody saw what the user did then.
constexpr qint64 sampleGapLimit = 3 * static_cast<qint64>(sampleInterval);
// Longer without input than this, and the user has left; the span ends at the last input.
constexpr double idleLimit = 300;
// A steady span is closed and a new one begun after this long, which bounds what a crash loses.
constexpr qint64 spanLimit = 120;
constexpr int keptDays = 30;

// Window classes of screen lockers, lowercased: with one of them in front nobody is working.
const QSet<QString>& awayBundleIDs() {
    static const QSet<QString> ids{QStringLiteral("xscreensaver"),
                                   QStringLiteral("i3lock"),
                                   QStringLiteral("xsecurelock"),
                                   QStringLiteral("light-locker"),
                                   QStringLiteral("slock"),
                                   QStringLiteral("xlock"),
                                   QStringLiteral("gnome-screensaver"),
                                   QStringLiteral("cinnamon-screensaver"),
                                   QStringLiteral("mate-screensaver"),
                                   QStringLiteral("xfce4-screensaver"),
                                   QStringLiteral("xss-lock"),
                                   QStringLiteral("kscreenlocker_greet"),
                                   QStringLiteral("swaylock"),
                                   QStringLiteral("lightdm-gtk-greeter")};
    return ids;
}

bool isAway(const std::optional<QString>& id) {
    return id && awayBundleIDs().contains(id->toLower());
}

bool isExcluded(const QString& id) {
    const QStringList excluded = Settings::stringListValue(QLatin1String(Settings::Key::excludedApps));
    return std::any_of(excluded.begin(), excluded.end(), [&id](const QString& entry) {
        return entry.trimmed().compare(id, Qt::CaseInsensitive) == 0;
    });
}

QString activityFolder() {
    return AppIdentity::supportURL() + QStringLiteral("/Activity");
}

QDate dayOf(const QDateTime& moment) {
    return moment.toLocalTime().date();
}

} // namespace

ActivityRecorder::ActivityRecorder(QObject* parent) : QObject(parent) {}

ActivityRecorder& ActivityRecorder::shared() {
    static auto* recorder = new ActivityRecorder;
    return *recorder;
}

QString ActivityRecorder::fileURL(const QDate& day) {
    return activityFolder() + QLatin1Char('/') + ActivityLog::dayName(day) + QStringLiteral(".jsonl");
}

void ActivityRecorder::start() {
    if (timer.isActive()) {
        return;
    }
    base::makePrivateFolder(activityFolder());
    deleteOldLogs();
    QPointer<ActivityRecorder> self(this);
    timer = base::Scheduler::current().every(sampleInterval, [self] {
        if (self) {
            self->sample();
        }
    });
    const auto& services = platform::services();
    if (services.activeWindow) {
        services.activeWindow->onActivate = [self] {
            if (self) {
                self->sample();
            }
        };
        services.activeWindow->onSightChange = [self] {
            if (self) {
                self->sample();
                emit self->sightChanged();
            }
        };
    }
    if (auto events = services.sessionEvents) {
        connect(events.get(), &platform::SessionEvents::willSleep, this,
                [this] { closeCurrent(base::Clock::now()); });
        connect(events.get(), &platform::SessionEvents::activeChanged, this, [this](bool active) {
            if (!active) {
                closeCurrent(base::Clock::now());
            }
        });
    }
    connect(&AppEvents::shared(), &AppEvents::activityEnds, this, &ActivityRecorder::closeCurrent);
    sample();
}

void ActivityRecorder::sample() {
    const QDateTime now = base::Clock::now();
    // The open span ends where it was last seen, not where the program woke up.
    if (current && current->end.secsTo(now) > sampleGapLimit) {
        const QDateTime lastSeen = current->end; // a copy: closing ends the span it lives in
        closeCurrent(lastSeen);
    }
    if (!Settings::boolValue(QLatin1String(Settings::Key::recordActivity))) {
        closeCurrent(now);
        return;
    }
    const auto& services = platform::services();
    const double idle = services.idleTime ? services.idleTime->secondsSinceLastInput() : 0;
    if (idle > idleLimit) {
        closeCurrent(now.addMSecs(-static_cast<qint64>(idle * 1000)));
        return;
    }
    // A locked session, another user's session or a blanked screen: nobody is working here.
    const bool sessionAway = services.sessionEvents && !services.sessionEvents->isSessionActive();
    if (sessionAway || (services.idleTime && services.idleTime->isScreenSaverOn())) {
        closeCurrent(now);
        return;
    }
    const auto window = services.activeWindow;
    // What can't be seen isn't guessed: the time goes to no application rather than the last one.
    // Without X at all, nothing is ever seen.
    setSeesFront(window && window->canSeeFront());
    if (!seesFront) {
        closeCurrent(now);
        return;
    }
    const auto front = window->frontmost();
    if (!front) {
        return;
    }
    const auto bundleID = front->identifier.isEmpty() ? std::nullopt : std::optional(front->identifier);
    if (isAway(bundleID) || (bundleID && isExcluded(*bundleID))) {
        closeCurrent(now);
        return;
    }
    // Time in this program's own windows goes on the span of the application the user came from.
    if (front->pid > 0 && front->pid == QCoreApplication::applicationPid()) {
        if (current) {
            current->end = now;
        }
        return;
    }
    const QString name =
        !front->name.isEmpty() ? front->name : bundleID.value_or(QStringLiteral("Unknown app"));
    std::optional<QString> title;
    if (Settings::boolValue(QLatin1String(Settings::Key::recordWindowTitles))) {
        title = window->focusedWindowTitle();
    }
    if (current && current->bundleID == bundleID && current->title == title &&
        current->start.msecsTo(now) < spanLimit * 1000 && dayOf(current->start) == dayOf(now)) {
        current->end = now;
        return;
    }
    closeCurrent(now);
    current = ActivitySpan{now, now, name, bundleID, title};
}

platform::Sight ActivityRecorder::sight() {
    const auto window = platform::services().activeWindow;
    return window ? window->sight()
                  : platform::Sight{platform::Sight::Reach::nothing, platform::Sight::Cause::none};
}

void ActivityRecorder::setSeesFront(bool sees) {
    if (seesFront != sees) {
        seesFront = sees;
        emit canSeeApplicationsChanged(sees);
    }
}

void ActivityRecorder::closeCurrent(const QDateTime& at) {
    if (!current) {
        return;
    }
    ActivitySpan span = *std::exchange(current, std::nullopt);
    span.end = std::max(std::min(at, base::Clock::now()), span.start);
    if (span.start.secsTo(span.end) >= 1) {
        append(span);
    }
}

void ActivityRecorder::append(const ActivitySpan& span) {
    QFile file(fileURL(dayOf(span.start)));
    const auto mode = QIODevice::ReadWrite | QIODevice::Append;
    const auto privateFile = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
    if (!file.open(mode, privateFile)) {
        // The folder may have gone while the program ran.
        if (!base::makePrivateFolder(activityFolder()) || !file.open(mode, privateFile)) {
            return;
        }
    }
    // A log left readable to others, by an older version or by hand, is the user's alone again.
    if (file.permissions() != privateFile) {
        file.setPermissions(privateFile);
    }
    const qint64 size = file.size();
    QByteArray line = ActivityLog::encode(span) + '\n';
    // A line cut short by a crash or a full disk gets its own end, so it costs only itself.
    if (size > 0 && file.seek(size - 1) && file.read(1) != "\n") {
        line.prepend('\n');
    }
    file.seek(size);
    if (file.write(line) != line.size() || !file.flush()) {
        file.resize(size);
    }
}

QList<ActivitySpan> ActivityRecorder::spans(const QDate& day) const {
    QList<ActivitySpan> out = loggedSpans(day);
    if (const auto open = openSpan(day)) {
        out.append(*open);
    }
    return out;
}

QList<ActivitySpan> ActivityRecorder::loggedSpans(const QDate& day) {
    QList<ActivitySpan> out;
    QFile file(fileURL(day));
    if (!file.open(QIODevice::ReadOnly)) {
        return out;
    }
    // JSON escapes line breaks inside strings, so a raw one only ever ends a line.
    const QByteArray all = file.readAll().replace('\r', '\n');
    for (const QByteArray& piece : all.split('\n')) {
        auto span = ActivityLog::decode(piece);
        if (span && !isAway(span->bundleID)) {
            out.append(*span);
        }
    }
    return out;
}

std::optional<ActivitySpan> ActivityRecorder::openSpan(const QDate& day) const {
    if (current && dayOf(current->start) == day) {
        return current;
    }
    return std::nullopt;
}

void ActivityRecorder::deleteOldLogs() {
    const QDateTime cutoff = base::Clock::now().toLocalTime().addDays(-keptDays);
    QDir folder(activityFolder());
    const QStringList names = folder.entryList({QStringLiteral("*.jsonl")}, QDir::Files);
    for (const QString& name : names) {
        const auto day = ActivityLog::dayFromName(name.chopped(6));
        if (day && day->startOfDay() < cutoff) {
            folder.remove(name);
        }
    }
}
