#pragma once

#include "platform/SecretStore.h"
#include "platform/linux/FileSecretStore.h"

#include <chrono>

namespace platform {

// The session's keyring through the Secret Service, with a private file beside it for sessions
// that have none. A keyring that stalls is given about a second before the program stops
// waiting; it is then left alone for a minute, so that the program does not stall again at the
// next read. A secret found in the file moves into the keyring once one answers.
class SystemSecretStore final : public SecretStore {
public:
    SystemSecretStore(QString service, QString fileFolder);

    std::optional<QString> read(const QString& account) override;
    bool write(const QString& account, const QString& secret) override;
    void remove(const QString& account) override;
    Location location() override;

    // How long one keyring call may keep the caller waiting.
    std::chrono::milliseconds patience{900};

private:
    enum class Outcome { done, missing, failed };
    struct Answer {
        Outcome outcome = Outcome::failed;
        QString secret;
    };
    Answer keyringLookup(const QString& account);
    bool keyringStore(const QString& account, const QString& secret);
    bool keyringClear(const QString& account);
    bool keyringResting() const;

    QString service;
    FileSecretStore file;
    std::chrono::steady_clock::time_point restUntil{};
};

} // namespace platform
