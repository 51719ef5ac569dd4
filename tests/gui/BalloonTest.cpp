#include "app/Settings.h"
#include "platform/fake/FakeServices.h"
#include "stage/BalloonPanel.h"
#include "stage/BalloonSurface.h"
#include "stage/BalloonView.h"
#include "stage/ChipFlow.h"
#include "stage/ElidedLabel.h"
#include "stage/LinkRow.h"
#include "stage/MessageText.h"
#include "stage/PillButton.h"
#include "stage/Spinner.h"
#include "stage/SymbolButton.h"
#include "stage/SymbolView.h"
#include "support/SpinUntil.h"
#include "support/TestEnvironment.h"

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QDir>
#include <QDragEnterEvent>
#include <QFontInfo>
#include <QGlyphRun>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QRawFont>
#include <QScreen>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextList>

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <memory>

namespace {

// Counts the layout requests a widget receives.
class LayoutRequests : public QObject {
public:
    explicit LayoutRequests(int& count) : count(count) {}
    bool eventFilter(QObject*, QEvent* event) override {
        count += event->type() == QEvent::LayoutRequest ? 1 : 0;
        return false;
    }

private:
    int& count;
};

class BalloonTest : public ::testing::Test {
protected:
    void SetUp() override {
        TestEnvironment::freshSettings();
        panel = std::make_unique<BalloonPanel>();
        balloon().onSubmit = [this](const QString& text) { submitted << text; };
        balloon().onClose = [this] { ++closes; };
        balloon().onMessageClick = [this] { ++clicks; };
    }

    void TearDown() override { panel.reset(); }

    BalloonView& balloon() { return panel->balloon(); }
    QScreen* screen() { return QGuiApplication::primaryScreen(); }
    QRect bounds() { return screen()->availableGeometry(); }

    // Places the balloon beside a figure in the middle of the screen's left half and shows it
    // without activating it, with its layout done.
    void showBesideFigure() {
        panel->place(QRect(bounds().x() + 200, bounds().y() + 300, 128, 128), screen());
        panel->orderFront();
        ASSERT_TRUE(
            spinUntil([this] { return panel->windowHandle() && panel->windowHandle()->isExposed(); }));
        // A busy window manager may still move the panel to its place after showing it.
        QRect last;
        int steady = 0;
        ASSERT_TRUE(spinUntil([&] {
            const QRect now = panel->balloonFrame();
            steady = now == last ? steady + 1 : 0;
            last = now;
            return steady >= 5;
        }));
    }

    // The balloon as it shows, for a look by eye.
    void save(const QString& name) {
        QDir().mkpath(MIRK_ARTEFACTS_DIR);
        panel->grab().save(QString(MIRK_ARTEFACTS_DIR) + "/" + name);
    }

    // A plain message, as the chat shows one.
    void say(const QString& text) {
        balloon().showMessage(text, true, std::nullopt, false, BalloonStatus::none);
    }

    static QList<ChatChoice> withRefs(int n) {
        QList<ChatChoice> out;
        for (int i = 0; i < n; ++i) {
            out.append({QStringLiteral("Option %1").arg(i + 1), QStringLiteral("ref-%1").arg(i + 1)});
        }
        return out;
    }

    platform::fake::FakeServices services;
    std::unique_ptr<BalloonPanel> panel;
    QStringList submitted;
    int closes = 0;
    int clicks = 0;
};

} // namespace

TEST_F(BalloonTest, IsAFramelessToolWindowThatShowsWithoutActivating) {
    const auto flags = panel->windowFlags();
    EXPECT_EQ(flags & Qt::WindowType_Mask, Qt::Tool);
    EXPECT_TRUE(flags.testFlag(Qt::FramelessWindowHint));
    EXPECT_TRUE(flags.testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_TRUE(panel->testAttribute(Qt::WA_ShowWithoutActivating));
    EXPECT_TRUE(panel->testAttribute(Qt::WA_TranslucentBackground));
    EXPECT_EQ(balloon().width(), BalloonView::balloonWidth);
    showBesideFigure();
    EXPECT_TRUE(services.windowTraits->offTaskbar.contains(panel->windowHandle()));
}

TEST_F(BalloonTest, AFigureLeftOfTheMiddleHasTheBalloonOnItsRight) {
    const QRect figure(bounds().x() + 200, bounds().y() + 300, 128, 128);
    panel->place(figure, screen());
    const QRect frame = panel->balloonFrame();
    EXPECT_EQ(frame.x(), figure.x() + figure.width() + 2);
    // The top edge 36 pixels above the line 30% down the figure.
    EXPECT_EQ(frame.y(), figure.y() + 38 - 36);
    EXPECT_EQ(frame.width(), 290);

    panel->orderFront();
    ASSERT_TRUE(spinUntil([this] { return panel->windowHandle()->isExposed(); }));
    EXPECT_EQ(panel->balloonFrame().topLeft(), frame.topLeft()) << "the window manager kept the position";
}

TEST_F(BalloonTest, AFigureRightOfTheMiddleOrExactlyOnItHasTheBalloonOnItsLeft) {
    const QRect right(bounds().x() + bounds().width() - 400, bounds().y() + 300, 128, 128);
    panel->place(right, screen());
    EXPECT_EQ(panel->balloonFrame().x(), right.x() - 290 - 2);

    QRect middle(0, bounds().y() + 300, 128, 128);
    middle.moveLeft(bounds().x() + bounds().width() / 2 - 64);
    ASSERT_EQ(middle.x() + middle.width() / 2.0, bounds().x() + bounds().width() / 2.0);
    panel->place(middle, screen());
    EXPECT_EQ(panel->balloonFrame().x(), middle.x() - 290 - 2);
}

TEST_F(BalloonTest, TheBalloonIsClampedToTheScreensFreeArea) {
    const QRect b = bounds();
    // A wide figure just right of the middle: the balloon on its left would leave the screen.
    panel->place(QRect(b.x() + 200, b.y() + 300, b.width() - 360, 100), screen());
    EXPECT_EQ(panel->balloonFrame().x(), b.x());
    // Just left of the middle: on its right, past the right edge.
    panel->place(QRect(b.x() + 160, b.y() + 300, b.width() - 360, 100), screen());
    EXPECT_EQ(panel->balloonFrame().x() + panel->balloonFrame().width(), b.x() + b.width());
    // Above the top edge: pushed down.
    panel->place(QRect(b.x() + 200, b.y() - 100, 128, 128), screen());
    EXPECT_EQ(panel->balloonFrame().y(), b.y());
    // Below the bottom: pushed up.
    panel->place(QRect(b.x() + 200, b.y() + b.height() - 20, 128, 128), screen());
    EXPECT_EQ(panel->balloonFrame().y() + panel->balloonFrame().height(), b.y() + b.height());
}

TEST_F(BalloonTest, WithoutAScreenTheBalloonStandsBesideTheFigure) {
    const QRect figure(-5000, -5000, 128, 128);
    panel->place(figure, nullptr);
    // The bounds' middle is the frame's own, so the balloon goes to the left.
    EXPECT_EQ(panel->balloonFrame().x(), figure.x() - 290 - 2);
    EXPECT_EQ(panel->balloonFrame().y(), figure.y() + 38 - 36);
}

TEST_F(BalloonTest, ALongAnswerScrollsInsideTheScreen) {
    QString answer;
    for (int i = 0; i < 400; ++i) {
        answer += QStringLiteral("Line %1 of a long answer that goes on and on. ").arg(i);
    }
    say(answer);
    panel->place(QRect(bounds().x() + 200, bounds().y() + bounds().height() - 200, 128, 128), screen());
    panel->orderFront();
    ASSERT_TRUE(spinUntil([this] { return panel->windowHandle()->isExposed(); }));
    EXPECT_TRUE(bounds().contains(panel->balloonFrame())) << "within the free area";
    EXPECT_TRUE(balloon().messageLabel()->isScrolling());
    EXPECT_LT(balloon().messageLabel()->height(), balloon().messageLabel()->naturalHeight());
    EXPECT_TRUE(balloon().inputSurface()->isVisible()) << "the input stays reachable";
    EXPECT_LE(balloon().inputSurface()->mapTo(panel.get(), QPoint(0, 36)).y(), panel->height());

    // Settled: handling what is pending asks for no new layout, again and again.
    int requests = 0;
    LayoutRequests counter(requests);
    panel->installEventFilter(&counter);
    for (int i = 0; i < 20; ++i) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
    }
    EXPECT_LE(requests, 2);
    panel->removeEventFilter(&counter);

    say(QStringLiteral("Short again."));
    panel->place(QRect(bounds().x() + 200, bounds().y() + 300, 128, 128), screen());
    EXPECT_FALSE(balloon().messageLabel()->isScrolling());
    EXPECT_EQ(balloon().messageLabel()->height(), balloon().messageLabel()->naturalHeight());
}

