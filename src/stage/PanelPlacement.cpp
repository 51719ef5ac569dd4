#include "stage/PanelPlacement.h"

#include <QScreen>

#include <algorithm>
#include <cmath>

namespace PanelPlacement {
namespace {
constexpr int gap = 2;
constexpr int aboveLine = 36;
constexpr double lineDown = 0.3;
} // namespace

QRect limit(const QRect& frame, QScreen* on) {
    return on ? on->availableGeometry() : frame.adjusted(-1000, -1000, 1000, 1000);
}

QPoint corner(const QRect& frame, const QRect& limit, QSize size) {
    const double limitMiddle = limit.x() + limit.width() / 2.0;
    const double frameMiddle = frame.x() + frame.width() / 2.0;
    int x = limitMiddle <= frameMiddle ? frame.x() - size.width() - gap : frame.x() + frame.width() + gap;
    int y = static_cast<int>(std::lround(frame.y() + lineDown * frame.height())) - aboveLine;
    x = std::max(x, limit.x());
    x = std::min(x, limit.x() + limit.width() - size.width());
    y = std::min(y, limit.y() + limit.height() - size.height());
    y = std::max(y, limit.y());
    return {x, y};
}

} // namespace PanelPlacement
