#pragma once

#include <QObject>

class QAction;

#include <functional>
#include <memory>

namespace platform {
class HotKeyGrabber;
}

// One global shortcut of Control, Alt and a key, held for as long as the object lives.
class HotKey : public QObject {
    Q_OBJECT
public:
    // X keysyms of the keys the program uses.
    static constexpr unsigned space = 0x20;
    static constexpr unsigned tab = 0xff09;
    static constexpr unsigned digit1 = 0x31;

    // None when the combination cannot be had: another program holds it, or this desktop has no
    // global shortcuts. That costs only this shortcut.
    static HotKey* make(unsigned keysym, std::function<void()> action, QObject* parent);
    ~HotKey() override;

    // Shows Control+Alt+key beside the menu row when that shortcut is held and works now; a menu
    // never offers a key that does nothing.
    static void showOn(QAction& row, unsigned keysym);

private:
    HotKey(std::shared_ptr<platform::HotKeyGrabber> grabber, int id, unsigned keysym, QObject* parent);

    std::shared_ptr<platform::HotKeyGrabber> grabber;
    int id;
    unsigned keysym;
};
