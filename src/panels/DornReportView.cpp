#include "panels/DornReportView.h"

#include "app/Language.h"
#include "base/Text.h"
#include "panels/HealthRing.h"
#include "panels/PriorityTag.h"
#include "panels/ReportText.h"
#include "stage/BalloonStyle.h"
#include "stage/SymbolButton.h"
#include "stage/SymbolView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr int padding = 18;
constexpr int rowText = 12;

QLabel* label(const QString& text, const QFont& font, const QColor& color, QWidget* parent) {
    auto* l = new QLabel(text, parent);
    l->setTextFormat(Qt::PlainText);
    l->setFont(font);
    QPalette p = l->palette();
    p.setColor(QPalette::WindowText, color);
    l->setPalette(p);
    return l;
}

ReportText* text(const QString& text, const QFont& font, QWidget* parent,
                 const QColor& color = BalloonStyle::label()) {
    return new ReportText(text, font, color, parent);
}

// A section: its heading in capitals, then its rows.
QVBoxLayout* section(QVBoxLayout* column, QWidget* parent, const QString& heading) {
    auto* box = new QVBoxLayout;
    box->setSpacing(8);
    QFont font = BalloonStyle::font(10, QFont::DemiBold);
    font.setLetterSpacing(QFont::AbsoluteSpacing, 0.6);
    box->addWidget(label(heading.toUpper(), font, BalloonStyle::secondaryLabel(), parent));
    column->addLayout(box);
    return box;
}

// A row with a symbol in front of its text, the symbol on the middle of the first line.
QHBoxLayout* markedRow(QVBoxLayout* box, QWidget* parent, BalloonSymbol symbol, const QColor& color) {
    constexpr int side = 11;
    auto* row = new QHBoxLayout;
    row->setSpacing(8);
    auto* mark = new SymbolView(side, parent);
    mark->setSymbol(symbol, color);
    auto* markColumn = new QVBoxLayout;
    const int lineHeight = QFontMetrics(BalloonStyle::font(rowText)).height();
    markColumn->setContentsMargins(0, std::max(0, (lineHeight - side) / 2), 0, 0);
    markColumn->addWidget(mark);
    markColumn->addStretch(1);
    row->addLayout(markColumn);
    box->addLayout(row);
    return row;
}

} // namespace

