#include "workspace/LinkCommands.h"

#include "app/AppDelegate.h"
#include "base/Clock.h"

namespace LinkCommands {
namespace {

// The host, else the path without its slashes: "mirkvantle://say" and "mirkvantle:say" alike.
QString commandOf(const QUrl& url) {
    QString command = url.host();
    if (command.isEmpty()) {
        command = url.path();
        while (command.startsWith(QLatin1Char('/'))) {
            command.remove(0, 1);
        }
        while (command.endsWith(QLatin1Char('/'))) {
            command.chop(1);
        }
    }
    return command.toLower();
}

} // namespace

void run(const QUrl& url, AppDelegate& app) {
    if (url.scheme().compare(QLatin1String("mirkvantle"), Qt::CaseInsensitive) != 0 || !app.stage) {
        return;
    }
    const QString command = commandOf(url);
    if (command == QLatin1String("report")) {
        app.generateReport(base::Clock::now().date());
    }
}

} // namespace LinkCommands
