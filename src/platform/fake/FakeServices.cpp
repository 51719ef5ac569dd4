#include "platform/fake/FakeServices.h"

namespace platform::fake {

std::optional<QString> FakeSecretStore::read(const QString& account) {
    if (!answers || !secrets.contains(account)) {
        return std::nullopt;
    }
    return secrets.value(account);
}

bool FakeSecretStore::write(const QString& account, const QString& value) {
    if (!writable) {
        return false;
    }
    secrets.insert(account, value);
    ++writes;
    return true;
}

int FakeHotKeyGrabber::grab(unsigned keysym, const QString&, std::function<void()> fn) {
    if (heldElsewhere.contains(keysym)) {
        return 0;
    }
    const int id = next++;
    grabbed.insert(id, {keysym, std::move(fn)});
    return id;
}

bool FakeHotKeyGrabber::press(unsigned keysym) {
    for (const auto& [key, fn] : std::as_const(grabbed)) {
        if (key == keysym) {
            fn();
            return true;
        }
    }
    return false;
}

void FakeActiveWindow::bringToFront(std::optional<FrontApplication> application,
                                    std::optional<QString> windowTitle) {
    front = std::move(application);
    title = std::move(windowTitle);
    if (onActivate) {
        onActivate();
    }
}

FakeServices::FakeServices() {
    install(Services{pointer, dragBoard, secretStore, hotKeys, idleTime, activeWindow, sessionEvents, desktop,
                     autostart, windowTraits, speech});
}

FakeServices::~FakeServices() {
    install(Services{});
}

} // namespace platform::fake
