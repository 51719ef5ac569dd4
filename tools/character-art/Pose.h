#pragma once

// Everything that changes between two drawings of the same character. Animations are lists of
// poses; each character turns a pose into a picture in its own way.

enum class Eyes { Open, Closed, Half, Happy, Wide, Left, Right, Up, Down, Wink, Squint };
enum class Mouth { Smile, Grin, Flat, Open, O, Frown, Wavy, Yawn, Kiss };
enum class Brows { Normal, Raised, Worried, Frown };

// Where a hand is. Left and right mean the screen sides.
enum class Arm {
    Rest,    // the character's own resting arm
    Down,    // hanging beside the body
    Hip,     // fist on the hip
    Out,     // a little away from the body
    Open,    // spread wide
    Front,   // in front of the belly
    Hold,    // at the chest, holding something up to read
    Raise,   // at head height, palm out
    Up,      // straight up
    WaveA,   // forearm out
    WaveB,   // forearm in
    Chin,    // at the chin
    Scratch, // at the side of the head
    Point,   // straight out
    Offer,   // out and low, palm up
    Shrug,   // elbow bent, palm up
    Clap,    // at the middle of the chest
    Cheer,   // up and out
    Shade,   // over the eyes
    Mouth,   // at the mouth
    Flex,    // flexing
    Tie,     // at the collar
    Write,   // at the held sheet, with the pen or finger where the prop's phase puts it
};

enum class Prop {
    Own, // the character's usual prop
    None,
    Calendar,  // phase: 0..3 marked day, 4 page turning
    Form,      // phase: ticks 0..3, 4 lifted
    Folder,    // phase: the sheet that sticks up
    Book,      // phase: 0..1 reading, 2 page turning
    Scroll,    // phase: quill position
    Letter,    // a folded letter
    Envelope,  // phase: 0 in hand, 1 raised
    Magnifier, // phase: glint
    Notepad,   // with pen; phase: pen position
    Paper,     // a single sheet (hand-off)
    Card,      // a small person card (cover)
    Stamp,     // phase: 0 raised, 1 down
    Hammer,    // phase: 0 raised, 1 down
    Tape,      // phase: how far the tape is pulled
    Watch,     // a pocket watch held up; phase: hand position
    Roll,      // blueprint roll held up; phase: 0 rolled, 1 opened
    Cup,       // a mug
    Ball,      // a crumpled paper ball (juggling, catching)
};

enum class Fx {
    None,
    Exclaim,
    Question,
    Sparkles, // phase 0..2
    Hearts,   // phase 0..2
    Zzz,      // phase 0..2
    Sweat,    // phase 0..1
    Notes,    // phase 0..2
    Dots,     // phase 0..3
    Gears,    // phase 0..2
    Poof,     // phase 0..2, big to small
    Confetti, // phase 0..2
    Swap,     // arrows both ways
    Arrow,    // arrow to the right, phase 0..2
    Check,    // a tick
    Idea,     // a light bulb
    Flying,   // an envelope flying away, phase 0..2
    Steam,    // phase 0..1
    Shine,    // a glint next to the figure
};

enum class Legs { Stand, StepLeft, StepRight, Wide, Tiptoe, Kick };

struct Pose {
    int dx = 0;     // the whole figure, in art cells
    int dy = 0;     // negative lifts the figure off the ground
    int bob = 0;    // the upper body sinks by this much (breathing, crouching)
    int headDx = 0; // the head against the body (tilt, nod)
    int headDy = 0;
    int look = 0; // the face turns left (-1) or right (1)
    Eyes eyes = Eyes::Open;
    Mouth mouth = Mouth::Smile;
    Brows brows = Brows::Normal;
    bool blush = false;
    Arm left = Arm::Rest;
    Arm right = Arm::Rest;
    Prop prop = Prop::Own;
    int propPhase = 0;
    Fx fx = Fx::None;
    int fxPhase = 0;
    Legs legs = Legs::Stand;
    int hair = 0; // hair swing, -1..1
    bool back = false;
    double sx = 1.0; // squash and stretch about the feet
    double sy = 1.0;
    int special = 0;     // a character's own extra detail, by number
    bool absent = false; // only the effect is drawn (the cloud of an entrance or exit)
};

// A pose with chainable changes, so that animations read as a list of small differences.
class P {
public:
    P() = default;
    explicit P(const Pose& p) : p_(p) {}
    const Pose& pose() const { return p_; }

    P at(int dx, int dy) const {
        return with([&](Pose& p) { p.dx = dx, p.dy = dy; });
    }
    P dx(int v) const {
        return with([&](Pose& p) { p.dx = v; });
    }
    P dy(int v) const {
        return with([&](Pose& p) { p.dy = v; });
    }
    P bob(int v) const {
        return with([&](Pose& p) { p.bob = v; });
    }
    P head(int dx, int dy) const {
        return with([&](Pose& p) { p.headDx = dx, p.headDy = dy; });
    }
    P look(int v) const {
        return with([&](Pose& p) { p.look = v; });
    }
    P eyes(Eyes e) const {
        return with([&](Pose& p) { p.eyes = e; });
    }
    P mouth(Mouth m) const {
        return with([&](Pose& p) { p.mouth = m; });
    }
    P brows(Brows b) const {
        return with([&](Pose& p) { p.brows = b; });
    }
    P blush(bool b = true) const {
        return with([&](Pose& p) { p.blush = b; });
    }
    P arms(Arm l, Arm r) const {
        return with([&](Pose& p) { p.left = l, p.right = r; });
    }
    P left(Arm a) const {
        return with([&](Pose& p) { p.left = a; });
    }
    P right(Arm a) const {
        return with([&](Pose& p) { p.right = a; });
    }
    P prop(Prop pr, int phase = 0) const {
        return with([&](Pose& p) { p.prop = pr, p.propPhase = phase; });
    }
    P fx(Fx f, int phase = 0) const {
        return with([&](Pose& p) { p.fx = f, p.fxPhase = phase; });
    }
    P legs(Legs l) const {
        return with([&](Pose& p) { p.legs = l; });
    }
    P hair(int v) const {
        return with([&](Pose& p) { p.hair = v; });
    }
    P back(bool b = true) const {
        return with([&](Pose& p) { p.back = b; });
    }
    P scale(double sx, double sy) const {
        return with([&](Pose& p) { p.sx = sx, p.sy = sy; });
    }
    P special(int v) const {
        return with([&](Pose& p) { p.special = v; });
    }
    P absent() const {
        return with([&](Pose& p) { p.absent = true; });
    }

private:
    template <typename F> P with(F f) const {
        P c = *this;
        f(c.p_);
        return c;
    }
    Pose p_;
};
