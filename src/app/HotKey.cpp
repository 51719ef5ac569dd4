#include "app/HotKey.h"

#include "platform/Services.h"

HotKey* HotKey::make(unsigned keysym, std::function<void()> action, QObject* parent) {
    auto grabber = platform::services().hotKeys;
    if (!grabber) {
        return nullptr;
    }
    const int id = grabber->grab(keysym, std::move(action));
    return id == 0 ? nullptr : new HotKey(std::move(grabber), id, parent);
}

HotKey::HotKey(std::shared_ptr<platform::HotKeyGrabber> g, int i, QObject* parent)
    : QObject(parent), grabber(std::move(g)), id(i) {}

HotKey::~HotKey() {
    grabber->release(id);
}
