// Counts how often the clipboard watcher wakes the main thread: over a quiet stretch with
// nothing copied, and over a stretch with a few copies made in another X client. Counted from
// the kernel's record of the thread's voluntary context switches, not timed.
// Usage (on an X display): clipboard-wakeups [quiet seconds, default 30]
#include "capture/ClipboardWatcher.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTimer>

#include <cstdio>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

long wakeups() {
    const auto tid = static_cast<long>(::syscall(SYS_gettid));
    QFile status(QStringLiteral("/proc/self/task/%1/status").arg(tid));
    if (!status.open(QIODevice::ReadOnly)) {
        return -1;
    }
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("voluntary_ctxt_switches:")) {
            return line.mid(24).trimmed().toLong();
        }
    }
    return -1;
}

// Runs the event loop for a while, as the program does when idle.
void idle(int ms) {
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    const int quiet = argc > 1 ? std::atoi(argv[1]) : 30;
    auto& watcher = ClipboardWatcher::shared();
    watcher.start();
    idle(1000);

    // The measuring loop itself wakes once, at its end.
    const long before = wakeups();
    idle(quiet * 1000);
    const long quietWakeups = wakeups() - before - 1;

    const int copies = 5;
    const quint64 seenBefore = watcher.seen;
    const long copyStart = wakeups();
    for (int i = 0; i < copies; ++i) {
        QProcess xclip;
        xclip.start(QStringLiteral("xclip"),
                    {QStringLiteral("-selection"), QStringLiteral("clipboard"), QStringLiteral("-i")});
        xclip.write(QByteArray("copy ") + QByteArray::number(i));
        xclip.closeWriteChannel();
        xclip.waitForFinished(5000);
        idle(500);
    }
    const long copyWakeups = wakeups() - copyStart;
    std::printf("quiet: %d s, %ld wakeups of the main thread\n", quiet, quietWakeups);
    std::printf("copies: %d made, %llu seen, %ld wakeups (including starting xclip and waiting for it)\n",
                copies, static_cast<unsigned long long>(watcher.seen - seenBefore), copyWakeups);
    return quietWakeups <= 0 && watcher.seen - seenBefore == static_cast<quint64>(copies) ? 0 : 1;
}