TEST_F(BalloonTest, TheBalloonGrowsWithItsContentWhereItStands) {
    showBesideFigure();
    const QRect before = panel->balloonFrame();
    say(QStringLiteral("A much longer text now stands here, which needs several lines of the balloon to be "
                       "shown in full, and so the balloon has to grow downwards to hold it all."));
    EXPECT_TRUE(spinUntil([&] { return panel->balloonFrame().height() > before.height(); }));
    EXPECT_EQ(panel->balloonFrame().topLeft(), before.topLeft());
}

TEST_F(BalloonTest, TheBalloonFollowsTheFigure) {
    QWidget figure(nullptr, Qt::Tool | Qt::FramelessWindowHint);
    figure.setGeometry(bounds().x() + 100, bounds().y() + 300, 128, 128);
    figure.show();
    ASSERT_TRUE(spinUntil([&] { return figure.windowHandle()->isExposed(); }));
    auto follower = std::make_unique<BalloonPanel>(&figure);
    follower->place(figure.geometry(), figure.screen());
    follower->orderFront();
    ASSERT_TRUE(spinUntil([&] { return follower->windowHandle()->isExposed(); }));
    EXPECT_EQ(follower->balloonFrame().x(), figure.geometry().right() + 1 + 2);

    figure.move(figure.x() + 60, figure.y() + 40);
    EXPECT_TRUE(spinUntil([&] { return follower->balloonFrame().x() == figure.geometry().right() + 1 + 2; }));
    EXPECT_EQ(follower->balloonFrame().y(), figure.geometry().y() + 38 - 36);
    follower.reset();
}

// Where the keyboard goes is the window manager's doing, so this one needs the real screen.
using BalloonOnScreen = BalloonTest;

TEST_F(BalloonOnScreen, ShowingANoticeLeavesTheKeyboardWhereItIs) {
    QWidget other;
    other.setWindowTitle(QStringLiteral("the user's application"));
    other.setGeometry(bounds().x() + 700, bounds().y() + 100, 300, 200);
    other.show();
    other.activateWindow();
    ASSERT_TRUE(spinUntil([&] { return other.isActiveWindow(); }));

    int becameKey = 0;
    panel->onBecomeKey = [&] { ++becameKey; };
    balloon().setInputShown(false);
    balloon().showMessage(QStringLiteral("A notice"), false, QStringLiteral("Click to open ›"), true,
                          BalloonStatus::notice);
    showBesideFigure();
    // Nothing to wait for: the window manager would have moved the focus by now.
    spinFor(300);
    EXPECT_TRUE(other.isActiveWindow());
    EXPECT_FALSE(panel->isActiveWindow());
    EXPECT_EQ(becameKey, 0);

    // Typing in the chat makes it the active window.
    balloon().setInputShown(true);
    panel->makeKeyAndOrderFront();
    balloon().focusInput();
    EXPECT_TRUE(spinUntil([&] { return panel->isActiveWindow(); }));
    EXPECT_EQ(becameKey, 1);
    EXPECT_TRUE(spinUntil([&] { return balloon().input()->hasFocus(); }));
}

TEST_F(BalloonTest, FourChoicesWithARefAreFourChips) {
    QList<ChatChoice> picked;
    balloon().showChoices(withRefs(4), [&](const ChatChoice& c) { picked << c; });
    EXPECT_FALSE(balloon().choiceList()->isHidden());
    const auto chips = balloon().choiceButtons();
    ASSERT_EQ(chips.size(), 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(chips[i]->kind(), PillButton::Kind::chip);
        EXPECT_EQ(chips[i]->text(), QStringLiteral("Option %1").arg(i + 1));
    }
    EXPECT_EQ(balloon().choiceMenu(), nullptr);
}

