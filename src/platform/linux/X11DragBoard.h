#pragma once

#include "platform/DragBoard.h"

#include <QAbstractNativeEventFilter>

#include <memory>
#include <optional>

#include <xcb/xcb.h>

namespace platform {

// The drag-and-drop selection of X: every drag that starts takes ownership of XdndSelection,
// and XFixes tells us each time, which is the count. The types are the source window's
// XdndTypeList, read when asked for and kept until the next drag. A source that offers three
// types or fewer may leave that list out; its drag shows no types.
class X11DragBoard final : public DragBoard, public QAbstractNativeEventFilter {
public:
    // None when the server has no XFixes.
    static std::shared_ptr<X11DragBoard> create(xcb_connection_t* connection);
    X11DragBoard(xcb_connection_t* connection, std::uint8_t firstXFixesEvent);
    ~X11DragBoard() override;

    int changeCount() override { return count; }
    QStringList types() override;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    xcb_connection_t* connection;
    std::uint8_t selectionNotify;
    xcb_atom_t selection;
    int count = 0;
    xcb_window_t owner = XCB_WINDOW_NONE;
    std::optional<QStringList> known;
};

} // namespace platform
