#include "Figure.h"

#include "Effects.h"
#include "Props.h"

#include <cmath>
#include <optional>

Pose Figure::rest() const {
    Pose p;
    p.left = rig.restLeft;
    p.right = rig.restRight;
    return p;
}

Arm Figure::resolved(Arm a, bool leftSide) const {
    if (a == Arm::Rest)
        return leftSide ? rig.restLeft : rig.restRight;
    return a;
}

Hands Figure::handsFor(const Pose& pose, int lift, QPointF head) const {
    const double L = rig.armLength;
    Hands h;
    for (int side = 0; side < 2; ++side) {
        const bool leftSide = side == 0;
        const double sign = leftSide ? -1.0 : 1.0;
        const QPointF shoulder(leftSide ? rig.shoulder.x() : 2 * rig.cx - rig.shoulder.x(),
                               rig.shoulder.y() + lift);
        auto o = [&](double x, double y) { return shoulder + QPointF(sign * x * L, y * L); };
        const Arm arm = resolved(leftSide ? pose.left : pose.right, leftSide);
        QPointF hand;
        std::optional<QPointF> elbow;
        switch (arm) {
        case Arm::Rest:
        case Arm::Down:
            hand = o(0.14, 0.98);
            break;
        case Arm::Hip:
            elbow = o(0.6, 0.42);
            hand = o(0.1, 0.8);
            break;
        case Arm::Out:
            hand = o(0.55, 0.82);
            break;
        case Arm::Open:
            elbow = o(0.55, 0.3);
            hand = o(1.0, 0.2);
            break;
        case Arm::Front:
            elbow = o(0.2, 0.55);
            hand = QPointF(rig.cx - sign * 1.2, shoulder.y() + 0.8 * L);
            break;
        case Arm::Hold:
            elbow = o(0.25, 0.62);
            hand = QPointF(rig.cx + sign * 2.5, shoulder.y() + 0.5 * L);
            break;
        case Arm::Raise:
            elbow = o(0.5, 0.45);
            hand = o(0.62, -0.2);
            break;
        case Arm::Up:
            hand = o(0.22, -0.98);
            break;
        case Arm::WaveA:
            elbow = o(0.62, 0.3);
            hand = o(1.0, -0.35);
            break;
        case Arm::WaveB:
            elbow = o(0.62, 0.3);
            hand = o(0.5, -0.5);
            break;
        case Arm::Chin:
            elbow = o(0.35, 0.72);
            hand = head + QPointF(sign * 1.5, rig.headRy - 0.8);
            break;
        case Arm::Scratch:
            elbow = o(0.75, -0.05);
            hand = head + QPointF(sign * (rig.headRx + 0.2), -rig.headRy * 0.35);
            break;
        case Arm::Point:
            hand = o(1.0, 0.02);
            break;
        case Arm::Offer:
            elbow = o(0.45, 0.55);
            hand = o(0.92, 0.42);
            break;
        case Arm::Shrug:
            elbow = o(0.55, 0.55);
            hand = o(0.9, 0.1);
            break;
        case Arm::Clap:
            elbow = o(0.35, 0.75);
            hand = QPointF(rig.cx + sign * 1.0, shoulder.y() + 0.35 * L);
            break;
        case Arm::Cheer:
            hand = o(0.75, -0.72);
            break;
        case Arm::Shade:
            elbow = o(0.75, 0.1);
            hand = head + QPointF(sign * 2.0, -rig.headRy * 0.45);
            break;
        case Arm::Mouth:
            elbow = o(0.35, 0.75);
            hand = QPointF(head.x() + sign * 0.5, head.y() + rig.mouthRow - rig.head.y() + 1.0);
            break;
        case Arm::Flex:
            elbow = o(0.95, 0.08);
            hand = o(0.78, -0.55);
            break;
        case Arm::Tie:
            elbow = o(0.4, 0.7);
            hand = QPointF(rig.cx + sign * 0.6, shoulder.y() + 0.6);
            break;
        case Arm::Write:
            // Placed below, once the other hand holds the sheet.
            elbow = o(0.45, 0.75);
            hand = o(-0.2, 0.5);
            break;
        }
        const QPointF bend = elbow ? *elbow : (shoulder + hand) / 2 + QPointF(sign * 0.1 * L, 0);
        if (leftSide) {
            h.left = hand;
            h.elbowLeft = bend;
        } else {
            h.right = hand;
            h.elbowRight = bend;
        }
    }
    if (resolved(pose.right, false) == Arm::Write) {
        h.right = penGrip(pose.prop, pose.propPhase, h);
        const QPointF shoulder(2 * rig.cx - rig.shoulder.x(), rig.shoulder.y() + lift);
        h.elbowRight = QPointF(std::max(shoulder.x() + 0.3 * L, h.right.x() + 2.0),
                               (shoulder.y() + h.right.y()) / 2 + 0.35 * L);
    }
    return h;
}

