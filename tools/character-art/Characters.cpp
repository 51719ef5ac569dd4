// The four agents: their palettes, proportions and the parts that only they have.

#include "Figure.h"
#include "Props.h"

#include <cmath>

namespace {

QPoint cellAt(QPointF p) {
    return {int(std::floor(p.x())), int(std::floor(p.y()))};
}

// Dorn watches over approvals and the board report: tall, composed, a dark blue suit, silver hair,
// a moustache and the clipboard with the seal.
class Dorn : public Figure {
public:
    Dorn() {
        id = "dorn";
        name = "Dorn";
        tempo = 1.15;
        pal.ink = rgb(0x1b1930);
        pal.skin = tone(0xf0c8a0, 0xfbdcbc, 0xd8a67e);
        pal.hands = pal.skin;
        pal.brow = rgb(0x707484);
        pal.hair = tone(0xc4c8d4, 0xe6e9f0, 0x9096a8);
        pal.main = tone(0x3a4888, 0x566cb0, 0x293466);
        pal.sleeve = pal.main;
        pal.legs = tone(0x3c3f52, 0x50546c, 0x2a2c3a);
        pal.shoes = tone(0x2c2226, 0x54444a, 0x1a1416);
        pal.accent = tone(0x36437e, 0x5062a4, 0x262f5e);
        rig.head = {20, 10.5};
        rig.headRx = 5.2;
        rig.headRy = 5.7;
        rig.eyeDx = 2.5;
        rig.eyeRow = 10;
        rig.mouthRow = 14;
        rig.browGap = 2;
        rig.shoulder = {14.8, 18.3};
        rig.armLength = 11;
        rig.armWidth = 2.8;
        rig.legDx = 2.5;
        rig.legWidth = 3;
        rig.legTop = 29;
        rig.shoe = QRectF(-2.8, -3, 4.0, 3);
        rig.restLeft = Arm::Front;
        rig.restRight = Arm::Down;
    }

protected:
    void drawBody(Frame& f) const override {
        const double b = f.lift;
        const Mask jacket = f.s.polygon({{14.2, 18.5 + b},
                                         {15.6, 16.6 + b},
                                         {24.4, 16.6 + b},
                                         {25.8, 18.5 + b},
                                         {26.4, 31.5},
                                         {13.6, 31.5}});
        f.c.part(jacket, pal.main, pal.ink);
        const Mask shirt = f.s.polygon({{17.6, 16.6 + b}, {22.4, 16.6 + b}, {20, 22.5 + b}});
        f.c.paint(shirt, tone(0xf6f6f2, 0xffffff, 0xd8d8d4));
        const Tone tie = tone(0xa8323e, 0xc84a5a, 0x7e2230);
        f.c.paint(f.s.rect(19, 17 + b, 21, 18.5 + b), tie);
        f.c.paint(
            f.s.polygon({{19.2, 18 + b}, {20.8, 18 + b}, {21.3, 22.5 + b}, {20, 24.5 + b}, {18.7, 22.5 + b}}),
            tie);
        const int y = int(b);
        f.c.set(23, 20 + y, rgb(0xffffff));
        f.c.set(24, 20 + y, rgb(0xe8e8f0));
        f.c.set(20, 26 + y, rgb(0xe6b440));
        f.c.set(20, 29, rgb(0xe6b440));
        f.c.set(19, 30, pal.main.dark);
        f.c.set(20, 30, pal.main.dark);
    }

