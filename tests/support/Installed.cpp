#include "support/Installed.h"

#include <QStandardPaths>

testing::AssertionResult installed(const QStringList& programs) {
    QStringList missing;
    for (const QString& program : programs) {
        if (QStandardPaths::findExecutable(program).isEmpty()) {
            missing << program;
        }
    }
    if (missing.isEmpty()) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure()
           << "not installed: " << missing.join(", ").toStdString() << " (scripts/setup installs it)";
}
