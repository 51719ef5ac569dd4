#include "capture/Capture.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QMimeData>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using Capture::Kind;

TEST(Capture, DraggedTypesAreTheFiveMimeTypesInOrder) {
    EXPECT_EQ(Capture::draggedTypes(), (QStringList{"text/uri-list", "image/png", "image/tiff",
                                                    "text/tab-separated-values", "text/plain"}));
}

TEST(Capture, FilesComeBeforeAnImageBeforeText) {
    EXPECT_EQ(Capture::kind(QStringList{"text/plain", "image/png", "text/uri-list"}), Kind::files);
    EXPECT_EQ(Capture::kind(QStringList{"image/tiff", "text/tab-separated-values"}), Kind::image);
    EXPECT_EQ(Capture::kind(QStringList{"text/tab-separated-values"}), Kind::text);
    EXPECT_EQ(Capture::kind(QStringList{"text/plain;charset=utf-8"}), Kind::text);
    EXPECT_EQ(Capture::kind(QStringList{"IMAGE/PNG"}), Kind::image);
}

TEST(Capture, AnEmptyOrUnknownListHasNoKind) {
    EXPECT_FALSE(Capture::kind(QStringList{}));
    EXPECT_FALSE(Capture::kind(QStringList{"application/x-private", "text/html"}));
    EXPECT_FALSE(Capture::kind(static_cast<const QMimeData*>(nullptr)));
}

TEST(Capture, TheDragAsXNamesItAndAsQtShowsItAreJudgedAlikeFromTheTypesAlone) {
    // A link from a browser, as the X selection names it and as Qt shows it (Qt turns
    // text/x-moz-url into a URI list): the page's markup beside the URI list makes it text.
    EXPECT_EQ(Capture::kind(QStringList{"text/uri-list", "text/x-moz-url", "text/plain", "text/html"}),
              Kind::text);
    EXPECT_EQ(Capture::kind(QStringList{"text/x-moz-url", "text/plain", "text/html"}), Kind::text);
    EXPECT_EQ(Capture::kind(QStringList{"text/x-moz-url", "_NETSCAPE_URL", "text/plain"}), Kind::text);
    QMimeData link;
    link.setUrls({QUrl("https://example.org/page")});
    link.setHtml("<a href=\"https://example.org/page\">page</a>");
    link.setText("https://example.org/page");
    EXPECT_EQ(Capture::kind(&link), Kind::text);
    QMimeData netscapeLink;
    netscapeLink.setUrls({QUrl("https://example.org/page")});
    netscapeLink.setData("_NETSCAPE_URL", "https://example.org/page");
    netscapeLink.setText("https://example.org/page");
    EXPECT_EQ(Capture::kind(&netscapeLink), Kind::text);

    // Files from a file manager, on both roads; a Qt source adds text/x-moz-url by itself.
    EXPECT_EQ(Capture::kind(QStringList{"text/uri-list", "text/x-moz-url", "text/plain"}), Kind::files);
    EXPECT_EQ(Capture::kind(QStringList{"text/x-moz-url", "text/plain"}), Kind::files);
    EXPECT_EQ(Capture::kind(QStringList{"x-special/gnome-icon-list", "text/uri-list", "text/plain"}),
              Kind::files);
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile("/tmp/report.pdf")});
    files.setText("/tmp/report.pdf");
    EXPECT_EQ(Capture::kind(&files), Kind::files);

    // Without those marks a URI list is files, whatever its URLs: the content is never read.
    QMimeData web;
    web.setUrls({QUrl("https://example.org/page")});
    EXPECT_EQ(Capture::kind(&web), Kind::files);

    QMimeData picture;
    picture.setData("image/png", "\x89PNG");
    picture.setText("caption");
    EXPECT_EQ(Capture::kind(&picture), Kind::image);

    QMimeData nothing;
    nothing.setData("application/x-private", "x");
    EXPECT_FALSE(Capture::kind(&nothing));
}

