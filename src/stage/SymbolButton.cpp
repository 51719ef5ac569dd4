#include "stage/SymbolButton.h"

#include "stage/BalloonStyle.h"

#include <QPainter>

SymbolButton::SymbolButton(BalloonSymbol symbol, int side, int glyph, QWidget* parent)
    : QAbstractButton(parent), symbol(symbol), side(side), glyph(glyph) {
    setFixedSize(side, side);
    setFocusPolicy(Qt::NoFocus);
}

void SymbolButton::setColors(const QColor& restColor, const QColor& hoverColor) {
    rest = restColor;
    hover = hoverColor.isValid() ? hoverColor : restColor;
    update();
}

void SymbolButton::enterEvent(QEnterEvent* event) {
    under = true;
    update();
    QAbstractButton::enterEvent(event);
}

void SymbolButton::leaveEvent(QEvent* event) {
    under = false;
    update();
    QAbstractButton::leaveEvent(event);
}

void SymbolButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const bool active = isEnabled() && (under || isDown());
    if (halo && active) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(isDown() ? BalloonStyle::controlPressed() : BalloonStyle::control());
        painter.drawEllipse(QRectF(rect()));
    }
    QColor color = !isEnabled() ? BalloonStyle::tertiaryLabel() : active ? hover : rest;
    if (isDown() && !halo) {
        color = color.darker(115);
    }
    const qreal inset = (side - glyph) / 2.0;
    paintSymbol(painter, QRectF(rect()).adjusted(inset, inset, -inset, -inset), symbol, color);
}
