#pragma once

#include <QPoint>
#include <Qt>

namespace platform {

// The global pointer: where it is on the screen and which buttons are held, whatever window
// it is over.
class Pointer {
public:
    virtual ~Pointer() = default;
    // Position in screen coordinates (device-independent pixels).
    virtual QPoint position() = 0;
    virtual Qt::MouseButtons buttons() = 0;
};

} // namespace platform