    void drawHead(Frame& f) const override {
        const QPointF h = f.head;
        const Shapes& s = f.s;
        if (!f.pose.back) {
            f.c.part(s.disk(h.x() - 5.3, h.y() + 0.6, 1.2) | s.disk(h.x() + 5.3, h.y() + 0.6, 1.2), pal.skin,
                     pal.ink);
        }
        const Mask head = s.ellipse(h.x(), h.y(), rig.headRx, rig.headRy);
        f.c.part(head, pal.skin, pal.ink);
        const Mask cap = s.ellipse(h.x(), h.y() - 0.5, 5.9, 6.2) & s.rect(0, 0, kGrid, h.y() - 2.9);
        const Mask sides = (s.rect(h.x() - 5.9, h.y() - 3.5, h.x() - 4.4, h.y() + 0.5) |
                            s.rect(h.x() + 4.4, h.y() - 3.5, h.x() + 5.9, h.y() + 0.5)) &
                           s.ellipse(h.x(), h.y(), 5.9, 6.3);
        Mask hair = cap | sides;
        if (f.pose.back)
            hair |= head & s.rect(0, 0, kGrid, h.y() + 3.5);
        f.c.partOver(hair, head, pal.hair, pal.ink);
        const QPoint top = cellAt(h);
        if (f.pose.back)
            return;
        f.c.set(top.x() - 3, top.y() - 5, pal.hair.dark);
        f.c.set(top.x() - 3, top.y() - 4, pal.hair.dark);
        drawFace(f);
        // Moustache: the face's steadiest feature.
        const int row = rig.mouthRow - 1 + int(std::lround(h.y() - rig.head.y()));
        const int mx = int(std::lround(h.x() + f.pose.look));
        const QRgb m = rgb(0x8a8e9e);
        for (int x = mx - 2; x <= mx + 1; ++x)
            f.c.set(x, row, m);
        if (f.pose.mouth != Mouth::O && f.pose.mouth != Mouth::Yawn) {
            f.c.set(mx - 3, row + 1, m);
            f.c.set(mx + 2, row + 1, m);
        }
        f.c.set(mx - 1, row - 1, pal.skin.dark);
        f.c.set(mx, row - 1, pal.skin.dark);
    }

    void drawOwnProp(Frame& f) const override {
        const Arm left = resolved(f.pose.left, true);
        if (left == Arm::Front)
            drawClipboard(f.c, f.s, f.hands.left + QPointF(-4.5, 0.5), pal.ink, true, false);
        else
            drawClipboard(f.c, f.s, f.hands.left + QPointF(-2, 1.5), pal.ink, true, false);
    }
};

// Lirra looks after clients: warm and quick, copper hair in motion, a rose dress and the
// speech-heart badge.
class Lirra : public Figure {
public:
    Lirra() {
        id = "lirra";
        name = "Lirra";
        tempo = 0.9;
        pal.ink = rgb(0x2b1422);
        pal.skin = tone(0xf6cfae, 0xffe3ca, 0xe0aa88);
        pal.hands = pal.skin;
        pal.brow = rgb(0x9a3a1c);
        pal.hair = tone(0xe4642c, 0xfa8c4c, 0xb44620);
        pal.main = tone(0xe8588c, 0xfa84ac, 0xbc3c6c);
        pal.sleeve = pal.main;
        pal.legs = tone(0x5a3a7a, 0x74509a, 0x40285a);
        pal.shoes = tone(0xf0a030, 0xffc460, 0xc07818);
        pal.accent = tone(0xe8588c, 0xfa84ac, 0xbc3c6c);
        pal.cheek = rgb(0xf58aa0);
        rig.head = {20, 13};
        rig.headRx = 5.4;
        rig.headRy = 5.4;
        rig.eyeDx = 3.0;
        rig.eyeWidth = 2;
        rig.eyeRow = 12;
        rig.mouthRow = 15;
        rig.browGap = 2;
        rig.browsAlways = false;
        rig.blushAlways = true;
        rig.lashes = true;
        rig.shoulder = {17.2, 20.6};
        rig.armLength = 8.5;
        rig.armWidth = 2.2;
        rig.sleeveShare = 0.3;
        rig.handRadius = 1.1;
        rig.legDx = 2;
        rig.legWidth = 2;
        rig.legTop = 31;
        rig.shoe = QRectF(-2.0, -2.6, 3.4, 2.6);
        rig.restLeft = Arm::Front;
        rig.restRight = Arm::Front;
    }

protected:
    Mask hairBack(const Frame& f) const {
        const QPointF h = f.head;
        const Shapes& s = f.s;
        const double sw = f.pose.hair * 1.5;
        Mask m = s.ellipse(h.x(), h.y() - 0.2, 8.0, 7.8);
        m |= s.polygon({{h.x() - 7.8, h.y() - 1},
                        {h.x() - 3.5, h.y() + 1},
                        {h.x() - 3.8, h.y() + 11},
                        {h.x() - 6 + sw, h.y() + 15.5},
                        {h.x() - 9.2 + sw, h.y() + 11}});
        m |= s.polygon({{h.x() + 7.8, h.y() - 1},
                        {h.x() + 3.5, h.y() + 1},
                        {h.x() + 3.8, h.y() + 11},
                        {h.x() + 6 + sw, h.y() + 15.5},
                        {h.x() + 9.2 + sw, h.y() + 11}});
        return m;
    }

