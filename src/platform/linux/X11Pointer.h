#pragma once

#include "platform/Pointer.h"

#include <QAbstractNativeEventFilter>

#include <optional>

#include <xcb/xcb.h>

namespace platform {

// The pointer as the X server sees it. Asking is a round trip, so the last answer is given
// again while nothing could have changed it: XInput's raw events on the root window report
// every movement and button of every device, whichever program holds a grab, and the first of
// them makes the next look ask the server. They are asked for only while an answer is kept,
// so a moving pointer brings at most a few events between two looks. A warp of the pointer
// brings no raw event; an answer is therefore given from memory at most 7 times in a row,
// about half a second of looks. Without XInput 2.1 every look asks.
class X11Pointer final : public Pointer, public QAbstractNativeEventFilter {
public:
    explicit X11Pointer(xcb_connection_t* connection);
    ~X11Pointer() override;
    QPoint position() override { return state().position; }
    Qt::MouseButtons buttons() override { return state().buttons; }
    State state() override;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    void listen(bool on);
    std::optional<State> query();

    xcb_connection_t* connection;
    xcb_window_t root;
    // XInput's opcode; 0 without XInput 2.1.
    std::uint8_t inputOpcode = 0;
    bool listening = false;
    bool moved = true;
    int fromMemory = 0;
    std::optional<State> known;
};

} // namespace platform
