#include "app/Settings.h"
#include "panels/DornReportPanel.h"
#include "panels/DornReportView.h"
#include "panels/HealthRing.h"
#include "panels/PriorityTag.h"
#include "panels/ReportText.h"
#include "stage/BalloonStyle.h"
#include "support/SpinUntil.h"
#include "support/StageFixture.h"
#include "workspace/VantleClient.h"

#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QJsonArray>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>

namespace {

QStringList texts(const QWidget& root) {
    QStringList out;
    for (const auto* text : root.findChildren<ReportText*>()) {
        out << text->text();
    }
    for (const auto* label : root.findChildren<QLabel*>()) {
        out << label->text();
    }
    return out;
}

QStringList tags(const QWidget& root) {
    QStringList out;
    for (const auto* tag : root.findChildren<PriorityTag*>()) {
        out << tag->label();
    }
    return out;
}

// Pixels of the image within a small distance of the colour, ignoring alpha.
int pixelsNear(const QImage& image, const QColor& color) {
    int n = 0;
    const QImage rgb = image.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < rgb.height(); ++y) {
        for (int x = 0; x < rgb.width(); ++x) {
            const QColor c = rgb.pixelColor(x, y);
            n += std::abs(c.red() - color.red()) + std::abs(c.green() - color.green()) +
                         std::abs(c.blue() - color.blue()) <
                     40 &&
                 c.alpha() > 200;
        }
    }
    return n;
}

void keep(QWidget& panel, const QString& name) {
    QDir().mkpath(MIRK_ARTEFACTS_DIR);
    panel.grab().save(QString(MIRK_ARTEFACTS_DIR) + "/" + name);
}

class DornReportTest : public StageFixture {
protected:
    // Asks for the report; answers the new panel once it shows.
    DornReportPanel* opened() {
        const QPointer<DornReportPanel> before = stage->reportPanel;
        stage->showDornReport();
        EXPECT_TRUE(runUntil(
            [&] {
                return stage->reportPanel && stage->reportPanel != before && stage->reportPanel->isVisible();
            },
            10));
        return stage->reportPanel;
    }
    void board(const QJsonObject& answer) { sim->control("POST", "/sim/board", answer); }
};

DornReport tall() {
    DornReport r;
    r.healthScore = 50;
    r.narrative = QString(3000, QLatin1Char('w'));
    return r;
}

} // namespace

