#include "workspace/MultipartBody.h"

#include <QFileInfo>
#include <QUuid>

#include <algorithm>
#include <cstring>

QByteArray MultipartBody::newBoundary() {
    return "mirk-" + QUuid::createUuid().toByteArray(QUuid::WithoutBraces).toUpper();
}

QString MultipartBody::shownName(const QString& path) {
    QString name = QFileInfo(path).fileName();
    name.replace(QLatin1Char('"'), QLatin1Char('\''));
    // Each of CR and LF is a line break of its own: a CR LF pair gives two blanks.
    for (auto& c : name) {
        if (c == QLatin1Char('\n') || c == QLatin1Char('\r')) {
            c = QLatin1Char(' ');
        }
    }
    return name;
}

QByteArray MultipartBody::head(const QByteArray& boundary,
                               const QList<std::pair<QByteArray, QByteArray>>& fields, const QString& path,
                               const QByteArray& contentType) {
    QByteArray out;
    for (const auto& [name, value] : fields) {
        out += "--" + boundary + "\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + value +
               "\r\n";
    }
    out += "--" + boundary + "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"" +
           shownName(path).toUtf8() + "\"\r\nContent-Type: " + contentType + "\r\n\r\n";
    return out;
}

QByteArray MultipartBody::tail(const QByteArray& boundary) {
    return "\r\n--" + boundary + "--\r\n";
}

MultipartBody::MultipartBody(QByteArray h, const QString& path, QByteArray t, QObject* parent)
    : QIODevice(parent), before(std::move(h)), file(path), after(std::move(t)) {}

bool MultipartBody::open(OpenMode mode) {
    if (mode != ReadOnly || !file.open(QIODevice::ReadOnly)) {
        if (mode != ReadOnly) {
            setErrorString(QStringLiteral("read only"));
        }
        return false;
    }
    // A directory opens as a file on some systems, and reads nothing.
    if (QFileInfo(file).isDir()) {
        file.close();
        return false;
    }
    fileSize = file.size();
    return QIODevice::open(mode);
}

void MultipartBody::close() {
    file.close();
    QIODevice::close();
}

qint64 MultipartBody::size() const {
    return before.size() + fileSize + after.size();
}

qint64 MultipartBody::readData(char* data, qint64 maxSize) {
    qint64 at = pos();
    qint64 written = 0;
    while (written < maxSize && at < size()) {
        qint64 n = 0;
        if (at < before.size()) {
            n = std::min(maxSize - written, before.size() - at);
            std::memcpy(data + written, before.constData() + at, static_cast<std::size_t>(n));
        } else if (at < before.size() + fileSize) {
            const qint64 offset = at - before.size();
            if (file.pos() != offset && !file.seek(offset)) {
                return -1;
            }
            n = file.read(data + written, std::min(maxSize - written, fileSize - offset));
            // A file that shrank or failed under us: the body can't be what it said it was.
            if (n <= 0) {
                setErrorString(file.errorString());
                return written > 0 ? written : -1;
            }
        } else {
            const qint64 offset = at - before.size() - fileSize;
            n = std::min(maxSize - written, after.size() - offset);
            std::memcpy(data + written, after.constData() + offset, static_cast<std::size_t>(n));
        }
        written += n;
        at += n;
    }
    return written;
}
