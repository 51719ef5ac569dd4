#include "base/Files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace base {

bool makePrivateFolder(const QString& path) {
    constexpr auto ownerOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
    // Every level made here is private too, so that the names inside show to nobody else.
    const QString clean = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    QStringList missing;
    for (QString level = clean; !QFileInfo::exists(level); level = QFileInfo(level).path()) {
        missing.prepend(level);
        if (QFileInfo(level).path() == level) {
            break;
        }
    }
    for (const QString& level : std::as_const(missing)) {
        if (!QDir().mkdir(level, ownerOnly) && !QFileInfo(level).isDir()) {
            return false;
        }
    }
    return QFileInfo(clean).isDir() && QFile::setPermissions(clean, ownerOnly);
}

bool isOwnFolder(const QString& path) {
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 && S_ISDIR(info.st_mode) &&
           info.st_uid == ::getuid() && (info.st_mode & 07777) == 0700;
}

bool makeOwnFolder(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    if (::mkdir(name.constData(), 0700) != 0 && errno != EEXIST) {
        return false;
    }
    return isOwnFolder(path);
}

std::optional<QString> makeFreshFolder(const QString& prefix) {
    QByteArray name = QFile::encodeName(prefix) + "XXXXXX";
    if (!::mkdtemp(name.data())) {
        return std::nullopt;
    }
    return QFile::decodeName(name);
}

} // namespace base
