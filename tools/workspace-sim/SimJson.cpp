#include "SimJson.h"

#include <QJsonDocument>
#include <QRandomGenerator>
#include <QUuid>

#include <cmath>

namespace SimJson {

std::string dump(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

std::string dump(const QJsonArray& array) {
    return QJsonDocument(array).toJson(QJsonDocument::Compact).toStdString();
}

std::string dump(const QJsonValue& value) {
    if (value.isObject())
        return dump(value.toObject());
    if (value.isArray())
        return dump(value.toArray());
    // Qt writes only documents; a scalar goes out as the single element of an array.
    const std::string wrapped = dump(QJsonArray{value});
    return wrapped.substr(1, wrapped.size() - 2);
}

std::optional<QJsonValue> parse(const std::string& text) {
    QJsonParseError error{};
    const QByteArray bytes = QByteArray::fromStdString(text);
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error == QJsonParseError::NoError) {
        if (document.isObject())
            return QJsonValue(document.object());
        return QJsonValue(document.array());
    }
    const QJsonDocument wrapped = QJsonDocument::fromJson("[" + bytes + "]", &error);
    if (error.error != QJsonParseError::NoError || wrapped.array().size() != 1)
        return std::nullopt;
    return wrapped.array().at(0);
}

std::optional<QJsonObject> parseObject(const std::string& text) {
    const auto value = parse(text);
    if (!value || !value->isObject())
        return std::nullopt;
    return value->toObject();
}

QString toQString(const std::string& text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

std::string toStd(const QString& text) {
    return text.toUtf8().toStdString();
}

QString iso(const QDateTime& instant) {
    const QDateTime utc = instant.toUTC();
    // Microseconds, as the workspace writes them; the clock here only has milliseconds.
    return utc.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzz")) + QStringLiteral("000Z");
}

QString nowIso(qint64 offsetSeconds) {
    return iso(QDateTime::currentDateTimeUtc().addSecs(offsetSeconds));
}

QString newId(const QString& prefix) {
    return prefix + QLatin1Char('-') +
           QString::number(QRandomGenerator::global()->generate64() & 0xffffffffffffULL, 16);
}

QString uuid() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

int randomBetween(int lowest, int highest) {
    if (highest <= lowest)
        return lowest;
    return QRandomGenerator::global()->bounded(lowest, highest + 1);
}

qint64 integer(const QJsonValue& value, qint64 fallback) {
    if (!value.isDouble())
        return fallback;
    const double number = value.toDouble();
    if (!std::isfinite(number))
        return fallback;
    return static_cast<qint64>(number);
}

} // namespace SimJson
