#include "Effects.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

const QRgb kYellow = rgb(0xffd23f);
const QRgb kWhite = rgb(0xffffff);
const QRgb kPink = rgb(0xff5c8a);
const QRgb kBlueDrop = rgb(0x7cc8ff);
const Tone kSteel = tone(0xb0b8c4, 0xe0e6ee, 0x7a8290);
const Tone kBrass = tone(0xe0a83a, 0xf8d070, 0xa87820);

QPoint cellAt(QPointF p) {
    return {int(std::floor(p.x())), int(std::floor(p.y()))};
}

// Draws a small picture given as rows of characters; '.' is empty.
void glyph(Canvas& c, QPoint at, std::initializer_list<const char*> rows, QRgb a, QRgb b = 0) {
    int y = 0;
    for (const char* row : rows) {
        for (int x = 0; row[x]; ++x) {
            if (row[x] == '#')
                c.set(at.x() + x, at.y() + y, a);
            else if (row[x] == '+')
                c.set(at.x() + x, at.y() + y, b ? b : a);
        }
        ++y;
    }
}

void sparkle(Canvas& c, QPoint p, int size) {
    if (size <= 0) {
        c.set(p, kYellow);
        return;
    }
    c.set(p, kWhite);
    for (int i = 1; i <= size; ++i) {
        c.set(p.x() + i, p.y(), kYellow);
        c.set(p.x() - i, p.y(), kYellow);
        c.set(p.x(), p.y() + i, kYellow);
        c.set(p.x(), p.y() - i, kYellow);
    }
}

void heart(Canvas& c, QPoint p) {
    glyph(c, p, {"##.##", "#####", ".###.", "..#.."}, kPink);
    c.set(p.x(), p.y(), rgb(0xffa8c4));
}

void gear(Canvas& c, const Shapes& s, QPointF centre, double r, int teeth, double turn, const Tone& t,
          QRgb ink) {
    Mask m = s.disk(centre.x(), centre.y(), r - 1.1);
    for (int i = 0; i < teeth; ++i) {
        const double a = turn + i * 2 * std::numbers::pi / teeth;
        const QPointF d(std::cos(a), std::sin(a));
        m |= s.line(centre + d * (r - 1.6), centre + d * (r - 0.4), 1.9);
    }
    m -= s.disk(centre.x(), centre.y(), std::max(0.8, r * 0.28));
    c.part(m, t, ink);
}

} // namespace

