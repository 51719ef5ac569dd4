#include "platform/LinkAction.h"

#include "platform/Services.h"

#include <QFileInfo>
#include <QMimeDatabase>

#include <algorithm>

namespace platform {
namespace {

// The kinds of document a viewer shows. Anything else a desktop may hand to an interpreter, a
// loader, an installer or a browser that runs the page's scripts.
bool isDocument(const QMimeType& type) {
    static const char* const exact[] = {
        "application/pdf",
        "text/plain",
        "text/csv",
        "text/tab-separated-values",
        "text/markdown",
        "application/rtf",
        "message/rfc822",
        "application/epub+zip",
        "application/msword",
        "application/vnd.ms-excel",
        "application/vnd.ms-powerpoint",
    };
    static const char* const families[] = {
        "application/vnd.oasis.opendocument.",
        "application/vnd.openxmlformats-officedocument.",
        "image/",
        "audio/",
        "video/",
    };
    const QString name = type.name();
    // Pictures that hold scripts are pages, not pictures.
    if (name == QLatin1String("image/svg+xml") || name == QLatin1String("image/svg+xml-compressed")) {
        return false;
    }
    return std::any_of(std::begin(exact), std::end(exact),
                       [&name](const char* kind) { return name == QLatin1String(kind); }) ||
           std::any_of(std::begin(families), std::end(families),
                       [&name](const char* kind) { return name.startsWith(QLatin1String(kind)); });
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
        return LinkAction::nothing;
    }
    // Folders, executables and special files (a pipe would block whoever opens it).
    if (info.isDir() || !info.isFile() || info.isExecutable()) {
        return LinkAction::reveal;
    }
    // Judged by name and by content, since a script may wear a document's name. Content too
    // plain to say more (a zip for an office file, text for CSV) is what the name's kind is made of.
    const QMimeDatabase types;
    const QMimeType byName = types.mimeTypeForFile(info, QMimeDatabase::MatchExtension);
    const QMimeType byContent = types.mimeTypeForFile(info, QMimeDatabase::MatchContent);
    const bool contentFits = isDocument(byContent) || byContent.isDefault() ||
                             byContent.name() == QLatin1String("application/x-zerosize") ||
                             byName.inherits(byContent.name());
    return isDocument(byName) && contentFits ? LinkAction::open : LinkAction::reveal;
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
