#include "app/AppIdentity.h"

#include <QStandardPaths>

namespace AppIdentity {

QString supportURL() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QLatin1Char('/') +
           QLatin1String(name);
}

} // namespace AppIdentity
