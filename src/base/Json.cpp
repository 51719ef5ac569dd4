#include "base/Json.h"

#include <QJsonDocument>

#include <cmath>
#include <limits>

namespace base::json {

std::optional<QString> string(const QJsonObject& o, const QString& key) {
    const auto v = o.value(key);
    return v.isString() ? std::optional(v.toString()) : std::nullopt;
}

std::optional<double> number(const QJsonObject& o, const QString& key) {
    const auto v = o.value(key);
    return v.isDouble() ? std::optional(v.toDouble()) : std::nullopt;
}

std::optional<qint64> integer64(const QJsonObject& o, const QString& key) {
    const auto d = number(o, key);
    // Doubles hold integers exactly up to 2^53; beyond that a value cannot be trusted.
    constexpr double limit = 9007199254740992.0;
    if (!d || std::trunc(*d) != *d || std::fabs(*d) > limit) {
        return std::nullopt;
    }
    return static_cast<qint64>(*d);
}

std::optional<int> integer(const QJsonObject& o, const QString& key) {
    const auto i = integer64(o, key);
    if (!i || *i < std::numeric_limits<int>::min() || *i > std::numeric_limits<int>::max()) {
        return std::nullopt;
    }
    return static_cast<int>(*i);
}

std::optional<bool> boolean(const QJsonObject& o, const QString& key) {
    const auto v = o.value(key);
    return v.isBool() ? std::optional(v.toBool()) : std::nullopt;
}

std::optional<QJsonObject> object(const QJsonObject& o, const QString& key) {
    const auto v = o.value(key);
    return v.isObject() ? std::optional(v.toObject()) : std::nullopt;
}

std::optional<QJsonArray> array(const QJsonObject& o, const QString& key) {
    const auto v = o.value(key);
    return v.isArray() ? std::optional(v.toArray()) : std::nullopt;
}

std::optional<QList<QJsonObject>> objectsOnly(const QJsonObject& o, const QString& key) {
    const auto elements = array(o, key);
    if (!elements) {
        return std::nullopt;
    }
    QList<QJsonObject> out;
    for (const auto& element : *elements) {
        if (!element.isObject()) {
            return std::nullopt;
        }
        out.append(element.toObject());
    }
    return out;
}

QString stringOr(const QJsonObject& o, const QString& key, const QString& fallback) {
    return string(o, key).value_or(fallback);
}

double numberOr(const QJsonObject& o, const QString& key, double fallback) {
    return number(o, key).value_or(fallback);
}

int integerOr(const QJsonObject& o, const QString& key, int fallback) {
    return integer(o, key).value_or(fallback);
}

bool booleanOr(const QJsonObject& o, const QString& key, bool fallback) {
    return boolean(o, key).value_or(fallback);
}

std::optional<QJsonObject> parseObject(const QByteArray& text) {
    QJsonParseError error{};
    const auto document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    return document.object();
}

} // namespace base::json
