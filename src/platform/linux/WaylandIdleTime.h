#pragma once

#include "platform/IdleTime.h"

#include <QElapsedTimer>
#include <QObject>

#include <memory>

struct ext_idle_notification_v1;
struct org_kde_kwin_idle_timeout;

namespace platform {

class WaylandConnection;

// Idle time from the compositor, which tells when the user has not touched keyboard or pointer
// for a while (ext_idle_notifier_v1, else KDE's older org_kde_kwin_idle, which sway 1.7 offers)
// and when input comes again. The time since the last input is known to the second from then
// on; below the notice's threshold it counts as none. No polling: two events per pause.
class WaylandIdleTime final : public IdleTime {
public:
    // Null when the compositor offers neither protocol or has no seat. threshold: seconds of no
    // input before the compositor tells.
    static std::unique_ptr<WaylandIdleTime> create(std::shared_ptr<WaylandConnection> connection,
                                                   double threshold = 10);
    ~WaylandIdleTime() override;

    double secondsSinceLastInput() override;
    // A Wayland desktop blanks its screens through its own locker, which the session's events
    // tell; nothing here.
    bool isScreenSaverOn() override { return false; }

private:
    explicit WaylandIdleTime(std::shared_ptr<WaylandConnection> connection, double threshold);
    void idled();
    void resumed();

    std::shared_ptr<WaylandConnection> connection;
    double threshold;
    ext_idle_notification_v1* notification = nullptr;
    org_kde_kwin_idle_timeout* kdeTimeout = nullptr;
    QElapsedTimer idleSince; // valid while the user is away; started when the compositor said so
    QObject receiver;

    friend struct IdleEvents;
};

} // namespace platform
