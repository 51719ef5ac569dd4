#pragma once

#include <QApplication>
#include <QColor>
#include <QFont>

// The balloon's look. Its surfaces are always light, whatever the desktop's palette, so its
// text colours are fixed here rather than taken from the palette.
namespace BalloonStyle {

inline QColor label() {
    return {0, 0, 0, 217};
}
inline QColor secondaryLabel() {
    return {0, 0, 0, 128};
}
inline QColor tertiaryLabel() {
    return {0, 0, 0, 72};
}
inline QColor separator() {
    return {0, 0, 0, 30};
}
inline QColor surface() {
    return {251, 251, 253, 238};
}
inline QColor control() {
    return {0, 0, 0, 13};
}
inline QColor controlHover() {
    return {0, 0, 0, 24};
}
inline QColor controlPressed() {
    return {0, 0, 0, 38};
}
inline QColor accent() {
    return {0, 122, 255};
}
inline QColor link() {
    return {0, 104, 218};
}
inline QColor green() {
    return {40, 184, 78};
}
inline QColor orange() {
    return {255, 149, 0};
}
inline QColor red() {
    return {255, 59, 48};
}

// The desktop's own font family at a size in device-independent pixels, so that the fixed
// width of the balloon holds the same amount of text everywhere.
inline QFont font(int pixels, QFont::Weight weight = QFont::Normal) {
    QFont f = QApplication::font();
    f.setPixelSize(pixels);
    f.setWeight(weight);
    return f;
}

} // namespace BalloonStyle
