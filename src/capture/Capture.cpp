#include "capture/Capture.h"

#include "base/Clock.h"
#include "base/Files.h"
#include "base/Text.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QMimeData>
#include <QSaveFile>
#include <QSet>
#include <QTimer>
#include <QUrl>
#include <QUuid>

#include <algorithm>

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

namespace Capture {
namespace {

const QString rfc822 = QStringLiteral("message/rfc822");

// A fresh folder of its own for one capture, readable by the user alone; none when it can't be
// made.
std::optional<QString> newFolder() {
    const QString root = QDir::tempPath() + QStringLiteral("/Mirk Vantle Agents Capture");
    const QString folder =
        root + QLatin1Char('/') + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    if (!base::makePrivateFolder(folder)) {
        return std::nullopt;
    }
    return folder;
}

std::optional<QString> write(const QString& folder, const QString& name, const QByteArray& bytes) {
    QSaveFile file(folder + QLatin1Char('/') + name);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        return std::nullopt;
    }
    QFile::setPermissions(file.fileName(), QFile::ReadOwner | QFile::WriteOwner);
    return file.fileName();
}

// The offer's image as PNG bytes: PNG as it came, anything else Qt can read converted.
QByteArray pngOf(const QMimeData& data) {
    if (data.hasFormat(QStringLiteral("image/png"))) {
        const QByteArray bytes = data.data(QStringLiteral("image/png"));
        if (!QImage::fromData(bytes, "PNG").isNull()) {
            return bytes;
        }
    }
    QImage image = QImage::fromData(data.data(QStringLiteral("image/tiff")));
    if (image.isNull() && data.hasImage()) {
        image = qvariant_cast<QImage>(data.imageData());
    }
    QByteArray png;
    if (!image.isNull()) {
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
    }
    return png;
}

// The offer's content written as one file; none when there is nothing to take.
std::optional<QString> writeContents(const QMimeData& data, const std::optional<QString>& app) {
    const auto folder = newFolder();
    if (!folder) {
        return std::nullopt;
    }
    const QString source = app.value_or(base::pick(QStringLiteral("Clipboard"), QStringLiteral("Lõikelaud")));
    const QDateTime now = base::Clock::now();
    // A message dragged out of a mail program comes as its RFC 822 text.
    if (data.hasFormat(rfc822)) {
        const QByteArray message = data.data(rfc822);
        if (!message.trimmed().isEmpty()) {
            return write(*folder,
                         fileName(source, base::pick(QStringLiteral("email"), QStringLiteral("e-kiri")), now,
                                  QStringLiteral(".eml")),
                         message);
        }
    }
    if (kind(&data) == Kind::image) {
        const QByteArray png = pngOf(data);
        if (!png.isEmpty()) {
            return write(*folder,
                         fileName(source, base::pick(QStringLiteral("image"), QStringLiteral("pilt")), now,
                                  QStringLiteral(".png")),
                         png);
        }
    }
    QString text;
    if (data.hasFormat(tabular)) {
        text = QString::fromUtf8(data.data(tabular));
    } else if (data.hasText()) {
        text = data.text();
    }
    if (text.trimmed().isEmpty()) {
        return std::nullopt;
    }
    if (const auto table = csv(text)) {
        return write(
            *folder,
            fileName(source, base::pick(QStringLiteral("copied cells"), QStringLiteral("kopeeritud lahtrid")),
                     now, QStringLiteral(".csv")),
            table->toUtf8());
    }
    return write(*folder,
                 fileName(source,
                          base::pick(QStringLiteral("copied text"), QStringLiteral("kopeeritud tekst")), now,
                          QStringLiteral(".txt")),
                 text.toUtf8());
}

QString csvCell(const QString& cell) {
    if (!cell.contains(QLatin1Char(',')) && !cell.contains(QLatin1Char('"')) &&
        !cell.contains(QLatin1Char('\n')) && !cell.contains(QLatin1Char(';'))) {
        return cell;
    }
    QString quoted = cell;
    quoted.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

} // namespace

void Captured::add(const QStringList& paths) {
    for (const auto& path : paths) {
        (QFileInfo(path).suffix().toLower() == QLatin1String("eml") ? emails : files) << path;
    }
}

void read(const QMimeData* data, const std::optional<QString>& app,
          std::function<void(Captured)> completion) {
    Captured captured;
    if (data) {
        QStringList paths;
        for (const auto& url : data->urls()) {
            if (url.isLocalFile()) {
                paths << url.toLocalFile();
            }
        }
        if (!paths.isEmpty() && kind(data) == Kind::files) {
            captured.add(paths);
        } else if (const auto written = writeContents(*data, app)) {
            // A written message is an email by its ending; anything else written is a document.
            if (written->endsWith(QLatin1String(".eml"))) {
                captured.emails << *written;
            } else {
                captured.files << *written;
            }
        }
    }
    QTimer::singleShot(0, qApp, [completion = std::move(completion), captured] { completion(captured); });
}

std::optional<QString> csv(const QString& tabSeparated) {
    QString text = tabSeparated;
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    QStringList lines = text.split(QLatin1Char('\n'));
    if (!lines.isEmpty() && lines.last().isEmpty()) {
        lines.removeLast();
    }
    if (lines.isEmpty()) {
        return std::nullopt;
    }
    QList<QStringList> rows;
    qsizetype columns = 0;
    for (const auto& line : lines) {
        rows << line.split(QLatin1Char('\t'));
        columns = std::max(columns, rows.last().size());
    }
    if (columns < 2) {
        return std::nullopt;
    }
    if (rows.size() > 1) {
        const auto full = std::count_if(rows.begin(), rows.end(),
                                        [columns](const QStringList& row) { return row.size() == columns; });
        if (static_cast<double>(full) / static_cast<double>(rows.size()) < 0.6) {
            return std::nullopt;
        }
    }
    QString out;
    for (const auto& row : rows) {
        QStringList cells;
        for (const auto& cell : row) {
            cells << csvCell(cell);
        }
        out += cells.join(QLatin1Char(',')) + QLatin1Char('\n');
    }
    return out;
}

QString fileName(const QString& source, const QString& words, const QDateTime& at, const QString& ending) {
    QString name = source + QStringLiteral(" – ") + words + QLatin1Char(' ') +
                   at.toString(QStringLiteral("HH.mm")) + ending;
    name.replace(QLatin1Char('/'), QLatin1Char('-'));
    name.replace(QLatin1Char(':'), QLatin1Char('.'));
    return name;
}

} // namespace Capture