void drawEffect(Canvas& c, const Shapes& s, Fx fx, int phase, const EffectPlace& at, QRgb ink) {
    const QPoint m = cellAt(at.mark);
    const QPoint h = cellAt(at.head);
    switch (fx) {
    case Fx::None:
        break;
    case Fx::Exclaim:
        glyph(c, m + QPoint(0, -4 + (phase % 2)), {"##", "##", "##", "##", "..", "##"}, rgb(0xff6a3d));
        break;
    case Fx::Question:
        glyph(c, m + QPoint(-1, -5 + (phase % 2)), {".###.", "#...#", "...#.", "..#..", ".....", "..#.."},
              kYellow);
        glyph(c, m + QPoint(-1, -5 + (phase % 2)), {".###.", "##.##", "..##.", "..#..", ".....", "..#.."},
              kYellow);
        break;
    case Fx::Sparkles: {
        const QPoint spots[3][3] = {
            {{-9, 2}, {8, -1}, {10, 12}}, {{-11, 8}, {9, 4}, {-8, -2}}, {{-10, 14}, {11, 9}, {6, -3}}};
        for (int i = 0; i < 3; ++i) {
            const QPoint p = QPoint(int(at.cx), h.y() + 2) + spots[phase % 3][i];
            sparkle(c, QPoint(std::clamp(p.x(), 2, kGrid - 3), std::clamp(p.y(), 2, kGrid - 3)),
                    (i + phase) % 2 + 1);
        }
        break;
    }
    case Fx::Hearts: {
        heart(c, m + QPoint(-2, 2 - phase * 2));
        if (phase >= 1)
            heart(c, QPoint(h.x() - 11 + phase, h.y() + 5 - phase * 2));
        break;
    }
    case Fx::Zzz: {
        const QPoint base(m.x() - 2, std::max(m.y() + 3, 10));
        glyph(c, base, {"###", ".#.", "###"}, kWhite);
        if (phase >= 1)
            glyph(c, base + QPoint(3, -4), {"####", "..#.", ".#..", "####"}, kWhite);
        if (phase >= 2)
            glyph(c, base + QPoint(0, -9), {"#####", "...#.", "..#..", ".#...", "#####"}, kWhite);
        break;
    }
    case Fx::Sweat: {
        const QPoint p = m + QPoint(-3, 4 + phase * 2);
        glyph(c, p, {".#.", "###", "###", ".#."}, kBlueDrop);
        c.set(p.x(), p.y() + 1, kWhite);
        break;
    }
    case Fx::Notes: {
        const QRgb note = rgb(0x9a6ae0);
        const QPoint a = m + QPoint(-2, 3 - (phase % 3) * 2);
        glyph(c, a, {".###", ".#.#", ".#.#", "##.#", "##.."}, note);
        const QPoint b = QPoint(int(at.cx) - 13 + phase, h.y() + 4 - (phase % 2) * 2);
        glyph(c, QPoint(std::max(1, b.x()), std::max(1, b.y())), {".##", ".#.", ".#.", "##.", "##."}, note);
        break;
    }
    case Fx::Dots: {
        const QPoint p = m + QPoint(-3, 4);
        const int n = phase % 4;
        if (n >= 1)
            c.part(s.disk(p.x() - 1.5, p.y() + 3.5, 0.8), flat(0xffffff), ink);
        if (n >= 2)
            c.part(s.disk(p.x() + 0.5, p.y() + 0.5, 1.3), flat(0xffffff), ink);
        if (n >= 3) {
            c.part(s.ellipse(p.x() + 3.0, p.y() - 4.0, 3.6, 2.8), tone(0xffffff, 0xffffff, 0xdde4ee), ink);
            c.set(p.x() + 1, p.y() - 4, rgb(0x8890a0));
            c.set(p.x() + 3, p.y() - 4, rgb(0x8890a0));
            c.set(p.x() + 5, p.y() - 4, rgb(0x8890a0));
        }
        break;
    }
    case Fx::Gears: {
        const double turn = phase * std::numbers::pi / 12;
        const QPointF big(std::min(at.mark.x() + 2.0, kGrid - 5.5), at.mark.y() + 1.5);
        gear(c, s, big, 4.4, 8, turn, kSteel, ink);
        gear(c, s, big + QPointF(0.3, 7.2), 3.2, 6, -turn * 8.0 / 6.0 + 0.3, kBrass, ink);
        break;
    }
    case Fx::Poof: {
        const double cy = at.ground - 12;
        const double k = phase == 0 ? 1.0 : phase == 1 ? 0.8 : 0.55;
        const QPointF puffs[] = {{0, 0}, {-6, 3},  {6, 3},  {-4, -5}, {4, -5},
                                 {0, 7}, {-8, -2}, {8, -2}, {0, -9}};
        Mask cloud = s.none();
        for (const QPointF& p : puffs)
            cloud |= s.disk(at.cx + p.x() * k, cy + p.y() * k, 4.2 * k + 0.4);
        c.part(cloud, tone(0xf2f4f8, 0xffffff, 0xc4ccd8), ink);
        for (const QPointF& p : puffs)
            c.set(cellAt(QPointF(at.cx + p.x() * k - 1, cy + p.y() * k - 1)), kWhite);
        if (phase < 2)
            for (int i = 0; i < 4; ++i) {
                const double a = i * std::numbers::pi / 2 + std::numbers::pi / 4 + phase * 0.3;
                sparkle(c, cellAt(QPointF(at.cx + std::cos(a) * 14 * k, cy + std::sin(a) * 12 * k)), 1);
            }
        break;
    }
    case Fx::Confetti: {
        // Scattered bits drifting down a few cells a step; each bit is one or two cells.
        const QRgb colours[] = {rgb(0xff5c8a), rgb(0xffd23f), rgb(0x4fc3f7), rgb(0x7ed957), rgb(0xb388ff)};
        const QPoint bits[] = {{3, 2},   {9, 7},   {15, 1}, {31, 3},  {36, 8}, {6, 13},  {27, 10},
                               {34, 15}, {12, 17}, {2, 20}, {37, 21}, {24, 4}, {19, 12}, {29, 18}};
        int i = 0;
        for (const QPoint& b : bits) {
            const int x = b.x() + ((i + phase) % 3) - 1;
            const int y = (b.y() + phase * 3) % 22 + 1;
            const QRgb col = colours[i % 5];
            c.set(x, y, col);
            if ((i + phase) % 3 == 0)
                c.set(x, y + 1, col);
            ++i;
        }
        break;
    }
    case Fx::Swap: {
        const QRgb a = rgb(0x3ec7a6);
        const QPoint p = m + QPoint(-3, -3);
        glyph(c, p,
              {"......#..", "########.", "......#..", ".........", "..#......", ".########", "..#......"}, a);
        if (phase % 2)
            glyph(c, p,
                  {".......#.", "########.", ".......#.", ".........", ".#.......", ".########", ".#......."},
                  rgb(0x6ae8c8));
        break;
    }
    case Fx::Arrow: {
        const QPoint p = m + QPoint(-4 + (phase % 3), 6);
        glyph(c, p, {"....#..", "######.", "#######", "######.", "....#.."}, rgb(0x3ec7a6));
        break;
    }
    case Fx::Check:
        glyph(c, m + QPoint(-3, -2), {".....##", "....##.", "#..##..", "####...", ".##...."}, rgb(0x3fcf6a));
        break;
    case Fx::Idea: {
        const QPoint p = m + QPoint(-2, -4);
        glyph(c, p, {".###.", "#####", "#####", ".###.", "..#.."}, kYellow);
        glyph(c, p + QPoint(1, 5), {"###"}, rgb(0xb0b8c4));
        c.set(p.x() + 1, p.y() + 1, kWhite);
        if (phase % 2) {
            c.set(p.x() - 2, p.y() + 1, kYellow);
            c.set(p.x() + 6, p.y() + 1, kYellow);
            c.set(p.x() + 2, p.y() - 2, kYellow);
        }
        break;
    }
    case Fx::Flying: {
        const QPoint p = phase == 0 ? m + QPoint(-2, 4) : phase == 1 ? m + QPoint(1, -1) : m + QPoint(3, -5);
        const QPoint q(std::min(p.x(), kGrid - 7), std::max(p.y(), 1));
        glyph(c, q, {"#####", "+###+", "++#++", "+++++"}, rgb(0xf8f2e2), rgb(0xe6dcc4));
        c.set(q.x() - 2, q.y() + 1, rgb(0xdfe6f0));
        c.set(q.x() - 3, q.y() + 1, rgb(0xdfe6f0));
        c.set(q.x() - 2, q.y() + 3, rgb(0xdfe6f0));
        break;
    }
    case Fx::Steam: {
        const int y = h.y() - 3 - phase;
        c.part(s.disk(h.x() - 4 - phase * 0.5, y, 1.5 + phase * 0.3), flat(0xe8ecf2), ink);
        c.part(s.disk(h.x() + 4 + phase * 0.5, y + 1, 1.3 + phase * 0.3), flat(0xe8ecf2), ink);
        break;
    }
    case Fx::Shine:
        sparkle(c, m + QPoint(-2, 8), 2);
        break;
    }
}
