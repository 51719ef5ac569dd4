#include "Props.h"

#include <algorithm>
#include <cmath>

namespace {

const Tone kPaper = tone(0xf7f4ec, 0xffffff, 0xd6d0c2);
const QRgb kLine = rgb(0x9ea4b4);
const QRgb kRed = rgb(0xd8433c);
const QRgb kGreen = rgb(0x2fa552);
const Tone kGold = tone(0xe8b73e, 0xffe07a, 0xae8220);
const Tone kWood = tone(0xb57b49, 0xd0955f, 0x8b5a33);
const Tone kSteel = tone(0xa9b1bd, 0xdde3ea, 0x777f8c);
const Tone kBlue = tone(0x3a7cc8, 0x68a4e8, 0x2a5c9e);
const Tone kManila = tone(0xe9c26e, 0xf6d88e, 0xc49a48);
const Tone kBookCover = tone(0x9c3a48, 0xbc5462, 0x74262f);

QRectF sheetOf(Prop prop, const Hands& h) {
    switch (prop) {
    case Prop::Form:
        return {h.left.x() - 1.5, h.left.y() - 7.5, 7, 8};
    case Prop::Notepad:
        return {h.left.x() - 1.5, h.left.y() - 6.5, 6, 7};
    case Prop::Scroll:
        return {h.left.x() - 1.5, h.left.y() - 7.5, 7, 8};
    case Prop::Calendar:
        return {h.left.x() - 2.5, h.left.y() - 7.5, 9, 8};
    case Prop::Stamp:
        return {h.left.x() - 1.5, h.left.y() - 7.5, 7, 8.5};
    default:
        return {h.left.x() - 1.5, h.left.y() - 7.5, 7, 8};
    }
}

QPoint cellAt(QPointF p) {
    return {int(std::floor(p.x())), int(std::floor(p.y()))};
}

void dot(Canvas& c, QPointF p, QRgb colour) {
    const QPoint q = cellAt(p);
    c.set(q, colour);
}

void hline(Canvas& c, double x0, double x1, double y, QRgb colour) {
    for (int x = int(std::floor(x0)); x < int(std::floor(x1)); ++x)
        c.set(x, int(std::floor(y)), colour);
}

void tick(Canvas& c, QPointF p, QRgb colour) {
    const QPoint q = cellAt(p);
    c.set(q.x(), q.y(), colour);
    c.set(q.x() + 1, q.y() + 1, colour);
    c.set(q.x() + 2, q.y(), colour);
    c.set(q.x() + 3, q.y() - 1, colour);
}

Mask rectOf(const Shapes& s, const QRectF& r) {
    return s.rect(r.left(), r.top(), r.right(), r.bottom());
}

void drawSheet(Canvas& c, const Shapes& s, const QRectF& r, QRgb ink) {
    c.part(rectOf(s, r), kPaper, ink);
}

void drawForm(Canvas& c, const Shapes& s, const QRectF& r, int ticks, QRgb ink) {
    drawSheet(c, s, r, ink);
    hline(c, r.left() + 1, r.right() - 1, r.top() + 1, rgb(0x7a6ad0));
    for (int i = 0; i < 3; ++i) {
        const double y = r.top() + 3 + 2 * i;
        c.set(int(r.left() + 1), int(y), rgb(0x6c7284));
        hline(c, r.left() + 3, r.right() - 1, y, kLine);
        if (i < ticks) {
            c.set(int(r.left() + 1), int(y), kGreen);
            c.set(int(r.left() + 2), int(y) - 1, kGreen);
        }
    }
}

void drawCalendar(Canvas& c, const Shapes& s, const QRectF& r, int phase, QRgb ink) {
    drawSheet(c, s, r, ink);
    c.fill(s.rect(r.left(), r.top(), r.right(), r.top() + 2), kRed);
    c.set(int(r.left() + 2), int(r.top() - 1), ink);
    c.set(int(r.right() - 3), int(r.top() - 1), ink);
    // Days: a grid of small squares, one of them marked.
    for (int row = 0; row < 3; ++row)
        for (int col = 0; col < 4; ++col) {
            const int x = int(r.left() + 1 + col * 2);
            const int y = int(r.top() + 3 + row * 2);
            c.set(x, y, rgb(0xb4b8c6));
        }
    if (phase < 4) {
        const int col = phase % 4;
        const int row = phase < 2 ? 0 : 1;
        const int x = int(r.left() + 1 + col * 2);
        const int y = int(r.top() + 3 + row * 2 + (phase == 3 ? 2 : 0));
        c.set(x, y, kRed);
        c.set(x + 1, y, kRed);
        c.set(x, y + 1, kRed);
        c.set(x + 1, y + 1, kRed);
    } else {
        // The top page turning over.
        const Mask page =
            s.polygon({QPointF(r.left(), r.top() + 2), QPointF(r.right(), r.top() + 2),
                       QPointF(r.right() - 1, r.top() - 3), QPointF(r.left() + 1, r.top() - 2)});
        c.part(page, kPaper, ink);
    }
}

void drawNotepad(Canvas& c, const Shapes& s, const QRectF& r, int phase, QRgb ink) {
    c.part(rectOf(s, r), tone(0xfbe89a, 0xfff4c4, 0xdcc46e), ink);
    hline(c, r.left(), r.right(), r.top(), rgb(0xd8443c));
    const int lines = 1 + std::min(phase, 3) / 2;
    for (int i = 0; i < 3; ++i) {
        const double y = r.top() + 2 + i * 1.5;
        if (i < lines || i == 2)
            hline(c, r.left() + 1, r.right() - 1 - (i == lines - 1 ? 1 : 0), y, rgb(0x5a6aa0));
    }
}

void drawScroll(Canvas& c, const Shapes& s, const QRectF& r, QRgb ink) {
    // Parchment hanging between two wooden rollers.
    const Tone parchment = tone(0xf3e2b8, 0xfff2d2, 0xd8c090);
    c.part(rectOf(s, r), parchment, ink);
    for (int i = 0; i < 3; ++i)
        hline(c, r.left() + 1, r.right() - 1 - (i == 2 ? 2 : 0), r.top() + 2 + i * 1.5, rgb(0x8a6a4a));
    const Mask rollers = s.roundRect(r.left() - 1, r.top() - 1, r.right() + 1, r.top() + 0.8, 0.8) |
                         s.roundRect(r.left() - 1, r.bottom() - 0.8, r.right() + 1, r.bottom() + 1, 0.8);
    c.part(rollers, kWood, ink);
}

void drawQuill(Canvas& c, const Shapes& s, QPointF tip, QRgb ink) {
    const Mask feather = s.polygon({tip + QPointF(0.5, -0.5), tip + QPointF(4.5, -4.8),
                                    tip + QPointF(5.2, -3.6), tip + QPointF(1.4, 0.2)});
    c.part(feather, tone(0xffffff, 0xffffff, 0xc8d0dc), ink);
    dot(c, tip, ink);
}

void drawFolder(Canvas& c, const Shapes& s, QPointF mid, int phase, QRgb ink) {
    const QRectF back(mid.x() - 5, mid.y() - 6, 10, 6.5);
    // Records stick out of the folder; one of them is pulled up to be read.
    c.part(s.rect(back.left(), back.top() - 1, back.left() + 3, back.top() + 1), kManila, ink);
    c.part(rectOf(s, back), kManila, ink);
    for (int i = 0; i < 3; ++i) {
        const double x = back.left() + 1 + i * 3;
        const double up = (i == phase % 3) ? 3.5 : 1.5;
        const QRectF sheet(x, back.top() - up + 1.5, 3, 4);
        c.part(rectOf(s, sheet), kPaper, ink);
        hline(c, x + 0.5, x + 2.5, back.top() - up + 3, kLine);
    }
    const QRectF front(mid.x() - 5, mid.y() - 3.5, 10, 4);
    c.part(rectOf(s, front), tone(0xf0cd80, 0xfbe2a8, 0xd0a858), ink);
    hline(c, front.left() + 3, front.right() - 3, front.top() + 1, rgb(0xb08844));
}

void drawBook(Canvas& c, const Shapes& s, QPointF mid, int phase, QRgb ink) {
    const double top = mid.y() - 5;
    const Mask cover = s.rect(mid.x() - 5.5, top + 0.5, mid.x() + 5.5, top + 6);
    c.part(cover, kBookCover, ink);
    const Mask left = s.rect(mid.x() - 5, top, mid.x(), top + 5);
    const Mask right = s.rect(mid.x(), top, mid.x() + 5, top + 5);
    c.paint(left, kPaper);
    c.paint(right, kPaper);
    for (int i = 0; i < 3; ++i) {
        hline(c, mid.x() - 4, mid.x() - 1, top + 1 + i * 1.3, kLine);
        hline(c, mid.x() + 1, mid.x() + 4, top + 1 + i * 1.3, kLine);
    }
    hline(c, mid.x() - 1, mid.x() + 1, top + 4, rgb(0xc8a040));
    c.fill(s.rect(mid.x() - 0.5, top, mid.x() + 0.5, top + 5), rgb(0xc8c2b2));
    if (phase == 2) {
        const Mask page = s.polygon({QPointF(mid.x() - 0.5, top + 5), QPointF(mid.x() + 0.5, top + 5),
                                     QPointF(mid.x() + 2.5, top - 2.5), QPointF(mid.x() + 0.5, top - 3)});
        c.part(page, kPaper, ink);
    }
}

void drawMagnifier(Canvas& c, const Shapes& s, QPointF grip, int phase, QRgb ink) {
    const QPointF lens = grip + QPointF(-1.0, -4.2);
    c.part(s.line(grip + QPointF(0.3, 0.6), lens, 1.4), kWood, ink);
    const Mask rim = s.disk(lens.x(), lens.y(), 2.8);
    c.part(rim, kGold, ink);
    c.fill(s.disk(lens.x(), lens.y(), 1.9), rgb(0xbfe6ff));
    const QPoint g = cellAt(lens);
    c.set(g.x() - 1 + (phase % 2), g.y() - 1, rgb(0xffffff));
}

void drawEnvelope(Canvas& c, const Shapes& s, QPointF centre, QRgb ink) {
    const QRectF r(centre.x() - 3, centre.y() - 2, 6, 4);
    c.part(rectOf(s, r), tone(0xf8f2e2, 0xffffff, 0xdcd2bc), ink);
    const QPoint tl = cellAt(r.topLeft());
    for (int i = 0; i < 3; ++i) {
        c.set(tl.x() + i, tl.y() + i, rgb(0xb8ae98));
        c.set(tl.x() + 5 - i, tl.y() + i, rgb(0xb8ae98));
    }
    c.set(tl.x() + 2, tl.y() + 2, kRed);
    c.set(tl.x() + 3, tl.y() + 2, kRed);
}

void drawCard(Canvas& c, const Shapes& s, QPointF centre, QRgb ink, const Tone& accent) {
    const QRectF r(centre.x() - 2.5, centre.y() - 2, 5, 4);
    c.part(rectOf(s, r), kPaper, ink);
    const QPoint tl = cellAt(r.topLeft());
    c.set(tl.x() + 2, tl.y() + 1, accent.dark);
    c.set(tl.x() + 1, tl.y() + 2, accent.base);
    c.set(tl.x() + 2, tl.y() + 2, accent.base);
    c.set(tl.x() + 3, tl.y() + 2, accent.base);
    c.set(tl.x() + 2, tl.y() + 3, accent.base);
}

} // namespace

