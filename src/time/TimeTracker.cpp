#include "time/TimeTracker.h"

#include "base/Clock.h"

#include <QPointer>

#include <algorithm>
#include <cmath>
#include <string>

namespace {

// Labels longer than this are cut, so the running form stays short beside the clock.
constexpr std::size_t labelLimit = 18;

} // namespace

TimeTracker::TimeTracker(QObject* parent) : QObject(parent) {}

TimeTracker& TimeTracker::shared() {
    static auto* instance = new TimeTracker; // lives as long as the process
    return *instance;
}

void TimeTracker::start() {
    if (poll.isActive()) {
        return;
    }
    auto& scheduler = base::Scheduler::current();
    QPointer<TimeTracker> self(this);
    poll = scheduler.every(pollInterval, [self] {
        if (self) {
            self->refresh();
        }
    });
    // Only moves the shown clock on; it reads nothing.
    tick = scheduler.every(tickInterval, [self] {
        if (self && self->state && self->state->active) {
            self->changed();
        }
    });
    refresh();
}

void TimeTracker::refresh() {
    if (!VantleClient::isConfigured()) {
        if (state) {
            state.reset();
            changed();
        }
        return;
    }
    read();
}

QCoro::Task<> TimeTracker::read() {
    QPointer<TimeTracker> self(this);
    // Only the newest read tells what it found: one that a later refresh overtook keeps quiet,
    // so that an older answer never stands over a newer one.
    const quint64 mine = ++reads;
    if (!agentsReadAt || agentsReadAt->msecsTo(base::Clock::now()) > agentsLifetime * 1000.0) {
        co_await readAgents(mine);
        if (!self) {
            co_return;
        }
    }
    const auto fresh = co_await VantleClient::timerState();
    if (!self || !fresh || mine != reads) {
        co_return;
    }
    state = *fresh;
    if (fresh->enabled) {
        auto entries = co_await VantleClient::recentTimers();
        if (!self || mine != reads) {
            co_return;
        }
        if (entries) {
            recent = std::move(entries).value();
        }
    }
    changed();
}

QCoro::Task<> TimeTracker::readAgents(quint64 mine) {
    QPointer<TimeTracker> self(this);
    const auto agents = co_await VantleClient::enabledAgents();
    // A failure leaves the time of the last read, so the next refresh tries again. A read that
    // a newer one overtook (a key changed meanwhile) leaves its finding to that one.
    if (!self || !agents || mine != reads) {
        co_return;
    }
    enabledAgents = *agents;
    agentsReadAt = base::Clock::now();
    const auto administrator = co_await VantleClient::isAdministrator();
    if (self && mine == reads) {
        isAdministrator = administrator && *administrator;
    }
}

void TimeTracker::forgetWorkspace() {
    // What a read of the old workspace still finds is not the new one's.
    ++reads;
    enabledAgents.reset();
    agentsReadAt.reset();
    isAdministrator = false;
    state.reset();
    recent.clear();
    // The tray and the menus show the plain form at once, whatever the refresh finds.
    changed();
    refresh();
}

std::optional<QString> TimeTracker::elapsed() const {
    if (!state || !state->active || !state->active->startedAt) {
        return std::nullopt;
    }
    // The entry was stamped by the workspace's clock; the skew turns the local clock into it.
    const double seconds =
        static_cast<double>(state->active->startedAt->msecsTo(base::Clock::now())) / 1000.0 +
        state->clockSkew;
    return clock(std::max(seconds, 0.0));
}

std::optional<QString> TimeTracker::runningTitle() const {
    const auto time = elapsed();
    if (!VantleClient::isConfigured() || !state || !state->enabled || !time) {
        return std::nullopt;
    }
    QString label = state->active->label();
    // Counted in characters, so a letter outside the basic plane is never split.
    const std::u32string characters = label.toStdU32String();
    if (characters.size() > labelLimit) {
        label = QString::fromStdU32String(characters.substr(0, labelLimit - 1)) + QChar(0x2026);
    }
    return QStringLiteral(" ") + *time + QStringLiteral(" · ") + label;
}

QCoro::Task<VantleClient::Result<std::optional<TimeEntry>>> TimeTracker::stop() {
    if (!state || !state->active) {
        co_return std::optional<TimeEntry>{};
    }
    QPointer<TimeTracker> self(this);
    const auto stopped = co_await VantleClient::stopTimer(state->active->id);
    if (!stopped) {
        co_return stopped.error();
    }
    if (self) {
        refresh();
    }
    co_return std::optional<TimeEntry>(*stopped);
}

QString TimeTracker::clock(double seconds) {
    const auto whole = static_cast<qint64>(std::trunc(seconds));
    return QString::number(whole / 3600) + QLatin1Char(':') +
           QStringLiteral("%1").arg(whole / 60 % 60, 2, 10, QLatin1Char('0'));
}

void TimeTracker::changed() {
    if (onChange) {
        onChange();
    }
}