TEST_F(BalloonTest, FiveChoicesWithARefGoIntoAPullDownBeforeTheChipsWithout) {
    auto offered = withRefs(5);
    offered.insert(1, {QStringLiteral("Later"), std::nullopt});
    offered.append({QStringLiteral("Never"), std::nullopt});
    QList<ChatChoice> picked;
    balloon().showChoices(offered, [&](const ChatChoice& c) { picked << c; });

    const auto buttons = balloon().choiceButtons();
    ASSERT_EQ(buttons.size(), 3);
    EXPECT_EQ(buttons[0]->kind(), PillButton::Kind::pullDown);
    EXPECT_EQ(buttons[0]->text(), QStringLiteral("Choose (5)"));
    EXPECT_EQ(buttons[1]->text(), QStringLiteral("Later"));
    EXPECT_EQ(buttons[2]->text(), QStringLiteral("Never"));

    QMenu* menu = balloon().choiceMenu();
    ASSERT_NE(menu, nullptr);
    const auto actions = menu->actions();
    ASSERT_EQ(actions.size(), 5);
    EXPECT_EQ(actions[0]->text(), QStringLiteral("Option 1"));
    EXPECT_EQ(actions[1]->data().toInt(), 2) << "the index in the whole offer";

    QPointer<QAction> stale = actions[1];
    stale->trigger();
    ASSERT_EQ(picked.size(), 1);
    EXPECT_EQ(picked[0], offered[2]);
    EXPECT_TRUE(balloon().choiceList()->isHidden()) << "the offer is gone before the handler runs";
    EXPECT_FALSE(balloon().onChoice);
    if (stale) {
        stale->trigger();
    }
    EXPECT_EQ(picked.size(), 1) << "a stale pull-down does nothing";
}

TEST_F(BalloonTest, ARepeatedChoiceIsPickedAsItsFirstOccurrence) {
    auto offered = withRefs(5);
    offered.append(offered[0]);
    balloon().showChoices(offered, [](const ChatChoice&) {});
    const auto actions = balloon().choiceMenu()->actions();
    ASSERT_EQ(actions.size(), 6);
    EXPECT_EQ(actions[5]->data().toInt(), 0);
}

TEST_F(BalloonTest, AChipPickIsReportedOnceAndTakesTheOfferAway) {
    showBesideFigure();
    QList<ChatChoice> picked;
    const auto offered = withRefs(3);
    balloon().showChoices(offered, [&](const ChatChoice& c) { picked << c; });
    auto chips = balloon().choiceButtons();
    ASSERT_EQ(chips.size(), 3);
    ASSERT_TRUE(spinUntil([&] { return chips[1]->isVisible() && chips[1]->width() > 0; }));
    QTest::mouseClick(chips[1], Qt::LeftButton);
    ASSERT_EQ(picked.size(), 1);
    EXPECT_EQ(picked[0], offered[1]);
    EXPECT_TRUE(balloon().choiceButtons().isEmpty());
    balloon().pick(1);
    EXPECT_EQ(picked.size(), 1);
}

TEST_F(BalloonTest, ChipsFlowIntoRowsOfAtMost262) {
    QList<ChatChoice> offered;
    for (const char* label : {"Yes", "No", "Maybe later", "Show me the numbers first", "Ask Lirra"}) {
        offered.append({QString::fromUtf8(label), std::nullopt});
    }
    balloon().showChoices(offered, [](const ChatChoice&) {});
    showBesideFigure();
    const auto chips = balloon().choiceButtons();
    ASSERT_EQ(chips.size(), 5);
    QMap<int, int> rowRight;
    for (auto* chip : chips) {
        const QRect r(chip->mapTo(balloon().choiceList(), QPoint(0, 0)), chip->size());
        rowRight[r.y()] = std::max(rowRight.value(r.y()), r.x() + r.width());
        EXPECT_EQ(chip->shownText(), chip->text());
    }
    EXPECT_GE(rowRight.size(), 2);
    for (const int right : rowRight) {
        EXPECT_LE(right, 262);
    }
}

TEST_F(BalloonTest, AChipWiderThanARowIsLimitedAndShortened) {
    const QString label =
        QStringLiteral("A choice whose label is far too long to fit into one row of the balloon");
    balloon().showChoices({{label, std::nullopt}, {QStringLiteral("Short"), std::nullopt}},
                          [](const ChatChoice&) {});
    showBesideFigure();
    const auto chips = balloon().choiceButtons();
    ASSERT_EQ(chips.size(), 2);
    EXPECT_GT(chips[0]->sizeHint().width(), 262);
    EXPECT_EQ(chips[0]->width(), 262);
    EXPECT_TRUE(chips[0]->shownText().endsWith(QChar(0x2026)));
    EXPECT_NE(chips[0]->mapTo(&balloon(), QPoint()).y(), chips[1]->mapTo(&balloon(), QPoint()).y())
        << "the next chip goes to the next row";
}

TEST(ChipFlowTest, FlowsLikeWordsIntoLines) {
    using Rows = QList<QList<int>>;
    EXPECT_EQ(ChipFlow::rows({}), Rows{});
    EXPECT_EQ(ChipFlow::rows({100, 100, 100}), (Rows{{0, 1}, {2}}));
    EXPECT_EQ(ChipFlow::rows({128, 128}), (Rows{{0, 1}})) << "128 + 6 + 128 = 262 fits";
    EXPECT_EQ(ChipFlow::rows({128, 129}), (Rows{{0}, {1}}));
    EXPECT_EQ(ChipFlow::rows({400, 10, 10}), (Rows{{0}, {1, 2}})) << "a wide chip stands alone";
    EXPECT_EQ(ChipFlow::rows({10, 400}), (Rows{{0}, {1}}));
}

TEST_F(BalloonTest, ReturnWithOnlyBlanksSendsNothingAndKeepsThem) {
    auto* field = balloon().input();
    QTest::keyClicks(field, QStringLiteral("   "));
    EXPECT_FALSE(balloon().sendButton()->isEnabled());
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_TRUE(submitted.isEmpty());
    EXPECT_EQ(field->text(), QStringLiteral("   "));
}

