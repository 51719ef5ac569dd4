#pragma once

#include <QString>

#include <array>
#include <optional>

// The two languages the program speaks.
enum class AppLanguage { en, et };

namespace AppLanguages {

inline constexpr std::array<AppLanguage, 2> all{AppLanguage::en, AppLanguage::et};

inline QString rawValue(AppLanguage language) {
    return language == AppLanguage::et ? QStringLiteral("et") : QStringLiteral("en");
}

// The language whose raw value is exactly this text, or none.
inline std::optional<AppLanguage> fromRawValue(const QString& raw) {
    if (raw == QLatin1String("en")) {
        return AppLanguage::en;
    }
    if (raw == QLatin1String("et")) {
        return AppLanguage::et;
    }
    return std::nullopt;
}

} // namespace AppLanguages
