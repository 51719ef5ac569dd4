#pragma once

#include "PixelCanvas.h"
#include "Pose.h"

#include <QString>

#include <memory>
#include <vector>

// Size of the art grid and of one art cell in pixels: a cell of the atlas is 40 x 3 = 120 px.
constexpr int kGrid = 40;
constexpr int kCellPixels = 3;
constexpr int kFigurePixels = kGrid * kCellPixels;

struct Palette {
    QRgb ink = rgb(0x1b1930); // outlines
    Tone skin;
    Tone hands; // skin, or gloves
    QRgb eye = rgb(0x1e1a2a);
    QRgb mouth = rgb(0x6a1f2a);
    QRgb tongue = rgb(0xe0707a);
    QRgb cheek = rgb(0xf09aa0);
    QRgb brow = rgb(0x4a3a30);
    Tone hair;
    Tone main;   // the main garment
    Tone sleeve; // the arms' garment
    Tone legs;
    Tone shoes;
    Tone accent;
};

// Where the parts of a character sit when it stands at rest.
struct Rig {
    double cx = 20;
    double ground = 39;
    QPointF head{20, 12};
    double headRx = 5.5;
    double headRy = 5.5;
    double eyeDx = 2.5; // from the face's middle to an eye's middle
    int eyeRow = 11;    // top row of the eyes
    int eyeWidth = 1;   // 1 or 2 (large eyes with a glint)
    int mouthRow = 15;  // top row of the mouth
    int browGap = 2;    // rows from the brows down to the eyes
    bool browsAlways = true;
    bool blushAlways = false;
    bool lashes = false;
    QPointF shoulder{15, 18}; // the left shoulder; the right one is mirrored
    double armLength = 9;
    double armWidth = 2.6;
    double sleeveShare = 1.0; // how much of the arm the sleeve covers
    double handRadius = 1.3;
    double legDx = 2.5; // from the middle to a leg's middle
    double legWidth = 3;
    double legTop = 30;
    QRectF shoe{-2.2, -3.5, 4.6, 3.5}; // the left shoe, relative to the leg's foot point
    Arm restLeft = Arm::Down;
    Arm restRight = Arm::Down;
};

struct Hands {
    QPointF left;
    QPointF right;
    QPointF elbowLeft;
    QPointF elbowRight;
};

class Figure {
public:
    virtual ~Figure() = default;

    QString id;
    QString name;
    double tempo = 1.0; // step durations are multiplied by this
    Palette pal;
    Rig rig;

    // The pose shown when nothing plays.
    Pose rest() const;
    // The picture of a pose on the art grid, outlined.
    Canvas render(const Pose& pose) const;

protected:
    struct Frame {
        Canvas& c;
        Shapes s;
        const Pose& pose;
        int lift;     // how far the upper body sinks (bob)
        QPointF head; // the head's centre in this pose
        Hands hands;
    };

    virtual void drawBehind(Frame&) const {}
    virtual void drawLegs(Frame& f) const;
    virtual void drawBody(Frame& f) const = 0;
    virtual void drawHead(Frame& f) const = 0;
    // A prop the character keeps about itself (not in a hand), drawn over the body.
    virtual void drawWorn(Frame&) const {}
    // The character's own prop in a hand, when the pose keeps it.
    virtual void drawOwnProp(Frame&) const {}
    // Details that only this character has, drawn last (by Pose::special).
    virtual void drawSpecial(Frame&) const {}

    void drawFace(Frame& f) const;
    void drawArms(Frame& f) const;
    Hands handsFor(const Pose& pose, int lift, QPointF head) const;

    Arm resolved(Arm a, bool leftSide) const;
};

std::vector<std::unique_ptr<Figure>> makeFigures();
