#include "stage/BalloonSurface.h"

#include "stage/BalloonStyle.h"

#include <QPainter>
#include <QPainterPath>

namespace {

constexpr int shadowLayers = 14;
constexpr qreal shadowDrop = 4;

} // namespace

BalloonSurface::BalloonSurface(qreal radius, QWidget* parent) : QWidget(parent), cornerRadius(radius) {}

QMargins BalloonSurface::shadowMargins() {
    const int drop = static_cast<int>(shadowDrop);
    return {shadowLayers, shadowLayers - drop, shadowLayers, shadowLayers + drop};
}

void BalloonSurface::paintShadow(QPainter& painter, const QRectF& shape, qreal radius) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath outside;
    outside.addRect(shape.adjusted(-shadowLayers, -shadowLayers, shadowLayers, shadowLayers + shadowDrop));
    QPainterPath body;
    body.addRoundedRect(shape, radius, radius);
    painter.setClipPath(outside.subtracted(body));
    painter.setPen(Qt::NoPen);
    // Layers that grow outwards, each adding a little darkness: together a soft falloff.
    const QRectF dropped = shape.translated(0, shadowDrop * 0.5);
    for (int i = shadowLayers; i >= 1; --i) {
        const qreal t = 1.0 - static_cast<qreal>(i) / (shadowLayers + 1);
        painter.setBrush(QColor(0, 0, 0, static_cast<int>(1 + 4.5 * t * t)));
        const qreal grow = i - 1;
        painter.drawRoundedRect(
            dropped.adjusted(-grow, -grow + shadowDrop * 0.5, grow, grow + shadowDrop * 0.5), radius + grow,
            radius + grow);
    }
    painter.restore();
}

void BalloonSurface::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal hairline = 1.0 / devicePixelRatioF();
    const QRectF body = QRectF(rect()).adjusted(hairline / 2, hairline / 2, -hairline / 2, -hairline / 2);
    painter.setBrush(BalloonStyle::surface());
    painter.setPen(QPen(BalloonStyle::separator(), hairline));
    painter.drawRoundedRect(body, cornerRadius, cornerRadius);
}
