#pragma once

#include <QByteArray>
#include <QFile>
#include <QIODevice>
#include <QString>

// A multipart/form-data body with one file part, read from the file as it goes out: the parts'
// headers, the file's bytes and the closing boundary, in that order. Of known size and seekable,
// so the network sends it without holding it whole and can start it again.
class MultipartBody : public QIODevice {
    Q_OBJECT
public:
    // "mirk-" and a fresh upper-case UUID; one per call.
    static QByteArray newBoundary();
    // The file name as the part's header shows it: double quotes become single ones, and each
    // line break a blank.
    static QString shownName(const QString& path);
    // The part headers before the file's bytes: the plain fields, then the file's.
    static QByteArray head(const QByteArray& boundary, const QList<std::pair<QByteArray, QByteArray>>& fields,
                           const QString& path, const QByteArray& contentType);
    static QByteArray tail(const QByteArray& boundary);

    MultipartBody(QByteArray head, const QString& path, QByteArray tail, QObject* parent = nullptr);

    // Opens the file for reading; false, with the file's error, when it can't be read.
    bool open(OpenMode mode) override;
    void close() override;
    bool isSequential() const override { return false; }
    qint64 size() const override;
    QString fileError() const { return file.errorString(); }

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    QByteArray before;
    QFile file;
    QByteArray after;
    qint64 fileSize = 0;
};
