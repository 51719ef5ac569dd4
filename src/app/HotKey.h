#pragma once

#include <QObject>
#include <QString>

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
    // global shortcuts. That costs only this shortcut. The description is what the desktop may
    // show the user beside the keys.
    static HotKey* make(unsigned keysym, const QString& description, std::function<void()> action,
                        QObject* parent);
    ~HotKey() override;

    // Shows Control+Alt+key, or the keys the desktop says the user chose instead, beside the menu
    // row when that shortcut is held and works now; a menu never offers a key that does nothing.
    static void showOn(QAction& row, unsigned keysym);

private:
    HotKey(std::shared_ptr<platform::HotKeyGrabber> grabber, int id, unsigned keysym, QObject* parent);

    std::shared_ptr<platform::HotKeyGrabber> grabber;
    int id;
    unsigned keysym;
};
