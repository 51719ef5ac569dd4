#include "capture/Capture.h"

#include "base/Clock.h"
#include "base/Files.h"
#include "base/Text.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QMimeData>
#include <QSaveFile>
#include <QSet>
#include <QTimer>
#include <QUrl>
#include <QUuid>

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

// Where captures go: a folder of ours in the user's runtime folder, which no one else can enter;
// without one, or when what lies there isn't ours alone, a folder made fresh for this run under
// the shared temporary directory, whose name nobody can take first.
std::optional<QString> captureRoot() {
    const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty()) {
        const QString root = QFile::decodeName(runtime) + QStringLiteral("/Mirk Vantle Agents Capture");
        if (base::makeOwnFolder(root)) {
            return root;
        }
    }
    static const std::optional<QString> fresh =
        base::makeFreshFolder(QDir::tempPath() + QStringLiteral("/mirkvantle-capture-"));
    return fresh && base::isOwnFolder(*fresh) ? fresh : std::nullopt;
}

// A fresh folder of its own for one capture, readable by the user alone; none when it can't be
// made.
std::optional<QString> newFolder() {
    const auto root = captureRoot();
    if (!root) {
        return std::nullopt;
    }
    const QString folder =
        *root + QLatin1Char('/') + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
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
        const auto urls = data->urls();
        for (const auto& url : urls) {
            if (url.isLocalFile()) {
                paths << url.toLocalFile();
            }
        }
        // Only file locations are files whatever else comes with them; a browser's link is text.
        const bool onlyFiles = !paths.isEmpty() && paths.size() == urls.size();
        if (!paths.isEmpty() && (onlyFiles || kind(data) == Kind::files)) {
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

QString fileName(const QString& source, const QString& words, const QDateTime& at, const QString& ending) {
    QString name = source + QStringLiteral(" – ") + words + QLatin1Char(' ') +
                   at.toString(QStringLiteral("HH.mm")) + ending;
    name.replace(QLatin1Char('/'), QLatin1Char('-'));
    name.replace(QLatin1Char(':'), QLatin1Char('.'));
    return name;
}

} // namespace Capture
