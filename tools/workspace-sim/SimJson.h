#pragma once

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <optional>
#include <string>

// JSON and small value helpers shared by the simulator's routes. QJsonObject keeps its keys
// sorted, so every body written through here has sorted keys, as the real workspace's do.
namespace SimJson {

std::string dump(const QJsonValue& value);
std::string dump(const QJsonObject& object);
std::string dump(const QJsonArray& array);

// Any JSON text, scalars included; none when it doesn't parse.
std::optional<QJsonValue> parse(const std::string& text);
std::optional<QJsonObject> parseObject(const std::string& text);

QString toQString(const std::string& text);
std::string toStd(const QString& text);

// UTC instant as the workspace writes it: microseconds and a "Z".
QString iso(const QDateTime& instant);
QString nowIso(qint64 offsetSeconds = 0);

QString newId(const QString& prefix);
QString uuid();
int randomBetween(int lowest, int highest);

// Integer value of a JSON number, or the fallback for anything else.
qint64 integer(const QJsonValue& value, qint64 fallback);

} // namespace SimJson
