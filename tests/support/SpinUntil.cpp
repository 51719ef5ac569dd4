#include "support/SpinUntil.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

namespace {

// One short turn of a loop that sleeps while nothing happens, so that waiting costs no core.
void turn() {
    QEventLoop loop;
    QTimer::singleShot(10, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace

bool spinUntil(const std::function<bool()>& condition, int ms) {
    QDeadlineTimer deadline(ms);
    while (!condition()) {
        if (deadline.hasExpired()) {
            return false;
        }
        turn();
    }
    return true;
}

void spinFor(int ms) {
    QDeadlineTimer deadline(ms);
    while (!deadline.hasExpired()) {
        turn();
    }
}
