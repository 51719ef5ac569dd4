#include "platform/linux/DBusSessionEvents.h"

#include "app/AppIdentity.h"

#include <QCoro/QCoroDBusPendingCall>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QFutureWatcher>
#include <QPointer>
#include <QtConcurrent/QtConcurrentRun>

#include <unistd.h>

namespace platform {
namespace {

// How long a call may go unanswered before its answer no longer matters.
constexpr int patience = 5000;

const QString login1 = QStringLiteral("org.freedesktop.login1");
const QString managerPath = QStringLiteral("/org/freedesktop/login1");
const QString managerInterface = QStringLiteral("org.freedesktop.login1.Manager");
const QString sessionInterface = QStringLiteral("org.freedesktop.login1.Session");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString screenSaverService = QStringLiteral("org.freedesktop.ScreenSaver");

QDBusMessage managerCall(const QString& method, const QVariantList& arguments) {
    auto message = QDBusMessage::createMethodCall(login1, managerPath, managerInterface, method);
    message.setArguments(arguments);
    return message;
}

bool answered(const QDBusMessage& reply) {
    return reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty();
}

} // namespace

DBusSessionEvents::DBusSessionEvents(const QString& systemBus, const QString& sessionBus, QObject* parent)
    : SessionEvents(parent) {
    systemLink = join(systemBus, [this](QDBusConnection bus) { attachSystem(std::move(bus)); });
    sessionLink = join(sessionBus, [this](QDBusConnection bus) { attachSession(std::move(bus)); });
}

DBusSessionEvents::~DBusSessionEvents() {
    for (const auto& link : {systemLink, sessionLink}) {
        if (link) {
            link->wanted = false;
            QDBusConnection::disconnectFromBus(link->name);
        }
    }
}

QString DBusSessionEvents::systemBusAddress() {
    return qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS",
                                QStringLiteral("unix:path=/var/run/dbus/system_bus_socket"));
}

QString DBusSessionEvents::sessionBusAddress() {
    return qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
}

bool DBusSessionEvents::isSessionActive() const {
    return sessionActive && !locked && !screenSaver;
}

std::shared_ptr<DBusSessionEvents::Link> DBusSessionEvents::join(const QString& address,
                                                                 std::function<void(QDBusConnection)> then) {
    if (address.isEmpty()) {
        return nullptr;
    }
    static std::atomic<int> joined{0};
    auto link = std::make_shared<Link>();
    link->name = QStringLiteral("mirkvantle-session-events-%1").arg(++joined);
    auto* watcher = new QFutureWatcher<QDBusConnection>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [watcher, then = std::move(then)] {
        watcher->deleteLater();
        if (const QDBusConnection bus = watcher->result(); bus.isConnected()) {
            then(bus);
        }
    });
    // Joining a bus waits for its answer; elsewhere than on the main thread, so that a bus that
    // hangs holds up nobody.
    watcher->setFuture(QtConcurrent::run([address, link] {
        const auto bus = QDBusConnection::connectToBus(address, link->name);
        if (!link->wanted) {
            QDBusConnection::disconnectFromBus(link->name);
        }
        return bus;
    }));
    return link;
}

void DBusSessionEvents::attachSystem(QDBusConnection bus) {
    system = bus;
    bus.connect(login1, managerPath, managerInterface, QStringLiteral("PrepareForSleep"), this,
                SLOT(prepareForSleep(bool)));
    holdSleep(bus);
    followSession(bus);
}

void DBusSessionEvents::attachSession(QDBusConnection bus) {
    // Desktops publish the screen saver under more than one path; any of them will do.
    bus.connect(screenSaverService, QString(), screenSaverService, QStringLiteral("ActiveChanged"), this,
                SLOT(screenSaverChanged(bool)));
    readScreenSaver(bus);
}

QCoro::Task<> DBusSessionEvents::holdSleep(QDBusConnection bus) {
    QPointer<DBusSessionEvents> self(this);
    const QDBusPendingCall call =
        bus.asyncCall(managerCall(QStringLiteral("Inhibit"),
                                  {QStringLiteral("sleep"), QLatin1String(AppIdentity::name),
                                   QStringLiteral("Closing the activity record"), QStringLiteral("delay")}),
                      patience);
    const QDBusMessage reply = co_await call;
    if (self && answered(reply)) {
        sleepDelay = qdbus_cast<QDBusUnixFileDescriptor>(reply.arguments().constFirst());
    }
}

