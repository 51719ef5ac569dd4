#include "panels/HealthRing.h"

#include "stage/BalloonStyle.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace {
constexpr int side = 46;
constexpr qreal lineWidth = 5;
} // namespace

HealthRing::HealthRing(int score, QWidget* parent) : QWidget(parent), value(score) {
    setFixedSize(side, side);
}

QColor HealthRing::color(int score) {
    if (score >= 70) {
        return BalloonStyle::green();
    }
    return score >= 40 ? BalloonStyle::orange() : BalloonStyle::red();
}

double HealthRing::fraction(int score) {
    return std::clamp(score, 0, 100) / 100.0;
}

void HealthRing::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF ring = QRectF(rect()).adjusted(lineWidth / 2, lineWidth / 2, -lineWidth / 2, -lineWidth / 2);
    QColor faint = color(value);
    faint.setAlphaF(0.18f);
    painter.setPen(QPen(faint, lineWidth));
    painter.drawEllipse(ring);

    if (const double share = fraction(value); share > 0) {
        QPen arc(color(value), lineWidth);
        arc.setCapStyle(Qt::RoundCap);
        painter.setPen(arc);
        // Qt's angles run counter-clockwise from three o'clock in sixteenths of a degree.
        painter.drawArc(ring, 90 * 16, -static_cast<int>(std::lround(share * 360 * 16)));
    }

    painter.setFont(BalloonStyle::font(14, QFont::DemiBold));
    painter.setPen(BalloonStyle::label());
    painter.drawText(rect(), Qt::AlignCenter, QString::number(value));
}
