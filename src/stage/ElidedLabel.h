#pragma once

#include <QWidget>

// One line of text that ends in an ellipsis when it gets less room than it asks for.
class ElidedLabel : public QWidget {
    Q_OBJECT
public:
    explicit ElidedLabel(QWidget* parent = nullptr);

    void setText(const QString& text);
    QString text() const { return full; }
    // The text as it stands on screen at the present width.
    QString shownText() const;
    void setColor(const QColor& color);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString full;
    QColor color;
};
