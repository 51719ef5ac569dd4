#include "platform/linux/MutterIdleTime.h"

#include <QDBusMessage>
#include <QDBusReply>

namespace platform {

MutterIdleTime::MutterIdleTime(QDBusConnection b) : bus(std::move(b)) {}

double MutterIdleTime::secondsSinceLastInput() {
    const auto message = QDBusMessage::createMethodCall(
        QStringLiteral("org.gnome.Mutter.IdleMonitor"), QStringLiteral("/org/gnome/Mutter/IdleMonitor/Core"),
        QStringLiteral("org.gnome.Mutter.IdleMonitor"), QStringLiteral("GetIdletime"));
    const QDBusReply<qulonglong> milliseconds = bus.call(message, QDBus::Block, 500);
    return milliseconds.isValid() ? milliseconds.value() / 1000.0 : 0.0;
}

} // namespace platform
