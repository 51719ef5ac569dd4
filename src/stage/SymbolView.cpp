#include "stage/SymbolView.h"

#include <QPainter>

SymbolView::SymbolView(int side, QWidget* parent) : QWidget(parent) {
    setFixedSize(side, side);
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void SymbolView::setSymbol(std::optional<BalloonSymbol> symbol, const QColor& color) {
    shown = symbol;
    tint = symbol ? color : QColor();
    setVisible(symbol.has_value());
    update();
}

void SymbolView::paintEvent(QPaintEvent*) {
    if (!shown) {
        return;
    }
    QPainter painter(this);
    paintSymbol(painter, QRectF(rect()), *shown, tint);
}
