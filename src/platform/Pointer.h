#pragma once

#include <QPoint>
#include <Qt>

namespace platform {

// The global pointer: where it is on the screen and which buttons are held, whatever window
// it is over.
class Pointer {
public:
    struct State {
        QPoint position;
        Qt::MouseButtons buttons;
    };

    virtual ~Pointer() = default;
    // Position in screen coordinates (device-independent pixels).
    virtual QPoint position() = 0;
    virtual Qt::MouseButtons buttons() = 0;
    // Both at once; a backend that learns both from one question overrides it.
    virtual State state() { return {position(), buttons()}; }
};

} // namespace platform
