#include "stage/ElidedLabel.h"

#include <QPainter>
#include <QTextLayout>

#include <algorithm>
#include <cmath>

ElidedLabel::ElidedLabel(QWidget* parent) : QWidget(parent) {
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

void ElidedLabel::setText(const QString& text) {
    if (text == full) {
        return;
    }
    full = text;
    setAccessibleName(text);
    updateGeometry();
    update();
}

void ElidedLabel::setMaxLines(int lines) {
    maxLines = std::max(lines, 1);
    updateGeometry();
    update();
}

void ElidedLabel::setColor(const QColor& value) {
    color = value;
    update();
}

QStringList ElidedLabel::linesAt(int width) const {
    if (full.isEmpty() || width <= 0) {
        return {};
    }
    QTextLayout layout(full, font());
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    QStringList lines;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        if (lines.size() == maxLines - 1) {
            // The last line the label has takes the rest of the text, shortened if it must be.
            const QString rest = full.mid(line.textStart()).simplified();
            lines << fontMetrics().elidedText(rest, Qt::ElideRight, width);
            break;
        }
        lines << full.mid(line.textStart(), line.textLength()).trimmed();
    }
    layout.endLayout();
    return lines;
}

QString ElidedLabel::shownText() const {
    return linesAt(width()).join(QLatin1Char('\n'));
}

QSize ElidedLabel::sizeHint() const {
    const int textWidth = static_cast<int>(std::ceil(QFontMetricsF(font()).horizontalAdvance(full))) + 1;
    return {textWidth, fontMetrics().height()};
}

QSize ElidedLabel::minimumSizeHint() const {
    return {0, fontMetrics().height()};
}

int ElidedLabel::heightForWidth(int width) const {
    const auto lines = std::max<qsizetype>(linesAt(width).size(), 1);
    return fontMetrics().height() + static_cast<int>(lines - 1) * fontMetrics().lineSpacing();
}

void ElidedLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(color);
    const QStringList lines = linesAt(width());
    const int block = heightForWidth(width());
    int y = (height() - block) / 2;
    for (const auto& line : lines) {
        painter.drawText(QRect(0, y, width(), fontMetrics().height()), Qt::AlignLeft | Qt::AlignVCenter,
                         line);
        y += fontMetrics().lineSpacing();
    }
}
