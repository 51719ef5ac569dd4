#pragma once

#include "Figure.h"

#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

// One step of an animation as drawn: a pose (none hides the figure), its time and a sound cue.
struct ArtStep {
    std::optional<Pose> pose;
    int ms = 0;
    QString sound;
};

struct ArtAnimation {
    QString name;
    std::vector<ArtStep> steps;
};

struct Choreography {
    std::vector<ArtAnimation> animations;
    std::vector<QStringList> idle; // three tiers
};

// All animations of one character, in a fixed order.
Choreography choreograph(const Figure& figure);

// The animations that the application plays looping; they must flow from their last step into
// their first.
const QStringList& loopingAnimations();
