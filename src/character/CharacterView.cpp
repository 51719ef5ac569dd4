#include "character/CharacterView.h"

#include <QDragEnterEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>

#include <algorithm>
#include <cmath>

namespace {

constexpr int fadeMs = 180;
constexpr double dashOn = 7.0;
constexpr double dashOff = 5.0;

bool isWhole(double factor) {
    return factor >= 1.0 && std::abs(factor - std::round(factor)) < 1e-9;
}

} // namespace

CharacterView::CharacterView(QWidget* parent) : QWidget(parent) {
    setAcceptDrops(true);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_TranslucentBackground);

    auto follow = [this](QVariantAnimation& animation, double& target) {
        animation.setDuration(fadeMs);
        connect(&animation, &QVariantAnimation::valueChanged, this, [this, &target](const QVariant& value) {
            target = value.toDouble();
            update();
        });
    };
    follow(glow, glowNow);
    follow(ring, ringNow);
    follow(badge, badgeNow);

    // Two periods of the dash pattern, so the dashes appear to walk round the ring.
    march.setStartValue(0.0);
    march.setEndValue(-2 * (dashOn + dashOff));
    march.setDuration(800);
    march.setLoopCount(-1);
    connect(&march, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        dashPhase = value.toDouble();
        update();
    });

    // Up and back again: 0.45 s each way.
    pulse.setStartValue(1.0);
    pulse.setKeyValueAt(0.5, 1.18);
    pulse.setEndValue(1.0);
    pulse.setDuration(900);
    pulse.setLoopCount(-1);
    connect(&pulse, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        badgeScale = value.toDouble();
        update();
    });
}

QColor CharacterView::accent() {
    static const QColor colour = QColor::fromRgbF(0.07f, 0.72f, 0.53f, 1.0f);
    return colour;
}

void CharacterView::setSheet(std::shared_ptr<const CharacterSheet> sheet) {
    currentSheet = std::move(sheet);
    update();
}

void CharacterView::setCell(std::optional<int> cell) {
    if (cell == currentCell) {
        return;
    }
    currentCell = cell;
    update();
}

QRectF CharacterView::badgeRect() const {
    const double size = std::clamp(width() * 0.2, 18.0, 28.0);
    return {width() - size - 4, 4, size, size};
}

void CharacterView::fade(QVariantAnimation& overlay, double from, double to) {
    overlay.stop();
    overlay.setStartValue(from);
    overlay.setEndValue(to);
    overlay.start();
}

void CharacterView::setDropZone(DropZone state) {
    if (state == zone) {
        return;
    }
    zone = state;
    switch (state) {
    case DropZone::hidden:
        fade(glow, glowNow, 0);
        fade(ring, ringNow, 0);
        fade(badge, badgeNow, 0);
        march.stop();
        pulse.stop();
        badgeScale = 1;
        break;
    case DropZone::nearby:
        fade(glow, glowNow, 0.35);
        fade(ring, ringNow, 0.75);
        fade(badge, badgeNow, 0.9);
        ringLineWidth = 2.0;
        ringDashed = true;
        pulse.stop();
        badgeScale = 1;
        if (march.state() != QAbstractAnimation::Running) {
            march.start();
        }
        break;
    case DropZone::ready:
        fade(glow, glowNow, 1.0);
        fade(ring, ringNow, 1.0);
        fade(badge, badgeNow, 1.0);
        ringLineWidth = 3.0;
        ringDashed = false;
        pulse.start();
        break;
    }
    update();
}

void CharacterView::paintEvent(QPaintEvent*) {
    // The translucent window hands over a cleared surface.
    QPainter painter(this);
    if (glowNow > 0) {
        QRadialGradient gradient(0.5, 0.5, 0.5);
        gradient.setCoordinateMode(QGradient::ObjectMode);
        QColor inner = accent();
        inner.setAlphaF(0.45f);
        QColor outer = accent();
        outer.setAlphaF(0.0f);
        gradient.setColorAt(0, inner);
        gradient.setColorAt(1, outer);
        painter.setOpacity(glowNow);
        painter.fillRect(rect(), gradient);
    }
    if (ringNow > 0) {
        painter.setOpacity(ringNow);
        paintRing(painter);
    }
    painter.setOpacity(1.0);
    paintFigure(painter);
    if (badgeNow > 0) {
        painter.setOpacity(badgeNow);
        paintBadge(painter);
    }
}

