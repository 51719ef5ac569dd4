#include "capture/Capture.h"

#include <QMimeData>
#include <QUrl>

#include <gtest/gtest.h>

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
