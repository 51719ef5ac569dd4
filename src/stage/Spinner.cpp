#include "stage/Spinner.h"

#include "stage/BalloonStyle.h"

#include <QPainter>

#include <cmath>

namespace {

constexpr int spokes = 12;

} // namespace

Spinner::Spinner(int side, QWidget* parent) : QWidget(parent) {
    setFixedSize(side, side);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    // Whole steps, one spoke at a time, so a frame is painted only when a spoke moves.
    turn.setStartValue(0);
    turn.setEndValue(spokes);
    turn.setDuration(1000);
    turn.setLoopCount(-1);
    connect(&turn, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        const int now = value.toInt() % spokes;
        if (now != step) {
            step = now;
            update();
        }
    });
}

void Spinner::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    turn.start();
}

void Spinner::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    turn.stop();
}

void Spinner::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal side = std::min(width(), height());
    const qreal thickness = side * 0.11;
    painter.translate(width() / 2.0, height() / 2.0);
    QPen pen(Qt::black, thickness, Qt::SolidLine, Qt::RoundCap);
    for (int i = 0; i < spokes; ++i) {
        // The leading spoke darkest, the ones behind it fading.
        const int age = (step - i + spokes) % spokes;
        QColor color = BalloonStyle::label();
        color.setAlphaF(color.alphaF() * (1.0 - 0.8 * age / (spokes - 1.0)));
        pen.setColor(color);
        painter.setPen(pen);
        painter.save();
        painter.rotate(360.0 * i / spokes);
        painter.drawLine(QPointF(0, -side * 0.26), QPointF(0, -side * 0.44));
        painter.restore();
    }
}
