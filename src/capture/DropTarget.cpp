#include "capture/DropTarget.h"

#include <QDragEnterEvent>

namespace Capture {

void DropTarget::enter(QDragEnterEvent* event, const std::function<void(bool over)>& onFilesOver) {
    offered = kind(event->mimeData());
    if (!offered) {
        event->ignore();
        return;
    }
    if (onFilesOver) {
        onFilesOver(true);
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void DropTarget::move(QDragMoveEvent* event) const {
    if (!offered) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void DropTarget::leave(const std::function<void(bool over)>& onFilesOver) {
    offered.reset();
    if (onFilesOver) {
        onFilesOver(false);
    }
}

void DropTarget::drop(QDropEvent* event, const std::function<bool(const QMimeData* data)>& onDrop) {
    offered.reset();
    if (onDrop && onDrop(event->mimeData())) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
        return;
    }
    event->ignore();
}

} // namespace Capture
