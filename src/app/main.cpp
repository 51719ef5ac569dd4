#include "app/AppDelegate.h"
#include "app/AppIdentity.h"
#include "app/ProcessPrivacy.h"
#include "app/SingleInstance.h"
#include "app/TerminationSignal.h"
#include "base/Network.h"
#include "platform/Services.h"
#include "workspace/VantleClient.h"

#include <QApplication>
#include <QTimer>
#include <QUrl>

namespace {

// Links from the command line or from a later launch: only well-formed mirkvantle: addresses.
QList<QUrl> links(const QStringList& arguments) {
    QList<QUrl> out;
    for (const auto& argument : arguments) {
        const QUrl url(argument, QUrl::StrictMode);
        if (url.isValid() && url.scheme().compare(QLatin1String("mirkvantle"), Qt::CaseInsensitive) == 0) {
            out << url;
        }
    }
    return out;
}

} // namespace

int main(int argc, char** argv) {
    // Before anything else: a link's key leaves the command line, the environment's key leaves
    // the environment, and no crash writes either to disk.
    ProcessPrivacy::forbidCoreDumps();
    const QStringList arguments = ProcessPrivacy::takeArguments(argc, argv);
    VantleClient::takeKeyFromEnvironment();

    // A second launch hands its links to the first and leaves before it opens a display.
    const QString socketPath = SingleInstance::defaultSocketPath();
    // Started again without a link, the running copy shows its figure.
    const QStringList handed = arguments.isEmpty() ? QStringList{QStringLiteral("--show")} : arguments;
    if (SingleInstance::handOver(socketPath, handed)) {
        return 0;
    }

    // Global shortcuts, click-through and the window in front need X11: on a Wayland session the
    // program runs under XWayland, and on Wayland itself only where no X server is to be had.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "xcb;wayland");
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QLatin1String(AppIdentity::name));
    QApplication::setOrganizationName(QLatin1String(AppIdentity::name));
    QApplication::setApplicationVersion(QStringLiteral(MIRK_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("mirkvantle-agents"));
    QApplication::setQuitOnLastWindowClosed(false);

    platform::install(platform::systemServices());
    TerminationSignal::install(&AppDelegate::terminateBySignal);

    AppDelegate delegate;
    SingleInstance instance(socketPath);
    instance.onArguments = [&delegate](const QStringList& from) {
        const auto urls = links(from);
        if (urls.isEmpty()) {
            delegate.showAgent();
        } else {
            delegate.open(urls);
        }
    };
    if (!instance.listen() && SingleInstance::handOver(socketPath, handed)) {
        return 0; // another instance started at the same moment and won
    }
    delegate.open(links(arguments));

    QTimer::singleShot(0, &delegate, &AppDelegate::applicationDidFinishLaunching);
    const int status = QApplication::exec();
    base::closeNetwork();
    return status;
}