TEST_F(DornReportTest, TheNewestReportOpensBesideTheFigureReplacesTheLastAndClosesByEscOrTheLink) {
    // High enough on the screen for the whole report below the line.
    window->move(300, 100);
    DornReportPanel* first = opened();
    ASSERT_TRUE(first);
    EXPECT_TRUE(played.contains("Explain"));
    const QStringList shown = texts(*first);
    for (const char* expected :
         {"Dorn's report", "Steady, with cash tighter than it looks", "GOING WELL", "CONCERNS", "RECOMMENDED",
          "No open support escalations", "Late receivables", "12 400 € over 30 days, mostly Mäe Ehitus",
          "Pärnu office overtime", "By Kaia · 12 400 € in by month end", "By Tõnu", "+3% margin"}) {
        EXPECT_TRUE(shown.contains(QString::fromUtf8(expected))) << expected;
    }
    EXPECT_TRUE(shown.filter(QRegularExpression("^Written \\w{3} \\d+, 20\\d\\d ")).size() == 1)
        << shown.join('|').toStdString();
    EXPECT_EQ(tags(*first), (QStringList{"Now", "Today", "This week"}));
    EXPECT_EQ(first->findChild<HealthRing*>()->score(), 72);

    // Beside the figure, on the side with more room, as tall as the report.
    const QRect frame = first->reportFrame();

    const QRect figure = window->frameGeometry();
    EXPECT_EQ(frame.left(), figure.right() + 1 + 2);
    EXPECT_EQ(frame.width(), 380);
    EXPECT_EQ(frame.height(), std::min(first->contentHeight, 560));
    EXPECT_EQ(frame.top(), std::lround(figure.top() + 0.3 * figure.height()) - 36);
    EXPECT_FALSE(first->findChild<QScrollArea*>()->verticalScrollBar()->isVisible());
    keep(*first, "dorn-report-full.png");
    const QImage look = first->grab().toImage();
    EXPECT_GT(pixelsNear(look, BalloonStyle::green()), 100) << "the ring in green";
    EXPECT_GT(pixelsNear(look, BalloonStyle::surface()), frame.width() * frame.height() / 2)
        << "the balloon's light surface behind the text";
    const QPoint corner = frame.topLeft() - first->pos() + QPoint(2, 2);
    EXPECT_LT(qAlpha(look.pixel(corner)), 40) << "rounded corners";

    // The panel keeps its place beside the figure as the figure moves.
    window->move(window->pos() + QPoint(40, 20));
    EXPECT_TRUE(
        spinUntil([&] { return first->reportFrame().topLeft() == frame.topLeft() + QPoint(40, 20); }));

    // A second opening replaces the first; Esc closes it.
    QPointer<DornReportPanel> old(first);
    DornReportPanel* second = opened();
    ASSERT_TRUE(second);
    EXPECT_TRUE(spinUntil([&] { return !old; }));
    QTest::keyClick(second, Qt::Key_Escape);
    EXPECT_FALSE(stage->reportPanel);
    EXPECT_FALSE(second->isVisible());

    // The one way on opens Dorn's page and closes the panel, also with no address to open.
    DornReportPanel* third = opened();
    third->findChild<QPushButton*>("openVantle")->click();
    ASSERT_EQ(services.desktop->opened.size(), 1);
    EXPECT_TRUE(services.desktop->opened[0].toString().endsWith("/agents/dorn"));
    EXPECT_FALSE(stage->reportPanel);
    DornReportPanel* fourth = opened();
    Settings::setValue(QLatin1String(Settings::Key::vantleURL), QStringLiteral("http://exa mple.com"));
    ASSERT_FALSE(VantleClient::dashboardURL("/agents/dorn"));
    fourth->findChild<QPushButton*>("openVantle")->click();
    EXPECT_EQ(services.desktop->opened.size(), 1);
    EXPECT_FALSE(stage->reportPanel);
}

