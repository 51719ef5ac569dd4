#include "support/TestEnvironment.h"

#include <QByteArray>

// The desktop's session bus stays: the tests talk to the desktop through it. A GUI application,
// so that a test may put the program on the desktop's X server, as it runs there.
int main(int argc, char** argv) {
    const QByteArray bus = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    TestEnvironment::prepare();
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus);
    return runTests(argc, argv, true);
}
