#include "time/TimerState.h"

#include "base/Clock.h"
#include "base/Json.h"

TimerState TimerState::fromJson(const QJsonObject& json) {
    TimerState state;
    state.enabled = base::json::booleanOr(json, QStringLiteral("enabled"), false);
    if (const auto active = base::json::object(json, QStringLiteral("active"))) {
        state.active = TimeEntry::fromJson(*active);
    }
    if (const auto review = base::json::array(json, QStringLiteral("review"))) {
        state.awaitingReview = static_cast<int>(review->size());
    }
    if (const auto now = base::json::string(json, QStringLiteral("server_now"))) {
        if (const auto serverNow = TimeEntry::date(*now)) {
            state.clockSkew = static_cast<double>(base::Clock::now().msecsTo(*serverNow)) / 1000.0;
        }
    }
    return state;
}