    void drawBehind(Frame& f) const override {
        const Mask m = hairBack(f);
        f.c.part(m, pal.hair, pal.ink);
        // Strands
        const QPointF h = f.head;
        for (int i = 0; i < 2; ++i) {
            const double sign = i == 0 ? -1 : 1;
            const double sw = f.pose.hair * 1.5;
            f.c.fill(f.s.line({h.x() + sign * 6.6, h.y() + 3}, {h.x() + sign * 6.8 + sw, h.y() + 10}, 0.8) &
                         m,
                     pal.hair.dark);
        }
    }

    void drawBody(Frame& f) const override {
        const double b = f.lift;
        const Mask dress = f.s.polygon(
            {{17, 19.2 + b}, {23, 19.2 + b}, {24.6, 21 + b}, {28.5, 33}, {11.5, 33}, {15.4, 21 + b}});
        f.c.part(dress, pal.main, pal.ink);
        f.c.fill(dress & f.s.rect(0, 31, kGrid, 32), rgb(0xffb4cc));
        for (int x = 12; x < 29; x += 2)
            f.c.fill(dress & f.s.rect(x, 32, x + 1, 33), rgb(0xffb4cc));
        f.c.fill(dress & f.s.rect(0, 24 + b, kGrid, 25 + b), rgb(0xffd24a));
        f.c.paint((f.s.disk(18.6, 19.6 + b, 1.6) | f.s.disk(21.4, 19.6 + b, 1.6)) &
                      f.s.rect(0, 19 + b, kGrid, 40),
                  tone(0xffffff, 0xffffff, 0xe4dcea));
        if (f.pose.back)
            return;
        // The speech-heart badge.
        const int y = int(b);
        const Mask bubble = f.s.roundRect(21, 21 + y, 26, 25 + y, 1.2) | f.s.cells({{22, 25}}, {0, y});
        f.c.part(bubble, tone(0xffffff, 0xffffff, 0xe8e0ee), pal.ink);
        const QRgb red = rgb(0xe0283e);
        for (const QPoint p :
             {QPoint(22, 22), QPoint(24, 22), QPoint(22, 23), QPoint(23, 23), QPoint(24, 23), QPoint(23, 24)})
            f.c.set(p.x(), p.y() + y, red);
    }