TEST_F(BalloonTest, ReturnSendsTheTrimmedTextOnce) {
    auto* field = balloon().input();
    EXPECT_FALSE(balloon().sendButton()->isEnabled()) << "disabled at first";
    QTest::keyClicks(field, QStringLiteral("  What is on today? "));
    EXPECT_TRUE(balloon().sendButton()->isEnabled());
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(submitted, QStringList{QStringLiteral("What is on today?")});
    EXPECT_TRUE(field->text().isEmpty());
    EXPECT_FALSE(balloon().sendButton()->isEnabled());
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(submitted.size(), 1);
}

TEST_F(BalloonTest, TheSendButtonSendsToo) {
    showBesideFigure();
    QTest::keyClicks(balloon().input(), QStringLiteral("Hello"));
    QTest::mouseClick(balloon().sendButton(), Qt::LeftButton);
    EXPECT_EQ(submitted, QStringList{QStringLiteral("Hello")});
}

TEST_F(BalloonTest, EscapeCloses) {
    QTest::keyClick(balloon().input(), Qt::Key_Escape);
    EXPECT_EQ(closes, 1);
    QTest::keyClick(panel.get(), Qt::Key_Escape);
    EXPECT_EQ(closes, 2);
    QTest::keyClick(balloon().messageLabel(), Qt::Key_Escape);
    EXPECT_EQ(closes, 3);
}

TEST_F(BalloonTest, TheCloseButtonCloses) {
    showBesideFigure();
    EXPECT_EQ(balloon().closeButton()->toolTip(), QStringLiteral("Close (Esc)"));
    QTest::mouseClick(balloon().closeButton(), Qt::LeftButton);
    EXPECT_EQ(closes, 1);
}

TEST_F(BalloonTest, EachStatusShowsItsIconOrTheSpinner) {
    showBesideFigure();
    struct Expected {
        BalloonStatus status;
        std::optional<BalloonSymbol> symbol;
        bool spinner;
    };
    const Expected table[] = {
        {BalloonStatus::none, std::nullopt, false},
        {BalloonStatus::working, std::nullopt, true},
        {BalloonStatus::success, BalloonSymbol::checkmarkCircle, false},
        {BalloonStatus::notice, BalloonSymbol::bellBadge, false},
        {BalloonStatus::warning, BalloonSymbol::warningTriangle, false},
        {BalloonStatus::failure, BalloonSymbol::failureOctagon, false},
    };
    for (const auto& row : table) {
        balloon().setStatus(row.status);
        EXPECT_EQ(balloon().statusIcon()->symbol(), row.symbol);
        EXPECT_EQ(balloon().statusIcon()->isVisible(), row.symbol.has_value());
        EXPECT_EQ(balloon().spinner()->isVisible(), row.spinner);
        EXPECT_EQ(balloon().spinner()->isSpinning(), row.spinner);
    }
    balloon().setStatus(BalloonStatus::failure);
    EXPECT_EQ(balloon().statusIcon()->color(), QColor(255, 59, 48));
}

TEST_F(BalloonTest, AtFirstOnlyTheTitleRowTheMessageAndTheInputShow) {
    EXPECT_TRUE(balloon().detailLabel()->isHidden());
    EXPECT_TRUE(balloon().linkList()->isHidden());
    EXPECT_TRUE(balloon().choiceList()->isHidden());
    EXPECT_TRUE(balloon().decisionRow()->isHidden());
    EXPECT_TRUE(balloon().hintLabel()->isHidden());
    EXPECT_FALSE(balloon().inputSurface()->isHidden());
    EXPECT_EQ(balloon().input()->placeholderText(), QStringLiteral("Ask me anything…"));
    EXPECT_EQ(balloon().status(), BalloonStatus::none);
}

TEST_F(BalloonTest, AChatMessageIsSelectableAndNotClickable) {
    balloon().setTitle(QStringLiteral("Dorn"));
    say(QStringLiteral("Hi, Dorn here. What can I help you with?"));
    auto* message = balloon().messageLabel();
    EXPECT_EQ(message->message(), QStringLiteral("Hi, Dorn here. What can I help you with?"));
    EXPECT_TRUE(message->isSelectable());
    EXPECT_EQ(message->color(), QColor(0, 0, 0, 217));
    EXPECT_TRUE(balloon().hintLabel()->isHidden());
    EXPECT_FALSE(balloon().isClickable());
    EXPECT_EQ(balloon().titleLabel()->text(), QStringLiteral("Dorn"));
    EXPECT_NE(balloon().titleLabel()->cursor().shape(), Qt::PointingHandCursor);

    showBesideFigure();
    QTest::mouseClick(message->viewport(), Qt::LeftButton, {}, QPoint(10, 5));
    EXPECT_EQ(clicks, 0);
}

TEST_F(BalloonTest, ThinkingIsSecondaryTextWithTheSpinner) {
    balloon().showThinking();
    EXPECT_EQ(balloon().messageLabel()->message(), QStringLiteral("Thinking…"));
    EXPECT_EQ(balloon().messageLabel()->color(), QColor(0, 0, 0, 128));
    EXPECT_EQ(balloon().status(), BalloonStatus::working);
    EXPECT_FALSE(balloon().spinner()->isHidden());
}

TEST_F(BalloonTest, ANoticeIsClickableTextWithAHintAndNoInput) {
    balloon().setInputShown(false);
    balloon().setTitle(QStringLiteral("Invoice approved"));
    balloon().showMessage(QStringLiteral("Morvo approved the invoice."), false,
                          QStringLiteral("Click to open ›"), true, BalloonStatus::notice);
    showBesideFigure();
    EXPECT_FALSE(balloon().isInputShown());
    EXPECT_FALSE(balloon().inputSurface()->isVisible());
    EXPECT_FALSE(balloon().messageLabel()->isSelectable());
    EXPECT_TRUE(balloon().hintLabel()->isVisible());
    EXPECT_EQ(balloon().hintLabel()->text(), QStringLiteral("Click to open ›"));
    for (QWidget* w : std::initializer_list<QWidget*>{
             balloon().titleLabel(), balloon().messageLabel()->viewport(), balloon().hintLabel()}) {
        EXPECT_EQ(w->cursor().shape(), Qt::PointingHandCursor);
        QTest::mouseClick(w, Qt::LeftButton, {}, QPoint(4, 4));
    }
    EXPECT_EQ(clicks, 3);
}