QPointF penGrip(Prop prop, int phase, const Hands& h) {
    const QRectF r = sheetOf(prop, h);
    switch (prop) {
    case Prop::Form: {
        if (phase >= 4)
            return {r.right() + 1.5, r.bottom() - 1};
        const int row = std::min(phase, 2);
        return QPointF(r.left() + 2, r.top() + 3 + 2 * row) + QPointF(2.5, 2.0);
    }
    case Prop::Notepad: {
        const QPointF tips[] = {{1.5, 2}, {3, 2}, {4.5, 2}, {2.5, 3.5}};
        return r.topLeft() + tips[phase % 4] + QPointF(2.5, 2.0);
    }
    case Prop::Scroll:
        return QPointF(r.left() + 1.5 + (phase % 3) * 1.5, r.top() + 5.5) + QPointF(1.2, 0.8);
    case Prop::Calendar: {
        const int col = phase % 4;
        const int row = phase < 2 ? 0 : 1;
        return QPointF(r.left() + 2 + col * 2, r.top() + 4 + row * 2 + (phase == 3 ? 2 : 0)) +
               QPointF(0.8, 1.5);
    }
    case Prop::Stamp:
        return QPointF(r.center().x() + 0.5, r.center().y() - (phase == 0 ? 5.5 : 2.5));
    default:
        return h.right;
    }
}