    void drawHead(Frame& f) const override {
        const QPointF h = f.head;
        const Shapes& s = f.s;
        const Mask head = s.ellipse(h.x(), h.y(), rig.headRx, rig.headRy);
        f.c.part(head, pal.skin, pal.ink);
        const Mask frame = s.ellipse(h.x(), h.y() - 0.4, 6.2, 6.4);
        Mask hair = frame & s.polygon({{h.x() - 8, h.y() - 9},
                                       {h.x() + 8, h.y() - 9},
                                       {h.x() + 7, h.y() - 3.6},
                                       {h.x() + 4, h.y() - 2.4},
                                       {h.x() + 1, h.y() - 3.0},
                                       {h.x() - 2, h.y() - 1.8},
                                       {h.x() - 5, h.y() - 1.4},
                                       {h.x() - 7, h.y() - 0.8}});
        hair |= (s.rect(h.x() - 6.2, h.y() - 3, h.x() - 4.4, h.y() + 4.5) |
                 s.rect(h.x() + 4.4, h.y() - 3, h.x() + 6.2, h.y() + 4.5)) &
                s.ellipse(h.x(), h.y(), 6.3, 6.6);
        if (f.pose.back)
            hair |= head;
        f.c.partOver(hair, head, pal.hair, pal.ink);
        // A flower clip over the right ear.
        const QPoint c = cellAt(h + QPointF(5.2, -5));
        const QRgb petal = rgb(0xffe066);
        f.c.set(c.x(), c.y() - 1, petal);
        f.c.set(c.x() - 1, c.y(), petal);
        f.c.set(c.x() + 1, c.y(), petal);
        f.c.set(c.x(), c.y() + 1, petal);
        f.c.set(c.x(), c.y(), rgb(0xff8a3a));
        if (!f.pose.back)
            drawFace(f);
    }
};

// Morvo runs projects: broad and sturdy, hard hat, high-visibility vest, tool belt, work gloves
// and a blueprint roll.
class Morvo : public Figure {
public:
    Morvo() {
        id = "morvo";
        name = "Morvo";
        tempo = 1.05;
        pal.ink = rgb(0x23170e);
        pal.skin = tone(0xdca276, 0xefbc92, 0xba8058);
        pal.hands = tone(0xd9a441, 0xf0c468, 0xac7a24);
        pal.brow = rgb(0x4a2c18);
        pal.hair = tone(0x6a4028, 0x8a5838, 0x4a2a18);
        pal.main = tone(0x6f8a3a, 0x8ca852, 0x536a28);
        pal.sleeve = pal.main;
        pal.legs = tone(0x8a6a44, 0xa6845a, 0x6a4e30);
        pal.shoes = tone(0x5c3a22, 0x7e5434, 0x3e2616);
        pal.accent = tone(0xf57a1c, 0xff9c48, 0xc85a0c);
        rig.head = {20, 12.8};
        rig.headRx = 5.7;
        rig.headRy = 5.5;
        rig.eyeDx = 2.5;
        rig.eyeRow = 11;
        rig.mouthRow = 15;
        rig.browGap = 1;
        rig.shoulder = {12.3, 20};
        rig.armLength = 9.5;
        rig.armWidth = 3.4;
        rig.sleeveShare = 0.5;
        rig.handRadius = 1.6;
        rig.legDx = 3;
        rig.legWidth = 4;
        rig.legTop = 30;
        rig.shoe = QRectF(-3.2, -3.6, 5.2, 3.6);
        rig.restLeft = Arm::Down;
        rig.restRight = Arm::Hip;
    }

protected:
    void drawBody(Frame& f) const override {
        const double b = f.lift;
        const Mask torso = f.s.roundRect(11.5, 17.8 + b, 28.5, 31.2, 3.2);
        f.c.part(torso, pal.main, pal.ink);
        const Mask vest = torso & (f.s.rect(11, 17, 18.2, 32) | f.s.rect(21.8, 17, 29, 32));
        f.c.paint(vest, pal.accent);
        f.c.fill(vest & f.s.rect(0, 25 + b, kGrid, 26 + b), rgb(0xeef2d8));
        f.c.fill(f.s.rect(18, 17.8 + b, 22, 29) & torso, pal.main.base);
        f.c.fill(f.s.rect(17, 17.8 + b, 18, 31) & torso, pal.accent.dark);
        f.c.fill(f.s.rect(22, 17.8 + b, 23, 31) & torso, pal.accent.dark);
        const Mask belt = f.s.roundRect(11.2, 28, 28.8, 30.4, 0.5);
        f.c.part(belt, tone(0x5a3820, 0x74492a, 0x40281a), pal.ink);
        f.c.part(f.s.rect(19, 28, 21, 30), tone(0xb8c0cc, 0xe4e8ee, 0x808894), pal.ink);
        f.c.part(f.s.roundRect(23.5, 28.6, 27, 32.6, 0.6), tone(0x8a5a34, 0xa8744a, 0x6a4426), pal.ink);
    }

