#include "stage/BalloonSymbol.h"

#include <QPainter>
#include <QPainterPath>
#include <QPainterPathStroker>

#include <array>
#include <cmath>
#include <numbers>

// Every symbol is drawn on a grid of 24 by 24 units and scaled to its box.
namespace {

constexpr int symbolCount = static_cast<int>(BalloonSymbol::chevronDown) + 1;

QPainterPath stroke(const QPainterPath& line, qreal width) {
    QPainterPathStroker stroker;
    stroker.setWidth(width);
    stroker.setCapStyle(Qt::RoundCap);
    stroker.setJoinStyle(Qt::RoundJoin);
    return stroker.createStroke(line);
}

QPainterPath circle(QPointF center, qreal radius) {
    QPainterPath p;
    p.addEllipse(center, radius, radius);
    return p;
}

QPainterPath polyline(std::initializer_list<QPointF> points) {
    QPainterPath p;
    bool first = true;
    for (const auto& point : points) {
        if (first) {
            p.moveTo(point);
            first = false;
        } else {
            p.lineTo(point);
        }
    }
    return p;
}

// A closed polygon with its corners rounded by a stroke of the given width.
QPainterPath roundedPolygon(const QPolygonF& polygon, qreal rounding) {
    QPainterPath outline;
    outline.addPolygon(polygon);
    outline.closeSubpath();
    return outline.united(stroke(outline, rounding)).simplified();
}

QPainterPath checkmarkCircle() {
    const auto check = stroke(polyline({{7.6, 12.4}, {10.6, 15.4}, {16.4, 8.9}}), 2.3);
    return circle({12, 12}, 10.5).subtracted(check);
}

QPainterPath bellBadge() {
    QPainterPath bell;
    bell.moveTo(12, 3.2);
    bell.cubicTo(8.5, 3.2, 6.4, 5.8, 6.4, 9.2);
    bell.lineTo(6.4, 13.2);
    bell.lineTo(4.4, 15.9);
    bell.quadTo(3.8, 17.2, 5.2, 17.2);
    bell.lineTo(18.8, 17.2);
    bell.quadTo(20.2, 17.2, 19.6, 15.9);
    bell.lineTo(17.6, 13.2);
    bell.lineTo(17.6, 9.2);
    bell.cubicTo(17.6, 5.8, 15.5, 3.2, 12, 3.2);
    bell.closeSubpath();
    bell = bell.united(circle({12, 3.0}, 1.5)).united(circle({12, 19.1}, 2.4));
    // The badge sits in a notch of its own, as a dot apart from the bell.
    const QPointF badge(18.6, 5.2);
    return bell.subtracted(circle(badge, 5.0)).united(circle(badge, 3.4));
}

QPainterPath warningTriangle() {
    const QPolygonF triangle({QPointF(12, 4.2), QPointF(20.6, 19.4), QPointF(3.4, 19.4)});
    QPainterPath bar;
    bar.addRoundedRect(QRectF(10.9, 8.6, 2.2, 6.4), 1.1, 1.1);
    return roundedPolygon(triangle, 3.2).subtracted(bar).subtracted(circle({12, 17.0}, 1.3));
}

QPainterPath failureOctagon() {
    QPolygonF octagon;
    for (int i = 0; i < 8; ++i) {
        const double angle = (22.5 + 45.0 * i) * std::numbers::pi / 180.0;
        octagon << QPointF(12 + 9.4 * std::cos(angle), 12 + 9.4 * std::sin(angle));
    }
    const auto cross = stroke(polyline({{8.7, 8.7}, {15.3, 15.3}}), 2.3)
                           .united(stroke(polyline({{15.3, 8.7}, {8.7, 15.3}}), 2.3));
    return roundedPolygon(octagon, 2.4).subtracted(cross);
}

QPainterPath close() {
    return stroke(polyline({{5, 5}, {19, 19}}), 3.4).united(stroke(polyline({{19, 5}, {5, 19}}), 3.4));
}

QPainterPath sendArrow() {
    const auto arrow = stroke(polyline({{12, 17.2}, {12, 7.2}}), 2.4)
                           .united(stroke(polyline({{7.6, 11.4}, {12, 7.0}, {16.4, 11.4}}), 2.4));
    return circle({12, 12}, 11).subtracted(arrow);
}

QPainterPath openLink() {
    QPainterPath box;
    box.moveTo(10.5, 4.0);
    box.lineTo(8.0, 4.0);
    box.quadTo(4.0, 4.0, 4.0, 8.0);
    box.lineTo(4.0, 16.0);
    box.quadTo(4.0, 20.0, 8.0, 20.0);
    box.lineTo(16.0, 20.0);
    box.quadTo(20.0, 20.0, 20.0, 16.0);
    box.lineTo(20.0, 13.5);
    const auto arrow = polyline({{10.5, 13.5}, {19.5, 4.5}});
    const auto head = polyline({{13.5, 4.5}, {19.5, 4.5}, {19.5, 10.5}});
    return stroke(box, 2.0).united(stroke(arrow, 2.0)).united(stroke(head, 2.0));
}

QPainterPath chevronDown() {
    return stroke(polyline({{6.5, 9.5}, {12, 15}, {17.5, 9.5}}), 2.6);
}

QPainterPath path(BalloonSymbol symbol) {
    switch (symbol) {
    case BalloonSymbol::checkmarkCircle:
        return checkmarkCircle();
    case BalloonSymbol::bellBadge:
        return bellBadge();
    case BalloonSymbol::warningTriangle:
        return warningTriangle();
    case BalloonSymbol::failureOctagon:
        return failureOctagon();
    case BalloonSymbol::close:
        return close();
    case BalloonSymbol::sendArrow:
        return sendArrow();
    case BalloonSymbol::openLink:
        return openLink();
    case BalloonSymbol::chevronDown:
        return chevronDown();
    }
    return {};
}

} // namespace

void paintSymbol(QPainter& painter, const QRectF& box, BalloonSymbol symbol, const QColor& color) {
    // Paths are built once per symbol; painting only scales them.
    static const auto paths = [] {
        std::array<QPainterPath, symbolCount> all;
        for (int i = 0; i < symbolCount; ++i) {
            all[static_cast<size_t>(i)] = path(static_cast<BalloonSymbol>(i));
        }
        return all;
    }();
    const qreal side = std::min(box.width(), box.height());
    QTransform transform;
    transform.translate(box.center().x() - side / 2, box.center().y() - side / 2);
    transform.scale(side / 24.0, side / 24.0);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawPath(transform.map(paths[static_cast<size_t>(symbol)]));
    painter.restore();
}
