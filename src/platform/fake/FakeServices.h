#pragma once

#include "platform/Services.h"

#include <QHash>
#include <QList>
#include <QMap>
#include <QRegion>
#include <QSet>

#include <functional>

// Stand-ins for the operating-system services, driven by tests.
namespace platform::fake {

class FakePointer final : public Pointer {
public:
    QPoint position() override { return at; }
    Qt::MouseButtons buttons() override { return pressed; }
    QPoint at;
    Qt::MouseButtons pressed = Qt::NoButton;
};

class FakeDragBoard final : public DragBoard {
public:
    int changeCount() override { return count; }
    QStringList types() override { return offered; }
    // A new drag offering these types.
    void startDrag(const QStringList& types) {
        ++count;
        offered = types;
    }
    int count = 0;
    QStringList offered;
};

class FakeSecretStore final : public SecretStore {
public:
    std::optional<QString> read(const QString& account) override;
    bool write(const QString& account, const QString& value) override;
    void remove(const QString& account) override { secrets.remove(account); }
    Location location() override { return where; }
    QMap<QString, QString> secrets;
    int writes = 0;
    bool answers = true;
    bool writable = true;
    Location where = Location::keyring;
};

class FakeHotKeyGrabber final : public HotKeyGrabber {
public:
    int grab(unsigned keysym, const QString& description, std::function<void()> fn) override;
    void release(int id) override { grabbed.remove(id); }
    Reach reach() override { return heard; }
    QString keys(int id) override { return wording.value(id); }
    // Presses Control+Alt+key; false when nothing holds it.
    bool press(unsigned keysym);
    QList<unsigned> heldElsewhere;
    Reach heard = Reach::everyWindow;
    QMap<int, std::pair<unsigned, std::function<void()>>> grabbed;
    QMap<int, QString> wording; // keys the user chose on the desktop, by id

private:
    int next = 1;
};

class FakeIdleTime final : public IdleTime {
public:
    double secondsSinceLastInput() override { return seconds; }
    bool isScreenSaverOn() override { return saverOn; }
    double seconds = 0;
    bool saverOn = false;
};

class FakeActiveWindow final : public ActiveWindow {
public:
    std::optional<FrontApplication> frontmost() override { return front; }
    std::optional<QString> focusedWindowTitle() override {
        ++titleReads;
        return title;
    }
    bool canSeeFront() override { return sees; }
    Sight sight() override { return seen; }
    void turnOn() override { ++turnOns; }
    // Another window in front, announced as the system would.
    void bringToFront(std::optional<FrontApplication> application, std::optional<QString> windowTitle = {});
    std::optional<FrontApplication> front;
    std::optional<QString> title;
    bool sees = true;
    Sight seen;
    int titleReads = 0;
    int turnOns = 0;
};

// Tests send its signals themselves.
class FakeSessionEvents final : public SessionEvents {
public:
    bool isSessionActive() const override { return active; }
    bool active = true;
};

class FakeDesktop final : public Desktop {
public:
    bool open(const QUrl& url) override {
        opened << url;
        return true;
    }
    void reveal(const QString& path) override { revealed << path; }
    QList<QUrl> opened;
    QStringList revealed;
};

class FakeAutostart final : public Autostart {
public:
    bool isEnabled() override { return enabled; }
    std::optional<QString> setEnabled(bool value) override {
        if (refusal) {
            return refusal;
        }
        enabled = value;
        return std::nullopt;
    }
    bool enabled = false;
    // Set: every change fails with this reason.
    std::optional<QString> refusal;
};

class FakeWindowTraits final : public WindowTraits {
public:
    void setInputRegion(QWindow& window, const QRegion& region) override {
        inputRegions.insert(&window, region);
    }
    void keepOffTaskbar(QWindow& window) override { offTaskbar.insert(&window); }
    QHash<const QWindow*, QRegion> inputRegions;
    QSet<const QWindow*> offTaskbar;
};

class FakeSpeech final : public Speech {
public:
    void stop() override { calls << QStringLiteral("stop"); }
    void say(const QString& text) override { calls << QStringLiteral("say: ") + text; }
    // "stop" and "say: <text>", in the order they came.
    QStringList calls;
};

// A full set of fakes, installed as the program's services for as long as it lives.
struct FakeServices {
    FakeServices();
    ~FakeServices();
    std::shared_ptr<FakePointer> pointer = std::make_shared<FakePointer>();
    std::shared_ptr<FakeDragBoard> dragBoard = std::make_shared<FakeDragBoard>();
    std::shared_ptr<FakeSecretStore> secretStore = std::make_shared<FakeSecretStore>();
    std::shared_ptr<FakeHotKeyGrabber> hotKeys = std::make_shared<FakeHotKeyGrabber>();
    std::shared_ptr<FakeIdleTime> idleTime = std::make_shared<FakeIdleTime>();
    std::shared_ptr<FakeActiveWindow> activeWindow = std::make_shared<FakeActiveWindow>();
    std::shared_ptr<FakeSessionEvents> sessionEvents = std::make_shared<FakeSessionEvents>();
    std::shared_ptr<FakeDesktop> desktop = std::make_shared<FakeDesktop>();
    std::shared_ptr<FakeAutostart> autostart = std::make_shared<FakeAutostart>();
    std::shared_ptr<FakeWindowTraits> windowTraits = std::make_shared<FakeWindowTraits>();
    std::shared_ptr<FakeSpeech> speech = std::make_shared<FakeSpeech>();
};

} // namespace platform::fake
