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

QString shortHost(const QUrl& url) {
    QString host = url.host();
    if (host.startsWith(QLatin1String("www."))) {
        host.remove(0, 4);
    }
    return host;
}

// The path as it reads, without the slash at its end; a bare "/" says nothing.
QString readablePath(const QUrl& url) {
    QString path = url.path(QUrl::FullyDecoded);
    while (path.endsWith(QLatin1Char('/'))) {
        path.chop(1);
    }
    return path;
}

constexpr QStringView between = u" · ";

} // namespace

LinkRow::LinkRow(const WebLink& link, QWidget* parent)
    : QAbstractButton(parent), target(link.url), host(shortHost(link.url)) {
    // An address alone has its host for a title: its path tells it from others.
    if (!host.isEmpty() && link.title == link.url.host()) {
        path = readablePath(link.url);
    } else {
        title = link.title;
    }
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
    const QString host = shortHost(link.url);
    if (host.isEmpty()) {
        return link.title;
    }
    if (link.title == link.url.host()) {
        return host + readablePath(link.url);
    }
    return link.title + between.toString() + host;
}

QString LinkRow::fitted(int width) const {
    const QFontMetrics metrics = fontMetrics();
    if (metrics.horizontalAdvance(text()) <= width) {
        return text();
    }
    if (host.isEmpty()) {
        return metrics.elidedText(title, Qt::ElideRight, width);
    }
    if (title.isEmpty()) {
        const int room = width - metrics.horizontalAdvance(host);
        const QString shortPath = metrics.elidedText(path, Qt::ElideMiddle, std::max(room, 0));
        // Too narrow for even a part of the path: the host alone, shortened if it must be.
        if (shortPath.size() > 1) {
            return host + shortPath;
        }
        return metrics.elidedText(host, Qt::ElideMiddle, width);
    }
    const QString tail = between.toString() + host;
    const QString shortTitle =
        metrics.elidedText(title, Qt::ElideRight, std::max(width - metrics.horizontalAdvance(tail), 0));
    if (shortTitle.size() > 1) {
        return shortTitle + tail;
    }
    return metrics.elidedText(host, Qt::ElideMiddle, width);
}

QString LinkRow::shownText() const {
    return fitted(std::max(width() - glyph - gap, 0));
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
