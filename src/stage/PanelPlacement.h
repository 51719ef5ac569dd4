#pragma once

#include <QPoint>
#include <QRect>

class QScreen;

// Where the figure's floating panels (the balloon, Dorn's report) open: beside the figure, on the
// side towards the middle of the screen, their top 36 pixels above the line 30% down the figure,
// and within the screen's free area.
namespace PanelPlacement {

// The area a panel stays within: the screen's free area; with no screen, anywhere near the frame.
QRect limit(const QRect& frame, QScreen* on);
// The top left corner of a panel of this size. A frame exactly in the middle has the panel on its
// left; a panel larger than the limit keeps its top edge and its right edge within it.
QPoint corner(const QRect& frame, const QRect& limit, QSize size);
// Where panels of this width open beside the frame, from the top of the limit to its bottom.
QRect panelColumn(const QRect& frame, const QRect& limit, int width);
// The top left corner of a window of this size beside the frame and clear of `panels`: on the
// frame's other side when it fits there, else beyond the panels.
QPoint clearOf(const QRect& frame, const QRect& panels, const QRect& limit, QSize size);

} // namespace PanelPlacement
