#include "panels/PriorityTag.h"

#include "base/Text.h"
#include "stage/BalloonStyle.h"

#include <QPainter>
#include <QPainterPath>

namespace {
constexpr int padX = 6;
constexpr int padY = 2;
} // namespace

PriorityTag::PriorityTag(const QString& priority, QWidget* parent) : QWidget(parent) {
    if (priority == QLatin1String("now")) {
        text = base::pick(QStringLiteral("Now"), QStringLiteral("Kohe"));
        tint = BalloonStyle::red();
    } else if (priority == QLatin1String("today")) {
        text = base::pick(QStringLiteral("Today"), QStringLiteral("Täna"));
        tint = BalloonStyle::orange();
    } else {
        text = base::pick(QStringLiteral("This week"), QStringLiteral("Sel nädalal"));
        tint = BalloonStyle::accent();
    }
    setFont(BalloonStyle::font(10, QFont::DemiBold));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize PriorityTag::sizeHint() const {
    const QFontMetrics metrics(font());
    return {metrics.horizontalAdvance(text) + 2 * padX, metrics.height() + 2 * padY};
}

void PriorityTag::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor capsule = tint;
    capsule.setAlphaF(0.15f);
    const QRectF shape = QRectF(rect());
    QPainterPath path;
    path.addRoundedRect(shape, shape.height() / 2, shape.height() / 2);
    painter.fillPath(path, capsule);
    painter.setPen(tint);
    painter.drawText(rect(), Qt::AlignCenter, text);
}
