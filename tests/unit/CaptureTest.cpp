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

TEST(Capture, AUriListIsFilesOnlyWhenItHoldsAFileUrl) {
    QMimeData files;
    files.setUrls({QUrl("https://example.org/page"), QUrl::fromLocalFile("/tmp/report.pdf")});
    EXPECT_EQ(Capture::kind(&files), Kind::files);

    QMimeData link;
    link.setUrls({QUrl("https://example.org/page")});
    link.setText("https://example.org/page");
    EXPECT_EQ(Capture::kind(&link), Kind::text) << "a browser's link is no file";

    QMimeData picture;
    picture.setData("image/png", "\x89PNG");
    picture.setText("caption");
    EXPECT_EQ(Capture::kind(&picture), Kind::image);

    QMimeData nothing;
    nothing.setData("application/x-private", "x");
    EXPECT_FALSE(Capture::kind(&nothing));
}
