#pragma once

#include <QWidget>

// Text that wraps at words over at most a given number of lines, and ends in an ellipsis on the
// last of them when it gets less room than it needs.
class ElidedLabel : public QWidget {
    Q_OBJECT
public:
    explicit ElidedLabel(QWidget* parent = nullptr);

    void setText(const QString& text);
    QString text() const { return full; }
    void setMaxLines(int lines);
    // The text as it stands on screen at the present width, its lines joined by "\n".
    QString shownText() const;
    void setColor(const QColor& color);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QStringList linesAt(int width) const;

    QString full;
    QColor color;
    int maxLines = 1;
};
