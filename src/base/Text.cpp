#include "base/Text.h"

#include "app/Language.h"

namespace base {

QString pick(const QString& english, const QString& estonian) {
    return Language::current() == AppLanguage::et ? estonian : english;
}

} // namespace base
