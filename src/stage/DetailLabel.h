#pragma once

#include <QLabel>

// The detail under a decision's message: it wraps at a fixed width and stops at a number of
// lines, the last of which then ends in an ellipsis. Hidden at first.
class DetailLabel : public QLabel {
    Q_OBJECT
public:
    DetailLabel(int width, int maxLines, QWidget* parent = nullptr);

    void setDetail(const QString& text);

private:
    int lineWidth;
    int lineLimit;
};
