#include "platform/linux/FileSecretStore.h"

#include "base/Files.h"
#include "base/Text.h"

#include <QFile>
#include <QSaveFile>

#include <sys/stat.h>

namespace platform {

FileSecretStore::FileSecretStore(QString f) : folder(std::move(f)) {}

QString FileSecretStore::pathOf(const QString& account) const {
    QString name;
    for (const QChar c : account) {
        name += c.isLetterOrNumber() && c.unicode() < 128 ? c : QLatin1Char('-');
    }
    return folder + QLatin1String("/secret-") + name;
}

std::optional<QString> FileSecretStore::read(const QString& account) const {
    QFile file(pathOf(account));
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    // A file that others can read is not trusted to be ours, and its secret may have leaked;
    // it is still the user's key, so it is tightened rather than ignored.
    if (file.permissions() & (QFile::ReadGroup | QFile::ReadOther | QFile::WriteGroup | QFile::WriteOther)) {
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    }
    return base::strictUtf8(file.read(64 * 1024));
}

bool FileSecretStore::write(const QString& account, const QString& secret) const {
    if (!base::makePrivateFolder(folder)) {
        return false;
    }
    // The temporary file is created with the process's umask; narrow it before the secret
    // is written into it.
    const mode_t previous = ::umask(077);
    QSaveFile file(pathOf(account));
    const bool opened = file.open(QIODevice::WriteOnly);
    ::umask(previous);
    if (!opened) {
        return false;
    }
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    file.write(secret.toUtf8());
    return file.commit();
}

void FileSecretStore::remove(const QString& account) const {
    QFile::remove(pathOf(account));
}

} // namespace platform
