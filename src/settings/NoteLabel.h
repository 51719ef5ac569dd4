#pragma once

#include <QLabel>

// A note under a setting: plain text wrapped to the form's width, a little smaller than the rows
// and in a softer colour, but never so small that accents run together nor so pale that it
// reads worse than 4.5:1 against the window.
class NoteLabel : public QLabel {
    Q_OBJECT
public:
    // The smallest size a note takes, in points: 12 pixels on a 96 dpi screen, which keeps the
    // two dots of "Ü" apart.
    static constexpr qreal minimumPoints = 9;
    static constexpr qreal leastContrast = 4.5;

    explicit NoteLabel(QWidget* parent = nullptr);

    // How far apart two colours stand, from 1 (alike) to 21 (black on white), as the WCAG
    // guidelines count it.
    static qreal contrast(const QColor& a, const QColor& b);

protected:
    void changeEvent(QEvent* event) override;

private:
    void fitColour();
};
