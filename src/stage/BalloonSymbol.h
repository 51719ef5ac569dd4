#pragma once

#include <QColor>
#include <QRectF>

class QPainter;

// The balloon's symbols, drawn as vector paths so that they are sharp at any scale.
enum class BalloonSymbol {
    checkmarkCircle, // success
    bellBadge,       // notice
    warningTriangle, // warning
    failureOctagon,  // failure
    close,
    sendArrow,
    openLink,
    chevronDown,
};

// Paints the symbol filling the square box, in one colour; cut-outs are transparent.
void paintSymbol(QPainter& painter, const QRectF& box, BalloonSymbol symbol, const QColor& color);
