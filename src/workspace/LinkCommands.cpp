#include "workspace/LinkCommands.h"

#include "app/AppDelegate.h"

namespace LinkCommands {

void run(const QUrl& url, AppDelegate& app) {
    if (url.scheme().compare(QLatin1String("mirkvantle"), Qt::CaseInsensitive) != 0 || !app.stage) {
        return;
    }
}

} // namespace LinkCommands
