#include "app/ProcessPrivacy.h"

#include <cstring>
#include <sys/resource.h>

namespace ProcessPrivacy {

bool isLink(const QString& argument) {
    return argument.trimmed().startsWith(QLatin1String("mirkvantle:"), Qt::CaseInsensitive);
}

QStringList takeArguments(int argc, char** argv) {
    QStringList out;
    for (int i = 1; i < argc; ++i) {
        out << QString::fromLocal8Bit(argv[i]);
        if (isLink(out.last())) {
            std::memset(argv[i], 0, std::strlen(argv[i]));
        }
    }
    return out;
}

void forbidCoreDumps() {
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
}

} // namespace ProcessPrivacy
