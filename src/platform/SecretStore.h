#pragma once

#include <QString>

#include <optional>

namespace platform {

// Secrets of this program, one per account name: in the session's keyring, or in a file that
// only the user can read when no keyring answers.
class SecretStore {
public:
    enum class Location { keyring, file };

    virtual ~SecretStore() = default;
    // The stored secret; none when there is none or the store did not answer in time.
    virtual std::optional<QString> read(const QString& account) = 0;
    // Stores the secret, replacing any other under the account. False when no store took it.
    virtual bool write(const QString& account, const QString& secret) = 0;
    virtual void remove(const QString& account) = 0;
    // Where a secret written now would be kept, for the settings form.
    virtual Location location() = 0;
};

} // namespace platform
