#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

// The shared sound cues: short, soft tones made here and encoded as MP3.
struct SoundCue {
    QString name;
    std::vector<qint16> samples; // mono, kSoundRate per second
};

constexpr int kSoundRate = 22050;

std::vector<SoundCue> makeSoundCues();

// Encodes with lame, fixed settings so that the same samples always give the same bytes.
// Empty on failure, with the reason in `error`.
QByteArray encodeMp3(const SoundCue& cue, QString* error);
