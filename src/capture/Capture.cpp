#include "capture/Capture.h"

#include <QMimeData>
#include <QSet>
#include <QUrl>

namespace Capture {
namespace {

const QString uriList = QStringLiteral("text/uri-list");
const QString png = QStringLiteral("image/png");
const QString tiff = QStringLiteral("image/tiff");
const QString tabular = QStringLiteral("text/tab-separated-values");
const QString plain = QStringLiteral("text/plain");

QSet<QString> baseTypes(const QStringList& types) {
    QSet<QString> out;
    for (const auto& type : types) {
        out.insert(type.section(QLatin1Char(';'), 0, 0).trimmed().toLower());
    }
    return out;
}

std::optional<Kind> kindOf(const QSet<QString>& types, bool filesOffered) {
    if (filesOffered) {
        return Kind::files;
    }
    if (types.contains(png) || types.contains(tiff)) {
        return Kind::image;
    }
    if (types.contains(plain) || types.contains(tabular)) {
        return Kind::text;
    }
    return std::nullopt;
}

} // namespace

const QStringList& draggedTypes() {
    static const QStringList types{uriList, png, tiff, tabular, plain};
    return types;
}

std::optional<Kind> kind(const QStringList& types) {
    const auto set = baseTypes(types);
    return kindOf(set, set.contains(uriList));
}

std::optional<Kind> kind(const QMimeData* data) {
    if (!data) {
        return std::nullopt;
    }
    const auto set = baseTypes(data->formats());
    bool files = false;
    if (set.contains(uriList)) {
        for (const auto& url : data->urls()) {
            files = files || url.isLocalFile();
        }
    }
    return kindOf(set, files);
}

} // namespace Capture