TEST_F(BalloonTest, AHiddenHintGetsNoPointingHand) {
    balloon().showMessage(QStringLiteral("Timer stopped."), false, std::nullopt, true, BalloonStatus::notice);
    EXPECT_TRUE(balloon().hintLabel()->isHidden());
    EXPECT_NE(balloon().hintLabel()->cursor().shape(), Qt::PointingHandCursor);
    EXPECT_EQ(balloon().titleLabel()->cursor().shape(), Qt::PointingHandCursor);
    balloon().showMessage(QStringLiteral("An empty hint is none."), false, QString(), true,
                          BalloonStatus::notice);
    EXPECT_TRUE(balloon().hintLabel()->isHidden());
}

TEST_F(BalloonTest, AnAnswerShowsItsLinks) {
    balloon().showMessage(QStringLiteral("Here it is."), true, std::nullopt, false, BalloonStatus::success);
    balloon().showLinks(
        {{QStringLiteral("www.example.com"), QUrl(QStringLiteral("https://www.example.com/a"))},
         {QStringLiteral("Report"), QUrl(QStringLiteral("https://www.vantle.example/r/7"))},
         {QStringLiteral("Local"), QUrl(QStringLiteral("file:///tmp/x"))}});
    showBesideFigure();
    const auto rows = balloon().linkRows();
    ASSERT_EQ(rows.size(), 3);
    EXPECT_EQ(rows[0]->text(), QStringLiteral("example.com/a"));
    EXPECT_EQ(rows[1]->text(), QStringLiteral("Report · vantle.example"));
    EXPECT_EQ(rows[2]->text(), QStringLiteral("Local"));
    EXPECT_EQ(rows[1]->toolTip(), QStringLiteral("https://www.vantle.example/r/7"));
    EXPECT_EQ(rows[1]->cursor().shape(), Qt::PointingHandCursor);
    EXPECT_LE(rows[1]->width(), balloon().linkList()->width());

    QTest::mouseClick(rows[1], Qt::LeftButton);
    EXPECT_EQ(services.desktop->opened, QList<QUrl>{QUrl(QStringLiteral("https://www.vantle.example/r/7"))});

    // Long titles give way and the hosts stay whole; bare addresses on one host keep their
    // paths' ends apart.
    const QString longTitle =
        QStringLiteral("A report with a title far longer than the balloon is wide, and then some");
    balloon().showLinks(
        {{longTitle, QUrl(QStringLiteral("https://reports.vantle.example/2026/03/02"))},
         {longTitle, QUrl(QStringLiteral("https://reports.other.example/2026/03/02"))},
         {QStringLiteral("docs.vantle.example"),
          QUrl(QStringLiteral("https://docs.vantle.example/guides/approvals/setting-up/step-one"))},
         {QStringLiteral("docs.vantle.example"),
          QUrl(QStringLiteral("https://docs.vantle.example/guides/approvals/setting-up/step-two"))}});
    const auto longRows = balloon().linkRows();
    ASSERT_EQ(longRows.size(), 4);
    // Laid out: each as wide as the list lets it be.
    ASSERT_TRUE(spinUntil([&] {
        return std::all_of(longRows.begin(), longRows.end(),
                           [this](auto* row) { return row->width() == balloon().linkList()->width(); });
    }));
    QStringList shown;
    for (auto* row : longRows) {
        EXPECT_LE(row->width(), balloon().linkList()->width());
        EXPECT_LE(row->fontMetrics().horizontalAdvance(row->shownText()) + 18, row->width())
            << row->shownText().toStdString();
        shown << row->shownText();
    }
    EXPECT_TRUE(shown[0].endsWith(QStringLiteral("… · reports.vantle.example"))) << shown[0].toStdString();
    EXPECT_TRUE(shown[1].endsWith(QStringLiteral("… · reports.other.example"))) << shown[1].toStdString();
    EXPECT_TRUE(shown[2].startsWith(QStringLiteral("docs.vantle.example/"))) << shown[2].toStdString();
    EXPECT_TRUE(shown[2].contains(QChar(0x2026)));
    EXPECT_TRUE(shown[2].endsWith(QStringLiteral("one")));
    EXPECT_TRUE(shown[3].endsWith(QStringLiteral("two")));
    save(QStringLiteral("balloon-link-rows.png"));

    say(QStringLiteral("Next"));
    EXPECT_TRUE(balloon().linkRows().isEmpty());
    EXPECT_TRUE(balloon().linkList()->isHidden());
}

TEST_F(BalloonTest, LinkCaptionsFollowTheHostRules) {
    EXPECT_EQ(LinkRow::caption({QStringLiteral("www.a.org"), QUrl(QStringLiteral("https://www.a.org/x/"))}),
              QStringLiteral("a.org/x"))
        << "an address alone shows its path";
    EXPECT_EQ(LinkRow::caption({QStringLiteral("www.a.org"), QUrl(QStringLiteral("https://www.a.org/"))}),
              QStringLiteral("a.org"));
    EXPECT_EQ(LinkRow::caption({QStringLiteral("a.org"), QUrl(QStringLiteral("https://www.a.org/x"))}),
              QStringLiteral("a.org · a.org"))
        << "only the full host counts as the same";
    EXPECT_EQ(LinkRow::caption({QStringLiteral("Docs"), QUrl(QStringLiteral("https://docs.a.org"))}),
              QStringLiteral("Docs · docs.a.org"));
    EXPECT_EQ(LinkRow::caption({QStringLiteral("Note"), QUrl(QStringLiteral("/notes/1"))}),
              QStringLiteral("Note"));
}

