#pragma once

#include "platform/Pointer.h"

#include <xcb/xcb.h>

namespace platform {

// The pointer as the X server sees it: one QueryPointer on the root window per look.
class X11Pointer final : public Pointer {
public:
    explicit X11Pointer(xcb_connection_t* connection);
    QPoint position() override { return state().position; }
    Qt::MouseButtons buttons() override { return state().buttons; }
    State state() override;

private:
    xcb_connection_t* connection;
    xcb_window_t root;
};

} // namespace platform
