#include "platform/linux/DesktopSession.h"

#include <QStringList>

namespace platform {

DesktopSession DesktopSession::fromEnvironment() {
    return from(qEnvironmentVariable("XDG_SESSION_TYPE"), qEnvironmentVariable("WAYLAND_DISPLAY"),
                qEnvironmentVariable("XDG_CURRENT_DESKTOP"));
}

DesktopSession DesktopSession::from(const QString& sessionType, const QString& waylandDisplay,
                                    const QString& currentDesktop) {
    // A session that says it is X11 is, even when a Wayland compositor was left running beside it.
    const QString type = sessionType.trimmed().toLower();
    const bool wayland = type == QLatin1String("wayland") || (type.isEmpty() && !waylandDisplay.isEmpty());
    if (!wayland) {
        return {Kind::x11};
    }
    const QStringList desktops = currentDesktop.toLower().split(QLatin1Char(':'), Qt::SkipEmptyParts);
    if (desktops.contains(QLatin1String("gnome"))) {
        return {Kind::gnome};
    }
    if (desktops.contains(QLatin1String("kde"))) {
        return {Kind::kde};
    }
    return {Kind::otherWayland};
}

} // namespace platform
