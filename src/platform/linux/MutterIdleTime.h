#pragma once

#include "platform/IdleTime.h"

#include <QDBusConnection>

namespace platform {

// Idle time on GNOME, from Mutter's own idle monitor on the session bus. Asked at each sample of
// the record, a few times a minute; a shell that does not answer within half a second counts as
// not knowing.
class MutterIdleTime final : public IdleTime {
public:
    explicit MutterIdleTime(QDBusConnection bus = QDBusConnection::sessionBus());

    double secondsSinceLastInput() override;
    bool isScreenSaverOn() override { return false; }

private:
    QDBusConnection bus;
};

} // namespace platform
