#include "settings/NoteLabel.h"

#include <QEvent>
#include <QFontInfo>

#include <algorithm>
#include <cmath>

namespace {

qreal luminance(const QColor& colour) {
    const auto linear = [](qreal c) { return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4); };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
           0.0722 * linear(colour.blueF());
}

// `top` laid over `under` by its alpha, as it shows on screen.
QColor over(const QColor& top, const QColor& under) {
    const qreal a = top.alphaF();
    return QColor::fromRgbF(static_cast<float>(top.redF() * a + under.redF() * (1 - a)),
                            static_cast<float>(top.greenF() * a + under.greenF() * (1 - a)),
                            static_cast<float>(top.blueF() * a + under.blueF() * (1 - a)));
}

} // namespace

NoteLabel::NoteLabel(QWidget* parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
    setWordWrap(true);
    QFont smaller = font();
    const qreal points = QFontInfo(smaller).pointSizeF();
    smaller.setPointSizeF(std::max(points * 0.9, std::min(points, minimumPoints)));
    setFont(smaller);
    setForegroundRole(QPalette::PlaceholderText);
    fitColour();
}

qreal NoteLabel::contrast(const QColor& a, const QColor& b) {
    const qreal la = luminance(a);
    const qreal lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

void NoteLabel::changeEvent(QEvent* event) {
    QLabel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        fitColour();
    }
}

void NoteLabel::fitColour() {
    // The softest blend of the text colour into the background that still reads well enough;
    // a little above the least, so that rounding to whole colour steps cannot bring it under.
    const QColor text = palette().color(QPalette::WindowText);
    const QColor ground = palette().color(QPalette::Window);
    QColor soft = text;
    for (int step = 0; step <= 10; ++step) {
        QColor share = text;
        share.setAlphaF(static_cast<float>(0.3 + 0.07 * step));
        if (const QColor blend = over(share, ground); contrast(blend, ground) >= leastContrast + 0.1) {
            soft = blend;
            break;
        }
    }
    if (palette().color(QPalette::PlaceholderText) != soft) {
        QPalette p = palette();
        p.setColor(QPalette::PlaceholderText, soft);
        setPalette(p);
    }
}
