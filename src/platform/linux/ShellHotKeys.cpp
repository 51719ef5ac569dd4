#include "platform/linux/ShellHotKeys.h"

#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QtDebug>

namespace platform {
namespace {

const QString serviceName = QStringLiteral("app.mirkvantle.Agents");
const QString objectPath = QStringLiteral("/app/mirkvantle/Agents/Shortcuts");
// The extension's own name on the bus, there while it is on.
const QString extensionService = QStringLiteral("app.mirkvantle.Agents.Shell");

} // namespace

ShellHotKeys::ShellHotKeys(QDBusConnection b)
    : bus(std::move(b)), extension(extensionService, bus, QDBusServiceWatcher::WatchForOwnerChange) {
    bus.registerObject(objectPath, this, QDBusConnection::ExportScriptableSlots);
    // One copy runs per user, so the name is free unless a copy that is quitting still holds it.
    if (!bus.registerService(serviceName)) {
        qInfo("The shortcuts' name on the session bus is taken; the shortcuts are off.");
    }
}

ShellHotKeys::~ShellHotKeys() {
    bus.unregisterService(serviceName);
    bus.unregisterObject(objectPath);
}

QString ShellHotKeys::actionName(unsigned keysym) {
    if (keysym == 0x20) {
        return QStringLiteral("chat");
    }
    if (keysym == 0xff09) {
        return QStringLiteral("next-agent");
    }
    if (keysym >= 0x31 && keysym <= 0x34) {
        return QStringLiteral("agent-%1").arg(keysym - 0x30);
    }
    return {};
}

int ShellHotKeys::grab(unsigned keysym, const QString&, std::function<void()> fn) {
    const QString action = actionName(keysym);
    if (action.isEmpty()) {
        return 0;
    }
    const int id = next++;
    grabbed.insert(id, {action, std::move(fn)});
    return id;
}

void ShellHotKeys::release(int id) {
    grabbed.remove(id);
}

bool ShellHotKeys::works(int) {
    return bus.interface() && bus.interface()->isServiceRegistered(extensionService);
}

void ShellHotKeys::Activate(const QString& action) {
    // Only the shell presses keys; another program calling in is ignored.
    if (calledFromDBus()) {
        const auto shell = bus.interface() ? bus.interface()->serviceOwner(QStringLiteral("org.gnome.Shell"))
                                           : QDBusReply<QString>();
        if (!shell.isValid() || shell.value() != message().service()) {
            return;
        }
    }
    for (const auto& [name, fn] : std::as_const(grabbed)) {
        if (name == action) {
            fn();
        }
    }
}

} // namespace platform
