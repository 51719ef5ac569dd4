#include "platform/linux/WaylandConnection.h"

#include <QDeadlineTimer>
#include <QtDebug>

#include <wayland-client.h>

#include <poll.h>

#include <cerrno>

namespace platform {

struct RegistryEvents {
    static void global(void* data, wl_registry*, uint32_t name, const char* interface, uint32_t version) {
        auto* self = static_cast<WaylandConnection*>(data);
        // The first of several seats is the user's.
        const QByteArray key(interface);
        if (!self->globals.contains(key)) {
            self->globals.insert(key, {name, version});
        }
    }
    static void globalRemove(void* data, wl_registry*, uint32_t name) {
        auto* self = static_cast<WaylandConnection*>(data);
        for (auto it = self->globals.begin(); it != self->globals.end(); ++it) {
            if (it->name == name) {
                self->globals.erase(it);
                return;
            }
        }
    }
    static constexpr wl_registry_listener listener{global, globalRemove};
};

WaylandConnection::WaylandConnection(wl_display* d) : display(d) {}

std::unique_ptr<WaylandConnection> WaylandConnection::open() {
    wl_display* display = wl_display_connect(nullptr);
    if (!display) {
        return nullptr;
    }
    std::unique_ptr<WaylandConnection> connection(new WaylandConnection(display));
    connection->registry = wl_display_get_registry(display);
    wl_registry_add_listener(connection->registry, &RegistryEvents::listener, connection.get());
    if (!connection->roundtrip(1000)) {
        qInfo("The Wayland compositor did not answer; what it could tell stays unknown.");
        return nullptr;
    }
    auto* raw = connection.get();
    connection->notifier =
        std::make_unique<QSocketNotifier>(wl_display_get_fd(display), QSocketNotifier::Read);
    QObject::connect(connection->notifier.get(), &QSocketNotifier::activated, raw,
                     [raw] { raw->readEvents(); });
    return connection;
}

WaylandConnection::~WaylandConnection() {
    notifier.reset();
    if (boundSeat) {
        wl_seat_destroy(boundSeat);
    }
    if (registry) {
        wl_registry_destroy(registry);
    }
    wl_display_disconnect(display);
}

void* WaylandConnection::bind(const wl_interface* interface, unsigned maxVersion) {
    const auto it = globals.constFind(QByteArray(interface->name));
    if (it == globals.constEnd() || lost) {
        return nullptr;
    }
    return wl_registry_bind(registry, it->name, interface, std::min(it->version, maxVersion));
}

wl_seat* WaylandConnection::seat() {
    if (!boundSeat) {
        boundSeat = static_cast<wl_seat*>(bind(&wl_seat_interface, 1));
    }
    return boundSeat;
}

bool WaylandConnection::roundtrip(int timeoutMs) {
    if (lost) {
        return false;
    }
    bool done = false;
    static constexpr wl_callback_listener syncDone{[](void* data, wl_callback* callback, uint32_t) {
        *static_cast<bool*>(data) = true;
        wl_callback_destroy(callback);
    }};
    wl_callback* callback = wl_display_sync(display);
    wl_callback_add_listener(callback, &syncDone, &done);
    const QDeadlineTimer deadline(timeoutMs);
    while (!done) {
        while (wl_display_prepare_read(display) != 0) {
            wl_display_dispatch_pending(display);
            if (done) {
                return true;
            }
        }
        wl_display_flush(display);
        pollfd fd{wl_display_get_fd(display), POLLIN, 0};
        const int ready = ::poll(&fd, 1, int(deadline.remainingTime()));
        if (ready <= 0) {
            wl_display_cancel_read(display);
            if (ready == 0 || errno != EINTR) {
                // The callback stays with the display; a late answer destroys it.
                return false;
            }
            continue;
        }
        if (wl_display_read_events(display) < 0 || wl_display_dispatch_pending(display) < 0) {
            markLost();
            return false;
        }
    }
    return true;
}

void WaylandConnection::flush() {
    if (!lost && wl_display_flush(display) < 0 && errno != EAGAIN) {
        markLost();
    }
}

void WaylandConnection::readEvents() {
    if (lost) {
        return;
    }
    // Events already queued are handed out first; then the socket is read once.
    while (wl_display_prepare_read(display) != 0) {
        if (wl_display_dispatch_pending(display) < 0) {
            markLost();
            return;
        }
    }
    if (wl_display_read_events(display) < 0 || wl_display_dispatch_pending(display) < 0) {
        markLost();
        return;
    }
    flush();
}

void WaylandConnection::markLost() {
    if (lost) {
        return;
    }
    lost = true;
    if (notifier) {
        notifier->setEnabled(false);
    }
    qInfo("The connection to the Wayland compositor was lost.");
    emit connectionLost();
}

} // namespace platform
