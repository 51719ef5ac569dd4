#include "stage/ChipFlow.h"

#include <algorithm>

namespace ChipFlow {

QList<QList<int>> rows(const QList<int>& widths, int maxWidth, int gap) {
    QList<QList<int>> out;
    QList<int> row;
    int rowWidth = 0;
    for (int i = 0; i < widths.size(); ++i) {
        const int w = widths[i];
        if (!row.isEmpty() && rowWidth + gap + w > maxWidth) {
            out.append(row);
            row.clear();
            rowWidth = 0;
        }
        rowWidth += std::min(w, maxWidth) + (row.isEmpty() ? 0 : gap);
        row.append(i);
    }
    if (!row.isEmpty()) {
        out.append(row);
    }
    return out;
}

} // namespace ChipFlow
