#include "workspace/Keychain.h"

#include "platform/Services.h"

namespace Keychain {

std::optional<QString> read(const QString& account) {
    const auto store = platform::services().secretStore;
    if (!store) {
        return std::nullopt;
    }
    auto value = store->read(account);
    if (!value || value->isEmpty()) {
        return std::nullopt;
    }
    return value;
}

void save(const QString& value, const QString& account) {
    const auto store = platform::services().secretStore;
    if (!store) {
        return;
    }
    const QString trimmed = value.trimmed();
    store->remove(account);
    if (!trimmed.isEmpty()) {
        store->write(account, trimmed);
    }
}

} // namespace Keychain
