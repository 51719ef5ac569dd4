#include "stage/LinkRow.h"

#include "platform/LinkAction.h"
#include "stage/BalloonStyle.h"
#include "stage/BalloonSymbol.h"

#include <QPainter>

#include <cmath>

namespace {

constexpr int glyph = 13;
constexpr int gap = 5;
constexpr int rowHeight = 20;

} // namespace

LinkRow::LinkRow(const WebLink& link, QWidget* parent) : QAbstractButton(parent), target(link.url) {
    setText(caption(link));
    setAccessibleName(text());
    setToolTip(link.url.toString());
    setFont(BalloonStyle::font(12, QFont::Medium));
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::TabFocus);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    connect(this, &QAbstractButton::clicked, this, [this] { platform::openLink(target); });
}

QString LinkRow::caption(const WebLink& link) {
    const QString fullHost = link.url.host();
    QString host = fullHost;
    if (host.startsWith(QLatin1String("www."))) {
        host.remove(0, 4);
    }
    if (host.isEmpty()) {
        return link.title;
    }
    if (link.title == fullHost) {
        return host;
    }
    return link.title + QStringLiteral(" · ") + host;
}

QString LinkRow::shownText() const {
    return fontMetrics().elidedText(text(), Qt::ElideRight, std::max(width() - glyph - gap, 0));
}

QSize LinkRow::sizeHint() const {
    const int textWidth = static_cast<int>(std::ceil(QFontMetricsF(font()).horizontalAdvance(text()))) + 1;
    return {glyph + gap + textWidth, rowHeight};
}

QSize LinkRow::minimumSizeHint() const {
    return {glyph + gap, rowHeight};
}

void LinkRow::enterEvent(QEnterEvent* event) {
    under = true;
    update();
    QAbstractButton::enterEvent(event);
}

void LinkRow::leaveEvent(QEvent* event) {
    under = false;
    update();
    QAbstractButton::leaveEvent(event);
}

void LinkRow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QColor ink = isDown() ? BalloonStyle::link().darker(125) : BalloonStyle::link();
    paintSymbol(painter, QRectF(0, (height() - glyph) / 2.0, glyph, glyph), BalloonSymbol::openLink, ink);
    QFont f = font();
    f.setUnderline(under || hasFocus());
    painter.setFont(f);
    painter.setPen(ink);
    painter.drawText(QRectF(glyph + gap, 0, width() - glyph - gap, height()),
                     Qt::AlignLeft | Qt::AlignVCenter, shownText());
}
