#include "platform/linux/PortalHotKeys.h"

#include "platform/linux/ShellHotKeys.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QTimer>
#include <QtDebug>

#include <algorithm>

namespace platform {

// One shortcut as the portal lists it: its id and what is known of it.
struct PortalShortcut {
    QString id;
    QVariantMap details;
};

QDBusArgument& operator<<(QDBusArgument& out, const PortalShortcut& shortcut) {
    out.beginStructure();
    out << shortcut.id << shortcut.details;
    out.endStructure();
    return out;
}

const QDBusArgument& operator>>(const QDBusArgument& in, PortalShortcut& shortcut) {
    in.beginStructure();
    in >> shortcut.id >> shortcut.details;
    in.endStructure();
    return in;
}

} // namespace platform

Q_DECLARE_METATYPE(platform::PortalShortcut)

namespace platform {
namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");

void registerTypes() {
    static const bool registered = [] {
        qDBusRegisterMetaType<PortalShortcut>();
        qDBusRegisterMetaType<QList<PortalShortcut>>();
        return true;
    }();
    Q_UNUSED(registered);
}

// The keys in the portal's own wording: modifiers in capitals, the key by its keysym name.
QString preferredTrigger(unsigned keysym) {
    const QString key = keysym == 0x20     ? QStringLiteral("space")
                        : keysym == 0xff09 ? QStringLiteral("Tab")
                                           : QString(QChar(keysym));
    return QStringLiteral("CTRL+ALT+") + key;
}

} // namespace

bool PortalHotKeys::offered(QDBusConnection bus, int timeoutMs) {
    auto ask = QDBusMessage::createMethodCall(
        portalService, portalPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    ask.setArguments({shortcutsInterface, QStringLiteral("version")});
    const QDBusMessage reply = bus.call(ask, QDBus::Block, timeoutMs);
    return reply.type() == QDBusMessage::ReplyMessage &&
           qdbus_cast<QDBusVariant>(reply.arguments().value(0)).variant().toUInt() >= 1;
}

PortalHotKeys::PortalHotKeys(QDBusConnection b, Fallback f)
    : bus(std::move(b)), makeFallback(std::move(f)),
      portal(portalService, bus, QDBusServiceWatcher::WatchForUnregistration) {
    registerTypes();
    connect(&portal, &QDBusServiceWatcher::serviceUnregistered, this,
            [this] { end("The desktop's shortcuts portal went away"); });
    bus.connect(portalService, portalPath, shortcutsInterface, QStringLiteral("Activated"), this,
                SLOT(activated(QDBusMessage)));
    bus.connect(portalService, portalPath, shortcutsInterface, QStringLiteral("Deactivated"), this,
                SLOT(deactivated(QDBusMessage)));
    bus.connect(portalService, portalPath, shortcutsInterface, QStringLiteral("ShortcutsChanged"), this,
                SLOT(shortcutsChanged(QDBusMessage)));
    // A session of its own for each grabber, should a new one start before the old one is closed.
    static int sessions = 0;
    const QString token = QStringLiteral("mirkvantle_%1").arg(++sessions);
    request(QStringLiteral("CreateSession"), {QVariantMap{{QStringLiteral("session_handle_token"), token}}},
            token, [this](const QVariantMap* results) {
                // A string in the portal's first version, an object path in some later ones.
                const QVariant handle =
                    results ? results->value(QStringLiteral("session_handle")) : QVariant();
                session = handle.userType() == qMetaTypeId<QDBusObjectPath>()
                              ? handle.value<QDBusObjectPath>().path()
                              : handle.toString();
                if (session.isEmpty()) {
                    fallThrough("The desktop's shortcuts portal opened no session");
                    return;
                }
                bus.connect(portalService, session, QStringLiteral("org.freedesktop.portal.Session"),
                            QStringLiteral("Closed"), this, SLOT(sessionClosed()));
                bindWhenReady();
            });
}

PortalHotKeys::~PortalHotKeys() {
    if (!session.isEmpty() && (state == State::starting || state == State::bound)) {
        bus.asyncCall(QDBusMessage::createMethodCall(portalService, session,
                                                     QStringLiteral("org.freedesktop.portal.Session"),
                                                     QStringLiteral("Close")));
    }
}

void PortalHotKeys::request(const QString& method, QVariantList arguments, const QString& token,
                            std::function<void(const QVariantMap*)> then) {
    const QString handle = QStringLiteral("mirkvantle_%1_%2").arg(token).arg(++tokens);
    // The portal names the request after the caller and the token, so the answer can be awaited
    // before the call goes out and none is missed.
    const QString sender = bus.baseService().mid(1).replace(u'.', u'_');
    const QString path = QStringLiteral("%1/request/%2/%3").arg(portalPath, sender, handle);
    waiting[path] = std::move(then);
    bus.connect(portalService, path, QStringLiteral("org.freedesktop.portal.Request"),
                QStringLiteral("Response"), this, SLOT(answered(QDBusMessage)));
    auto options = qdbus_cast<QVariantMap>(arguments.last());
    options.insert(QStringLiteral("handle_token"), handle);
    arguments.last() = options;
    auto call = QDBusMessage::createMethodCall(portalService, portalPath, shortcutsInterface, method);
    call.setArguments(arguments);
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, path](QDBusPendingCallWatcher* w) {
        w->deleteLater();
        const auto it = waiting.find(path);
        if (w->isError() && it != waiting.end()) {
            auto refused = std::move(it->second);
            waiting.erase(it);
            bus.disconnect(portalService, path, QStringLiteral("org.freedesktop.portal.Request"),
                           QStringLiteral("Response"), this, SLOT(answered(QDBusMessage)));
            refused(nullptr);
        }
    });
}

