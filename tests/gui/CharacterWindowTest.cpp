#include "character/CharacterWindow.h"
#include "app/Settings.h"
#include "base/VirtualScheduler.h"
#include "platform/fake/FakeServices.h"
#include "stage/BalloonPanel.h"
#include "support/SpinUntil.h"
#include "support/TestEnvironment.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWindow>

#include <gtest/gtest.h>

namespace {

constexpr double tick = 1.0 / 15.0;

// A window at (100, 100), 64 pixels square, whose middle 32 pixels are the figure.
class CharacterWindowTest : public ::testing::Test {
protected:
    void SetUp() override {
        TestEnvironment::freshSettings();
        window = std::make_unique<CharacterWindow>();
        window->hasPixel = [this](QPointF point) {
            ++pixelTests;
            return solid && QRectF(16, 16, 32, 32).contains(point);
        };
        window->figureRegion = [this] { return solid ? QRegion(16, 16, 32, 32) : QRegion(); };
        window->onFileDrag = [this](bool active) {
            drags << active;
            hoverAtDragEnd = window->isHovered();
        };
        window->setGeometry(100, 100, 64, 64);
        window->show();
        services.pointer->at = {0, 0};
        scheduler.advance(tick);
    }

    // Another program's window takes the focus; the figure hears of it through updateAlphaSoon.
    // Mapped, the figure is put back where the window manager may have taken it from.
    void focusElsewhere() {
        ASSERT_TRUE(spinUntil([&] { return window->windowHandle()->isExposed(); }));
        window->move(100, 100);
        other.setGeometry(400, 400, 100, 100);
        other.show();
        other.activateWindow();
        ASSERT_TRUE(spinUntil([&] { return other.isActiveWindow(); }));
        scheduler.advance(0);
    }
    static bool opacityNear(const QWidget& widget, double value) {
        return spinUntil([&] { return std::abs(widget.windowOpacity() - value) < 0.01; });
    }

    platform::fake::FakeServices services;
    base::VirtualScheduler scheduler;
    QWidget other;
    std::unique_ptr<CharacterWindow> window;
    QRegion taking() const { return services.windowTraits->inputRegions.value(window->windowHandle()); }
    int pixelTests = 0;
    bool solid = true;
    QList<bool> drags;
    bool hoverAtDragEnd = false;
};

} // namespace

