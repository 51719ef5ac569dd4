#include "character/CharacterView.h"
#include "character/CharacterSheet.h"
#include "support/CharacterFixture.h"
#include "support/SpinUntil.h"
#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QUrl>

#include <gtest/gtest.h>

using DropZone = CharacterView::DropZone;

namespace {

bool fadedTo(const CharacterView& view, double glow, double ring, double badge) {
    return spinUntil([&] {
        return view.glowOpacity() == glow && view.ringOpacity() == ring && view.badgeOpacity() == badge;
    });
}

void mouse(QWidget& target, QEvent::Type type, QPoint global, Qt::MouseButton button, Qt::MouseButtons held) {
    QMouseEvent event(type, QPointF(target.mapFromGlobal(global)), QPointF(global), button, held,
                      Qt::NoModifier);
    QCoreApplication::sendEvent(&target, &event);
}

} // namespace

TEST(CharacterView, DropZoneStatesSetOverlaysAndTheirAnimations) {
    CharacterView view;
    view.resize(100, 100);
    EXPECT_EQ(view.dropZone(), DropZone::hidden);
    EXPECT_EQ(view.ringOpacity(), 0);

    view.setDropZone(DropZone::nearby);
    EXPECT_TRUE(view.isMarching());
    EXPECT_FALSE(view.isPulsing());
    EXPECT_EQ(view.ringWidth(), 2.0);
    EXPECT_TRUE(view.isRingDashed());
    EXPECT_TRUE(fadedTo(view, 0.35, 0.75, 0.9));

    view.setDropZone(DropZone::ready);
    view.setDropZone(DropZone::ready);
    EXPECT_TRUE(view.isPulsing());
    EXPECT_EQ(view.ringWidth(), 3.0);
    EXPECT_FALSE(view.isRingDashed());
    EXPECT_TRUE(fadedTo(view, 1.0, 1.0, 1.0));

    view.setDropZone(DropZone::nearby);
    EXPECT_TRUE(view.isRingDashed()) << "the dash pattern comes back";
    EXPECT_EQ(view.ringWidth(), 2.0);
    EXPECT_FALSE(view.isPulsing());
    EXPECT_TRUE(view.isMarching());
    EXPECT_TRUE(fadedTo(view, 0.35, 0.75, 0.9));

    view.setDropZone(DropZone::hidden);
    EXPECT_FALSE(view.isMarching());
    EXPECT_FALSE(view.isPulsing());
    EXPECT_EQ(view.ringWidth(), 2.0) << "the ring stays as it was";
    EXPECT_TRUE(fadedTo(view, 0, 0, 0));
}

TEST(CharacterView, TheBadgeIsAFifthOfTheWidthWithin18And28) {
    CharacterView view;
    view.resize(60, 60);
    EXPECT_EQ(view.badgeRect(), QRectF(38, 4, 18, 18));
    view.resize(200, 200);
    EXPECT_EQ(view.badgeRect(), QRectF(168, 4, 28, 28));
    view.resize(100, 120);
    EXPECT_EQ(view.badgeRect().width(), 20);
}

TEST(CharacterView, PixelArtStaysCrispAtWholeScalesAndIsFilteredOtherwise) {
    TestEnvironment::freshSettings();
    CharacterFixture fixture;
    // A checkerboard of solid and clear pixels, 8 by 8 to a cell.
    fixture.add("dorn", CharacterFixture::definition("dorn"),
                [](int x, int y) { return (x + y) % 2 ? 0 : 255; });
    fixture.activate();
    const auto sheet = CharacterSheet::named("dorn");
    ASSERT_TRUE(sheet);

    CharacterView view;
    view.setSheet(sheet);
    view.setCell(0);
    view.resize(16, 16);
    const QImage doubled = view.grab().toImage().convertToFormat(QImage::Format_ARGB32);
    ASSERT_EQ(doubled.width(), 16 * static_cast<int>(view.devicePixelRatioF()));
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 16; ++x) {
            const int expected = (x / 2 + y / 2) % 2 ? 0 : 255;
            ASSERT_EQ(qAlpha(doubled.pixel(x, y)), expected) << x << "," << y;
        }
    }

    view.resize(12, 12);
    const QImage filtered = view.grab().toImage().convertToFormat(QImage::Format_ARGB32);
    int between = 0;
    for (int y = 0; y < filtered.height(); ++y) {
        for (int x = 0; x < filtered.width(); ++x) {
            const int alpha = qAlpha(filtered.pixel(x, y));
            between += alpha > 0 && alpha < 255;
        }
    }
    EXPECT_GT(between, 0) << "one and a half times is filtered";

    view.setCell(std::nullopt);
    const QImage hidden = view.grab().toImage().convertToFormat(QImage::Format_ARGB32);
    EXPECT_EQ(qAlpha(hidden.pixel(0, 0)), 0);
}

