#include "base/Clock.h"

namespace base::Clock {
namespace {
std::function<QDateTime()>& source() {
    static std::function<QDateTime()> instance;
    return instance;
}
} // namespace

QDateTime now() {
    const auto& s = source();
    return s ? s() : QDateTime::currentDateTime();
}

void setSource(std::function<QDateTime()> newSource) {
    source() = std::move(newSource);
}

} // namespace base::Clock
