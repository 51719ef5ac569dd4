#pragma once

#include <QStringList>

namespace platform {

// The system-wide drag-and-drop selection: a count that changes whenever a new drag starts, and
// the MIME types that the dragged item offers.
class DragBoard {
public:
    virtual ~DragBoard() = default;
    virtual int changeCount() = 0;
    virtual QStringList types() = 0;
};

} // namespace platform