TEST_F(BalloonTest, ADecisionShowsItsDetailButtonsAndACommentField) {
    int approved = 0;
    int reviewed = 0;
    std::optional<QString> comment = QStringLiteral("unset");
    balloon().showMessage(QStringLiteral("Pay invoice 7?"), true, std::nullopt, false, BalloonStatus::notice);
    balloon().showDecision(QStringLiteral("Rationale\n\nDetails"),
                           {[&](std::optional<QString> c) {
                                ++approved;
                                comment = c;
                            },
                            [&] { ++reviewed; }, [](std::optional<QString>) {}});
    EXPECT_TRUE(balloon().isDeciding());
    EXPECT_FALSE(balloon().detailLabel()->isHidden());
    EXPECT_FALSE(balloon().decisionRow()->isHidden());
    EXPECT_TRUE(balloon().isInputShown());
    EXPECT_TRUE(balloon().sendButton()->isHidden());
    EXPECT_EQ(balloon().input()->placeholderText(), QStringLiteral("Add a comment (optional)"));
    EXPECT_EQ(balloon().approveButton()->text(), QStringLiteral("Approve"));
    EXPECT_EQ(balloon().reviewButton()->text(), QStringLiteral("Review"));
    EXPECT_EQ(balloon().declineButton()->text(), QStringLiteral("Decline"));

    QTest::keyClicks(balloon().input(), QStringLiteral("  fine by me "));
    QTest::keyClick(balloon().input(), Qt::Key_Return);
    EXPECT_TRUE(submitted.isEmpty()) << "Return in a decision sends nothing";

    showBesideFigure();
    for (auto* button : {balloon().approveButton(), balloon().reviewButton(), balloon().declineButton()}) {
        EXPECT_EQ(button->shownText(), button->text()) << "the whole label";
    }
    QTest::mouseClick(balloon().approveButton(), Qt::LeftButton);
    EXPECT_EQ(approved, 1);
    EXPECT_EQ(comment, QStringLiteral("fine by me"));

    balloon().setDecisionEnabled(false);
    EXPECT_FALSE(balloon().approveButton()->isEnabled());
    EXPECT_FALSE(balloon().input()->isEnabled());
    QTest::mouseClick(balloon().reviewButton(), Qt::LeftButton);
    EXPECT_EQ(reviewed, 0);

    say(QStringLiteral("Approved."));
    EXPECT_FALSE(balloon().isDeciding());
    EXPECT_TRUE(balloon().decisionRow()->isHidden());
    EXPECT_TRUE(balloon().detailLabel()->isHidden());
    EXPECT_FALSE(balloon().sendButton()->isHidden());
    EXPECT_TRUE(balloon().input()->isEnabled());
    EXPECT_TRUE(balloon().input()->text().isEmpty());
    EXPECT_EQ(balloon().input()->placeholderText(), QStringLiteral("Ask me anything…"))
        << "what is typed next is a question, not a comment";
}

TEST_F(BalloonTest, ADecisionsDetailStopsAtEightLines) {
    QStringList many;
    for (int i = 1; i <= 20; ++i) {
        many << QStringLiteral("Line %1").arg(i);
    }
    balloon().showDecision(many.join(QLatin1Char('\n')), {});
    const QStringList shown = balloon().detailLabel()->text().split(QLatin1Char('\n'));
    ASSERT_EQ(shown.size(), 8);
    EXPECT_EQ(shown[0], QStringLiteral("Line 1"));
    EXPECT_TRUE(shown[7].endsWith(QChar(0x2026)));

    balloon().endDecision();
    balloon().showDecision(QString(), {});
    EXPECT_TRUE(balloon().detailLabel()->isHidden());
}

TEST_F(BalloonTest, DropsAreTakenLikeOnTheFigure) {
    QList<bool> over;
    int dropped = 0;
    balloon().onFilesOver = [&](bool flag) { over << flag; };
    balloon().onDrop = [&](const QMimeData* data) {
        ++dropped;
        return data->hasUrls();
    };
    showBesideFigure();

    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(QStringLiteral("/tmp/report.pdf"))});
    QDragEnterEvent enter(QPoint(20, 20), Qt::CopyAction | Qt::MoveAction, &files, Qt::LeftButton, {});
    QApplication::sendEvent(&balloon(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    EXPECT_EQ(enter.dropAction(), Qt::CopyAction);
    EXPECT_EQ(over, QList<bool>{true});
    // The offer is judged once per drag, when it enters.
    QMimeData emptied;
    QDragMoveEvent moveEvent(QPoint(22, 22), Qt::CopyAction, &emptied, Qt::LeftButton, {});
    QApplication::sendEvent(&balloon(), &moveEvent);
    EXPECT_TRUE(moveEvent.isAccepted());

    QDragLeaveEvent leave;
    QApplication::sendEvent(&balloon(), &leave);
    EXPECT_EQ(over, (QList<bool>{true, false}));

    QDragEnterEvent again(QPoint(20, 20), Qt::CopyAction, &files, Qt::LeftButton, {});
    QApplication::sendEvent(&balloon(), &again);
    QDropEvent drop(QPointF(20, 20), Qt::CopyAction, &files, Qt::LeftButton, {});
    QApplication::sendEvent(&balloon(), &drop);
    EXPECT_TRUE(drop.isAccepted());
    EXPECT_EQ(dropped, 1);
    EXPECT_EQ(over, (QList<bool>{true, false, true}));

    QMimeData html;
    html.setHtml(QStringLiteral("<b>x</b>"));
    QDragEnterEvent refused(QPoint(20, 20), Qt::CopyAction, &html, Qt::LeftButton, {});
    QApplication::sendEvent(&balloon(), &refused);
    EXPECT_FALSE(refused.isAccepted());
    EXPECT_EQ(over.size(), 3);
}

TEST_F(BalloonTest, ADropWithNoHandlerIsRefused) {
    QMimeData text;
    text.setText(QStringLiteral("hello"));
    QDropEvent drop(QPointF(20, 20), Qt::CopyAction, &text, Qt::LeftButton, {});
    QApplication::sendEvent(&balloon(), &drop);
    EXPECT_FALSE(drop.isAccepted());
}

TEST_F(BalloonTest, TextsFollowTheLanguageInForce) {
    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("et"));
    BalloonPanel estonian;
    auto& b = estonian.balloon();
    EXPECT_EQ(b.input()->placeholderText(), QStringLiteral("Küsi minult midagi…"));
    EXPECT_EQ(b.closeButton()->toolTip(), QStringLiteral("Sulge (Esc)"));
    EXPECT_EQ(b.approveButton()->text(), QStringLiteral("Kinnita"));
    EXPECT_EQ(b.reviewButton()->text(), QStringLiteral("Vaata üle"));
    EXPECT_EQ(b.declineButton()->text(), QStringLiteral("Keeldu"));
    b.showThinking();
    EXPECT_EQ(b.messageLabel()->message(), QStringLiteral("Mõtlen…"));
    b.showChoices(withRefs(6), [](const ChatChoice&) {});
    EXPECT_EQ(b.choiceButtons().value(0)->text(), QStringLiteral("Vali (6)"));
    b.showDecision(QString(), {});
    EXPECT_EQ(b.input()->placeholderText(), QStringLiteral("Lisa kommentaar (soovi korral)"));
    estonian.orderFront();
    estonian.place(QRect(600, 300, 100, 100), QGuiApplication::primaryScreen());
    for (auto* button : {b.approveButton(), b.reviewButton(), b.declineButton()}) {
        EXPECT_EQ(button->shownText(), button->text()) << "no \"Vaata …\"";
    }
}

