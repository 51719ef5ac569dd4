#include "platform/linux/WlrActiveWindow.h"

#include "platform/linux/WaylandConnection.h"

#include "wlr-foreign-toplevel-management-unstable-v1-client.h"

namespace platform {

struct ToplevelEvents {
    using Toplevel = WlrActiveWindow::Toplevel;

    static Toplevel& of(void* data) { return *static_cast<Toplevel*>(data); }

    static void title(void* data, zwlr_foreign_toplevel_handle_v1*, const char* text) {
        of(data).pending.title = QString::fromUtf8(text);
    }
    static void appID(void* data, zwlr_foreign_toplevel_handle_v1*, const char* id) {
        of(data).pending.appID = QString::fromUtf8(id);
    }
    static void output(void*, zwlr_foreign_toplevel_handle_v1*, wl_output*) {}
    static void state(void* data, zwlr_foreign_toplevel_handle_v1*, wl_array* states) {
        bool activated = false;
        const auto* entries = static_cast<const uint32_t*>(states->data);
        for (size_t i = 0; i < states->size / sizeof(uint32_t); ++i) {
            activated = activated || entries[i] == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED;
        }
        of(data).pendingActivated = activated;
    }
    static void done(void* data, zwlr_foreign_toplevel_handle_v1*) {
        Toplevel& toplevel = of(data);
        toplevel.owner->settled(toplevel);
    }
    static void closed(void* data, zwlr_foreign_toplevel_handle_v1*) {
        Toplevel& toplevel = of(data);
        toplevel.owner->closed(&toplevel);
    }
    static void parent(void*, zwlr_foreign_toplevel_handle_v1*, zwlr_foreign_toplevel_handle_v1*) {}

    static constexpr zwlr_foreign_toplevel_handle_v1_listener handleListener{title, appID, output, output,
                                                                             state, done,  closed, parent};

    static void toplevel(void* data, zwlr_foreign_toplevel_manager_v1*,
                         zwlr_foreign_toplevel_handle_v1* handle) {
        auto* self = static_cast<WlrActiveWindow*>(data);
        auto* toplevel = new Toplevel{self, handle, {}, false, {}, false};
        self->toplevels.append(toplevel);
        zwlr_foreign_toplevel_handle_v1_add_listener(handle, &handleListener, toplevel);
    }
    static void finished(void* data, zwlr_foreign_toplevel_manager_v1*) {
        auto* self = static_cast<WlrActiveWindow*>(data);
        self->setSight({Sight::Reach::nothing, Sight::Cause::compositorGone});
    }

    static constexpr zwlr_foreign_toplevel_manager_v1_listener managerListener{toplevel, finished};
};

std::unique_ptr<WlrActiveWindow> WlrActiveWindow::create(std::shared_ptr<WaylandConnection> connection) {
    auto* manager = static_cast<zwlr_foreign_toplevel_manager_v1*>(
        connection->bind(&zwlr_foreign_toplevel_manager_v1_interface, 3));
    if (!manager) {
        return nullptr;
    }
    return std::unique_ptr<WlrActiveWindow>(new WlrActiveWindow(std::move(connection), manager));
}

WlrActiveWindow::WlrActiveWindow(std::shared_ptr<WaylandConnection> c, zwlr_foreign_toplevel_manager_v1* m)
    : connection(std::move(c)), manager(m) {
    zwlr_foreign_toplevel_manager_v1_add_listener(manager, &ToplevelEvents::managerListener, this);
    setSight({Sight::Reach::allWindows, Sight::Cause::none});
    QObject::connect(connection.get(), &WaylandConnection::connectionLost, &receiver, [this] {
        inFront = nullptr;
        setSight({Sight::Reach::nothing, Sight::Cause::compositorGone});
    });
    // The windows already open arrive now, so the one in front is known from the start.
    connection->roundtrip(1000);
}

WlrActiveWindow::~WlrActiveWindow() {
    for (Toplevel* toplevel : std::as_const(toplevels)) {
        zwlr_foreign_toplevel_handle_v1_destroy(toplevel->handle);
        delete toplevel;
    }
    zwlr_foreign_toplevel_manager_v1_destroy(manager);
    connection->flush();
}

void WlrActiveWindow::settled(Toplevel& toplevel) {
    const bool wasInFront = inFront == &toplevel;
    toplevel.shown = toplevel.pending;
    toplevel.activated = toplevel.pendingActivated;
    if (toplevel.activated && !wasInFront) {
        inFront = &toplevel;
        activated(toplevel.shown);
    } else if (toplevel.activated) {
        retitled(toplevel.shown.title);
    } else if (wasInFront) {
        inFront = nullptr;
        activated(std::nullopt);
    }
}

void WlrActiveWindow::closed(Toplevel* toplevel) {
    if (inFront == toplevel) {
        inFront = nullptr;
        activated(std::nullopt);
    }
    toplevels.removeOne(toplevel);
    zwlr_foreign_toplevel_handle_v1_destroy(toplevel->handle);
    delete toplevel;
}

} // namespace platform
