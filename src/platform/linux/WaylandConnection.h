#pragma once

#include <QHash>
#include <QObject>
#include <QSocketNotifier>

#include <memory>

struct wl_display;
struct wl_interface;
struct wl_registry;
struct wl_seat;

namespace platform {

// The program's own connection to the Wayland compositor, beside the X connection that its
// windows use. Its events are read and dispatched on the main loop when the socket has data: no
// thread and no polling.
class WaylandConnection final : public QObject {
    Q_OBJECT
public:
    // Connects to WAYLAND_DISPLAY and learns the compositor's globals; null when there is no
    // compositor or it does not answer within a second.
    static std::unique_ptr<WaylandConnection> open();
    ~WaylandConnection() override;

    // The global of that interface, bound at no more than maxVersion; null when not offered.
    void* bind(const wl_interface* interface, unsigned maxVersion);
    bool offers(const char* interfaceName) const { return globals.contains(QByteArray(interfaceName)); }
    wl_seat* seat();
    // Sends what was asked and waits for the compositor to have answered, at most timeoutMs;
    // false on a time-out or a lost connection. Only while setting up.
    bool roundtrip(int timeoutMs);
    // Sends requests made outside an event handler.
    void flush();

signals:
    // Once, when the compositor closes the connection or it fails.
    void connectionLost();

private:
    struct Global {
        unsigned name = 0;
        unsigned version = 0;
    };

    explicit WaylandConnection(wl_display* display);
    void readEvents();
    void markLost();

    wl_display* display;
    wl_registry* registry = nullptr;
    wl_seat* boundSeat = nullptr;
    QHash<QByteArray, Global> globals;
    std::unique_ptr<QSocketNotifier> notifier;
    bool lost = false;

    friend struct RegistryEvents;
};

} // namespace platform