DornReportView::DornReportView(const DornReport& report, QWidget* parent) : QWidget(parent) {
    column = new QWidget;
    auto* layout = new QVBoxLayout(column);
    layout->setContentsMargins(padding, padding, padding, padding);
    layout->setSpacing(16);

    // Header: the ring, the title and its line, the close button.
    auto* header = new QHBoxLayout;
    header->setSpacing(12);
    header->addWidget(new HealthRing(report.healthScore, column));
    auto* titles = new QVBoxLayout;
    titles->setSpacing(2);
    titles->addWidget(label(base::pick(QStringLiteral("Dorn's report"), QStringLiteral("Dorni raport")),
                            BalloonStyle::font(15, QFont::DemiBold), BalloonStyle::label(), column));
    if (!report.healthLine.isEmpty()) {
        titles->addWidget(
            text(report.healthLine, BalloonStyle::font(12), column, BalloonStyle::secondaryLabel()));
    }
    header->addLayout(titles, 1);
    auto* closeButton = new SymbolButton(BalloonSymbol::close, 18, 10, column);
    closeButton->setObjectName(QStringLiteral("close"));
    closeButton->setColors(BalloonStyle::tertiaryLabel(), BalloonStyle::secondaryLabel());
    closeButton->setToolTip(base::pick(QStringLiteral("Close (Esc)"), QStringLiteral("Sulge (Esc)")));
    connect(closeButton, &QAbstractButton::clicked, this, [this] {
        if (close) {
            close();
        }
    });
    header->addWidget(closeButton, 0, Qt::AlignTop);
    layout->addLayout(header);

    if (!report.narrative.isEmpty()) {
        layout->addWidget(text(report.narrative.size() > narrativeLimit
                                   ? base::truncated(report.narrative, narrativeLimit) + QChar(0x2026)
                                   : report.narrative,
                               BalloonStyle::font(13), column));
    }

    if (!report.positives.isEmpty()) {
        auto* box =
            section(layout, column, base::pick(QStringLiteral("Going well"), QStringLiteral("Hästi")));
        for (const QString& positive : report.positives) {
            auto* row = markedRow(box, column, BalloonSymbol::checkmarkCircle, BalloonStyle::green());
            row->addWidget(text(positive, BalloonStyle::font(rowText), column), 1);
        }
    }

    if (!report.concerns.isEmpty()) {
        auto* box =
            section(layout, column, base::pick(QStringLiteral("Concerns"), QStringLiteral("Murekohad")));
        for (const auto& concern : report.concerns) {
            auto* row = markedRow(box, column, BalloonSymbol::warningTriangle, BalloonStyle::orange());
            auto* lines = new QVBoxLayout;
            lines->setSpacing(2);
            lines->addWidget(text(concern.title, BalloonStyle::font(rowText, QFont::Medium), column));
            if (!concern.detail.isEmpty()) {
                lines->addWidget(text(concern.detail, BalloonStyle::font(rowText), column,
                                      BalloonStyle::secondaryLabel()));
            }
            row->addLayout(lines, 1);
        }
    }

    if (!report.recommendations.isEmpty()) {
        auto* box =
            section(layout, column, base::pick(QStringLiteral("Recommended"), QStringLiteral("Soovitused")));
        for (const auto& recommendation : report.recommendations) {
            auto* row = new QHBoxLayout;
            row->setSpacing(6);
            row->addWidget(new PriorityTag(recommendation.priority, column), 0, Qt::AlignTop);
            auto* lines = new QVBoxLayout;
            lines->setSpacing(2);
            lines->addWidget(text(recommendation.action, BalloonStyle::font(rowText, QFont::Medium), column));
            if (const QString second = secondLine(recommendation); !second.isEmpty()) {
                lines->addWidget(
                    text(second, BalloonStyle::font(11), column, BalloonStyle::secondaryLabel()));
            }
            row->addLayout(lines, 1);
            box->addLayout(row);
        }
    }

    // Footer: when it was written, and the one way on.
    auto* footer = new QHBoxLayout;
    if (report.generatedAt) {
        footer->addWidget(label(written(*report.generatedAt), BalloonStyle::font(11),
                                BalloonStyle::secondaryLabel(), column));
    }
    footer->addStretch(1);
    auto* onward = new QPushButton(
        base::pick(QStringLiteral("Open in Vantle ↗"), QStringLiteral("Ava Vantles ↗")), column);
    onward->setObjectName(QStringLiteral("openVantle"));
    onward->setFlat(true);
    onward->setCursor(Qt::PointingHandCursor);
    onward->setFont(BalloonStyle::font(12, QFont::Medium));
    QPalette ink = onward->palette();
    ink.setColor(QPalette::ButtonText, BalloonStyle::link());
    onward->setPalette(ink);
    connect(onward, &QPushButton::clicked, this, [this] {
        if (openVantle) {
            openVantle();
        }
    });
    footer->addWidget(onward);
    layout->addLayout(footer);

    scroller = new QScrollArea(this);
    scroller->setObjectName(QStringLiteral("scroller"));
    scroller->setFrameShape(QFrame::NoFrame);
    scroller->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroller->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroller->setWidgetResizable(true);
    scroller->viewport()->setAutoFillBackground(false);
    scroller->setWidget(column);
    // The scroll area paints what it holds in the window's colour; the surface shows through here.
    column->setAutoFillBackground(false);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(scroller);
}

void DornReportView::setScrolls(bool on) {
    scroller->setVerticalScrollBarPolicy(on ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff);
}

int DornReportView::naturalHeight() const {
    return column->layout()->totalHeightForWidth(columnWidth);
}

QString DornReportView::secondLine(const DornReport::Recommendation& recommendation) {
    QStringList parts;
    if (!recommendation.owner.isEmpty()) {
        parts << base::pick(QStringLiteral("By "), QStringLiteral("Teeb: ")) + recommendation.owner;
    }
    if (!recommendation.impact.isEmpty()) {
        parts << recommendation.impact;
    }
    return parts.join(QStringLiteral(" · "));
}

QString DornReportView::written(const QDateTime& at) {
    const AppLanguage language = Language::current();
    const QLocale locale = Language::locale(language);
    const QDateTime local = at.toLocalTime();
    const QString day =
        locale.toString(local.date(), language == AppLanguage::et ? QStringLiteral("d. MMM yyyy")
                                                                  : QStringLiteral("MMM d, yyyy"));
    return base::pick(QStringLiteral("Written "), QStringLiteral("Koostatud ")) + day + QLatin1Char(' ') +
           locale.toString(local.time(), QLocale::ShortFormat);
}
