#pragma once

#include "capture/Capture.h"

#include <functional>
#include <optional>

class QDragEnterEvent;
class QDragMoveEvent;
class QDropEvent;
class QMimeData;

namespace Capture {

// The drop handling that the figure and the balloon share. The offer is judged from its types
// once, when the drag enters, and that answer holds for every movement until the drag leaves
// or drops: a usable offer is taken as a copy, anything else is refused.
class DropTarget {
public:
    void enter(QDragEnterEvent* event, const std::function<void(bool over)>& onFilesOver);
    void move(QDragMoveEvent* event) const;
    void leave(const std::function<void(bool over)>& onFilesOver);
    void drop(QDropEvent* event, const std::function<bool(const QMimeData* data)>& onDrop);

private:
    std::optional<Kind> offered;
};

} // namespace Capture
