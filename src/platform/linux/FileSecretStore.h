#pragma once

#include <QString>

#include <optional>

namespace platform {

// Secrets in files that only the user may read, for sessions without a keyring.
class FileSecretStore {
public:
    explicit FileSecretStore(QString folder);

    // None when there is no file or it holds no UTF-8 text.
    std::optional<QString> read(const QString& account) const;
    // Written whole or not at all, never readable by anybody else on the way.
    bool write(const QString& account, const QString& secret) const;
    void remove(const QString& account) const;

private:
    QString pathOf(const QString& account) const;
    QString folder;
};

} // namespace platform
