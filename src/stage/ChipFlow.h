#pragma once

#include <QList>

// Flows chips into rows, left to right, like words into lines.
namespace ChipFlow {

inline constexpr int maxRowWidth = 262;
inline constexpr int spacing = 6;

// The indices of the chips in each row, in order. A chip wider than a row stands alone in
// its row and counts as a row's width.
QList<QList<int>> rows(const QList<int>& widths, int maxWidth = maxRowWidth, int gap = spacing);

} // namespace ChipFlow