TEST_F(CharacterWindowTest, IsAFramelessToolWindowThatStaysOnTopAndOffTheTaskbar) {
    const auto flags = window->windowFlags();
    EXPECT_TRUE(flags.testFlag(Qt::FramelessWindowHint));
    EXPECT_TRUE(flags.testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_EQ(flags & Qt::WindowType_Mask, Qt::Tool);
    EXPECT_TRUE(window->testAttribute(Qt::WA_TranslucentBackground));
    EXPECT_TRUE(services.windowTraits->offTaskbar.contains(window->windowHandle()));
}

TEST_F(CharacterWindowTest, OnlyTheFiguresPixelsTakeClicksWhereverThePointerIs) {
    EXPECT_EQ(taking(), QRegion(16, 16, 32, 32)) << "set when shown, before the pointer comes";
    services.pointer->at = {102, 102};
    scheduler.advance(tick);
    EXPECT_EQ(taking(), QRegion(16, 16, 32, 32));
    EXPECT_FALSE(window->isHovered());

    // A new pose gives a new region at once, with no wait for the pointer's watch.
    solid = false;
    window->poseDidChange();
    EXPECT_TRUE(taking().isEmpty()) << "a hidden figure lets every click through";
    solid = true;
    window->poseDidChange();
    EXPECT_EQ(taking(), QRegion(16, 16, 32, 32));
    window->resize(80, 80);
    EXPECT_EQ(taking(), window->inputRegion()) << "a new size is told too";
}

TEST_F(CharacterWindowTest, TheFiguresPixelsMakeItSolidUnderThePointerAndLetItGoAgain) {
    focusElsewhere();
    services.pointer->at = {132, 132};
    scheduler.advance(tick);
    EXPECT_TRUE(window->isHovered());
    EXPECT_EQ(window->alphaTarget(), 1.0);

    services.pointer->at = {300, 300};
    scheduler.advance(tick);
    EXPECT_FALSE(window->isHovered());
    EXPECT_EQ(window->alphaTarget(), 0.5);
}

TEST_F(CharacterWindowTest, NothingIsTestedWhileNothingMoves) {
    services.pointer->at = {132, 132};
    scheduler.advance(tick);
    const int tests = pixelTests;
    scheduler.advance(60);
    EXPECT_EQ(pixelTests, tests);
    services.pointer->at = {133, 132};
    scheduler.advance(tick);
    EXPECT_EQ(pixelTests, tests + 1);
    window->move(101, 100);
    scheduler.advance(tick);
    EXPECT_EQ(pixelTests, tests + 2) << "a moved frame is tested too";
}

TEST_F(CharacterWindowTest, APoseChangeUnderAStillPointerEndsTheHover) {
    services.pointer->at = {132, 132};
    scheduler.advance(tick);
    ASSERT_TRUE(window->isHovered());
    solid = false; // the animation hides the figure
    window->poseDidChange();
    EXPECT_FALSE(window->isHovered());
    EXPECT_TRUE(taking().isEmpty());
}

TEST_F(CharacterWindowTest, NoHoverChangeWhileAButtonIsHeld) {
    services.pointer->pressed = Qt::LeftButton;
    services.pointer->at = {132, 132};
    scheduler.advance(tick);
    EXPECT_FALSE(window->isHovered());
    services.pointer->pressed = Qt::NoButton;
    scheduler.advance(tick);
    EXPECT_TRUE(window->isHovered());
}

TEST_F(CharacterWindowTest, AFileDragAnywhereOpensTheWholeWindowUntilTheButtonIsReleased) {
    services.pointer->at = {132, 132};
    scheduler.advance(tick);
    services.pointer->at = {600, 600};
    services.pointer->pressed = Qt::LeftButton;
    services.dragBoard->startDrag({"text/uri-list", "text/plain"});
    scheduler.advance(tick);
    EXPECT_TRUE(window->isFileDragActive());
    EXPECT_EQ(taking(), QRegion(window->rect())) << "transparent pixels take the drop too";
    EXPECT_EQ(window->alphaTarget(), 1.0);
    EXPECT_EQ(drags, QList<bool>{true});
    scheduler.advance(1);
    EXPECT_EQ(drags, QList<bool>{true}) << "told once";

    services.pointer->pressed = Qt::NoButton;
    scheduler.advance(tick);
    EXPECT_FALSE(window->isFileDragActive());
    EXPECT_EQ(drags, (QList<bool>{true, false}));
    EXPECT_FALSE(hoverAtDragEnd) << "the hover state was brought up to date first";
    EXPECT_EQ(taking(), QRegion(16, 16, 32, 32));
}

TEST_F(CharacterWindowTest, ADragCountsOnlyOnceItOffersSomethingUsableWhileTheButtonIsHeld) {
    services.pointer->pressed = Qt::LeftButton;
    scheduler.advance(1);
    EXPECT_TRUE(drags.isEmpty()) << "a press with no new drag";
    services.dragBoard->startDrag({"application/x-private"});
    scheduler.advance(1);
    EXPECT_TRUE(drags.isEmpty());
    EXPECT_FALSE(window->isFileDragActive());

    // A source that names its types late in the drag is heard while the button is held...
    services.dragBoard->offered = {"text/uri-list"};
    scheduler.advance(tick);
    EXPECT_EQ(drags, QList<bool>{true});
    services.pointer->pressed = Qt::NoButton;
    scheduler.advance(tick);
    // ...but a drag that ended before it said anything is over.
    services.pointer->pressed = Qt::LeftButton;
    services.dragBoard->startDrag({});
    scheduler.advance(tick);
    services.pointer->pressed = Qt::NoButton;
    scheduler.advance(tick);
    services.dragBoard->offered = {"text/uri-list"};
    services.pointer->pressed = Qt::LeftButton;
    scheduler.advance(1);
    EXPECT_EQ(drags, (QList<bool>{true, false}));
}

TEST_F(CharacterWindowTest, ADragUnderWayBeforeTheFirstLookIsNotNews) {
    window.reset();
    services.dragBoard->startDrag({"text/uri-list"});
    services.pointer->pressed = Qt::LeftButton;
    window = std::make_unique<CharacterWindow>();
    window->onFileDrag = [this](bool active) { drags << active; };
    window->setGeometry(100, 100, 64, 64);
    window->show();
    scheduler.advance(1);
    EXPECT_TRUE(drags.isEmpty());
    services.dragBoard->startDrag({"text/uri-list"});
    scheduler.advance(tick);
    EXPECT_EQ(drags, QList<bool>{true});
}

TEST_F(CharacterWindowTest, AHiddenWindowDoesNotLook) {
    window->hide();
    services.pointer->at = {132, 132};
    services.pointer->pressed = Qt::LeftButton;
    services.dragBoard->startDrag({"text/uri-list"});
    scheduler.advance(1);
    EXPECT_FALSE(window->isHovered());
    EXPECT_TRUE(drags.isEmpty());
}

TEST_F(CharacterWindowTest, TheKeyWindowIsSolidAndFadesWhenItLosesTheFocus) {
    window->makeKeyAndOrderFront();
    ASSERT_TRUE(spinUntil([&] { return window->isActiveWindow(); }));
    EXPECT_EQ(window->alphaTarget(), 1.0);
    EXPECT_TRUE(opacityNear(*window, 1.0));

    focusElsewhere();
    EXPECT_EQ(window->alphaTarget(), 0.5);
    EXPECT_TRUE(opacityNear(*window, 0.5));
}

TEST_F(CharacterWindowTest, WhileItsBalloonIsKeyTheFigureStaysSolidWithThePointerFarAway) {
    focusElsewhere();
    services.pointer->at = {900, 700};
    scheduler.advance(tick);
    auto* balloon = new BalloonPanel(window.get());
    balloon->setGeometry(200, 100, 200, 120);
    balloon->show();
    balloon->activateWindow();
    ASSERT_TRUE(spinUntil([&] { return balloon->isActiveWindow(); }));
    ASSERT_FALSE(window->isActiveWindow());
    scheduler.advance(tick);
    EXPECT_FALSE(window->isHovered());
    EXPECT_EQ(window->alphaTarget(), 1.0);
    EXPECT_TRUE(opacityNear(*window, 1.0));

    // The chat closes: the balloon, losing the focus, has the figure look again.
    balloon->hide();
    balloon->deleteLater();
    focusElsewhere();
    EXPECT_EQ(window->alphaTarget(), 0.5);
    EXPECT_TRUE(opacityNear(*window, 0.5));
}

TEST_F(CharacterWindowTest, FramesAreStoredUnderANameAndRestored) {
    EXPECT_FALSE(window->setFrameUsingName("Figure")) << "nothing stored yet";
    window->setFrameAutosaveName("Figure");
    EXPECT_EQ(Settings::value("Figure").toRect(), QRect(100, 100, 64, 64));
    window->move(150, 160);
    EXPECT_TRUE(spinUntil([] { return Settings::value("Figure").toRect() == QRect(150, 160, 64, 64); }));

    CharacterWindow again;
    ASSERT_TRUE(again.setFrameUsingName("Figure"));
    EXPECT_EQ(again.geometry(), QRect(150, 160, 64, 64));

    Settings::setValue("Lost", QRect(-5000, -5000, 64, 64));
    EXPECT_FALSE(again.setFrameUsingName("Lost")) << "a frame on no screen";
}

TEST_F(CharacterWindowTest, AWindowWithoutASizeIsCentredOnceItGetsOne) {
    CharacterWindow fresh;
    EXPECT_EQ(fresh.width(), 0);
    fresh.center();
    fresh.setFrame(QRect(0, 0, 80, 60));
    const QRect area = fresh.screen()->availableGeometry();
    EXPECT_LE(std::abs(fresh.geometry().center().x() - area.center().x()), 1);
    EXPECT_LE(std::abs(fresh.geometry().center().y() - area.center().y()), 1);
    EXPECT_EQ(fresh.size(), QSize(80, 60));
    fresh.setFrame(QRect(10, 10, 80, 60));
    EXPECT_EQ(fresh.geometry().topLeft(), QPoint(10, 10)) << "only once";
}

TEST_F(CharacterWindowTest, ATwoThirdsOffScreenFigureComesBackWhollyOntoTheNearestScreen) {
    const QRect area = window->screen()->availableGeometry();
    window->move(area.right() + 1 - 64 / 3 - 1, 100); // 22 of 64 pixels: just over a third
    window->keepOnScreen();
    EXPECT_EQ(window->x(), area.right() + 1 - 22);
    window->move(area.right() + 1 - 64 / 3, 100); // 21: under a third
    window->keepOnScreen();
    EXPECT_EQ(window->geometry(), QRect(area.right() + 1 - 64, 100, 64, 64));
    window->move(area.left() - 50, area.bottom() - 10);
    window->keepOnScreen();
    EXPECT_EQ(window->geometry(), QRect(area.left(), area.bottom() + 1 - 64, 64, 64)) << "both ways at once";
    window->move(-5000, -5000);
    window->keepOnScreen();
    EXPECT_TRUE(area.contains(window->geometry())) << "from nowhere near";
}

TEST(CharacterWindowWithoutPointer, TakesClicksByItsPixelsAndDoesNotWatch) {
    TestEnvironment::freshSettings();
    const auto traits = std::make_shared<platform::fake::FakeWindowTraits>();
    platform::Services services;
    services.windowTraits = traits;
    platform::install(services);
    base::VirtualScheduler scheduler;
    CharacterWindow window;
    window.figureRegion = [] { return QRegion(4, 4, 8, 8); };
    window.setGeometry(100, 100, 64, 64);
    window.show();
    EXPECT_EQ(traits->inputRegions.value(window.windowHandle()), QRegion(4, 4, 8, 8));
    EXPECT_EQ(scheduler.pending(), 0);
    platform::install({});
}
