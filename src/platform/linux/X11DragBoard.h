#pragma once

#include "platform/DragBoard.h"

#include <QAbstractNativeEventFilter>

#include <memory>

#include <xcb/xcb.h>

namespace platform {

// The drag-and-drop selection of X: every drag that starts takes ownership of XdndSelection,
// and XFixes tells us each time, which is the count. The types are the source window's
// XdndTypeList, read when first asked for and read again whenever the source changes it, which
// a source may do a moment after taking the selection. A source that offers three types or
// fewer may keep no list at all and name them only in the XdndEnter message it sends to the
// window under the pointer: when that window is one of ours, those are the types.
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
    void ownerChanged(xcb_window_t window);
    void watch(xcb_window_t window, std::uint32_t mask);
    QStringList typeList();

    xcb_connection_t* connection;
    std::uint8_t selectionNotify;
    xcb_atom_t selection;
    xcb_atom_t typeListAtom;
    xcb_atom_t enterAtom;
    int count = 0;
    xcb_window_t owner = XCB_WINDOW_NONE;
    // The owner whose property changes we asked to be told of, and its mask before that.
    xcb_window_t watched = XCB_WINDOW_NONE;
    std::uint32_t restoreMask = 0;
    bool listRead = false;
    QStringList listed;
    QStringList entered;
};

} // namespace platform
