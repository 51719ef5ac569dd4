#pragma once

#include "stage/BalloonSymbol.h"

#include <QAbstractButton>

// A borderless button that is only a symbol: the close button and the send button.
class SymbolButton : public QAbstractButton {
    Q_OBJECT
public:
    // side: the button's square; glyph: the symbol's square inside it.
    SymbolButton(BalloonSymbol symbol, int side, int glyph, QWidget* parent = nullptr);

    // The symbol's colour at rest, and when the pointer is over it (none: the same).
    void setColors(const QColor& rest, const QColor& hover = {});
    // A soft round background under the pointer, for a symbol that has none of its own.
    void setHoverHalo(bool on) { halo = on; }

    QSize sizeHint() const override { return {side, side}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    BalloonSymbol symbol;
    int side;
    int glyph;
    QColor rest;
    QColor hover;
    bool halo = false;
    bool under = false;
};
