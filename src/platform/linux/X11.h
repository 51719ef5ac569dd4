#pragma once

#include <QByteArray>

#include <cstdlib>
#include <memory>

#include <xcb/xcb.h>

// Small helpers over the X connection that Qt opened; the X11 services share it.
namespace platform::x11 {

// A reply of the server, freed with the handle.
struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeReply>;

// Qt's connection, or null when the program does not run on X11.
xcb_connection_t* connection();

xcb_window_t rootWindow(xcb_connection_t* connection);

// Atoms by name and names by atom, each asked of the server once per run.
xcb_atom_t atom(xcb_connection_t* connection, const char* name);
QByteArray atomName(xcb_connection_t* connection, xcb_atom_t atom);

// The event code of an X event with the "sent by another client" bit cleared.
inline std::uint8_t eventCode(const xcb_generic_event_t* event) {
    return event->response_type & 0x7f;
}

} // namespace platform::x11
