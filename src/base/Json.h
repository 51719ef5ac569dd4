#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QString>

#include <optional>

// Field readers for JSON read by hand. A missing field and a field of another type are the same
// to every reader: none, or the caller's default.
namespace base::json {

std::optional<QString> string(const QJsonObject& object, const QString& key);
std::optional<double> number(const QJsonObject& object, const QString& key);
// A number with no fractional part that fits an int.
std::optional<int> integer(const QJsonObject& object, const QString& key);
std::optional<qint64> integer64(const QJsonObject& object, const QString& key);
std::optional<bool> boolean(const QJsonObject& object, const QString& key);
std::optional<QJsonObject> object(const QJsonObject& object, const QString& key);
std::optional<QJsonArray> array(const QJsonObject& object, const QString& key);
// The elements of an array that holds objects only; none when anything else stands in it.
std::optional<QList<QJsonObject>> objectsOnly(const QJsonObject& object, const QString& key);

QString stringOr(const QJsonObject& object, const QString& key, const QString& fallback = {});
double numberOr(const QJsonObject& object, const QString& key, double fallback);
int integerOr(const QJsonObject& object, const QString& key, int fallback);
bool booleanOr(const QJsonObject& object, const QString& key, bool fallback);

// The top-level object of a JSON text; none when the text is not JSON or its top is no object.
std::optional<QJsonObject> parseObject(const QByteArray& text);

} // namespace base::json
