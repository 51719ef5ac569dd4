#include "app/Language.h"

#include "app/AppEvents.h"
#include "app/Settings.h"
#include "base/Json.h"
#include "base/Network.h"

#include <QLocale>
#include <QNetworkRequest>

namespace Language {

AppLanguage current() {
    if (auto chosen =
            AppLanguages::fromRawValue(Settings::stringValue(QLatin1String(Settings::Key::language)))) {
        return *chosen;
    }
    if (auto workspace = Settings::workspaceLanguage()) {
        return *workspace;
    }
    // The default locale is the system's unless a test has set another.
    return QLocale().language() == QLocale::Estonian ? AppLanguage::et : AppLanguage::en;
}

QLocale locale(AppLanguage language) {
    return language == AppLanguage::et ? QLocale(QLocale::Estonian, QLocale::Estonia)
                                       : QLocale(QLocale::English, QLocale::UnitedStates);
}

QCoro::Task<> refreshWorkspaceLanguage() {
    const auto address = Settings::vantleURL();
    if (!address) {
        co_return;
    }
    const QUrl url = base::appended(*address, QStringLiteral("/api/company"));
    if (!url.isValid()) {
        co_return;
    }
    QNetworkRequest request(url);
    request.setRawHeader("Accept", "application/json");
    request.setTransferTimeout(15000);
    const auto response = co_await base::request(request, "GET");
    if (response.failure || response.status != 200) {
        co_return;
    }
    const auto body = base::json::parseObject(response.body);
    if (!body) {
        co_return;
    }
    const auto reported = AppLanguages::fromRawValue(base::json::stringOr(*body, QStringLiteral("language")));
    if (!reported || reported == Settings::workspaceLanguage()) {
        co_return;
    }
    const auto before = current();
    Settings::setValue(QLatin1String(Settings::Key::workspaceLanguage), AppLanguages::rawValue(*reported));
    if (current() != before) {
        emit AppEvents::shared().languageDidChange();
    }
}

} // namespace Language
