#include "support/TestEnvironment.h"

#include <QByteArray>

// The desktop's session bus stays: the tests talk to the desktop through it. A GUI application,
// so that a test may put the program on the desktop's X server, as it runs there.
int main(int argc, char** argv) {
    const QByteArray bus = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    const QByteArray home = qgetenv("HOME");
    const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
    TestEnvironment::prepare();
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus);
    // The session's own folders, for what the desktop starts on its own: the opener reads the
    // session's home, and a program it starts looks for the running one in the runtime folder.
    qputenv("MIRK_SESSION_HOME", home);
    qputenv("MIRK_SESSION_RUNTIME_DIR", runtime);
    return runTests(argc, argv, true);
}