    void drawHead(Frame& f) const override {
        const QPointF h = f.head;
        const Shapes& s = f.s;
        if (!f.pose.back)
            f.c.part(s.disk(h.x() - 5.7, h.y() + 0.4, 1.3) | s.disk(h.x() + 5.7, h.y() + 0.4, 1.3), pal.skin,
                     pal.ink);
        const Mask head = s.ellipse(h.x(), h.y(), rig.headRx, rig.headRy);
        f.c.part(head, pal.skin, pal.ink);
        const int dy = int(std::lround(h.y() - rig.head.y()));
        const int mx = int(std::lround(h.x() + f.pose.look));
        if (!f.pose.back) {
            Mask beard =
                (head & s.rect(0, h.y() + 2.2, kGrid, kGrid)) | s.ellipse(h.x(), h.y() + 4.9, 3.8, 2.3);
            beard -= s.ellipse(mx, h.y() + 3.4, 2.7, 1.5);
            f.c.partOver(beard, head, pal.hair, pal.ink);
            f.c.paint(s.rect(h.x() - 5.7, h.y() - 1.5, h.x() - 4.6, h.y() + 2) & head, pal.hair);
            f.c.paint(s.rect(h.x() + 4.6, h.y() - 1.5, h.x() + 5.7, h.y() + 2) & head, pal.hair);
            drawFace(f);
            for (int x = mx - 2; x <= mx + 1; ++x)
                f.c.set(x, 14 + dy, pal.hair.base);
            f.c.set(mx - 1, 13 + dy, pal.skin.dark);
            f.c.set(mx, 13 + dy, pal.skin.dark);
            f.c.set(mx - 1, 12 + dy, pal.skin.light);
        }
        // The hard hat, lifted a little when he tips it.
        const double lift = f.pose.special == 1 ? 1.0 : f.pose.special == 2 ? 3.0 : 0.0;
        const QPointF t(h.x() + (f.pose.special == 2 ? 1.0 : 0.0), h.y() - lift);
        if (lift > 0 && !f.pose.back)
            f.c.part(s.ellipse(h.x(), h.y() - 3.2, 5.2, 3.0) & s.rect(0, 0, kGrid, h.y() - 2.8), pal.hair,
                     pal.ink);
        const Tone hat = tone(0xf5c518, 0xffe066, 0xc89a08);
        const Mask dome = s.ellipse(t.x(), t.y() - 3.0, 6.4, 5.6) & s.rect(0, 0, kGrid, t.y() - 4.0);
        f.c.part(dome, hat, pal.ink);
        const Mask brim = s.roundRect(t.x() - 7.8, t.y() - 4.8, t.x() + 7.8, t.y() - 2.8, 0.8);
        f.c.part(brim, hat, pal.ink);
        f.c.fill(s.rect(t.x() - 1, t.y() - 8.3, t.x() + 1, t.y() - 4.8) & dome, rgb(0xffe88a));
    }

    void drawOwnProp(Frame& f) const override {
        const QPointF hand = f.hands.left;
        if (resolved(f.pose.left, true) == Arm::Down)
            drawBlueprintRoll(f.c, f.s, hand + QPointF(-1.2, 4.0), hand + QPointF(1.8, -5.0), pal.ink);
        else
            drawBlueprintRoll(f.c, f.s, hand + QPointF(-1.0, 3.5), hand + QPointF(1.0, -4.0), pal.ink);
    }
};

// Pelka keeps time and absences: small and lively, violet coat, hair in two buns and a big
// pocket watch on a chain.
class Pelka : public Figure {
public:
    Pelka() {
        id = "pelka";
        name = "Pelka";
        tempo = 0.85;
        pal.ink = rgb(0x1f1530);
        pal.skin = tone(0xf8d6bc, 0xffe8d8, 0xe2b496);
        pal.hands = pal.skin;
        pal.brow = rgb(0x3a2048);
        pal.hair = tone(0x66387e, 0x8a5aa6, 0x48265c);
        pal.main = tone(0x7a5ad8, 0x9c80f0, 0x5a3cb0);
        pal.sleeve = pal.main;
        pal.legs = tone(0xf4f4f8, 0xffffff, 0xd0d4dc);
        pal.shoes = tone(0xd8404a, 0xf06068, 0xa82a34);
        pal.accent = tone(0x5ed6b0, 0x8cf0d0, 0x38a888);
        rig.head = {20, 18.2};
        rig.headRx = 6.0;
        rig.headRy = 5.5;
        rig.eyeDx = 2.9;
        rig.eyeWidth = 2;
        rig.eyeRow = 17;
        rig.mouthRow = 20;
        rig.browGap = 1;
        rig.browsAlways = false;
        rig.blushAlways = true;
        rig.shoulder = {16.4, 25.6};
        rig.armLength = 6.8;
        rig.armWidth = 2.2;
        rig.handRadius = 1.1;
        rig.legDx = 2;
        rig.legWidth = 2;
        rig.legTop = 33;
        rig.shoe = QRectF(-2.0, -2.6, 3.4, 2.6);
        rig.restLeft = Arm::Down;
        rig.restRight = Arm::Down;
    }

protected:
    void drawLegs(Frame& f) const override {
        Figure::drawLegs(f);
        for (int y = int(rig.legTop); y < int(rig.ground) - 2; y += 2)
            for (int x = 14; x < 27; ++x) {
                const QRgb c = f.c.at(x, y);
                if (c == pal.legs.base || c == pal.legs.light || c == pal.legs.dark)
                    f.c.set(x, y, pal.accent.base);
            }
    }

