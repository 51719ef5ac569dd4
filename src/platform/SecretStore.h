#pragma once

#include <QString>

#include <optional>

namespace platform {

// Where the desktop key is kept: the session's keyring, or a private file when none answers.
class SecretStore {
public:
    enum class Location { keyring, file, none };

    virtual ~SecretStore() = default;
    // The stored secret; none when there is none or the store did not answer in time.
    virtual std::optional<QString> read() = 0;
    virtual bool write(const QString& secret) = 0;
    virtual bool remove() = 0;
    // Which store holds (or would hold) the secret, for the settings form.
    virtual Location location() = 0;
};

} // namespace platform
