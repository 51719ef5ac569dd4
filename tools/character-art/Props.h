#pragma once

#include "Figure.h"

// Things held in the hands. Each is placed by the hand that grips it.
void drawProp(Canvas& c, const Shapes& s, Prop prop, int phase, const Hands& hands, const Palette& pal);

// Where the writing hand goes for a held sheet (the pen's grip, or a finger).
QPointF penGrip(Prop prop, int phase, const Hands& hands);

// Small pieces that several props and characters share.
void drawPen(Canvas& c, const Shapes& s, QPointF grip, int sign, QRgb ink);
void drawClipboard(Canvas& c, const Shapes& s, QPointF grip, QRgb ink, bool seal, bool stampMark);
void drawBlueprintRoll(Canvas& c, const Shapes& s, QPointF a, QPointF b, QRgb ink);
void drawPocketWatch(Canvas& c, const Shapes& s, QPointF centre, double r, int hand, QRgb ink);
