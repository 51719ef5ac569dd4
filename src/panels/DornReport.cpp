#include "panels/DornReport.h"

#include "base/Json.h"
#include "time/TimeEntry.h"

#include <QJsonArray>

namespace json = base::json;

std::optional<DornReport> DornReport::fromResponse(const QJsonObject& response) {
    const auto board = json::object(response, QStringLiteral("boardReport"));
    if (!board) {
        return std::nullopt;
    }
    DornReport report;
    report.healthScore = json::integerOr(*board, QStringLiteral("healthScore"), 0);
    report.healthLine = json::stringOr(*board, QStringLiteral("healthLine"));
    report.narrative = json::stringOr(*board, QStringLiteral("narrative"));
    for (const auto& value : json::array(*board, QStringLiteral("positives")).value_or(QJsonArray{})) {
        if (value.isString()) {
            report.positives.append(value.toString());
        }
    }
    for (const auto& value : json::array(*board, QStringLiteral("concerns")).value_or(QJsonArray{})) {
        const QJsonObject item = value.toObject();
        if (const auto title = json::string(item, QStringLiteral("title"))) {
            report.concerns.append({*title, json::stringOr(item, QStringLiteral("detail"))});
        }
    }
    for (const auto& value :
         json::array(*board, QStringLiteral("recommendedActions")).value_or(QJsonArray{})) {
        const QJsonObject item = value.toObject();
        if (const auto action = json::string(item, QStringLiteral("action"))) {
            report.recommendations.append({*action, json::stringOr(item, QStringLiteral("owner")),
                                           json::stringOr(item, QStringLiteral("priority")),
                                           json::stringOr(item, QStringLiteral("expectedImpact"))});
        }
    }
    if (const auto written = json::string(response, QStringLiteral("generatedAt"))) {
        report.generatedAt = TimeEntry::date(*written);
    }
    return report;
}