TEST_F(BalloonTest, AStreamedAnswerGrowsUnderTheReadersSelection) {
    auto* message = balloon().messageLabel();
    say(QStringLiteral("The answer"));
    QTextCursor selection(message->document());
    selection.setPosition(4, QTextCursor::KeepAnchor);
    message->setTextCursor(selection);

    // Each piece continues what stands, which is left as it is: the reader's selection stays.
    say(QStringLiteral("The answer grows"));
    say(QStringLiteral("The answer grows\nover two lines"));
    EXPECT_EQ(message->toPlainText(), QStringLiteral("The answer grows\nover two lines"));
    EXPECT_EQ(message->textCursor().selectedText(), QStringLiteral("The "));

    say(QStringLiteral("A new text"));
    EXPECT_EQ(message->toPlainText(), QStringLiteral("A new text"));
    EXPECT_FALSE(message->textCursor().hasSelection());
    say(QString());
    EXPECT_TRUE(message->toPlainText().isEmpty());
}

TEST_F(BalloonTest, EmojiInAMessageShowInColourAtTheTextsSize) {
    for (const auto format : {Qt::PlainText, Qt::MarkdownText}) {
        balloon().showMessage(QStringLiteral("Booked 🎉📅🤖"), true, std::nullopt, false,
                              BalloonStatus::none, format);
        showBesideFigure();
        // Drawn from the colour emoji font that the setup installs, not from a stand-in.
        QStringList fonts;
        const QTextLayout* lines = balloon().messageLabel()->document()->firstBlock().layout();
        for (int i = 0; i < lines->lineCount(); ++i) {
            for (const auto& run : lines->lineAt(i).glyphRuns()) {
                fonts << run.rawFont().familyName();
            }
        }
        EXPECT_TRUE(fonts.contains(QStringLiteral("Noto Color Emoji"))) << fonts.join(", ").toStdString();
        const QImage shown = balloon().messageLabel()->viewport()->grab().toImage();
        int coloured = 0;
        QRect box;
        for (int y = 0; y < shown.height(); ++y) {
            for (int x = 0; x < shown.width(); ++x) {
                const QColor c = shown.pixelColor(x, y);
                if (c.alpha() > 200 && c.hsvSaturation() > 120 && c.value() > 120) {
                    ++coloured;
                    box |= QRect(x, y, 1, 1);
                }
            }
        }
        EXPECT_GT(coloured, 20) << int(format);
        // As tall as the letters beside them, give or take: neither a speck nor a picture.
        const int letters = balloon().messageLabel()->fontMetrics().height();
        EXPECT_GE(box.height(), letters * 2 / 3) << int(format);
        EXPECT_LE(box.height(), letters * 3 / 2) << int(format);
        EXPECT_LE(box.width(), letters * 3 * 3 / 2) << int(format) << " three of them";
        save(QStringLiteral("balloon-emoji.png"));
    }
}

TEST_F(BalloonTest, ALongTitleTakesMoreLinesBeforeItIsShortened) {
    balloon().setTitle(QStringLiteral("Dorn · Tõnu Kask kirjutas vestluses „Eelarve 2026“"));
    balloon().setStatus(BalloonStatus::notice);
    showBesideFigure();
    auto* title = balloon().titleLabel();
    const int line = title->fontMetrics().lineSpacing();
    EXPECT_EQ(title->shownText().split('\n').size(), 2);
    EXPECT_EQ(title->shownText().simplified(), title->text()) << "every word, nothing cut";
    EXPECT_GE(title->height(), title->fontMetrics().height() + line);
    EXPECT_LT(title->mapTo(&balloon(), QPoint(0, title->height())).y(),
              balloon().messageLabel()->mapTo(&balloon(), QPoint()).y())
        << "the message stands below both lines";
    save(QStringLiteral("balloon-title-two-lines.png"));
    // Who wrote in which conversation keeps the conversation's name whole.
    balloon().setTitle(QStringLiteral("Tõnu Kask kirjutas vestlusesse Harbour Logistics"));
    ASSERT_TRUE(spinUntil([&] { return title->shownText().simplified() == title->text(); }))
        << title->shownText().toStdString();

    balloon().setTitle(
        QStringLiteral("A notification title that is far longer than the title row has room for, "
                       "even on two lines of it, or on three, and then some more and more again"));
    panel->orderFront();
    ASSERT_TRUE(spinUntil([&] { return title->height() >= line * 3; }));
    const QStringList lines = title->shownText().split('\n');
    ASSERT_EQ(lines.size(), 3);
    EXPECT_TRUE(lines[0].startsWith(QStringLiteral("A notification title")));
    EXPECT_TRUE(lines[2].endsWith(QChar(0x2026)));
    EXPECT_LE(title->fontMetrics().horizontalAdvance(lines[2]), title->width());
    EXPECT_TRUE(balloon().closeButton()->isVisible());
    EXPECT_LE(balloon().closeButton()->mapTo(&balloon(), QPoint(balloon().closeButton()->width(), 0)).x(),
              BalloonView::balloonWidth);

    balloon().setTitle(QStringLiteral("Dorn"));
    ASSERT_TRUE(spinUntil([&] { return title->height() < line * 2; })) << "one line again";
    EXPECT_EQ(title->shownText(), QStringLiteral("Dorn"));
}

