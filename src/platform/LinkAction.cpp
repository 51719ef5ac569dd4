#include "platform/LinkAction.h"

#include "platform/Services.h"

#include <QFileInfo>
#include <QMimeDatabase>

#include <algorithm>

namespace platform {
namespace {

// Types that a desktop hands to an interpreter, a loader or an installer rather than a viewer.
bool isRunnable(const QMimeType& type) {
    static const char* const runnable[] = {
        "application/x-executable",
        "application/x-pie-executable",
        "application/x-sharedlib",
        "application/x-shellscript",
        "application/x-desktop",
        "application/x-ms-dos-executable",
        "application/x-msdownload",
        "application/x-msi",
        "application/x-ms-shortcut",
        "application/x-mswinurl",
        "application/x-bat",
        "application/vnd.appimage",
        "application/x-iso9660-appimage",
        "application/x-java-archive",
        "application/x-java-jnlp-file",
        "application/vnd.flatpak",
        "application/vnd.flatpak.ref",
        "application/vnd.flatpak.repo",
        "application/vnd.debian.binary-package",
        "application/x-rpm",
        "application/x-perl",
        "text/x-python",
        "text/x-python3",
        "application/x-ruby",
        "application/x-csh",
        "application/x-desktop-shortcut",
    };
    return std::any_of(std::begin(runnable), std::end(runnable),
                       [&type](const char* name) { return type.inherits(QLatin1String(name)); });
}

LinkAction fileAction(const QUrl& url) {
    if (!url.host().isEmpty() && url.host() != QLatin1String("localhost")) {
        return LinkAction::nothing;
    }
    const QString path = url.toLocalFile();
    if (path.isEmpty() || QFileInfo(path).isRelative()) {
        return LinkAction::nothing;
    }
    const QFileInfo info(path);
    if (url.path().endsWith(QLatin1Char('/')) || info.suffix().toLower() == QLatin1String("app") ||
        info.suffix().toLower() == QLatin1String("desktop")) {
        return LinkAction::reveal;
    }
    if (!info.exists()) {
        return LinkAction::open;
    }
    // Folders, executables and special files (a pipe would block whoever opens it).
    if (info.isDir() || !info.isFile() || info.isExecutable()) {
        return LinkAction::reveal;
    }
    // Judged by name and by content, since a script may wear a document's name.
    const QMimeDatabase types;
    if (isRunnable(types.mimeTypeForFile(info)) ||
        isRunnable(types.mimeTypeForFile(info, QMimeDatabase::MatchContent))) {
        return LinkAction::reveal;
    }
    return LinkAction::open;
}

} // namespace

LinkAction linkAction(const QUrl& url) {
    const QString scheme = url.scheme().toLower();
    if (scheme == QLatin1String("http") || scheme == QLatin1String("https")) {
        return LinkAction::open;
    }
    if (scheme == QLatin1String("file")) {
        return fileAction(url);
    }
    return LinkAction::nothing;
}

void openLink(const QUrl& url) {
    const auto desktop = services().desktop;
    if (!desktop) {
        return;
    }
    switch (linkAction(url)) {
    case LinkAction::open:
        desktop->open(url);
        break;
    case LinkAction::reveal:
        desktop->reveal(url.toLocalFile());
        break;
    case LinkAction::nothing:
        break;
    }
}

} // namespace platform