void drawPen(Canvas& c, const Shapes& s, QPointF grip, int sign, QRgb ink) {
    const QPointF tip = grip + QPointF(-2.2 * sign, -2.0);
    c.part(s.line(tip, grip + QPointF(0.8 * sign, 0.8), 1.2), tone(0x3a4aa0, 0x5a6ac0, 0x2a3478), ink);
    dot(c, tip, ink);
}

void drawClipboard(Canvas& c, const Shapes& s, QPointF grip, QRgb ink, bool seal, bool stampMark) {
    const QRectF board(grip.x() - 1.5, grip.y() - 7.5, 7, 8.5);
    c.part(rectOf(s, board), kWood, ink);
    const QRectF sheet(board.left() + 1, board.top() + 1.5, 5, 6);
    c.paint(rectOf(s, sheet), kPaper);
    for (int i = 0; i < 3; ++i)
        hline(c, sheet.left() + 1, sheet.right() - 1, sheet.top() + 1 + i * 1.5, kLine);
    c.part(s.rect(board.center().x() - 1.5, board.top() - 0.5, board.center().x() + 1.5, board.top() + 1),
           kSteel, ink);
    if (seal) {
        const QPoint p = cellAt(QPointF(sheet.right() - 2, sheet.bottom() - 2));
        c.set(p.x(), p.y(), kGold.base);
        c.set(p.x() + 1, p.y(), kGold.dark);
        c.set(p.x(), p.y() + 1, kGold.dark);
        c.set(p.x() + 1, p.y() + 1, kGold.base);
    }
    if (stampMark) {
        const QPoint p = cellAt(QPointF(sheet.left() + 1, sheet.bottom() - 2));
        tick(c, QPointF(p.x(), p.y()), kRed);
    }
}

