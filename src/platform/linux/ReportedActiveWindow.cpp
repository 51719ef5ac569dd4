#include "platform/linux/ReportedActiveWindow.h"

#include "base/Text.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace platform {
namespace {

constexpr qsizetype maxTitleLength = 200;

// The program's own windows live in the X server under the class Qt gives them: the application's
// name, or the executable's.
bool isOwn(const QString& identifier) {
    return identifier.compare(QCoreApplication::applicationName(), Qt::CaseInsensitive) == 0 ||
           identifier.compare(QFileInfo(QCoreApplication::applicationFilePath()).fileName(),
                              Qt::CaseInsensitive) == 0;
}

} // namespace

std::optional<FrontApplication> ReportedActiveWindow::frontmost() {
    if (!front || !canSeeFront()) {
        return std::nullopt;
    }
    FrontApplication out;
    const QString& primary = front->windowClass.isEmpty() ? front->appID : front->windowClass;
    out.identifier = primary.isEmpty() ? front->desktopFile : primary;
    out.pid = front->pid;
    if (out.pid == 0 && (isOwn(front->appID) || isOwn(front->windowClass))) {
        out.pid = QCoreApplication::applicationPid();
    }
    // The desktop entry named by the desktop wins; else the one that claims the class or app id.
    std::optional<QString> name;
    if (!front->desktopFile.isEmpty()) {
        const QString suffix = QStringLiteral(".desktop");
        const QString id = front->desktopFile.endsWith(suffix) ? front->desktopFile.chopped(suffix.size())
                                                               : front->desktopFile;
        name = entries.name(QString(), id, DesktopEntries::desktopLanguage());
    }
    if (!name) {
        name = entries.name(primary, front->appID, DesktopEntries::desktopLanguage());
    }
    out.name = name.value_or(out.identifier);
    return out;
}

std::optional<QString> ReportedActiveWindow::focusedWindowTitle() {
    if (!front || !canSeeFront()) {
        return std::nullopt;
    }
    const QString title = front->title.trimmed();
    if (title.isEmpty()) {
        return std::nullopt;
    }
    return base::truncated(title, maxTitleLength);
}

bool ReportedActiveWindow::canSeeFront() {
    return seen.reach == Sight::Reach::allWindows;
}

void ReportedActiveWindow::activated(std::optional<Window> window) {
    front = std::move(window);
    if (front && onActivate) {
        onActivate();
    }
}

void ReportedActiveWindow::retitled(const QString& title) {
    if (front) {
        front->title = title;
    }
}

void ReportedActiveWindow::setSight(Sight sight) {
    if (sight == seen) {
        return;
    }
    seen = sight;
    if (!canSeeFront()) {
        front.reset();
    }
    if (onSightChange) {
        onSightChange();
    }
}

} // namespace platform