namespace {

// What read gives for an offer, once its completion has run.
Capture::Captured captured(const QMimeData& data, const std::optional<QString>& app = std::nullopt) {
    std::optional<Capture::Captured> out;
    bool returned = false;
    Capture::read(&data, app, [&](Capture::Captured c) {
        EXPECT_TRUE(returned) << "the completion runs after read has returned";
        out = std::move(c);
    });
    returned = true;
    EXPECT_FALSE(out);
    for (int i = 0; i < 100 && !out; ++i) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return out.value_or(Capture::Captured{});
}

QByteArray contents(const QString& path) {
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

} // namespace

TEST(Capture, TablesBecomeCsvByTheirShapeAndNamesFollowTheRule) {
    EXPECT_EQ(Capture::csv("a\tb"), "a,b\n");
    EXPECT_EQ(Capture::csv("a\tb\r\nc\td\re"), "a,b\nc,d\ne\n")
        << "2 of 3 rows full is a table; short rows stay short";
    EXPECT_FALSE(Capture::csv("a\nb\tc")) << "1 of 2 is not";
    EXPECT_FALSE(Capture::csv("a\tb\n\n")) << "only the last empty line goes; the other is a row";
    EXPECT_FALSE(Capture::csv("plain words"));
    EXPECT_FALSE(Capture::csv(""));
    EXPECT_EQ(Capture::csv("x;y\t\"q\"\tp,q\tline\nbreak"), std::nullopt)
        << "the break makes a second row of one cell";
    EXPECT_EQ(Capture::csv("x;y\t\"q\"\tp,q\tplain"), "\"x;y\",\"\"\"q\"\"\",\"p,q\",plain\n");

    const QDateTime at(QDate(2026, 11, 23), QTime(9, 30));
    EXPECT_EQ(Capture::fileName("A/B: C", "copied text", at, ".txt"), "A-B. C – copied text 09.30.txt");
    EXPECT_EQ(Capture::fileName("Tables", "copied cells", QDateTime(QDate(2026, 1, 2), QTime(14, 7)), ".csv"),
              "Tables – copied cells 14.07.csv");

    Capture::Captured sorted;
    sorted.add({"/x/Letter.EML", "/x/Letter.eml.pdf", "/x/notes"});
    EXPECT_EQ(sorted.emails, QStringList{"/x/Letter.EML"});
    EXPECT_EQ(sorted.files, (QStringList{"/x/Letter.eml.pdf", "/x/notes"}));
}

TEST(Capture, ReadTakesFilesOrWritesTheContentIntoAPrivateFolderOfItsOwn) {
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile("/tmp/a.pdf"), QUrl("https://example.com/page"),
                   QUrl::fromLocalFile("/tmp/Mail.eml")});
    files.setText("ignored when there are files");
    auto c = captured(files);
    EXPECT_EQ(c.files, QStringList{"/tmp/a.pdf"});
    EXPECT_EQ(c.emails, QStringList{"/tmp/Mail.eml"});

    // A link dragged out of a browser is text, and is written as such.
    QMimeData link;
    link.setUrls({QUrl("https://example.com/page")});
    link.setHtml("<a href=\"https://example.com/page\">page</a>");
    link.setText("https://example.com/page");
    c = captured(link, QStringLiteral("Browser"));
    ASSERT_EQ(c.files.size(), 1);
    EXPECT_TRUE(c.files.first().endsWith(".txt"));
    EXPECT_EQ(contents(c.files.first()), "https://example.com/page");

    QMimeData cells;
    cells.setData("text/tab-separated-values", "Name\tHours\nMari\t7,5\n");
    cells.setText("not this");
    c = captured(cells, QStringLiteral("Sheets/Work: Q3"));
    ASSERT_EQ(c.files.size(), 1);
    const QFileInfo table(c.files.first());
    EXPECT_TRUE(table.fileName().startsWith("Sheets-Work. Q3 – copied cells "))
        << table.fileName().toStdString();
    EXPECT_EQ(contents(table.filePath()), "Name,Hours\nMari,\"7,5\"\n");
    EXPECT_EQ(table.permissions() & (QFile::ReadGroup | QFile::ReadOther), 0);
    EXPECT_EQ(QFileInfo(table.path()).permissions() & (QFile::ExeGroup | QFile::ExeOther | QFile::ReadOther),
              0);

    QImage picture(4, 3, QImage::Format_ARGB32);
    picture.fill(Qt::red);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    picture.save(&buffer, "PNG");
    QMimeData image;
    image.setData("image/png", png);
    c = captured(image);
    ASSERT_EQ(c.files.size(), 1);
    EXPECT_TRUE(QFileInfo(c.files.first()).fileName().startsWith("Clipboard – image "));
    EXPECT_EQ(QImage(c.files.first()).size(), QSize(4, 3));
    EXPECT_NE(QFileInfo(c.files.first()).path(), table.path()) << "a folder per capture";

    QMimeData mail;
    mail.setData("message/rfc822", "From: a@example.ee\r\nSubject: Hi\r\n\r\nBody\r\n");
    c = captured(mail, QStringLiteral("Mail"));
    ASSERT_EQ(c.emails.size(), 1);
    EXPECT_TRUE(c.files.isEmpty());
    EXPECT_TRUE(c.emails.first().endsWith(".eml"));

    QMimeData blank;
    blank.setText(" \n\t ");
    c = captured(blank);
    EXPECT_TRUE(c.files.isEmpty() && c.emails.isEmpty()) << "nothing to take";
}