void drawBlueprintRoll(Canvas& c, const Shapes& s, QPointF a, QPointF b, QRgb ink) {
    c.part(s.line(a, b, 2.4), kBlue, ink);
    c.fill(s.disk(a.x(), a.y(), 0.9), rgb(0xe8f0ff));
    const QPointF mid = (a + b) / 2;
    dot(c, mid, rgb(0xe8f0ff));
}

void drawPocketWatch(Canvas& c, const Shapes& s, QPointF centre, double r, int hand, QRgb ink) {
    c.part(s.disk(centre.x(), centre.y() - r - 0.2, 0.9), kGold, ink);
    c.part(s.disk(centre.x(), centre.y(), r), kGold, ink);
    c.fill(s.disk(centre.x(), centre.y(), r - 1.0), rgb(0xfffaf0));
    const QPoint m = cellAt(centre);
    c.set(m, ink);
    const QPoint dirs[] = {{0, -1}, {1, 0}, {0, 1}, {-1, 0}};
    const QPoint d = dirs[hand % 4];
    c.set(m + d, ink);
    if (r >= 2.8)
        c.set(m + d * 2, ink);
    c.set(m + QPoint(1, 0) * ((hand + 1) % 2) + QPoint(0, -1) * (hand % 2), rgb(0xc84040));
}

