#include "notifications/VantleApproval.h"

#include "base/Json.h"
#include "base/Text.h"

#include <QStringList>

namespace {

constexpr qsizetype detailLimit = 600;

QString shortened(const QString& details) {
    if (details.size() <= detailLimit) {
        return details;
    }
    return base::truncated(details, detailLimit) + QStringLiteral("…");
}

} // namespace

QString VantleApproval::detailText() const {
    QStringList parts;
    for (const QString& part : {rationale, details ? shortened(*details) : QString()}) {
        if (!part.trimmed().isEmpty()) {
            parts << part.trimmed();
        }
    }
    return parts.join(QStringLiteral("\n\n"));
}

std::optional<VantleApproval> VantleApproval::fromJson(const QJsonObject& json, const QString& id) {
    using namespace base::json;
    const auto action = string(json, QStringLiteral("action"));
    if (!action) {
        return std::nullopt;
    }
    VantleApproval approval;
    approval.id = id;
    approval.agent = stringOr(json, QStringLiteral("agent"));
    approval.action = *action;
    approval.rationale = stringOr(json, QStringLiteral("rationale"));
    if (const auto payload = string(json, QStringLiteral("payload"));
        payload && !payload->trimmed().isEmpty()) {
        approval.details = payload;
    }
    // Only an explicit false says that it can't be undone; a missing key says nothing.
    approval.isWeighty = boolean(json, QStringLiteral("reversible")) == false ||
                         string(json, QStringLiteral("risk")) == QStringLiteral("high");
    approval.canDecide = booleanOr(json, QStringLiteral("canDecide"), false);
    // A status other than pending says it was decided; none says nothing.
    const auto status = string(json, QStringLiteral("status"));
    approval.isPending = !status || *status == QStringLiteral("pending");
    return approval;
}
