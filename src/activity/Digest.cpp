#include "activity/Digest.h"

std::optional<Digest> Digest::make(const QDate&, const QList<ActivitySpan>&) {
    return std::nullopt;
}

namespace DailyReport {

QString format(double) {
    return {};
}

} // namespace DailyReport
