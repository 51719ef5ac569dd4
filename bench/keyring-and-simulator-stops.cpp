// How long the program waits when the keyring is missing and when it stops answering, and how
// long the workspace simulator takes to stop on SIGTERM with a stream open. The tests check
// what happens then; this measures how long it takes, on this machine.
//
//   keyring-and-simulator-stops [rounds]

#include "base/VirtualScheduler.h"
#include "platform/linux/SystemSecretStore.h"
#include "support/PrivateKeyring.h"
#include "support/SimProcess.h"
#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

namespace {

const QString service = QStringLiteral("Mirk Vantle Agents");
const QString account = QStringLiteral("Vantle OS Desktop Key");

double millisecondsOf(const std::function<void()>& work) {
    QElapsedTimer clock;
    clock.start();
    work();
    return static_cast<double>(clock.nsecsElapsed()) / 1e6;
}

void report(const char* what, std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    std::printf("%-52s median %8.1f ms   max %8.1f ms\n", what, samples[samples.size() / 2], samples.back());
}

} // namespace

int main(int argc, char** argv) {
    TestEnvironment::prepare(); // a session bus where nobody listens: no keyring
    QCoreApplication app(argc, argv);
    const int rounds = std::max(1, argc > 1 ? std::atoi(argv[1]) : 5);
    base::VirtualScheduler scheduler; // each round's keyring rest passes at once

    std::vector<double> missing;
    for (int i = 0; i < rounds; ++i) {
        QTemporaryDir folder;
        platform::SystemSecretStore store(service, folder.path());
        missing.push_back(millisecondsOf([&] { store.read(account); }));
    }
    report("read with no keyring on the bus", missing);

    PrivateKeyring keyring;
    if (!keyring.isRunning()) {
        std::fprintf(stderr, "no keyring daemon started (gnome-keyring)\n");
        return 1;
    }
    std::vector<double> first;
    std::vector<double> resting;
    for (int i = 0; i < rounds; ++i) {
        QTemporaryDir folder;
        platform::SystemSecretStore store(service, folder.path());
        store.write(account, QStringLiteral("key-%1").arg(i));
        ::kill(static_cast<pid_t>(keyring.keyringPid()), SIGSTOP);
        first.push_back(millisecondsOf([&] { store.read(account); }));
        resting.push_back(millisecondsOf([&] { store.write(account, QStringLiteral("while-stalled")); }));
        ::kill(static_cast<pid_t>(keyring.keyringPid()), SIGCONT);
        scheduler.advance(61);
    }
    report("read from a keyring that stopped answering", first);
    report("write while that keyring rests", resting);

    std::vector<double> stops;
    for (int i = 0; i < rounds; ++i) {
        SimProcess sim({QStringLiteral("--demo")});
        if (!sim.isRunning()) {
            std::fprintf(stderr, "the workspace simulator did not start\n");
            return 1;
        }
        const auto stream = sim.openStream(sim.exchangeToken());
        stops.push_back(millisecondsOf([&] { sim.terminate(30000); }));
    }
    report("workspace simulator from SIGTERM to its end", stops);
    return 0;
}
