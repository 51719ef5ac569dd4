#include "stage/PillButton.h"

#include "stage/BalloonStyle.h"
#include "stage/BalloonSymbol.h"

#include <QPainter>

#include <cmath>

namespace {

constexpr int smallHeight = 24;
constexpr int largeHeight = 32;
constexpr int chevron = 10;

} // namespace

PillButton::PillButton(Kind kind, const QString& text, QWidget* parent)
    : QAbstractButton(parent), style(kind) {
    setText(text);
    setAccessibleName(text);
    setFont(isLarge() ? BalloonStyle::font(13, QFont::Medium) : BalloonStyle::font(11, QFont::Medium));
    setFocusPolicy(Qt::TabFocus);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

bool PillButton::isLarge() const {
    return style == Kind::plain || style == Kind::prominent || style == Kind::destructive;
}

int PillButton::padding() const {
    return isLarge() ? 14 : 10;
}

int PillButton::chevronRoom() const {
    return style == Kind::pullDown ? chevron + 4 : 0;
}

QString PillButton::shownText() const {
    const int room = width() - 2 * padding() - chevronRoom();
    return fontMetrics().elidedText(text(), Qt::ElideRight, std::max(room, 0));
}

QSize PillButton::sizeHint() const {
    // Whole pixels above the text's fractional width, so the full text fits without an ellipsis.
    const int textWidth = static_cast<int>(std::ceil(QFontMetricsF(font()).horizontalAdvance(text()))) + 1;
    const int w = textWidth + 2 * padding() + chevronRoom();
    return {w, isLarge() ? largeHeight : smallHeight};
}

QSize PillButton::minimumSizeHint() const {
    return {2 * padding() + chevronRoom() + fontMetrics().horizontalAdvance(QStringLiteral("…")),
            isLarge() ? largeHeight : smallHeight};
}

void PillButton::enterEvent(QEnterEvent* event) {
    under = true;
    update();
    QAbstractButton::enterEvent(event);
}

void PillButton::leaveEvent(QEvent* event) {
    under = false;
    update();
    QAbstractButton::leaveEvent(event);
}

void PillButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!isEnabled()) {
        painter.setOpacity(0.45);
    }
    const bool hot = isEnabled() && under;
    QColor fill;
    QColor ink = BalloonStyle::label();
    if (style == Kind::prominent) {
        const QColor accent = BalloonStyle::accent();
        fill = isDown() ? accent.darker(112) : hot ? accent.lighter(108) : accent;
        ink = Qt::white;
    } else {
        fill = isDown() ? BalloonStyle::controlPressed()
               : hot    ? BalloonStyle::controlHover()
                        : BalloonStyle::control();
        if (style == Kind::destructive) {
            ink = BalloonStyle::red();
        }
    }
    // A hairline of one device pixel, inside the bounds.
    const qreal hairline = 1.0 / devicePixelRatioF();
    const QRectF body = QRectF(rect()).adjusted(hairline / 2, hairline / 2, -hairline / 2, -hairline / 2);
    const qreal radius = body.height() / 2;
    painter.setBrush(fill);
    painter.setPen(style == Kind::prominent ? Qt::NoPen : QPen(BalloonStyle::separator(), hairline));
    painter.drawRoundedRect(body, radius, radius);
    if (hasFocus()) {
        QColor ring = BalloonStyle::accent();
        ring.setAlpha(140);
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(ring, 2));
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), radius - 1, radius - 1);
    }

    QRectF textBox = QRectF(rect()).adjusted(padding(), 0, -padding() - chevronRoom(), 0);
    painter.setPen(ink);
    painter.setFont(font());
    painter.drawText(textBox, Qt::AlignVCenter | (isLarge() ? Qt::AlignHCenter : Qt::AlignLeft), shownText());
    if (style == Kind::pullDown) {
        const QRectF box(width() - padding() - chevron, (height() - chevron) / 2.0, chevron, chevron);
        paintSymbol(painter, box, BalloonSymbol::chevronDown, BalloonStyle::secondaryLabel());
    }
}