void PortalHotKeys::answered(const QDBusMessage& response) {
    const auto it = waiting.find(response.path());
    if (it == waiting.end()) {
        return;
    }
    auto then = std::move(it->second);
    waiting.erase(it);
    bus.disconnect(portalService, response.path(), QStringLiteral("org.freedesktop.portal.Request"),
                   QStringLiteral("Response"), this, SLOT(answered(QDBusMessage)));
    const QList<QVariant> arguments = response.arguments();
    const QVariantMap results = qdbus_cast<QVariantMap>(arguments.value(1));
    then(arguments.value(0).toUInt() == 0 ? &results : nullptr);
}

int PortalHotKeys::grab(unsigned keysym, const QString& description, std::function<void()> fn) {
    const QString name = ShellHotKeys::actionName(keysym);
    if (name.isEmpty() || state == State::ended) {
        return 0;
    }
    Grab grab;
    grab.name = name;
    grab.description = description;
    grab.keysym = keysym;
    grab.fn = std::move(fn);
    if (state == State::fellThrough) {
        grab.fallbackId = fallback ? fallback->grab(keysym, description, grab.fn) : 0;
        if (grab.fallbackId == 0) {
            return 0;
        }
    } else if (!bindQueued) {
        // The shortcuts grabbed together at start-up are bound together, in one request.
        bindQueued = true;
        QTimer::singleShot(0, this, [this] {
            bindQueued = false;
            bindWhenReady();
        });
    }
    const int id = next++;
    grabs.emplace(id, std::move(grab));
    return id;
}

void PortalHotKeys::bindWhenReady() {
    if (session.isEmpty() || binding || (state != State::starting && state != State::bound)) {
        return;
    }
    QList<PortalShortcut> shortcuts;
    for (auto& [id, grab] : grabs) {
        if (!grab.asked) {
            grab.asked = true;
            shortcuts.append({grab.name,
                              {{QStringLiteral("description"), grab.description},
                               {QStringLiteral("preferred_trigger"), preferredTrigger(grab.keysym)}}});
        }
    }
    if (shortcuts.isEmpty()) {
        return;
    }
    binding = true;
    request(QStringLiteral("BindShortcuts"),
            {QVariant::fromValue(QDBusObjectPath(session)), QVariant::fromValue(shortcuts), QString(),
             QVariantMap()},
            QStringLiteral("bind"), [this](const QVariantMap* results) { bound(results); });
}

void PortalHotKeys::bound(const QVariantMap* results) {
    binding = false;
    if (state != State::starting && state != State::bound) {
        return;
    }
    const QVariant shortcuts = results ? results->value(QStringLiteral("shortcuts")) : QVariant();
    const bool first = state == State::starting;
    readTriggers(shortcuts);
    const bool any = std::any_of(grabs.begin(), grabs.end(), [](const auto& g) { return g.second.bound; });
    if (first && !any) {
        fallThrough("The desktop's shortcuts portal bound none of the program's shortcuts");
        return;
    }
    state = State::bound;
    for (auto& [id, grab] : grabs) {
        if (grab.asked && !grab.bound && !grab.refusalSaid) {
            // Said once: a refused key is not asked for again in this session.
            grab.refusalSaid = true;
            qInfo().noquote() << QStringLiteral(
                                     "The desktop refused the shortcut \"%1\"; that shortcut is off.")
                                     .arg(grab.description);
        }
    }
}

