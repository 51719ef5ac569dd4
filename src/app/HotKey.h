#pragma once

#include <QObject>

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

private:
    HotKey(std::shared_ptr<platform::HotKeyGrabber> grabber, int id, QObject* parent);

    std::shared_ptr<platform::HotKeyGrabber> grabber;
    int id;
};