void drawProp(Canvas& c, const Shapes& s, Prop prop, int phase, const Hands& h, const Palette& pal) {
    const QRgb ink = pal.ink;
    const QPointF mid = (h.left + h.right) / 2;
    switch (prop) {
    case Prop::Own:
    case Prop::None:
        break;
    case Prop::Calendar:
        drawCalendar(c, s, sheetOf(prop, h), phase, ink);
        break;
    case Prop::Form: {
        const QRectF r = sheetOf(prop, h);
        if (phase >= 4) {
            drawForm(c, s, r, 0, ink);
            drawForm(c, s, r.translated(3, -3), 3, ink);
        } else {
            drawForm(c, s, r, phase, ink);
        }
        drawPen(c, s, penGrip(prop, phase, h), 1, ink);
        break;
    }
    case Prop::Folder:
        drawFolder(c, s, mid, phase, ink);
        break;
    case Prop::Book:
        drawBook(c, s, mid, phase, ink);
        break;
    case Prop::Scroll: {
        const QRectF r = sheetOf(prop, h);
        drawScroll(c, s, r, ink);
        drawQuill(c, s, penGrip(prop, phase, h) - QPointF(1.2, 0.8), ink);
        break;
    }
    case Prop::Letter: {
        const QRectF r(h.right.x() - 1, h.right.y() - 4.5, 4, 5);
        drawSheet(c, s, r, ink);
        hline(c, r.left() + 1, r.right() - 1, r.top() + 1.5, kLine);
        hline(c, r.left() + 1, r.right() - 1, r.top() + 3, kLine);
        break;
    }
    case Prop::Envelope:
        drawEnvelope(c, s, h.right + QPointF(0.5, -2.5), ink);
        break;
    case Prop::Magnifier:
        drawMagnifier(c, s, h.right, phase, ink);
        break;
    case Prop::Notepad: {
        drawNotepad(c, s, sheetOf(prop, h), phase, ink);
        drawPen(c, s, penGrip(prop, phase, h), 1, ink);
        break;
    }
    case Prop::Paper: {
        if (phase == 0) {
            const QRectF r(h.right.x() - 1, h.right.y() - 4.5, 4, 5);
            drawSheet(c, s, r, ink);
            hline(c, r.left() + 1, r.right() - 1, r.top() + 1.5, kLine);
        } else if (phase == 1) {
            const QRectF r(std::min(h.right.x() + 3.5, double(kGrid - 6)), h.right.y() - 7, 4, 5);
            drawSheet(c, s, r, ink);
            hline(c, r.left() + 1, r.right() - 1, r.top() + 1.5, kLine);
        }
        break;
    }
    case Prop::Card: {
        const QPointF at = phase == 0 ? h.left : phase == 1 ? mid + QPointF(0, -4) : h.right;
        drawCard(c, s, at + QPointF(0, -2), ink, pal.accent);
        break;
    }
    case Prop::Stamp: {
        drawClipboard(c, s, h.left, ink, false, phase >= 1);
        const QPointF g = penGrip(prop, phase, h);
        c.part(s.rect(g.x() - 1.5, g.y() + 1, g.x() + 1.5, g.y() + 2.2), tone(0xc83a3a, 0xe05a5a, 0x902a2a),
               ink);
        c.part(s.rect(g.x() - 0.5, g.y() - 1.5, g.x() + 0.5, g.y() + 1), kWood, ink);
        break;
    }
    case Prop::Hammer: {
        const QPointF dir = phase == 0 ? QPointF(0.3, -1) : QPointF(1, 0.3);
        const QPointF headAt = h.right + dir * 4.5;
        c.part(s.line(h.right - dir * 0.5, headAt, 1.3), kWood, ink);
        const QPointF across(-dir.y(), dir.x());
        c.part(s.line(headAt - across * 1.6, headAt + across * 1.6, 2.2), kSteel, ink);
        break;
    }
    case Prop::Tape: {
        c.part(s.line(h.left, h.right, 1.2), tone(0xf5d020, 0xfff080, 0xd0a800), ink);
        c.part(s.roundRect(h.left.x() - 2, h.left.y() - 2, h.left.x() + 2, h.left.y() + 2, 1.0),
               tone(0xf5c518, 0xffe066, 0xc89a08), ink);
        c.set(cellAt(h.left), rgb(0x3a3a3a));
        break;
    }
    case Prop::Watch:
        drawPocketWatch(c, s, h.right + QPointF(0, -3.0), 3.0, phase, ink);
        break;
    case Prop::Roll:
        if (phase == 0) {
            drawBlueprintRoll(c, s, h.right + QPointF(0, -4), h.right + QPointF(0, 3), ink);
        } else {
            const QRectF r(h.left.x() - 1, h.left.y() - 6, h.right.x() - h.left.x() + 2, 6.5);
            c.part(rectOf(s, r), kBlue, ink);
            for (int x = int(r.left()) + 2; x < int(r.right()) - 1; x += 2)
                for (int y = int(r.top()) + 1; y < int(r.bottom()); ++y)
                    if ((x + y) % 3 == 0)
                        c.set(x, y, rgb(0xd8e8ff));
            hline(c, r.left() + 2, r.right() - 2, r.top() + 2, rgb(0xe8f2ff));
        }
        break;
    case Prop::Cup: {
        const QRectF r(h.right.x() - 1.5, h.right.y() - 3.5, 3, 3.5);
        c.part(s.line(QPointF(r.right() + 0.3, r.top() + 1), QPointF(r.right() + 0.3, r.bottom() - 1), 1.6),
               kPaper, ink);
        c.part(rectOf(s, r), tone(0xf0f0f4, 0xffffff, 0xc8c8d4), ink);
        hline(c, r.left(), r.right(), r.top(), rgb(0x7a4a2a));
        break;
    }
    case Prop::Ball: {
        QPointF at;
        if (phase == 0)
            at = QPointF(mid.x() + 7, 3);
        else if (phase == 1)
            at = QPointF(mid.x() + 4, 8);
        else
            at = mid + QPointF(0, -1.5);
        c.part(s.disk(at.x(), at.y(), 1.8), tone(0xf4f1e8, 0xffffff, 0xc4c0b4), ink);
        c.set(cellAt(at), rgb(0xb4b0a4));
        break;
    }
    }
}