void Figure::drawLegs(Frame& f) const {
    const Pose& p = f.pose;
    for (int side = 0; side < 2; ++side) {
        const double sign = side == 0 ? -1.0 : 1.0;
        double x = rig.cx + sign * rig.legDx;
        double lift = 0;
        if ((p.legs == Legs::StepLeft && side == 0) || (p.legs == Legs::StepRight && side == 1))
            lift = 2;
        if (p.legs == Legs::Wide)
            x += sign * 1.0;
        const QPointF foot(x, rig.ground - lift);
        Mask leg;
        if (p.legs == Legs::Kick && side == 1) {
            const QPointF kickFoot(x + 4, rig.ground - 3.5);
            leg = f.s.line(QPointF(x, rig.legTop), kickFoot, rig.legWidth);
            f.c.part(leg, pal.legs, pal.ink);
            const Mask shoe = f.s.roundRect(kickFoot.x() - 1.5, kickFoot.y() - 1.5, kickFoot.x() + 2.8,
                                            kickFoot.y() + 1.8, 1.0);
            f.c.part(shoe, pal.shoes, pal.ink);
            continue;
        }
        leg = f.s.rect(x - rig.legWidth / 2, rig.legTop, x + rig.legWidth / 2, foot.y() - 1.5);
        f.c.part(leg, pal.legs, pal.ink);
        const QRectF& r = rig.shoe;
        const double x0 = side == 0 ? foot.x() + r.left() : foot.x() - r.right();
        const double x1 = side == 0 ? foot.x() + r.right() : foot.x() - r.left();
        const Mask shoe = f.s.roundRect(x0, foot.y() + r.top(), x1, foot.y() + r.bottom(), 1.0);
        f.c.part(shoe, pal.shoes, pal.ink);
    }
}

