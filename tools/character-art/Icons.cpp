#include "Icons.h"

#include "PixelCanvas.h"

#include <algorithm>

namespace {

// Small sizes are drawn on their own pixel grid; large ones on a 32 grid scaled up by whole
// pixels, so every size stays crisp.
int gridFor(int size) {
    return size <= 48 ? size : 32;
}

// A speech bubble with a face: the mark of the agents. Coordinates are on a 32-unit square.
struct Bubble {
    Mask body;
    Mask eyes;
    Mask smile;
};

Bubble bubble(int grid) {
    const Shapes s(grid, grid);
    const double k = grid / 32.0;
    Bubble b;
    b.body = s.roundRect(2 * k, 3 * k, 30 * k, 23.5 * k, 7 * k) |
             s.polygon({{7 * k, 20 * k}, {14 * k, 21 * k}, {6 * k, 29.5 * k}});
    const double ew = std::max(1.0, 3 * k);
    b.eyes = s.rect(10 * k, 9 * k, 10 * k + ew, 9 * k + std::max(2.0, 5 * k)) |
             s.rect(22 * k - ew, 9 * k, 22 * k, 9 * k + std::max(2.0, 5 * k));
    const double t = std::max(1.0, 2.2 * k);
    b.smile = s.rect(12 * k, 17 * k, 20 * k, 17 * k + t) | s.rect(10 * k, 15.5 * k, 12 * k, 15.5 * k + t) |
              s.rect(20 * k, 15.5 * k, 22 * k, 15.5 * k + t);
    return b;
}

} // namespace

QImage menuBarIcon(int size) {
    const Shapes s(size, size);
    const double k = size / 22.0;
    Mask body = s.roundRect(1.5 * k, 2.5 * k, 20.5 * k, 16.5 * k, 5 * k) |
                s.polygon({{5 * k, 14 * k}, {10 * k, 15 * k}, {4 * k, 20.5 * k}});
    const double ew = 2 * k;
    body -= s.rect(7 * k, 6.5 * k, 7 * k + ew, 10.5 * k) | s.rect(15 * k - ew, 6.5 * k, 15 * k, 10.5 * k);
    Canvas c(size, size);
    c.fill(body, rgb(0x000000));
    return c.toImage(1);
}

QImage applicationIcon(int size) {
    const int grid = gridFor(size);
    const Bubble b = bubble(grid);
    Canvas c(grid, grid);
    const QRgb ink = rgb(0x1f1530);
    c.part(b.body, tone(0xffd23f, 0xffe98a, 0xe0a820), ink);
    c.fill(b.eyes, ink);
    c.fill(b.smile, ink);
    if (grid >= 24) {
        // Cheeks, and the four agents' colours along the bubble's foot.
        const Shapes s(grid, grid);
        const double k = grid / 32.0;
        c.fill(s.rect(7 * k, 15 * k, 9.5 * k, 17 * k) | s.rect(22.5 * k, 15 * k, 25 * k, 17 * k),
               rgb(0xf58aa0));
        const unsigned colours[] = {0x36437e, 0xe8588c, 0xf57a1c, 0x7a5ad8};
        for (int i = 0; i < 4; ++i) {
            const double x = 15 * k + i * 3.5 * k;
            c.part(s.rect(x, 26.5 * k, x + 2.5 * k, 29 * k), flat(colours[i]), ink);
        }
    }
    return c.toImage(size / grid);
}
