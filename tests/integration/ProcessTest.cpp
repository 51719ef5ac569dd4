#include "app/AppDelegate.h"
#include "app/AppEvents.h"
#include "app/Settings.h"
#include "app/SingleInstance.h"
#include "app/TerminationSignal.h"
#include "base/VirtualScheduler.h"
#include "platform/fake/FakeServices.h"
#include "settings/SettingsView.h"
#include "support/SpinUntil.h"
#include "support/TestEnvironment.h"
#include "workspace/VantleEvents.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {

// An environment for the real program: its own runtime folder and settings that point the
// workspace at a port where nobody answers, so it reaches no real host.
QProcessEnvironment programEnvironment(const QString& home) {
    for (const char* sub : {"config/Mirk Vantle Agents", "data", "runtime"}) {
        QDir(home).mkpath(QLatin1String(sub));
    }
    QFile::setPermissions(home + "/runtime", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QSettings settings(home + "/config/Mirk Vantle Agents/Mirk Vantle Agents.ini", QSettings::IniFormat);
    settings.setValue("vantleURL", "http://127.0.0.1:1/app");
    settings.sync();
    auto env = QProcessEnvironment::systemEnvironment();
    env.insert("HOME", home);
    env.insert("XDG_CONFIG_HOME", home + "/config");
    env.insert("XDG_DATA_HOME", home + "/data");
    env.insert("XDG_RUNTIME_DIR", home + "/runtime");
    env.insert("QT_QPA_PLATFORM", "offscreen");
    return env;
}

int openDescriptors() {
    return static_cast<int>(
        QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::NoDotAndDotDot | QDir::System).size());
}

// A client of the instance's socket that speaks the protocol as it likes.
int connectTo(const QString& path) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof address.sun_path - 1);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

void sendRaw(int fd, const QByteArray& bytes) {
    [[maybe_unused]] const auto n =
        ::send(fd, bytes.constData(), static_cast<size_t>(bytes.size()), MSG_NOSIGNAL);
}

// A later launch's hand-over, served by this process's loop meanwhile as the instance would be.
bool handOverServed(const QString& path, const QStringList& arguments) {
    std::atomic<bool> done = false;
    std::jthread launch([&] {
        SingleInstance::handOver(path, arguments);
        done = true;
    });
    return spinUntil([&] { return done.load(); });
}

