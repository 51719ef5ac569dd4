#include "activity/ActivitySpan.h"

#include <QHash>

#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QTimeZone>

namespace ActivityLog {
namespace {

QString isoSeconds(const QDateTime& moment) {
    return moment.toUTC().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")) + QLatin1Char('Z');
}

std::optional<QDateTime> readDate(const QJsonValue& value) {
    if (!value.isString()) {
        return std::nullopt;
    }
    QDateTime moment = QDateTime::fromString(value.toString(), Qt::ISODate);
    if (!moment.isValid()) {
        return std::nullopt;
    }
    moment = moment.toUTC();
    // Only years that the line form can write again.
    if (moment.date().year() < 1 || moment.date().year() > 9999) {
        return std::nullopt;
    }
    // Whole seconds, as the log writes them.
    moment.setTime(QTime(moment.time().hour(), moment.time().minute(), moment.time().second()));
    return moment;
}

std::optional<QString> readOptionalText(const QJsonObject& object, QLatin1String key, bool& ok) {
    const QJsonValue value = object.value(key);
    if (value.isUndefined() || value.isNull()) {
        return std::nullopt;
    }
    if (!value.isString()) {
        ok = false;
        return std::nullopt;
    }
    return value.toString();
}

} // namespace

QByteArray encode(const ActivitySpan& span) {
    QJsonObject object{{QStringLiteral("start"), isoSeconds(span.start)},
                       {QStringLiteral("end"), isoSeconds(span.end)},
                       {QStringLiteral("app"), span.app}};
    if (span.bundleID) {
        object.insert(QStringLiteral("bundleID"), *span.bundleID);
    }
    if (span.title) {
        object.insert(QStringLiteral("title"), *span.title);
    }
    // Keys hold no "/", so every "/" stands inside a string, where "\/" reads back the same.
    return QJsonDocument(object).toJson(QJsonDocument::Compact).replace("/", "\\/");
}

std::optional<ActivitySpan> decode(QByteArrayView line) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(line.toByteArray(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    const auto start = readDate(object.value(QLatin1String("start")));
    const auto end = readDate(object.value(QLatin1String("end")));
    const QJsonValue app = object.value(QLatin1String("app"));
    if (!start || !end || !app.isString()) {
        return std::nullopt;
    }
    bool ok = true;
    ActivitySpan span{*start, *end, app.toString(), readOptionalText(object, QLatin1String("bundleID"), ok),
                      readOptionalText(object, QLatin1String("title"), ok)};
    if (!ok) {
        return std::nullopt;
    }
    return span;
}

QString dayName(const QDate& day) {
    return QLocale::c().toString(day, QStringLiteral("yyyy-MM-dd"));
}

std::optional<QDate> dayFromName(const QString& name) {
    const QDate day = QLocale::c().toDate(name, QStringLiteral("yyyy-MM-dd"));
    if (!day.isValid()) {
        return std::nullopt;
    }
    return day;
}

QList<ActivitySpan> oneNamePerApplication(QList<ActivitySpan> spans) {
    QHash<QString, QString> names;
    for (const ActivitySpan& span : std::as_const(spans)) {
        if (span.bundleID) {
            names.insert(*span.bundleID, span.app);
        }
    }
    for (ActivitySpan& span : spans) {
        if (span.bundleID) {
            span.app = names.value(*span.bundleID);
        }
    }
    return spans;
}

} // namespace ActivityLog