void Figure::drawFace(Frame& f) const {
    const Pose& p = f.pose;
    Canvas& c = f.c;
    const Mask head = f.s.ellipse(f.head.x(), f.head.y(), rig.headRx, rig.headRy);
    Canvas face(kGrid, kGrid);

    const int rows = int(std::lround(f.head.y() - rig.head.y()));
    const double fx = f.head.x() + p.look;
    const int ew = rig.eyeWidth;
    const int lx = int(std::lround(fx - rig.eyeDx - ew / 2.0));
    const int rx = int(std::lround(fx + rig.eyeDx - ew / 2.0));
    const int ey = rig.eyeRow + rows;
    const QRgb eye = pal.eye;
    const QRgb white = rgb(0xffffff);

    auto eyeAt = [&](int x, bool left, Eyes e) {
        const int out = left ? -1 : 1; // towards the side of the face
        switch (e) {
        case Eyes::Open:
        case Eyes::Left:
        case Eyes::Right:
        case Eyes::Up: {
            const int sx = e == Eyes::Left ? -1 : e == Eyes::Right ? 1 : 0;
            const int sy = e == Eyes::Up ? -1 : 0;
            for (int i = 0; i < ew; ++i)
                for (int j = 0; j < 2; ++j)
                    face.set(x + sx + i, ey + sy + j, eye);
            if (ew == 2)
                face.set(x + sx + (left ? 0 : 1), ey + sy, white);
            break;
        }
        case Eyes::Wide:
            for (int i = -1; i <= ew; ++i)
                for (int j = -1; j <= 1 + (ew == 2 ? 1 : 0); ++j)
                    face.set(x + i, ey + j, white);
            for (int i = 0; i < ew; ++i)
                for (int j = 0; j < 2; ++j)
                    face.set(x + i, ey + j, eye);
            break;
        case Eyes::Half:
        case Eyes::Down:
            for (int i = -1; i <= ew; ++i)
                face.set(x + i, ey, eye);
            for (int i = 0; i < ew; ++i)
                face.set(x + i, ey + 1, eye);
            break;
        case Eyes::Closed:
            for (int i = 0; i < ew; ++i)
                face.set(x + i, ey + 1, eye);
            face.set(left ? x - 1 : x + ew, ey + 1, eye);
            break;
        case Eyes::Happy:
        case Eyes::Wink:
            face.set(x - 1, ey + 1, eye);
            for (int i = 0; i < ew; ++i)
                face.set(x + i, ey, eye);
            face.set(x + ew, ey + 1, eye);
            break;
        case Eyes::Squint: {
            const int a = left ? x + ew - 1 : x;
            const int b = a - out;
            face.set(b, ey - 1, eye);
            face.set(a, ey, eye);
            face.set(b, ey + 1, eye);
            break;
        }
        }
        if (rig.lashes && (e == Eyes::Open || e == Eyes::Wide || e == Eyes::Left || e == Eyes::Right))
            face.set(left ? x - 1 : x + ew, ey - (e == Eyes::Wide ? 2 : 1), eye);
    };
    const Eyes leftEye = p.eyes == Eyes::Wink ? Eyes::Open : p.eyes;
    eyeAt(lx, true, leftEye);
    eyeAt(rx, false, p.eyes);

    if (rig.browsAlways || p.brows != Brows::Normal) {
        const int by = ey - rig.browGap - (p.eyes == Eyes::Wide ? 1 : 0);
        int outer = by;
        int inner = by;
        switch (p.brows) {
        case Brows::Normal:
            break;
        case Brows::Raised:
            outer = inner = by - 1;
            break;
        case Brows::Worried:
            inner = by - 1;
            break;
        case Brows::Frown:
            inner = by + 1;
            break;
        }
        const int mid = (outer + inner + 1) / 2;
        face.set(lx - 1, outer, pal.brow);
        face.set(rx + ew, outer, pal.brow);
        face.set(lx + ew - 1, inner, pal.brow);
        face.set(rx, inner, pal.brow);
        if (ew == 2) {
            face.set(lx, mid, pal.brow);
            face.set(rx + 1, mid, pal.brow);
        }
    }

    const int mx = int(std::lround(fx));
    const int my = rig.mouthRow + rows;
    const QRgb m = pal.mouth;
    const QRgb t = pal.tongue;
    if (p.blush || rig.blushAlways) {
        const int row = my;
        face.set(lx - 1, row, pal.cheek);
        face.set(lx, row, pal.cheek);
        face.set(rx + ew - 1, row, pal.cheek);
        face.set(rx + ew, row, pal.cheek);
    }
    switch (p.mouth) {
    case Mouth::Smile:
        face.set(mx - 2, my, m);
        face.set(mx - 1, my + 1, m);
        face.set(mx, my + 1, m);
        face.set(mx + 1, my, m);
        break;
    case Mouth::Grin:
        for (int i = -2; i <= 1; ++i)
            face.set(mx + i, my, m);
        face.set(mx - 1, my + 1, t);
        face.set(mx, my + 1, t);
        break;
    case Mouth::Flat:
        face.set(mx - 1, my + 1, m);
        face.set(mx, my + 1, m);
        break;
    case Mouth::Open:
        face.set(mx - 1, my, m);
        face.set(mx, my, m);
        face.set(mx - 1, my + 1, t);
        face.set(mx, my + 1, t);
        break;
    case Mouth::O:
        face.set(mx - 1, my, m);
        face.set(mx, my, m);
        face.set(mx - 1, my + 1, m);
        face.set(mx, my + 1, m);
        break;
    case Mouth::Frown:
        face.set(mx - 2, my + 1, m);
        face.set(mx - 1, my, m);
        face.set(mx, my, m);
        face.set(mx + 1, my + 1, m);
        break;
    case Mouth::Wavy:
        face.set(mx - 2, my + 1, m);
        face.set(mx - 1, my, m);
        face.set(mx, my + 1, m);
        face.set(mx + 1, my, m);
        break;
    case Mouth::Yawn:
        for (int j = 0; j < 2; ++j) {
            face.set(mx - 1, my + j, m);
            face.set(mx, my + j, m);
        }
        face.set(mx - 1, my + 2, t);
        face.set(mx, my + 2, t);
        break;
    case Mouth::Kiss:
        face.set(mx, my, t);
        face.set(mx, my + 1, t);
        break;
    }
    for (int y = 0; y < kGrid; ++y)
        for (int x = 0; x < kGrid; ++x)
            if (head.at(x, y) && face.at(x, y))
                c.set(x, y, face.at(x, y));
}

