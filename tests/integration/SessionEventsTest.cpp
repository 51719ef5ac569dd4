#include "platform/linux/DBusSessionEvents.h"
#include "support/Installed.h"
#include "support/PrivateBus.h"
#include "support/SpinUntil.h"
#include "support/TestEnvironment.h"

#include <QDBusArgument>
#include <QDBusVariant>

#include <gtest/gtest.h>

#include <unistd.h>

using platform::DBusSessionEvents;

namespace {

const QString login1 = "org.freedesktop.login1";
const QString manager = "/org/freedesktop/login1";
const QString mockInterface = "org.freedesktop.DBus.Mock";

// What a listener hears, in order.
void listen(DBusSessionEvents& events, QStringList& heard) {
    QObject::connect(&events, &DBusSessionEvents::willSleep, [&heard] { heard << "sleep"; });
    QObject::connect(&events, &DBusSessionEvents::didWake, [&heard] { heard << "wake"; });
    QObject::connect(&events, &DBusSessionEvents::activeChanged,
                     [&heard](bool active) { heard << (active ? "active" : "inactive"); });
}

QDBusMessage emitSignal(PrivateBus& bus, const QString& service, const QString& path,
                        const QString& interface, const QString& name, bool argument) {
    return bus.call(service, path, mockInterface, "EmitSignal",
                    {interface, name, "b", QVariant::fromValue(QVariantList{argument})});
}

// The sleep locks that logind holds, of anybody.
int inhibitors(PrivateBus& bus) {
    const auto reply = bus.call(login1, manager, "org.freedesktop.login1.Manager", "ListInhibitors");
    if (reply.type() != QDBusMessage::ReplyMessage) {
        return -1;
    }
    const auto list = reply.arguments().constFirst().value<QDBusArgument>();
    int count = 0;
    list.beginArray();
    while (!list.atEnd()) {
        QString what, who, why, mode;
        uint uid, pid;
        list.beginStructure();
        list >> what >> who >> why >> mode >> uid >> pid;
        list.endStructure();
        count += what == "sleep" && mode == "delay";
    }
    list.endArray();
    return count;
}

class SessionEventsTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(installed({"dbus-daemon"}));
        ASSERT_TRUE(PrivateBus::canMock()) << "python3-dbusmock is not installed (scripts/setup installs it)";
        ASSERT_TRUE(bus.isRunning());
    }
    PrivateBus bus;
};

} // namespace

TEST_F(SessionEventsTest, SleepWakeAndTheLockedSessionReachEveryListenerInOrder) {
    ASSERT_TRUE(bus.mock({"--template", "logind"}, login1));
    const QString session = "/org/freedesktop/login1/session/c7";
    ASSERT_EQ(bus.call(login1, manager, mockInterface, "AddSession",
                       {"c7", "seat0", quint32(::getuid()), "someone", false})
                  .type(),
              QDBusMessage::ReplyMessage);
    // The stand-in knows no session by process, so the one the desktop names is followed.
    const QByteArray previousSession = qgetenv("XDG_SESSION_ID");
    qputenv("XDG_SESSION_ID", "c7");
    QStringList heard, alsoHeard;
    DBusSessionEvents events(bus.address(), QString());
    listen(events, heard);
    listen(events, alsoHeard);
    const bool found = spinUntil([&] { return heard == QStringList{"inactive"}; });
    qputenv("XDG_SESSION_ID", previousSession);
    ASSERT_TRUE(found) << "the session starts in the background";
    EXPECT_FALSE(events.isSessionActive());
    ASSERT_TRUE(spinUntil([&] { return inhibitors(bus) == 1; })) << "a sleep waits for the listeners";

    const QString sessionInterface = "org.freedesktop.login1.Session";
    bus.call(login1, session, mockInterface, "UpdateProperties",
             {sessionInterface, QVariantMap{{"Active", true}}});
    bus.call(login1, session, sessionInterface, "Lock");
    bus.call(login1, session, sessionInterface, "Unlock");
    bus.call(login1, session, sessionInterface, "SetLockedHint", {true});
    bus.call(login1, session, sessionInterface, "SetLockedHint", {false});
    emitSignal(bus, login1, manager, "org.freedesktop.login1.Manager", "PrepareForSleep", true);
    ASSERT_TRUE(spinUntil([&] { return heard.size() == 7 && inhibitors(bus) == 0; }))
        << heard.join(' ').toStdString() << ": once told, the sleep need not wait";
    emitSignal(bus, login1, manager, "org.freedesktop.login1.Manager", "PrepareForSleep", false);
    ASSERT_TRUE(spinUntil([&] { return heard.size() == 8 && inhibitors(bus) == 1; }))
        << "the next sleep will wait again";
    EXPECT_EQ(heard.join(' ').toStdString(), "inactive active inactive active inactive active sleep wake");
    EXPECT_EQ(alsoHeard.join(' ').toStdString(), heard.join(' ').toStdString());
    EXPECT_TRUE(events.isSessionActive());
}

TEST_F(SessionEventsTest, TheScreenSaverCountsAndWithoutABusNothingHappens) {
    const QString screenSaver = "org.freedesktop.ScreenSaver";
    const QString path = "/org/freedesktop/ScreenSaver";
    ASSERT_TRUE(bus.mock({screenSaver, path, screenSaver}, screenSaver));
    ASSERT_EQ(bus.call(screenSaver, path, mockInterface, "AddMethod",
                       {screenSaver, "GetActive", "", "b", "ret = True"})
                  .type(),
              QDBusMessage::ReplyMessage);

    const QString nowhere = "unix:path=" + TestEnvironment::root() + "/no-bus";
    QStringList silence, heard;
    DBusSessionEvents alone(nowhere, nowhere);
    DBusSessionEvents events(QString(), bus.address());
    listen(alone, silence);
    listen(events, heard);
    ASSERT_TRUE(spinUntil([&] { return heard == QStringList{"inactive"}; }))
        << "the screen saver runs already";
    emitSignal(bus, screenSaver, path, screenSaver, "ActiveChanged", false);
    emitSignal(bus, screenSaver, path, screenSaver, "ActiveChanged", true);
    ASSERT_TRUE(spinUntil([&] { return heard.size() == 3; }));
    EXPECT_EQ(heard.join(' ').toStdString(), "inactive active inactive");
    EXPECT_TRUE(silence.isEmpty());
    EXPECT_TRUE(alone.isSessionActive()) << "with nobody to ask, the session counts as in use";
}