void CharacterView::paintFigure(QPainter& painter) {
    if (!currentSheet || !currentCell || width() <= 0 || height() <= 0) {
        return;
    }
    const auto& d = currentSheet->definition;
    const QImage& atlas = currentSheet->atlas;
    const int cellWidth = atlas.width() / d.columns;
    const int cellHeight = atlas.height() / d.rows;
    const int cell = *currentCell;
    if (cellWidth <= 0 || cellHeight <= 0 || cell < 0 || cell >= d.columns * d.rows) {
        return;
    }
    const double ratio = devicePixelRatioF();
    const QSize device(static_cast<int>(std::lround(width() * ratio)),
                       static_cast<int>(std::lround(height() * ratio)));
    // Pixel art magnified by a whole number keeps hard edges; any other size is filtered. Both
    // scale the one cell while drawing, so no scaled copy is kept.
    const bool whole = isWhole(static_cast<double>(device.width()) / cellWidth) &&
                       isWhole(static_cast<double>(device.height()) / cellHeight);
    painter.setRenderHint(QPainter::SmoothPixmapTransform, !whole);
    painter.drawImage(QRectF(rect()), currentSheet->cellImage(cell));
}

void CharacterView::paintRing(QPainter& painter) {
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bounds = QRectF(rect()).adjusted(5, 5, -5, -5);
    QColor fill = accent();
    fill.setAlphaF(0.08f);
    QPen pen(accent(), ringLineWidth);
    if (ringDashed) {
        // Qt counts dashes in line widths.
        pen.setDashPattern({dashOn / ringLineWidth, dashOff / ringLineWidth});
        pen.setDashOffset(dashPhase / ringLineWidth);
    }
    painter.setPen(pen);
    painter.setBrush(fill);
    painter.drawEllipse(bounds);
    painter.setRenderHint(QPainter::Antialiasing, false);
}

void CharacterView::paintBadge(QPainter& painter) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bounds = badgeRect();
    painter.translate(bounds.center());
    painter.scale(badgeScale, badgeScale);
    const double half = bounds.width() / 2;
    painter.setPen(QPen(Qt::white, 1.5));
    painter.setBrush(accent());
    painter.drawEllipse(QPointF(0, 0), half - 0.75, half - 0.75);

    // A document with a folded corner and an arrow pointing down into it, 12 pixels tall.
    const double h = 12.0;
    const double w = 9.0;
    const double fold = 3.0;
    QPainterPath page;
    page.moveTo(-w / 2, -h / 2);
    page.lineTo(w / 2 - fold, -h / 2);
    page.lineTo(w / 2, -h / 2 + fold);
    page.lineTo(w / 2, h / 2);
    page.lineTo(-w / 2, h / 2);
    page.closeSubpath();
    QPainterPath arrow;
    arrow.moveTo(-0.9, -2.5);
    arrow.lineTo(0.9, -2.5);
    arrow.lineTo(0.9, 0.5);
    arrow.lineTo(2.6, 0.5);
    arrow.lineTo(0, 3.6);
    arrow.lineTo(-2.6, 0.5);
    arrow.lineTo(-0.9, 0.5);
    arrow.closeSubpath();
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    painter.drawPath(page.subtracted(arrow));
    painter.restore();
}

void CharacterView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::RightButton) {
        if (onContextMenu) {
            onContextMenu(event->globalPosition().toPoint());
        }
        return;
    }
    if (event->button() == Qt::LeftButton) {
        dragStart = DragStart{event->globalPosition().toPoint(), window()->pos()};
    }
}

void CharacterView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        return;
    }
    // The second press of a double click starts a drag like the first.
    dragStart = DragStart{event->globalPosition().toPoint(), window()->pos()};
    if (onDoubleClick) {
        onDoubleClick();
    }
}

void CharacterView::mouseMoveEvent(QMouseEvent* event) {
    if (!dragStart || !(event->buttons() & Qt::LeftButton)) {
        return;
    }
    // No threshold: any movement moves the window.
    window()->move(dragStart->origin + event->globalPosition().toPoint() - dragStart->mouse);
}

void CharacterView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !dragStart) {
        return;
    }
    const bool moved = window()->pos() != dragStart->origin;
    dragStart.reset();
    if (moved && onDragEnded) {
        onDragEnded();
    }
}

void CharacterView::dragEnterEvent(QDragEnterEvent* event) {
    drops.enter(event, onFilesOver);
}

void CharacterView::dragMoveEvent(QDragMoveEvent* event) {
    drops.move(event);
}

void CharacterView::dragLeaveEvent(QDragLeaveEvent*) {
    drops.leave(onFilesOver);
}

void CharacterView::dropEvent(QDropEvent* event) {
    drops.drop(event, onDrop);
}
