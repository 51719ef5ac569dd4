#include "workspace/MultipartBody.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

QByteArray readAll(MultipartBody& body, qint64 chunk) {
    QByteArray out;
    QByteArray buffer(static_cast<qsizetype>(chunk), '\0');
    for (qint64 n; (n = body.read(buffer.data(), chunk)) > 0;) {
        out += buffer.left(static_cast<qsizetype>(n));
    }
    return out;
}

QString write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    return path;
}

} // namespace

TEST(MultipartBody, TheBodyIsTheHeadTheFileAndTheCloseByteForByteInAnyChunks) {
    QTemporaryDir dir;
    const QByteArray content("line one\r\nline two\0binary\xff", 27);
    const QString path = write(dir.filePath("Q3 \"final\"\nreport ☃.pdf"), content);
    const QByteArray boundary = MultipartBody::newBoundary();
    EXPECT_TRUE(QRegularExpression("^mirk-[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$")
                    .match(QString::fromLatin1(boundary))
                    .hasMatch())
        << boundary.toStdString();
    EXPECT_NE(boundary, MultipartBody::newBoundary()) << "one per call";

    const QByteArray expected =
        "--" + boundary +
        "\r\nContent-Disposition: form-data; name=\"folder\"\r\n\r\nUploads\r\n"
        "--" +
        boundary +
        "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"Q3 'final' report ☃.pdf\"\r\n"
        "Content-Type: application/octet-stream\r\n\r\n" +
        content + "\r\n--" + boundary + "--\r\n";
    for (const qint64 chunk : {1, 7, 64, 1 << 20}) {
        MultipartBody body(
            MultipartBody::head(boundary, {{"folder", "Uploads"}}, path, "application/octet-stream"), path,
            MultipartBody::tail(boundary));
        ASSERT_TRUE(body.open(QIODevice::ReadOnly));
        EXPECT_EQ(body.size(), expected.size());
        EXPECT_EQ(readAll(body, chunk), expected) << chunk;
        // Started again, as a retry does, it gives the same bytes.
        ASSERT_TRUE(body.reset());
        EXPECT_EQ(readAll(body, chunk), expected) << chunk;
        ASSERT_TRUE(body.seek(body.size() - 4));
        EXPECT_EQ(body.readAll(), "--\r\n");
    }

    // An empty file: nothing between the blank line and the closing CR LF.
    const QString empty = write(dir.filePath("empty.eml"), {});
    MultipartBody mail(MultipartBody::head(boundary, {}, empty, "message/rfc822"), empty,
                       MultipartBody::tail(boundary));
    ASSERT_TRUE(mail.open(QIODevice::ReadOnly));
    EXPECT_EQ(mail.readAll(),
              "--" + boundary +
                  "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"empty.eml\"\r\n"
                  "Content-Type: message/rfc822\r\n\r\n\r\n--" +
                  boundary + "--\r\n");
}

TEST(MultipartBody, WhatCantBeReadFailsToOpenOrToRead) {
    QTemporaryDir dir;
    EXPECT_FALSE(MultipartBody({}, dir.filePath("gone.txt"), {}).open(QIODevice::ReadOnly));
    EXPECT_FALSE(MultipartBody({}, dir.path(), {}).open(QIODevice::ReadOnly)) << "a folder";
    EXPECT_FALSE(MultipartBody({}, write(dir.filePath("x"), "x"), {}).open(QIODevice::WriteOnly));

    // A file that shrinks after it was measured can't give the bytes promised: the read fails
    // rather than pad or hang.
    const QString path = write(dir.filePath("shrinks.bin"), QByteArray(100000, 'a'));
    MultipartBody body("head", path, "tail");
    ASSERT_TRUE(body.open(QIODevice::ReadOnly));
    QFile::resize(path, 10);
    const QByteArray got = body.readAll();
    EXPECT_LT(got.size(), body.size());
    EXPECT_EQ(body.read(1).size(), 0);
}