TEST(Capture, FileLocationsAreFilesWhateverComesBesideThem) {
    // A file manager that adds markup or a Netscape link beside its file URLs.
    QMimeData withMarkup;
    withMarkup.setUrls({QUrl::fromLocalFile("/tmp/Notes.pdf"), QUrl::fromLocalFile("/tmp/Letter.eml")});
    withMarkup.setHtml("<a href=\"file:///tmp/Notes.pdf\">Notes.pdf</a>");
    withMarkup.setData("_NETSCAPE_URL", "file:///tmp/Notes.pdf");
    const auto c = captured(withMarkup, QStringLiteral("Files"));
    EXPECT_EQ(c.files, QStringList{"/tmp/Notes.pdf"});
    EXPECT_EQ(c.emails, QStringList{"/tmp/Letter.eml"});
}

TEST(Capture, ItsFolderIsOurOwnInTheRuntimeFolderAndOneMadeBeforeByOthersIsRefused) {
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    const QString root = runtime + "/Mirk Vantle Agents Capture";
    QMimeData text;
    text.setText("words");
    const auto placeOf = [&] {
        const auto c = captured(text);
        EXPECT_EQ(c.files.size(), 1);
        return QFileInfo(QFileInfo(c.files.value(0)).path()).path();
    };
    const auto modeOf = [](const QString& path) {
        struct stat info {};
        ::lstat(QFile::encodeName(path).constData(), &info);
        return info.st_mode & 07777;
    };
    QDir(root).removeRecursively();
    EXPECT_EQ(placeOf(), root);
    EXPECT_EQ(modeOf(root), 0700u);

    // Found with looser modes, or as a link to another folder: not used, and not changed.
    QDir(root).removeRecursively();
    ASSERT_TRUE(QDir().mkdir(root, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadOther |
                                       QFile::ExeOther | QFile::WriteOther));
    const QString elsewhere = placeOf();
    EXPECT_NE(elsewhere, root);
    EXPECT_TRUE(QDir(root).isEmpty());
    EXPECT_TRUE(elsewhere.startsWith(QDir::tempPath() + "/mirkvantle-capture-")) << elsewhere.toStdString();
    EXPECT_EQ(modeOf(elsewhere), 0700u);
    EXPECT_EQ(QFileInfo(elsewhere).ownerId(), ::getuid());
    QDir(root).removeRecursively();
    QTemporaryDir target;
    QFile::setPermissions(target.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    ASSERT_TRUE(QFile::link(target.path(), root));
    EXPECT_EQ(placeOf(), elsewhere);
    EXPECT_TRUE(QDir(target.path()).isEmpty());
    QFile::remove(root);

    // With no runtime folder, a fresh one of this run's own.
    qunsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(placeOf(), elsewhere);
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime));
    QDir(elsewhere).removeRecursively();
}
