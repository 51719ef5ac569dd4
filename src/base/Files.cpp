#include "base/Files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

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

} // namespace base
