#include "platform/linux/WaylandIdleTime.h"

#include "platform/linux/WaylandConnection.h"

#include "ext-idle-notify-v1-client.h"
#include "idle-client.h"

namespace platform {

struct IdleEvents {
    static void idled(void* data) { static_cast<WaylandIdleTime*>(data)->idled(); }
    static void resumed(void* data) { static_cast<WaylandIdleTime*>(data)->resumed(); }

    static constexpr ext_idle_notification_v1_listener notificationListener{
        [](void* data, ext_idle_notification_v1*) { idled(data); },
        [](void* data, ext_idle_notification_v1*) { resumed(data); }};
    static constexpr org_kde_kwin_idle_timeout_listener kdeListener{
        [](void* data, org_kde_kwin_idle_timeout*) { idled(data); },
        [](void* data, org_kde_kwin_idle_timeout*) { resumed(data); }};
};

std::unique_ptr<WaylandIdleTime> WaylandIdleTime::create(std::shared_ptr<WaylandConnection> connection,
                                                         double threshold) {
    if (!connection->seat() || (!connection->offers(ext_idle_notifier_v1_interface.name) &&
                                !connection->offers(org_kde_kwin_idle_interface.name))) {
        return nullptr;
    }
    return std::unique_ptr<WaylandIdleTime>(new WaylandIdleTime(std::move(connection), threshold));
}

WaylandIdleTime::WaylandIdleTime(std::shared_ptr<WaylandConnection> c, double seconds)
    : connection(std::move(c)), threshold(seconds) {
    const auto ms = static_cast<uint32_t>(threshold * 1000);
    if (auto* notifier =
            static_cast<ext_idle_notifier_v1*>(connection->bind(&ext_idle_notifier_v1_interface, 1))) {
        notification = ext_idle_notifier_v1_get_idle_notification(notifier, ms, connection->seat());
        ext_idle_notification_v1_add_listener(notification, &IdleEvents::notificationListener, this);
        // The notification lives on without the notifier.
        ext_idle_notifier_v1_destroy(notifier);
    } else if (auto* idle =
                   static_cast<org_kde_kwin_idle*>(connection->bind(&org_kde_kwin_idle_interface, 1))) {
        kdeTimeout = org_kde_kwin_idle_get_idle_timeout(idle, connection->seat(), ms);
        org_kde_kwin_idle_timeout_add_listener(kdeTimeout, &IdleEvents::kdeListener, this);
        org_kde_kwin_idle_destroy(idle);
    }
    connection->flush();
    // Without the compositor nothing is known: the time counts as none, as where no source exists.
    QObject::connect(connection.get(), &WaylandConnection::connectionLost, &receiver,
                     [this] { idleSince.invalidate(); });
}

WaylandIdleTime::~WaylandIdleTime() {
    if (notification) {
        ext_idle_notification_v1_destroy(notification);
    }
    if (kdeTimeout) {
        org_kde_kwin_idle_timeout_release(kdeTimeout);
    }
    connection->flush();
}

void WaylandIdleTime::idled() {
    idleSince.start();
}

void WaylandIdleTime::resumed() {
    idleSince.invalidate();
}

double WaylandIdleTime::secondsSinceLastInput() {
    if (!idleSince.isValid()) {
        return 0;
    }
    return threshold + idleSince.elapsed() / 1000.0;
}

} // namespace platform
