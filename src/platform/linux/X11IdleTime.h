#pragma once

#include "platform/IdleTime.h"

#include <xcb/screensaver.h>
#include <xcb/xcb.h>

#include <optional>

namespace platform {

// The server's own count of the time since the last input, and its screen saver's state, from
// the MIT-SCREEN-SAVER extension. A server without it tells nothing: no idle time, no saver.
class X11IdleTime final : public IdleTime {
public:
    explicit X11IdleTime(xcb_connection_t* connection);

    double secondsSinceLastInput() override;
    bool isScreenSaverOn() override;

private:
    std::optional<xcb_screensaver_query_info_reply_t> query();

    xcb_connection_t* connection;
    xcb_window_t root;
    bool present;
};

} // namespace platform
