#include "base/Files.h"

#include <QDir>
#include <QFile>

namespace base {

bool makePrivateFolder(const QString& path) {
    if (!QDir().mkpath(path)) {
        return false;
    }
    return QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

} // namespace base
