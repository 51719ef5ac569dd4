#pragma once

#include "platform/WindowTraits.h"

#include <QAbstractNativeEventFilter>
#include <QHash>
#include <QRegion>

#include <xcb/xcb.h>

namespace platform {

// The part of a window that takes clicks as its XFixes input shape, made of the region's
// rectangles; an empty one lets every click through. A window manager that frames the window anew each time
// it is shown builds the frame's input shape from the window's at that moment, so the shape is set again
// whenever the window has been mapped.
class X11WindowTraits final : public WindowTraits, public QAbstractNativeEventFilter {
public:
    explicit X11WindowTraits(xcb_connection_t* connection);
    ~X11WindowTraits() override;

    void setInputRegion(QWindow& window, const QRegion& region) override;
    void keepOffTaskbar(QWindow& window) override;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    void applyShape(xcb_window_t window);

    xcb_connection_t* connection;
    bool canShape;
    // In device pixels.
    QHash<xcb_window_t, QRegion> regions;
};

} // namespace platform
