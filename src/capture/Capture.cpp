#include "capture/Capture.h"

#include <QMimeData>
#include <QSet>

namespace Capture {
namespace {

const QString uriList = QStringLiteral("text/uri-list");
const QString png = QStringLiteral("image/png");
const QString tiff = QStringLiteral("image/tiff");
const QString tabular = QStringLiteral("text/tab-separated-values");
const QString plain = QStringLiteral("text/plain");

QSet<QString> baseTypes(const QStringList& types) {
    // Qt shows a source's text/x-moz-url as a URI list; the X selection shows it by its name.
    static const QString mozUrl = QStringLiteral("text/x-moz-url");
    QSet<QString> out;
    for (const auto& type : types) {
        const QString base = type.section(QLatin1Char(';'), 0, 0).trimmed().toLower();
        out.insert(base == mozUrl ? uriList : base);
    }
    return out;
}

} // namespace

const QStringList& draggedTypes() {
    static const QStringList types{uriList, png, tiff, tabular, plain};
    return types;
}

std::optional<Kind> kind(const QStringList& types) {
    static const QString webLink = QStringLiteral("_netscape_url");
    static const QString markup = QStringLiteral("text/html");
    const auto set = baseTypes(types);
    if (set.contains(uriList) && !set.contains(webLink) && !set.contains(markup)) {
        return Kind::files;
    }
    if (set.contains(png) || set.contains(tiff)) {
        return Kind::image;
    }
    if (set.contains(plain) || set.contains(tabular)) {
        return Kind::text;
    }
    return std::nullopt;
}

std::optional<Kind> kind(const QMimeData* data) {
    return data ? kind(data->formats()) : std::nullopt;
}

} // namespace Capture