QCoro::Task<> DBusSessionEvents::followSession(QDBusConnection bus) {
    QPointer<DBusSessionEvents> self(this);
    const QDBusPendingCall byProcess = bus.asyncCall(
        managerCall(QStringLiteral("GetSessionByPID"), {QVariant::fromValue(quint32(::getpid()))}), patience);
    QDBusMessage reply = co_await byProcess;
    if (!self) {
        co_return;
    }
    if (!answered(reply)) {
        // Started outside any session, as a user service is: the session the desktop names, or
        // the one logind picks for this user.
        const QDBusPendingCall byId =
            bus.asyncCall(managerCall(QStringLiteral("GetSession"),
                                      {qEnvironmentVariable("XDG_SESSION_ID", QStringLiteral("auto"))}),
                          patience);
        reply = co_await byId;
        if (!self || !answered(reply)) {
            co_return;
        }
    }
    const QString path = qdbus_cast<QDBusObjectPath>(reply.arguments().constFirst()).path();
    if (path.isEmpty()) {
        co_return;
    }
    bus.connect(login1, path, sessionInterface, QStringLiteral("Lock"), this, SLOT(sessionLocked()));
    bus.connect(login1, path, sessionInterface, QStringLiteral("Unlock"), this, SLOT(sessionUnlocked()));
    bus.connect(login1, path, propertiesInterface, QStringLiteral("PropertiesChanged"), this,
                SLOT(sessionPropertiesChanged(QString, QVariantMap)));
    // Read after subscribing, so that no change falls between the two.
    auto get = QDBusMessage::createMethodCall(login1, path, propertiesInterface, QStringLiteral("GetAll"));
    get.setArguments({sessionInterface});
    const QDBusPendingCall all = bus.asyncCall(get, patience);
    reply = co_await all;
    if (self && answered(reply)) {
        sessionPropertiesChanged(sessionInterface, qdbus_cast<QVariantMap>(reply.arguments().constFirst()));
    }
}

QCoro::Task<> DBusSessionEvents::readScreenSaver(QDBusConnection bus) {
    QPointer<DBusSessionEvents> self(this);
    const QDBusPendingCall call = bus.asyncCall(
        QDBusMessage::createMethodCall(screenSaverService, QStringLiteral("/org/freedesktop/ScreenSaver"),
                                       screenSaverService, QStringLiteral("GetActive")),
        patience);
    const QDBusMessage reply = co_await call;
    if (self && answered(reply)) {
        screenSaverChanged(reply.arguments().constFirst().toBool());
    }
}

void DBusSessionEvents::prepareForSleep(bool sleeping) {
    if (sleeping) {
        emit willSleep();
        // Everyone has heard: the machine may go.
        sleepDelay = QDBusUnixFileDescriptor();
        return;
    }
    emit didWake();
    if (system.isConnected() && !sleepDelay.isValid()) {
        holdSleep(system);
    }
}

void DBusSessionEvents::sessionLocked() {
    change(locked, true);
}

void DBusSessionEvents::sessionUnlocked() {
    change(locked, false);
}

void DBusSessionEvents::sessionPropertiesChanged(const QString& interface, const QVariantMap& changed) {
    if (interface != sessionInterface) {
        return;
    }
    if (const auto active = changed.find(QStringLiteral("Active")); active != changed.end()) {
        change(sessionActive, active->toBool());
    }
    if (const auto lockedHint = changed.find(QStringLiteral("LockedHint")); lockedHint != changed.end()) {
        change(locked, lockedHint->toBool());
    }
}

void DBusSessionEvents::screenSaverChanged(bool active) {
    change(screenSaver, active);
}

void DBusSessionEvents::change(bool& field, bool value) {
    const bool before = isSessionActive();
    field = value;
    if (isSessionActive() != before) {
        emit activeChanged(!before);
    }
}

} // namespace platform
