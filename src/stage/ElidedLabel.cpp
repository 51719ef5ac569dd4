#include "stage/ElidedLabel.h"

#include <QPainter>

#include <cmath>

ElidedLabel::ElidedLabel(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
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

void ElidedLabel::setColor(const QColor& value) {
    color = value;
    update();
}

QString ElidedLabel::shownText() const {
    return fontMetrics().elidedText(full, Qt::ElideRight, width());
}

QSize ElidedLabel::sizeHint() const {
    const int textWidth = static_cast<int>(std::ceil(QFontMetricsF(font()).horizontalAdvance(full))) + 1;
    return {textWidth, fontMetrics().height()};
}

QSize ElidedLabel::minimumSizeHint() const {
    return {0, fontMetrics().height()};
}

void ElidedLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(color);
    painter.drawText(rect(), Qt::AlignLeft | Qt::AlignVCenter, shownText());
}