// The real program's view of itself, by its process id.
QByteArray procFile(qint64 pid, const char* name) {
    QFile file(QStringLiteral("/proc/%1/%2").arg(pid).arg(QLatin1String(name)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

TEST(SingleInstance, ASecondLaunchHandsItsArgumentsToTheFirstAndLeaves) {
    QTemporaryDir home;
    const auto env = programEnvironment(home.path());
    SingleInstance first(home.path() + "/runtime/mirkvantle-agents.socket");
    ASSERT_TRUE(first.listen());
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(home.path() + "/runtime/mirkvantle-agents.socket").constData(), &info),
              0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    QList<QStringList> received;
    first.onArguments = [&](const QStringList& arguments) { received << arguments; };

    QProcess second;
    second.setProcessEnvironment(env);
    second.start(MIRK_APP_PATH, {"mirkvantle://say?text=h%C3%A4lo", "--other"});
    ASSERT_TRUE(spinUntil([&] { return second.state() == QProcess::NotRunning && !received.isEmpty(); }))
        << second.readAllStandardError().toStdString();
    EXPECT_EQ(second.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(second.exitCode(), 0);
    EXPECT_EQ(received, (QList<QStringList>{{"mirkvantle://say?text=h%C3%A4lo", "--other"}}));
}

TEST(SingleInstance, WhatArrivesIsLimitedAndCheckedAndStaleSocketsAreTakenOver) {
    QTemporaryDir dir;
    const QString path = dir.path() + "/instance.socket";
    {
        // A crashed instance leaves its socket file behind, with nobody listening.
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof address.sun_path - 1);
        ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        ::close(fd);
        ASSERT_TRUE(QFileInfo::exists(path));
    }
    EXPECT_FALSE(SingleInstance::handOver(path, {"x"})) << "nobody answers on a stale socket";
    SingleInstance instance(path);
    ASSERT_TRUE(instance.listen());
    SingleInstance rival(path);
    EXPECT_FALSE(rival.listen()) << "a live instance keeps its socket";

    QList<QStringList> received;
    instance.onArguments = [&](const QStringList& arguments) { received << arguments; };

    // Too much text: what fits arrives, the argument that was cut off does not.
    const QString huge(SingleInstance::maxMessageBytes, QLatin1Char('a'));
    std::jthread sender([&] { SingleInstance::handOver(path, {"mirkvantle://show", huge}); });
    ASSERT_TRUE(spinUntil([&] { return received.size() == 1; }));
    sender.join();
    EXPECT_EQ(received.at(0), QStringList{"mirkvantle://show"});

    // Bytes that are no UTF-8 are dropped; a message without a final terminator is incomplete.
    std::jthread raw([&] {
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof address.sun_path - 1);
        if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
            const char message[] = "good\0\xff\xfe\0tail-without-end";
            [[maybe_unused]] auto n = ::send(fd, message, sizeof message - 1, MSG_NOSIGNAL);
        }
        ::close(fd);
    });
    ASSERT_TRUE(spinUntil([&] { return received.size() == 2; }));
    raw.join();
    EXPECT_EQ(received.at(1), QStringList{"good"});

    // A sender that connects and says nothing is dropped after a while; the next one is served.
    base::VirtualScheduler scheduler;
    const int silent = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof address.sun_path - 1);
    ASSERT_EQ(::connect(silent, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    spinUntil([] { return false; }, 100);
    scheduler.advance(6);
    char byte;
    ASSERT_TRUE(spinUntil([&] { return ::recv(silent, &byte, 1, MSG_DONTWAIT) == 0; }))
        << "closed by the instance";
    ::close(silent);
    std::jthread next([&] { SingleInstance::handOver(path, {"mirkvantle://hide"}); });
    ASSERT_TRUE(spinUntil([&] { return received.size() == 3; }));
    EXPECT_EQ(received.at(2), QStringList{"mirkvantle://hide"});
}

TEST(SingleInstance, AHundredHandOversHostileOnesIncludedLeaveNoDescriptorOpen) {
    QTemporaryDir dir;
    const QString path = dir.path() + "/instance.socket";
    base::VirtualScheduler scheduler;
    SingleInstance instance(path);
    ASSERT_TRUE(instance.listen());
    int received = 0;
    instance.onArguments = [&](const QStringList&) { ++received; };
    // One hand-over first, so that whatever the loop opens once for a socket is open already.
    ASSERT_TRUE(handOverServed(path, {"mirkvantle://show"}));
    ASSERT_TRUE(spinUntil([&] { return received == 1; }));
    const int before = openDescriptors();

    std::vector<int> silent;
    int expected = 1;
    for (int i = 0; i < 100; ++i) {
        switch (i % 5) {
        case 0: // a well-behaved launch
            EXPECT_TRUE(handOverServed(path, {"mirkvantle://say?text=" + QString::number(i)}));
            ++expected;
            break;
        case 1: { // far too much, and then gone without waiting
            const int fd = connectTo(path);
            sendRaw(fd, QByteArray(SingleInstance::maxMessageBytes * 2, 'x'));
            ::close(fd);
            break;
        }
        case 2: { // half a message, then a reset
            const int fd = connectTo(path);
            sendRaw(fd, "mirkvantle://sh");
            const linger hard{1, 0};
            ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
            ::close(fd);
            break;
        }
        case 3: // connects and says nothing, holding its end open
            silent.push_back(connectTo(path));
            break;
        case 4: { // a message, and its end closed for writing only
            const int fd = connectTo(path);
            sendRaw(fd, QByteArray("mirkvantle://hide\0", 18));
            ::shutdown(fd, SHUT_WR);
            silent.push_back(fd);
            ++expected;
            break;
        }
        }
        // Served as they come, as the running program would.
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    ASSERT_TRUE(spinUntil([&] { return received == expected; })) << received << " of " << expected;
    scheduler.advance(6); // the silent ones run out of patience
    for (int fd : silent) {
        char byte;
        EXPECT_TRUE(spinUntil([&] { return ::recv(fd, &byte, 1, MSG_DONTWAIT) == 0; }))
            << "closed by the instance";
        ::close(fd);
    }
    EXPECT_TRUE(spinUntil([&] { return openDescriptors() <= before; }, 5000))
        << "open before: " << before << ", after: " << openDescriptors();
    EXPECT_EQ(received, expected);
}

TEST(AppDelegate, EarlyLinksRunOnceAfterStartUpInOrderAndLateOnesAtOnce) {
    TestEnvironment::freshSettings();
    Settings::setValue(QLatin1String(Settings::Key::vantleURL), QStringLiteral("http://127.0.0.1:1/app"));
    platform::fake::FakeServices services;
    base::VirtualScheduler scheduler;
    AppDelegate app;
    QList<QUrl> ran;
    app.runLink = [&](const QUrl& url) { ran << url; };

    app.open({QUrl("mirkvantle://show")});
    app.open({QUrl("mirkvantle://say?text=1"), QUrl("mirkvantle://say?text=2")});
    EXPECT_TRUE(ran.isEmpty());
    app.applicationDidFinishLaunching();
    EXPECT_TRUE(ran.isEmpty()) << "held until everything stands";
    scheduler.advance(0);
    EXPECT_EQ(ran, (QList<QUrl>{QUrl("mirkvantle://show"), QUrl("mirkvantle://say?text=1"),
                                QUrl("mirkvantle://say?text=2")}));
    EXPECT_FALSE(app.waitingLinks);
    app.open({QUrl("mirkvantle://hide")});
    EXPECT_EQ(ran.size(), 4);
    EXPECT_EQ(ran.last(), QUrl("mirkvantle://hide"));
    scheduler.advance(1);
    EXPECT_EQ(ran.size(), 4) << "nothing runs twice";

    EXPECT_EQ(SettingsView::title(), QStringLiteral("Mirk Vantle Agents Settings"));
    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("et"));
    EXPECT_EQ(SettingsView::title(), QStringLiteral("Mirk Vantle Agents seaded"));

    app.openReportsFolder();
    ASSERT_EQ(services.desktop->opened.size(), 1);
    EXPECT_TRUE(QFileInfo(services.desktop->opened.at(0).toLocalFile()).isDir());
    EXPECT_TRUE(services.desktop->opened.at(0).toLocalFile().endsWith("/Mirk Vantle Agents/Reports"));

    // After a sleep the event stream starts afresh.
    auto& events = VantleEvents::shared();
    events.stop();
    emit services.sessionEvents->willSleep();
    EXPECT_FALSE(events.isRunning());
    emit services.sessionEvents->didWake();
    EXPECT_TRUE(events.isRunning());
    events.stop();
    scheduler.advance(0); // the stopped loops wind down
}

TEST(Program, EndsWithStatusZeroOnSigterm) {
    QTemporaryDir home;
    QProcess program;
    program.setProcessEnvironment(programEnvironment(home.path()));
    program.start(MIRK_APP_PATH, {});
    ASSERT_TRUE(program.waitForStarted());
    ASSERT_TRUE(spinUntil([&] {
        return QFileInfo::exists(home.path() + "/runtime/mirkvantle-agents.socket");
    })) << program.readAllStandardError().toStdString();
    ::kill(static_cast<pid_t>(program.processId()), SIGTERM);
    ASSERT_TRUE(program.waitForFinished(10000));
    EXPECT_EQ(program.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(program.exitCode(), 0) << program.readAllStandardError().toStdString();
    EXPECT_TRUE(QFileInfo::exists(home.path() + "/runtime/mirkvantle-agents.socket"))
        << "nothing was unwound: the quit road's clean-up never ran";
}

TEST(Program, KeepsKeysOutOfItsCommandLineAndEnvironmentAndDumpsNoCore) {
    QTemporaryDir home;
    auto env = programEnvironment(home.path());
    env.insert("VANTLE_DESKTOP_KEY", "env-secret-key");
    // The sanitizers switch core dumps off by themselves; here they leave that to the program.
    env.insert("ASAN_OPTIONS", env.value("ASAN_OPTIONS") + ":disable_coredump=0");
    const QString link = "mirkvantle://connect?key=link-secret-key&url=https://acme.example";
    const QString socket = home.path() + "/runtime/mirkvantle-agents.socket";
    const auto allowCores = [] {
        rlimit limit{};
        ::getrlimit(RLIMIT_CORE, &limit);
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_CORE, &limit);
    };

    // A running instance that takes a hand-over's connection but doesn't read it yet: the
    // second launch waits, in plain sight of the process list.
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, QFile::encodeName(socket).constData(), sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener, 4), 0);
    QProcess second;
    second.setProcessEnvironment(env);
    second.start(MIRK_APP_PATH, {link});
    ASSERT_TRUE(second.waitForStarted());
    pollfd pending{listener, POLLIN, 0};
    ASSERT_EQ(::poll(&pending, 1, 10000), 1);
    EXPECT_FALSE(procFile(second.processId(), "cmdline").contains("secret-key"));
    ::close(::accept(listener, nullptr, nullptr));
    ::close(listener);
    ASSERT_TRUE(second.waitForFinished(10000));
    QFile::remove(socket);

    QProcess first;
    first.setProcessEnvironment(env);
    first.setChildProcessModifier(allowCores);
    first.start(MIRK_APP_PATH, {link});
    ASSERT_TRUE(first.waitForStarted());
    ASSERT_TRUE(spinUntil([&] { return QFileInfo::exists(socket); }))
        << first.readAllStandardError().toStdString();
    const auto pid = first.processId();
    EXPECT_FALSE(procFile(pid, "cmdline").contains("secret-key"));
    EXPECT_FALSE(procFile(pid, "environ").contains("env-secret-key"));
    EXPECT_FALSE(procFile(pid, "environ").isEmpty());
    const QByteArray limits = procFile(pid, "limits");
    EXPECT_TRUE(QRegularExpression("Max core file size +0 +0 ").match(QString::fromLatin1(limits)).hasMatch())
        << limits.toStdString();
    ::kill(static_cast<pid_t>(pid), SIGTERM);
    EXPECT_TRUE(first.waitForFinished(10000));
}

TEST(ProgramDeathTest, SigtermClosesTheOpenSpanAndLeavesWithoutTheQuitRoad) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto byTerm = [] {
        AppDelegate delegate;
        QObject::connect(&AppEvents::shared(), &AppEvents::activityEnds,
                         [](const QDateTime&) { std::fputs("span closed\n", stderr); });
        QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit,
                         [] { std::fputs("quit road\n", stderr); });
        TerminationSignal::install(&AppDelegate::terminateBySignal);
        ::raise(SIGTERM);
        spinUntil([] { return false; }, 5000);
        std::fputs("still running\n", stderr);
    };
    EXPECT_EXIT(byTerm(), ::testing::ExitedWithCode(0), "^span closed\n$");
}
