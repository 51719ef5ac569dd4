#pragma once

class QRegion;
class QWindow;

namespace platform {

// How the window system treats the figure's window beyond what Qt says of it: whether the
// pointer passes through it to what lies behind, and that it stays out of task bars and pagers.
class WindowTraits {
public:
    virtual ~WindowTraits() = default;
    // Only this part of the window, in its own coordinates, takes clicks; the rest passes them
    // to the windows behind, as if it were not there. An empty region lets every click through.
    virtual void setInputRegion(QWindow& window, const QRegion& region) = 0;
    // Called before the window is shown, each time: window managers forget it on hiding.
    virtual void keepOffTaskbar(QWindow& window) = 0;
};

} // namespace platform