void Figure::drawArms(Frame& f) const {
    const Pose& p = f.pose;
    const double w = rig.armWidth;
    for (int side = 0; side < 2; ++side) {
        const bool leftSide = side == 0;
        const QPointF shoulder(leftSide ? rig.shoulder.x() : 2 * rig.cx - rig.shoulder.x(),
                               rig.shoulder.y() + f.lift);
        const QPointF elbow = leftSide ? f.hands.elbowLeft : f.hands.elbowRight;
        const QPointF hand = leftSide ? f.hands.left : f.hands.right;
        const Mask upper = f.s.line(shoulder, elbow, w);
        const Mask fore = f.s.line(elbow, hand, w);
        f.c.ring(upper | fore, pal.ink);
        f.c.paint(upper | fore, pal.skin);
        Mask sleeve;
        const double share = rig.sleeveShare;
        if (share >= 0.99)
            sleeve = upper | fore;
        else if (share >= 0.5)
            sleeve = upper | f.s.line(elbow, elbow + (hand - elbow) * ((share - 0.5) * 2), w);
        else
            sleeve = f.s.line(shoulder, shoulder + (elbow - shoulder) * (share * 2), w + 0.4);
        f.c.paint(sleeve, pal.sleeve);
    }
    // The own prop is put aside while its hand is at the face.
    const Arm holding = resolved(p.left, true);
    const bool atFace = holding == Arm::Chin || holding == Arm::Scratch || holding == Arm::Mouth ||
                        holding == Arm::Shade || holding == Arm::Tie;
    if (p.prop == Prop::Own && !atFace)
        drawOwnProp(f);
    else
        drawProp(f.c, f.s, p.prop, p.propPhase, f.hands, pal);
    for (const QPointF& hand : {f.hands.left, f.hands.right})
        f.c.part(f.s.disk(hand.x(), hand.y(), rig.handRadius), pal.hands, pal.ink);
}

Canvas Figure::render(const Pose& pose) const {
    Canvas c(kGrid, kGrid);
    const QPointF head = rig.head + QPointF(pose.headDx, pose.bob + pose.headDy);
    Frame f{c, Shapes(kGrid, kGrid), pose, pose.bob, head, handsFor(pose, pose.bob, head)};
    if (!pose.absent) {
        drawBehind(f);
        drawLegs(f);
        drawBody(f);
        drawWorn(f);
        drawHead(f);
        drawArms(f);
        drawSpecial(f);
    }

    Canvas out = c;
    if (pose.sx != 1.0 || pose.sy != 1.0 || pose.dx != 0 || pose.dy != 0)
        out = c.transformed(pose.sx, pose.sy, QPointF(rig.cx, rig.ground), pose.dx, pose.dy);

    if (pose.fx != Fx::None) {
        Canvas marks(kGrid, kGrid);
        EffectPlace at;
        at.cx = rig.cx + pose.dx;
        at.ground = rig.ground;
        at.head = QPointF(head.x() + pose.dx, head.y() - rig.headRy + pose.dy);
        at.top = at.head.y();
        at.mark = QPointF(std::min(head.x() + rig.headRx + 4.5 + pose.dx, kGrid - 5.0),
                          std::max(head.y() - rig.headRy - 1.0 + pose.dy, 6.0));
        drawEffect(marks, f.s, pose.fx, pose.fxPhase, at, pal.ink);
        out.overlay(marks);
    }
    out.outline(pal.ink);
    return out;
}