    void drawBody(Frame& f) const override {
        const double b = f.lift;
        const Mask coat = f.s.polygon(
            {{16.4, 24.2 + b}, {23.6, 24.2 + b}, {25, 27 + b}, {25.6, 34.6}, {14.4, 34.6}, {15, 27 + b}});
        f.c.part(coat, pal.main, pal.ink);
        f.c.fill(coat & f.s.rect(0, 33.6, kGrid, 34.6), pal.main.dark);
        f.c.part(f.s.roundRect(16, 23.4 + b, 24, 25.6 + b, 1), pal.accent, pal.ink);
    }

    void drawWorn(Frame& f) const override {
        if (f.pose.back || f.pose.prop == Prop::Watch)
            return;
        const double b = f.lift;
        const QPointF centre(20, 29.6 + b);
        for (int i = 0; i < 3; ++i) {
            f.c.set(18, 26 + i + int(b), rgb(0xe8b73e));
            f.c.set(21, 26 + i + int(b), rgb(0xe8b73e));
        }
        drawPocketWatch(f.c, f.s, centre, 2.9, f.pose.special, pal.ink);
    }

    void drawHead(Frame& f) const override {
        const QPointF h = f.head;
        const Shapes& s = f.s;
        const Mask buns = s.disk(h.x() - 5.6, h.y() - 5.8, 2.7) | s.disk(h.x() + 5.6, h.y() - 5.8, 2.7);
        f.c.part(buns, pal.hair, pal.ink);
        f.c.part(s.ellipse(h.x(), h.y() - 0.6, 6.9, 6.5) & s.rect(0, 0, kGrid, h.y() + 4.3), pal.hair,
                 pal.ink);
        const Mask head = s.ellipse(h.x(), h.y(), rig.headRx, rig.headRy);
        f.c.part(head, pal.skin, pal.ink);
        Mask hair = s.ellipse(h.x(), h.y() - 0.6, 6.6, 6.3) & s.rect(0, 0, kGrid, h.y() - 2.2);
        hair |= (s.rect(h.x() - 6.6, h.y() - 3, h.x() - 4.8, h.y() + 4.3) |
                 s.rect(h.x() + 4.8, h.y() - 3, h.x() + 6.6, h.y() + 4.3)) &
                s.ellipse(h.x(), h.y() - 0.4, 6.9, 6.6);
        if (f.pose.back)
            hair |= head;
        f.c.partOver(hair, head, pal.hair, pal.ink);
        const QPoint c = cellAt(h);
        f.c.set(c.x() - 1, c.y() - 2, pal.skin.base);
        f.c.set(c.x() - 4, c.y() - 7, pal.accent.base);
        f.c.set(c.x() - 4, c.y() - 6, pal.accent.base);
        f.c.set(c.x() + 3, c.y() - 7, pal.accent.base);
        f.c.set(c.x() + 3, c.y() - 6, pal.accent.base);
        if (!f.pose.back)
            drawFace(f);
    }
};

} // namespace

std::vector<std::unique_ptr<Figure>> makeFigures() {
    std::vector<std::unique_ptr<Figure>> list;
    list.push_back(std::make_unique<Dorn>());
    list.push_back(std::make_unique<Lirra>());
    list.push_back(std::make_unique<Morvo>());
    list.push_back(std::make_unique<Pelka>());
    return list;
}
