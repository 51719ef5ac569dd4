#include "panels/ReportText.h"

#include <QPainter>
#include <QTextLayout>

#include <cmath>

namespace {

// Lays the text out at the width; returns its height. Line feeds become line separators, which
// are what a text layout breaks at.
qreal layOut(QTextLayout& layout, int width) {
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    qreal height = 0;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        line.setPosition(QPointF(0, height));
        height += line.height();
    }
    layout.endLayout();
    return height;
}

QString flowing(QString text) {
    text.replace(QLatin1Char('\n'), QChar::LineSeparator);
    return text;
}

} // namespace

ReportText::ReportText(const QString& text, const QFont& font, const QColor& color, QWidget* parent)
    : QWidget(parent), shown(text), color(color) {
    setFont(font);
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

int ReportText::heightForWidth(int width) const {
    QTextLayout layout(flowing(shown), font());
    return static_cast<int>(std::ceil(layOut(layout, std::max(width, 1))));
}

QSize ReportText::sizeHint() const {
    const int width = fontMetrics().horizontalAdvance(shown.left(200)) + 1;
    return {width, heightForWidth(width)};
}

QSize ReportText::minimumSizeHint() const {
    return {fontMetrics().averageCharWidth(), fontMetrics().height()};
}

void ReportText::paintEvent(QPaintEvent*) {
    QTextLayout layout(flowing(shown), font());
    layOut(layout, width());
    QPainter painter(this);
    painter.setPen(color);
    layout.draw(&painter, QPointF(0, 0));
}
