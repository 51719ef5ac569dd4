#pragma once

#include "stage/BalloonSymbol.h"

#include <QWidget>

#include <optional>

// A symbol shown as an image; hidden when it has none.
class SymbolView : public QWidget {
    Q_OBJECT
public:
    explicit SymbolView(int side, QWidget* parent = nullptr);

    void setSymbol(std::optional<BalloonSymbol> symbol, const QColor& color = {});
    std::optional<BalloonSymbol> symbol() const { return shown; }
    QColor color() const { return tint; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::optional<BalloonSymbol> shown;
    QColor tint;
};