TEST(CharacterView, MouseDragsMoveTheWindowWithoutThreshold) {
    CharacterView view; // its own window, never shown
    view.setGeometry(200, 200, 64, 64);
    int ended = 0;
    int doubles = 0;
    view.onDragEnded = [&] { ++ended; };
    view.onDoubleClick = [&] { ++doubles; };

    mouse(view, QEvent::MouseButtonPress, {220, 220}, Qt::LeftButton, Qt::LeftButton);
    mouse(view, QEvent::MouseMove, {221, 220}, Qt::NoButton, Qt::LeftButton);
    EXPECT_EQ(view.pos(), QPoint(201, 200)) << "one pixel moves the window";
    mouse(view, QEvent::MouseMove, {250, 240}, Qt::NoButton, Qt::LeftButton);
    EXPECT_EQ(view.pos(), QPoint(230, 220));
    mouse(view, QEvent::MouseButtonRelease, {250, 240}, Qt::LeftButton, Qt::NoButton);
    EXPECT_EQ(ended, 1);

    // Back to where it started: no drag to report. A plain click reports none either.
    mouse(view, QEvent::MouseButtonPress, {250, 240}, Qt::LeftButton, Qt::LeftButton);
    mouse(view, QEvent::MouseMove, {260, 250}, Qt::NoButton, Qt::LeftButton);
    mouse(view, QEvent::MouseMove, {250, 240}, Qt::NoButton, Qt::LeftButton);
    mouse(view, QEvent::MouseButtonRelease, {250, 240}, Qt::LeftButton, Qt::NoButton);
    mouse(view, QEvent::MouseButtonPress, {250, 240}, Qt::LeftButton, Qt::LeftButton);
    mouse(view, QEvent::MouseButtonRelease, {250, 240}, Qt::LeftButton, Qt::NoButton);
    EXPECT_EQ(ended, 1);

    // The second press of a double click drags too.
    mouse(view, QEvent::MouseButtonPress, {250, 240}, Qt::LeftButton, Qt::LeftButton);
    mouse(view, QEvent::MouseButtonRelease, {250, 240}, Qt::LeftButton, Qt::NoButton);
    mouse(view, QEvent::MouseButtonDblClick, {250, 240}, Qt::LeftButton, Qt::LeftButton);
    EXPECT_EQ(doubles, 1);
    mouse(view, QEvent::MouseMove, {255, 240}, Qt::NoButton, Qt::LeftButton);
    mouse(view, QEvent::MouseButtonRelease, {255, 240}, Qt::LeftButton, Qt::NoButton);
    EXPECT_EQ(view.pos(), QPoint(235, 220));
    EXPECT_EQ(ended, 2);
}

TEST(CharacterView, ARightClickAsksForTheContextMenuWhereItHappened) {
    CharacterView view;
    view.setGeometry(100, 100, 64, 64);
    std::optional<QPoint> asked;
    view.onContextMenu = [&](QPoint at) { asked = at; };
    mouse(view, QEvent::MouseButtonPress, {120, 130}, Qt::RightButton, Qt::RightButton);
    EXPECT_EQ(asked, QPoint(120, 130));
}

TEST(CharacterView, DragsOfFilesAreWelcomeAndOthersRefused) {
    CharacterView view;
    view.resize(64, 64);
    QList<bool> over;
    view.onFilesOver = [&](bool flag) { over << flag; };

    QMimeData files;
    files.setUrls({QUrl::fromLocalFile("/tmp/report.pdf")});
    QDragEnterEvent enter({10, 10}, Qt::CopyAction | Qt::MoveAction, &files, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&view, &enter);
    EXPECT_TRUE(enter.isAccepted());
    EXPECT_EQ(enter.dropAction(), Qt::CopyAction);
    QDragMoveEvent moveEvent({12, 12}, Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&view, &moveEvent);
    EXPECT_TRUE(moveEvent.isAccepted());
    QDragLeaveEvent leave;
    QCoreApplication::sendEvent(&view, &leave);
    EXPECT_EQ(over, (QList<bool>{true, false}));

    QMimeData other;
    other.setData("application/x-private", "x");
    QDragEnterEvent refused({10, 10}, Qt::CopyAction, &other, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&view, &refused);
    EXPECT_FALSE(refused.isAccepted());
    EXPECT_EQ(over.size(), 2);

    // A drop goes to onDrop, and without one it is refused.
    const auto enterWithFiles = [&] {
        QDragEnterEvent again({10, 10}, Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(&view, &again);
        return again.isAccepted();
    };
    ASSERT_TRUE(enterWithFiles());
    QDropEvent unwired({10, 10}, Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&view, &unwired);
    EXPECT_FALSE(unwired.isAccepted());
    const QMimeData* dropped = nullptr;
    view.onDrop = [&](const QMimeData* data) {
        dropped = data;
        return true;
    };
    ASSERT_TRUE(enterWithFiles());
    QDropEvent drop({10, 10}, Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&view, &drop);
    EXPECT_TRUE(drop.isAccepted());
    EXPECT_EQ(dropped, &files);
}
