#pragma once

#include "platform/SecretStore.h"
#include "platform/linux/FileSecretStore.h"

#include <chrono>
#include <map>

namespace platform {

// The session's keyring through the Secret Service, with a private file beside it for sessions
// that have none. A keyring that stalls is given about a second before the program stops
// waiting; it is then left alone for a minute, so that the program does not stall again at the
// next read. What was last read or written is remembered, so that a read tells the truth while
// the keyring rests; a write the keyring did not take goes to the file, which then holds the
// newer secret and moves into the keyring once one answers. A blank secret removes the account.
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
    // The last secret seen for an account; `keyringBehind` while the keyring hasn't taken it and
    // may still hold an older one.
    struct Known {
        std::optional<QString> secret;
        bool keyringBehind = false;
    };
    Answer keyringLookup(const QString& account);
    bool keyringStore(const QString& account, const QString& secret);
    bool keyringClear(const QString& account);
    bool keyringResting() const;
    void rest();
    void catchUp(const QString& account, Known& last);

    QString service;
    FileSecretStore file;
    // On the scheduler's monotonic clock, in seconds.
    double restUntil = 0;
    std::map<QString, Known> known;
};

} // namespace platform
