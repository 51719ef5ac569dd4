#include "support/TestEnvironment.h"

#include "app/Settings.h"
#include "base/Network.h"

#include <QApplication>
#include <QCoreApplication>
#include <QDir>
#include <QLocale>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

namespace {
QTemporaryDir* home = nullptr;
std::atomic<int> settingsFiles{0};
} // namespace

void TestEnvironment::prepare() {
    if (home) {
        return;
    }
    home = new QTemporaryDir(QDir::tempPath() + QLatin1String("/mirkvantle-test-XXXXXX"));
    const QString r = home->path();
    for (const char* sub : {"config", "data", "cache", "runtime"}) {
        QDir(r).mkpath(QLatin1String(sub));
    }
    QFile::setPermissions(r + QLatin1String("/runtime"),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("HOME", r.toUtf8());
    qputenv("XDG_CONFIG_HOME", (r + QLatin1String("/config")).toUtf8());
    qputenv("XDG_DATA_HOME", (r + QLatin1String("/data")).toUtf8());
    qputenv("XDG_CACHE_HOME", (r + QLatin1String("/cache")).toUtf8());
    qputenv("XDG_RUNTIME_DIR", (r + QLatin1String("/runtime")).toUtf8());
    // A keyring or desktop of the machine running the tests must not answer them: the session
    // bus is one where nobody listens, which fails at once.
    qputenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + r + QLatin1String("/no-bus")).toUtf8());
    qunsetenv("VANTLE_DESKTOP_KEY");
    // Fourteen hours ahead of UTC, so that a day taken in UTC instead of local time (or the other
    // way round) is another day for most of the clock.
    qputenv("TZ", "Pacific/Kiritimati");
}

QString TestEnvironment::root() {
    return home ? home->path() : QString();
}

void TestEnvironment::freshSettings() {
    Settings::useFile(root() + QStringLiteral("/config/settings-%1.conf").arg(++settingsFiles));
    Settings::registerDefaults();
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
}

int runTests(int argc, char** argv, bool widgets) {
    TestEnvironment::prepare();
    ::testing::InitGoogleTest(&argc, argv);
    // Listing the tests (as the build does, before any display exists) needs no application.
    if (::testing::GTEST_FLAG(list_tests)) {
        return RUN_ALL_TESTS();
    }
    std::unique_ptr<QCoreApplication> app;
    if (widgets) {
        app = std::make_unique<QApplication>(argc, argv);
    } else {
        app = std::make_unique<QCoreApplication>(argc, argv);
    }
    QCoreApplication::setOrganizationName(QStringLiteral("Mirk Vantle Agents Tests"));
    const int status = RUN_ALL_TESTS();
    base::closeNetwork();
    return status;
}
