#pragma once

#include <QColor>
#include <QWidget>

// How soon a recommendation should be acted on, as a small coloured capsule: "now", "today",
// and anything else as this week.
class PriorityTag : public QWidget {
    Q_OBJECT
public:
    explicit PriorityTag(const QString& priority, QWidget* parent = nullptr);

    QString label() const { return text; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString text;
    QColor tint;
};
