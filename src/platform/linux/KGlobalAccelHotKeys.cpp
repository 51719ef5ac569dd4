#include "platform/linux/KGlobalAccelHotKeys.h"

#include "platform/linux/ShellHotKeys.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QKeySequence>
#include <QtDebug>

namespace platform {
namespace {

const QString serviceName = QStringLiteral("org.kde.kglobalaccel");
const QString servicePath = QStringLiteral("/kglobalaccel");
const QString serviceInterface = QStringLiteral("org.kde.KGlobalAccel");
const QString componentInterface = QStringLiteral("org.kde.kglobalaccel.Component");

// The service's flags for setShortcut.
constexpr uint setPresent = 2;
constexpr uint isDefault = 8;
// The service answers its own process's calls at once; a hung desktop must not hang the start.
constexpr int callTimeoutMs = 3000;

int qtKey(unsigned keysym) {
    // Latin keysyms are Qt's key codes; Tab is the one other key the program uses.
    const int key = keysym == 0xff09 ? Qt::Key_Tab : static_cast<int>(keysym);
    return static_cast<int>(Qt::ControlModifier | Qt::AltModifier) | key;
}

} // namespace

KGlobalAccelHotKeys::KGlobalAccelHotKeys(QDBusConnection b)
    : bus(std::move(b)), service(serviceName, bus, QDBusServiceWatcher::WatchForOwnerChange) {
    connect(&service, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& owner) {
                // The signals stay connected: they follow the service's name to its new owner.
                for (auto& [id, grab] : grabs) {
                    grab.key = 0;
                    grab.held = false;
                }
                if (owner.isEmpty()) {
                    qInfo("KDE's global shortcut service went away; the shortcuts are off until it is back.");
                    return;
                }
                for (auto& [id, grab] : grabs) {
                    registerWithService(grab);
                    // A key refused at the start is the caller's to tell; one lost now is said here, once.
                    if (grab.key == 0 && !grab.refusalSaid) {
                        grab.refusalSaid = true;
                        qInfo().noquote()
                            << QStringLiteral("KDE's global shortcut service, back, gave no key to \"%1\"; "
                                              "that shortcut is off.")
                                   .arg(grab.description);
                    }
                }
            });
    bus.connect(serviceName, servicePath, serviceInterface, QStringLiteral("yourShortcutGotChanged"), this,
                SLOT(changed(QStringList, QList<int>)));
}

KGlobalAccelHotKeys::~KGlobalAccelHotKeys() {
    while (!grabs.empty()) {
        release(grabs.begin()->first);
    }
}

bool KGlobalAccelHotKeys::available(QDBusConnection bus) {
    return bus.interface() && bus.interface()->isServiceRegistered(serviceName);
}

QStringList KGlobalAccelHotKeys::actionId(const Grab& grab) const {
    return {QLatin1String(component), grab.name, QStringLiteral("Mirk Vantle Agents"), grab.description};
}

void KGlobalAccelHotKeys::registerWithService(Grab& grab) {
    const QStringList id = actionId(grab);
    const auto call = [&](const QString& method, const QVariantList& arguments) {
        auto message = QDBusMessage::createMethodCall(serviceName, servicePath, serviceInterface, method);
        message.setArguments(arguments);
        return bus.call(message, QDBus::Block, callTimeoutMs);
    };
    call(QStringLiteral("doRegister"), {id});
    // The usual key first, so that the system settings can offer it back; then the key in force,
    // which is the one the user chose there if they did.
    call(QStringLiteral("setShortcut"), {id, QVariant::fromValue(QList<int>{grab.usual}), isDefault});
    const QDBusMessage answer =
        call(QStringLiteral("setShortcut"), {id, QVariant::fromValue(QList<int>{grab.usual}), setPresent});
    const QList<int> given = qdbus_cast<QList<int>>(answer.arguments().value(0));
    grab.key = given.value(0);
    if (!listening && answer.type() == QDBusMessage::ReplyMessage) {
        // The component exists once something is registered in it.
        auto ask = QDBusMessage::createMethodCall(serviceName, servicePath, serviceInterface,
                                                  QStringLiteral("getComponent"));
        ask.setArguments({QLatin1String(component)});
        const QString path =
            qdbus_cast<QDBusObjectPath>(bus.call(ask, QDBus::Block, callTimeoutMs).arguments().value(0))
                .path();
        listening =
            !path.isEmpty() &&
            bus.connect(serviceName, path, componentInterface, QStringLiteral("globalShortcutPressed"), this,
                        SLOT(pressed(QString, QString, qlonglong))) &&
            bus.connect(serviceName, path, componentInterface, QStringLiteral("globalShortcutReleased"), this,
                        SLOT(released(QString, QString, qlonglong)));
    }
}

int KGlobalAccelHotKeys::grab(unsigned keysym, const QString& description, std::function<void()> fn) {
    const QString name = ShellHotKeys::actionName(keysym);
    if (name.isEmpty()) {
        return 0;
    }
    Grab grab;
    grab.name = name;
    grab.description = description.isEmpty() ? name : description;
    grab.usual = qtKey(keysym);
    grab.fn = std::move(fn);
    registerWithService(grab);
    if (grab.key == 0) {
        return 0;
    }
    const int id = next++;
    grabs.emplace(id, std::move(grab));
    return id;
}

void KGlobalAccelHotKeys::release(int id) {
    const auto it = grabs.find(id);
    if (it == grabs.end()) {
        return;
    }
    // The service keeps the shortcut in its list, as one whose program is not running.
    auto message = QDBusMessage::createMethodCall(serviceName, servicePath, serviceInterface,
                                                  QStringLiteral("setInactive"));
    message.setArguments({actionId(it->second)});
    bus.asyncCall(message);
    grabs.erase(it);
}

bool KGlobalAccelHotKeys::works(int id) {
    const auto it = grabs.find(id);
    return it != grabs.end() && it->second.key != 0 && listening;
}

QString KGlobalAccelHotKeys::keys(int id) {
    const auto it = grabs.find(id);
    if (it == grabs.end() || it->second.key == it->second.usual) {
        return {};
    }
    return QKeySequence(it->second.key).toString(QKeySequence::PortableText);
}

void KGlobalAccelHotKeys::pressed(const QString& from, const QString& action, qlonglong) {
    if (from != QLatin1String(component)) {
        return;
    }
    for (auto& [id, grab] : grabs) {
        if (grab.name == action && grab.key != 0) {
            // A held key may be told again before it is let go; it acts once.
            if (grab.held && releasesTold) {
                return;
            }
            grab.held = true;
            const auto fn = grab.fn; // the action may release this very shortcut
            fn();
            return;
        }
    }
}

void KGlobalAccelHotKeys::released(const QString& from, const QString& action, qlonglong) {
    if (from != QLatin1String(component)) {
        return;
    }
    releasesTold = true;
    for (auto& [id, grab] : grabs) {
        if (grab.name == action) {
            grab.held = false;
        }
    }
}

void KGlobalAccelHotKeys::changed(const QStringList& id, const QList<int>& keys) {
    if (id.value(0) != QLatin1String(component)) {
        return;
    }
    for (auto& [grabId, grab] : grabs) {
        if (grab.name == id.value(1)) {
            grab.key = keys.value(0);
        }
    }
}

} // namespace platform