TEST_F(BalloonTest, AnAnswerKeepsItsEmphasisListsAndQuotes) {
    balloon().showMessage(
        QStringLiteral("## Plan\nThis is **important** and *soft*.\n**Note:**\nA line of its own.\n\n"
                       "- first\n- a second item that is long enough to wrap onto another "
                       "line of the balloon\n\n> a quoted line\n\nThe end."),
        true, std::nullopt, false, BalloonStatus::success, Qt::MarkdownText);
    showBesideFigure();
    auto* message = balloon().messageLabel();
    const QString plain = message->toPlainText();
    EXPECT_FALSE(plain.contains(QLatin1String("**"))) << plain.toStdString();
    EXPECT_FALSE(plain.contains(QLatin1String("> "))) << "no raw quote marker";
    EXPECT_FALSE(plain.contains(QLatin1String("##")));
    EXPECT_TRUE(plain.contains(QStringLiteral("soft.\nNote:\nA line"))) << "a line break stays one";

    const auto formatAt = [message](const QString& word) {
        QTextCursor at = message->document()->find(word);
        return at.charFormat();
    };
    EXPECT_GE(formatAt(QStringLiteral("important")).fontWeight(), QFont::Bold);
    EXPECT_LT(formatAt(QStringLiteral("This")).fontWeight(), QFont::DemiBold);
    EXPECT_TRUE(formatAt(QStringLiteral("soft")).fontItalic());
    EXPECT_GE(formatAt(QStringLiteral("Note")).fontWeight(), QFont::Bold) << "closed at the line's end";
    EXPECT_GE(formatAt(QStringLiteral("Plan")).fontWeight(), QFont::DemiBold) << "a heading is bold";
    EXPECT_EQ(QFontInfo(formatAt(QStringLiteral("Plan")).font()).pixelSize(), 13) << "at the text's size";

    // The list's second item wraps under its own first word, not under the bullet.
    const QTextBlock item = message->document()->find(QStringLiteral("a second item")).block();
    ASSERT_TRUE(item.textList());
    EXPECT_EQ(item.textList()->count(), 2);
    ASSERT_GE(item.layout()->lineCount(), 2);
    const QRectF box = message->document()->documentLayout()->blockBoundingRect(item);
    EXPECT_GT(box.x() + item.layout()->lineAt(1).x(), 8) << "indented";
    EXPECT_EQ(item.layout()->lineAt(0).x(), item.layout()->lineAt(1).x()) << "a hanging indent";

    const QTextBlock quote = message->document()->find(QStringLiteral("a quoted line")).block();
    EXPECT_EQ(quote.text(), QStringLiteral("a quoted line"));
    EXPECT_EQ(quote.blockFormat().intProperty(QTextFormat::BlockQuoteLevel), 1);
    // The quote's bar stands to its left, in the margin the quote steps in by.
    const QImage shown = message->viewport()->grab().toImage();
    const QRectF quoteBox = message->document()->documentLayout()->blockBoundingRect(quote);
    const auto barAt = [&shown](qreal y) {
        // Darker at the left edge than past the end of the lines, where nothing is written.
        return shown.pixelColor(0, static_cast<int>(y)).lightness() <
               shown.pixelColor(shown.width() - 1, static_cast<int>(y)).lightness() - 40;
    };
    EXPECT_TRUE(barAt(quoteBox.center().y()));
    EXPECT_FALSE(barAt(box.center().y())) << "no bar beside the list";
    save(QStringLiteral("balloon-markdown.png"));

    // A plain message after it keeps its stars.
    say(QStringLiteral("2 ** 3 is 8"));
    EXPECT_EQ(message->toPlainText(), QStringLiteral("2 ** 3 is 8"));
}

TEST_F(BalloonTest, AStreamedMarkdownAnswerKeepsTheReadersSelectionAndPlace) {
    auto* message = balloon().messageLabel();
    const auto stream = [this](const QString& text) {
        balloon().showMessage(text, true, std::nullopt, false, BalloonStatus::working, Qt::MarkdownText);
    };
    stream(QStringLiteral("The **answer**"));
    QTextCursor selection(message->document());
    selection.setPosition(4, QTextCursor::KeepAnchor);
    message->setTextCursor(selection);
    stream(QStringLiteral("The **answer** grows"));
    EXPECT_EQ(message->toPlainText(), QStringLiteral("The answer grows"));
    EXPECT_EQ(message->textCursor().selectedText(), QStringLiteral("The "));

    // A reader who scrolled back up stays there while the answer goes on below.
    QString answer;
    for (int i = 0; i < 60; ++i) {
        answer += QStringLiteral("- point %1 of a *long* answer\n").arg(i);
    }
    stream(answer);
    showBesideFigure();
    ASSERT_TRUE(message->isScrolling());
    message->verticalScrollBar()->setValue(message->verticalScrollBar()->maximum() / 2);
    const int place = message->verticalScrollBar()->value();
    ASSERT_GT(place, 0);
    stream(answer + QStringLiteral("- and one more"));
    EXPECT_EQ(message->verticalScrollBar()->value(), place);
}

TEST_F(BalloonTest, ScrolledTextGoesUnderAThinLineBelowTheTitle) {
    QString answer;
    for (int i = 0; i < 200; ++i) {
        answer += QStringLiteral("Line %1 of a long answer that goes on and on. ").arg(i);
    }
    balloon().setTitle(QStringLiteral("Dorn"));
    say(answer);
    showBesideFigure();
    auto* message = balloon().messageLabel();
    ASSERT_TRUE(message->isScrolling());
    // Past the end of the lines nothing is written: there the top row shows the line or not.
    const auto lineAtTop = [message] {
        const QImage shown = message->viewport()->grab().toImage();
        const int x = shown.width() - 1;
        return shown.pixelColor(x, 0).lightness() < shown.pixelColor(x, 5).lightness();
    };
    EXPECT_FALSE(message->isScrolledDown());
    EXPECT_FALSE(lineAtTop()) << "no line while the text starts at the top";

    message->verticalScrollBar()->setValue(message->verticalScrollBar()->maximum() / 2);
    EXPECT_TRUE(message->isScrolledDown());
    EXPECT_TRUE(lineAtTop());
    save(QStringLiteral("balloon-scrolled.png"));

    message->verticalScrollBar()->setValue(0);
    EXPECT_FALSE(lineAtTop());
}