void PortalHotKeys::readTriggers(const QVariant& shortcuts) {
    const auto list = qdbus_cast<QList<PortalShortcut>>(shortcuts);
    for (const PortalShortcut& shortcut : list) {
        if (Grab* grab = named(shortcut.id)) {
            grab->bound = true;
            grab->trigger = shortcut.details.value(QStringLiteral("trigger_description")).toString();
        }
    }
}

void PortalHotKeys::fallThrough(const char* why) {
    if (state == State::fellThrough || state == State::ended) {
        return;
    }
    state = State::fellThrough;
    fallback = makeFallback ? makeFallback() : nullptr;
    qInfo().noquote() << QString::fromLatin1(why) +
                             (fallback
                                  ? QStringLiteral("; the shortcuts take the next way this desktop offers.")
                                  : QStringLiteral("; this desktop offers no other way to hold them."));
    if (!session.isEmpty()) {
        bus.asyncCall(QDBusMessage::createMethodCall(portalService, session,
                                                     QStringLiteral("org.freedesktop.portal.Session"),
                                                     QStringLiteral("Close")));
    }
    for (auto& [id, grab] : grabs) {
        grab.bound = false;
        grab.fallbackId = fallback ? fallback->grab(grab.keysym, grab.description, grab.fn) : 0;
    }
    reachChanged();
}

void PortalHotKeys::end(const char* why) {
    if (state != State::starting && state != State::bound) {
        return;
    }
    state = State::ended;
    qInfo().noquote() << QString::fromLatin1(why) +
                             QStringLiteral("; the shortcuts are off until the program starts again.");
    for (auto& [id, grab] : grabs) {
        grab.bound = false;
        grab.held = false;
    }
    reachChanged();
}

void PortalHotKeys::sessionClosed() {
    end("The desktop closed the program's shortcuts session");
}

PortalHotKeys::Grab* PortalHotKeys::named(const QString& name) {
    for (auto& [id, grab] : grabs) {
        if (grab.name == name) {
            return &grab;
        }
    }
    return nullptr;
}

void PortalHotKeys::activated(const QDBusMessage& signal) {
    const QList<QVariant> arguments = signal.arguments();
    if (state != State::bound || arguments.value(0).value<QDBusObjectPath>().path() != session) {
        return;
    }
    Grab* grab = named(arguments.value(1).toString());
    // A held key may be told again before it is let go; it acts once.
    if (!grab || !grab->bound || grab->held) {
        return;
    }
    grab->held = true;
    const auto fn = grab->fn; // the action may release this very shortcut
    fn();
}

void PortalHotKeys::deactivated(const QDBusMessage& signal) {
    const QList<QVariant> arguments = signal.arguments();
    if (arguments.value(0).value<QDBusObjectPath>().path() != session) {
        return;
    }
    if (Grab* grab = named(arguments.value(1).toString())) {
        grab->held = false;
    }
}

void PortalHotKeys::shortcutsChanged(const QDBusMessage& signal) {
    const QList<QVariant> arguments = signal.arguments();
    if (state == State::bound && arguments.value(0).value<QDBusObjectPath>().path() == session) {
        readTriggers(arguments.value(1));
    }
}

void PortalHotKeys::release(int id) {
    const auto it = grabs.find(id);
    if (it == grabs.end()) {
        return;
    }
    if (fallback && it->second.fallbackId != 0) {
        fallback->release(it->second.fallbackId);
    }
    grabs.erase(it);
}

bool PortalHotKeys::works(int id) {
    const auto it = grabs.find(id);
    if (it == grabs.end()) {
        return false;
    }
    switch (state) {
    case State::bound:
        return it->second.bound;
    case State::fellThrough:
        return fallback && it->second.fallbackId != 0 && fallback->works(it->second.fallbackId);
    case State::starting:
    case State::ended:
        break;
    }
    return false;
}

HotKeyGrabber::Reach PortalHotKeys::reach() {
    switch (state) {
    case State::fellThrough:
        return fallback ? fallback->reach() : Reach::none;
    case State::ended:
        return Reach::ended;
    case State::starting:
    case State::bound:
        break;
    }
    return Reach::portal;
}

QString PortalHotKeys::keys(int id) {
    const auto it = grabs.find(id);
    if (it == grabs.end()) {
        return {};
    }
    if (state == State::fellThrough) {
        return fallback && it->second.fallbackId != 0 ? fallback->keys(it->second.fallbackId) : QString();
    }
    return it->second.trigger;
}

} // namespace platform
