#pragma once

#include "Figure.h"

// Signs around the figure: marks, sparkles, sleep, gears, the cloud of an entrance.
// `mark` is the free corner beside the head where single marks go; `head` is the head's top.
struct EffectPlace {
    QPointF mark;
    QPointF head;
    double cx = 20;
    double ground = 39;
    double top = 4; // the figure's highest row
};

void drawEffect(Canvas& c, const Shapes& s, Fx fx, int phase, const EffectPlace& at, QRgb ink);
