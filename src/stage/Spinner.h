#pragma once

#include <QVariantAnimation>
#include <QWidget>

// The small spinning wheel of work under way. It turns while it is shown and only then.
class Spinner : public QWidget {
    Q_OBJECT
public:
    explicit Spinner(int side, QWidget* parent = nullptr);

    bool isSpinning() const { return turn.state() == QAbstractAnimation::Running; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QVariantAnimation turn;
    int step = 0;
};
