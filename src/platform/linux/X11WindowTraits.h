#pragma once

#include "platform/WindowTraits.h"

#include <QAbstractNativeEventFilter>
#include <QHash>
#include <QRegion>

#include <xcb/xcb.h>

namespace platform {

// Click-through as an empty XFixes input shape, and a part of the window as a shape of its
// rectangles. A window manager that frames the window anew each time it is shown builds the
// frame's input shape from the window's at that moment, so the shape is set again whenever the
// window has been mapped.
class X11WindowTraits final : public WindowTraits, public QAbstractNativeEventFilter {
public:
    explicit X11WindowTraits(xcb_connection_t* connection);
    ~X11WindowTraits() override;

    void setClickThrough(QWindow& window, bool on) override;
    void setInputRegion(QWindow& window, const QRegion& region) override;
    void keepOffTaskbar(QWindow& window) override;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    void applyShape(xcb_window_t window);

    xcb_connection_t* connection;
    bool canShape;
    QHash<xcb_window_t, bool> clickThrough;
    // In device pixels.
    QHash<xcb_window_t, QRegion> regions;
};

} // namespace platform
