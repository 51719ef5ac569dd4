#pragma once

#include "platform/linux/ReportedActiveWindow.h"

#include <QList>
#include <QObject>

#include <memory>

struct zwlr_foreign_toplevel_manager_v1;
struct zwlr_foreign_toplevel_handle_v1;

namespace platform {

class WaylandConnection;

// The window in front on a wlroots compositor (sway, Hyprland, river, labwc…), from its list of
// toplevel windows: the one whose state says "activated". Native and X11 windows are listed alike.
class WlrActiveWindow final : public ReportedActiveWindow {
public:
    // Null when the compositor does not offer the toplevel list.
    static std::unique_ptr<WlrActiveWindow> create(std::shared_ptr<WaylandConnection> connection);
    ~WlrActiveWindow() override;

private:
    struct Toplevel {
        WlrActiveWindow* owner = nullptr;
        zwlr_foreign_toplevel_handle_v1* handle = nullptr;
        // What has arrived since the last "done", and what was said at it.
        Window pending;
        bool pendingActivated = false;
        Window shown;
        bool activated = false;
    };

    WlrActiveWindow(std::shared_ptr<WaylandConnection> connection, zwlr_foreign_toplevel_manager_v1* manager);
    void settled(Toplevel& toplevel);
    void closed(Toplevel* toplevel);

    std::shared_ptr<WaylandConnection> connection;
    zwlr_foreign_toplevel_manager_v1* manager;
    QList<Toplevel*> toplevels;
    QObject receiver; // the connection's signals die with this object
    const Toplevel* inFront = nullptr;

    friend struct ToplevelEvents;
};

} // namespace platform
