#include "platform/linux/X11IdleTime.h"

#include "platform/linux/X11.h"

namespace platform {

X11IdleTime::X11IdleTime(xcb_connection_t* c) : connection(c), root(x11::rootWindow(c)) {
    const auto* extension = xcb_get_extension_data(connection, &xcb_screensaver_id);
    present = extension && extension->present;
}

std::optional<xcb_screensaver_query_info_reply_t> X11IdleTime::query() {
    if (!present) {
        return std::nullopt;
    }
    xcb_generic_error_t* error = nullptr;
    x11::Reply<xcb_screensaver_query_info_reply_t> reply(
        xcb_screensaver_query_info_reply(connection, xcb_screensaver_query_info(connection, root), &error));
    std::free(error);
    if (!reply) {
        return std::nullopt;
    }
    return *reply;
}

double X11IdleTime::secondsSinceLastInput() {
    const auto info = query();
    return info ? info->ms_since_user_input / 1000.0 : 0.0;
}

bool X11IdleTime::isScreenSaverOn() {
    const auto info = query();
    return info && info->state == XCB_SCREENSAVER_STATE_ON;
}

} // namespace platform
