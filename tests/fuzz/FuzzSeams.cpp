#include "app/Language.h"
#include "app/Settings.h"

// What the readers ask of the running program, fixed for the fuzzers: English, and one workspace
// address with a path under it.
AppLanguage Language::current() {
    return AppLanguage::en;
}

std::optional<QUrl> Settings::vantleURL() {
    return QUrl(QStringLiteral("https://acme.example/app"));
}
