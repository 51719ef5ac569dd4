#pragma once

#include <QWidget>

// A rounded, translucent light surface with a hairline edge: the balloon's card and its
// input bar.
class BalloonSurface : public QWidget {
    Q_OBJECT
public:
    explicit BalloonSurface(qreal radius, QWidget* parent = nullptr);

    qreal radius() const { return cornerRadius; }

    // A soft shadow that falls a little below a surface of this shape, painted around it and
    // never under it, so that the translucent surface stays clear.
    static void paintShadow(QPainter& painter, const QRectF& shape, qreal radius);
    // The room the shadow needs around a surface.
    static QMargins shadowMargins();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    qreal cornerRadius;
};