TEST_F(DornReportTest, APartReportShowsWhatItHasAndNoneOrABrokenOneIsSaid) {
    board(QJsonObject{
        {"boardReport", QJsonObject{{"healthScore", 250},
                                    {"narrative", QString(1 << 20, QLatin1Char('n'))},
                                    {"positives", QJsonArray{"Fine", 7}},
                                    {"concerns", QJsonArray{QJsonObject{{"detail", "no title"}}}},
                                    {"recommendedActions", QJsonArray{QJsonObject{{"action", "Only impact"},
                                                                                  {"priority", "soon"},
                                                                                  {"expectedImpact", "More"}},
                                                                      QJsonObject{{"action", "Bare"}}}}}},
        {"generatedAt", 5}});
    DornReportPanel* panel = opened();
    ASSERT_TRUE(panel);
    const QStringList shown = texts(*panel);
    EXPECT_TRUE(shown.contains("GOING WELL"));
    EXPECT_FALSE(shown.contains("CONCERNS")) << "a concern without a title is left out";
    EXPECT_TRUE(shown.contains("More")) << "an impact alone has no separator";
    EXPECT_TRUE(shown.filter("Written").isEmpty());
    EXPECT_EQ(tags(*panel), (QStringList{"This week", "This week"}));
    EXPECT_EQ(panel->findChild<HealthRing*>()->score(), 250);
    EXPECT_EQ(HealthRing::fraction(250), 1.0);
    // Green from 70, orange from 40, red below.
    EXPECT_EQ(HealthRing::color(70), BalloonStyle::green());
    EXPECT_EQ(HealthRing::color(69), BalloonStyle::orange());
    EXPECT_EQ(HealthRing::color(40), BalloonStyle::orange());
    EXPECT_EQ(HealthRing::color(39), BalloonStyle::red());
    // A narrative of a megabyte is shown in part, and the panel stops at its limit and scrolls.
    EXPECT_EQ(shown.filter(QRegularExpression("^n+…$")).size(), 1);
    EXPECT_EQ(panel->reportFrame().height(), 560);
    EXPECT_TRUE(panel->findChild<QScrollArea*>()->verticalScrollBar()->isVisible());
    keep(*panel, "dorn-report-part.png");
    EXPECT_GT(pixelsNear(panel->grab().toImage(), BalloonStyle::green()), 100);

    board(QJsonObject{{"boardReport", QJsonObject{{"healthScore", -3}, {"healthLine", "Thin"}}}});
    panel = opened();
    ASSERT_TRUE(panel);
    EXPECT_EQ(texts(*panel).filter(QRegularExpression("^[A-Z ]+$")), QStringList{});
    EXPECT_EQ(HealthRing::fraction(-3), 0.0);
    EXPECT_EQ(pixelsNear(panel->grab().toImage(), BalloonStyle::red()), 0) << "no arc below 0";
    keep(*panel, "dorn-report-empty.png");
    EXPECT_LT(panel->reportFrame().height(), 200);
    EXPECT_FALSE(panel->findChild<QScrollArea*>()->verticalScrollBar()->isVisible());

    // No report yet, and an answer that isn't JSON: said in the balloon, the panel closed.
    board(QJsonObject{});
    stage->closeReport();
    stage->showDornReport();
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && !message().isEmpty(); }, 10));
    EXPECT_EQ(message(),
              QStringLiteral("I haven't written a report yet — run the first one in Vantle, on my page."));
    EXPECT_FALSE(stage->reportPanel);

    fault("/api/dorn/board", QJsonObject{{"action", "malformed"}});
    played.clear();
    stage->showDornReport();
    ASSERT_TRUE(runUntil([&] { return stage->balloonPanel && !message().isEmpty(); }, 10));
    EXPECT_EQ(message(), QStringLiteral("Unexpected response from Vantle"));
    EXPECT_TRUE(played.contains("Alert"));
}

TEST_F(DornReportTest, ThePanelOpensTowardsTheLargerSideAndStaysOnTheScreenAtEveryEdge) {
    QScreen* screen = QGuiApplication::primaryScreen();
    const QRect area = screen->availableGeometry();
    DornReport shortReport;
    shortReport.healthScore = 80;
    shortReport.narrative = "Short.";
    DornReportPanel small(shortReport, {});
    DornReportPanel big(tall(), {});
    const int h = small.contentHeight;

    const struct {
        const char* where;
        QRect figure;
        QRect expected;
    } cases[] = {
        {"left edge", QRect(area.left(), 300, 100, 100), QRect(area.left() + 102, 300 + 30 - 36, 380, h)},
        {"right edge", QRect(area.right() - 99, 300, 100, 100), QRect(area.right() - 99 - 382, 294, 380, h)},
        {"middle", QRect(area.center().x() - 49, 300, 100, 100),
         QRect(area.center().x() - 49 - 382, 294, 380, h)},
        {"top edge", QRect(600, area.top(), 100, 100), QRect(218, area.top(), 380, h)},
        {"bottom edge", QRect(600, area.bottom() - 20, 100, 100), QRect(218, area.bottom() + 1 - h, 380, h)},
        {"past the left", QRect(area.left() - 300, 300, 100, 100), QRect(area.left(), 294, 380, h)},
    };
    for (const auto& c : cases) {
        small.place(c.figure, screen);
        EXPECT_EQ(small.reportFrame(), c.expected) << c.where;
    }

    // A tall report stops at its limit; with no screen it goes beside the frame as it is.
    big.place(QRect(600, area.bottom() - 20, 100, 100), screen);
    EXPECT_EQ(big.reportFrame().height(), std::min(560, area.height() - 20));
    EXPECT_TRUE(area.contains(big.reportFrame()));
    big.place(QRect(-5000, -5000, 100, 100), nullptr);
    EXPECT_EQ(big.reportFrame(), QRect(-5000 - 382, -5000 + 30 - 36, 380, 560));
}
