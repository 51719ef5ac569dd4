#include "stage/PanelPlacement.h"

#include <QScreen>

#include <algorithm>
#include <cmath>

namespace PanelPlacement {
namespace {
constexpr int gap = 2;
constexpr int aboveLine = 36;
constexpr double lineDown = 0.3;

// Within the limit where it can be: a window larger than the limit keeps its left edge in it.
int within(int x, int length, int from, int span) {
    return std::max(std::min(x, from + span - length), from);
}

int top(const QRect& frame, const QRect& limit, int height) {
    const int y = static_cast<int>(std::lround(frame.y() + lineDown * frame.height())) - aboveLine;
    return within(y, height, limit.y(), limit.height());
}
} // namespace

QRect limit(const QRect& frame, QScreen* on) {
    return on ? on->availableGeometry() : frame.adjusted(-1000, -1000, 1000, 1000);
}

QPoint corner(const QRect& frame, const QRect& limit, QSize size) {
    const double limitMiddle = limit.x() + limit.width() / 2.0;
    const double frameMiddle = frame.x() + frame.width() / 2.0;
    int x = limitMiddle <= frameMiddle ? frame.x() - size.width() - gap : frame.x() + frame.width() + gap;
    x = std::max(x, limit.x());
    x = std::min(x, limit.x() + limit.width() - size.width());
    return {x, top(frame, limit, size.height())};
}

QRect panelColumn(const QRect& frame, const QRect& limit, int width) {
    return {corner(frame, limit, QSize(width, 0)).x(), limit.y(), width, limit.height()};
}

QPoint clearOf(const QRect& frame, const QRect& panels, const QRect& limit, QSize size) {
    const bool panelsLeft = panels.center().x() < frame.center().x();
    int x = panelsLeft ? frame.x() + frame.width() + gap : frame.x() - gap - size.width();
    if (x < limit.x() || x + size.width() > limit.x() + limit.width()) {
        x = panelsLeft ? panels.x() - gap - size.width() : panels.x() + panels.width() + gap;
    }
    return {within(x, size.width(), limit.x(), limit.width()), top(frame, limit, size.height())};
}

} // namespace PanelPlacement
