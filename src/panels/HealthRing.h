#pragma once

#include <QColor>
#include <QWidget>

// The company's health score as a number in a ring that fills clockwise from the top.
class HealthRing : public QWidget {
    Q_OBJECT
public:
    explicit HealthRing(int score, QWidget* parent = nullptr);

    int score() const { return value; }
    // Green from 70, orange from 40, red below.
    static QColor color(int score);
    // The share of the ring drawn: the score held within 0 to 100, over 100.
    static double fraction(int score);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int value;
};
