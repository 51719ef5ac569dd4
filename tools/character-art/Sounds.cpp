#include "Sounds.h"

#include <QProcess>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

// One tone: a pitch (gliding from `freq` to `to`), where it starts, how long it lasts, how loud.
struct Note {
    double freq;
    double start; // seconds
    double length;
    double gain;
    double to = 0;         // glide target; 0 keeps the pitch
    bool triangle = false; // a little brighter than a sine
};

double wave(double phase, bool triangle) {
    if (!triangle)
        return std::sin(phase);
    const double t = std::fmod(phase / (2 * std::numbers::pi), 1.0);
    return 4.0 * std::abs(t - 0.5) - 1.0;
}

// A soft attack and an exponential fall, so that nothing clicks.
double envelope(double t, double length) {
    const double attack = std::min(0.012, length * 0.2);
    if (t < attack)
        return t / attack;
    const double release = std::min(0.03, length * 0.3);
    const double fall = std::exp(-3.2 * (t - attack) / length);
    const double tail = t > length - release ? std::max(0.0, (length - t) / release) : 1.0;
    return fall * tail;
}

SoundCue render(const QString& name, double seconds, std::initializer_list<Note> notes) {
    const int n = int(seconds * kSoundRate);
    std::vector<double> mix(std::size_t(n), 0.0);
    for (const Note& note : notes) {
        double phase = 0;
        const int first = int(note.start * kSoundRate);
        const int count = int(note.length * kSoundRate);
        for (int i = 0; i < count && first + i < n; ++i) {
            const double t = double(i) / kSoundRate;
            const double f = note.to > 0 ? note.freq + (note.to - note.freq) * (t / note.length) : note.freq;
            phase += 2 * std::numbers::pi * f / kSoundRate;
            // A quiet octave above rounds the tone.
            const double v = wave(phase, note.triangle) + 0.18 * std::sin(2 * phase);
            mix[std::size_t(first + i)] += note.gain * envelope(t, note.length) * v;
        }
    }
    SoundCue cue;
    cue.name = name;
    cue.samples.reserve(mix.size());
    for (double v : mix)
        cue.samples.push_back(qint16(std::lround(std::clamp(v, -1.0, 1.0) * 32767.0 * 0.8)));
    return cue;
}

} // namespace

std::vector<SoundCue> makeSoundCues() {
    // Pitches of a major scale around C5.
    constexpr double C5 = 523.25, D5 = 587.33, E5 = 659.25, G5 = 783.99, A5 = 880.0, C6 = 1046.5, E6 = 1318.5,
                     G4 = 392.0, E4 = 329.63, A4 = 440.0;
    std::vector<SoundCue> cues;
    cues.push_back(render("show", 0.42, {{C5, 0.0, 0.16, 0.35, E5}, {G5, 0.09, 0.3, 0.3, C6}}));
    cues.push_back(render("hide", 0.42, {{G5, 0.0, 0.16, 0.3, E5}, {E5, 0.09, 0.3, 0.3, C5 * 0.75}}));
    cues.push_back(render("attention", 0.5, {{E5, 0.0, 0.18, 0.35}, {A5, 0.16, 0.3, 0.35}}));
    cues.push_back(
        render("alert", 0.55,
               {{A5, 0.0, 0.14, 0.32, 0, true}, {A5, 0.18, 0.14, 0.3, 0, true}, {E5, 0.36, 0.18, 0.25}}));
    cues.push_back(render("congratulate", 0.6,
                          {{C5, 0.0, 0.13, 0.3},
                           {E5, 0.09, 0.13, 0.3},
                           {G5, 0.18, 0.13, 0.3},
                           {C6, 0.27, 0.32, 0.32},
                           {E6, 0.27, 0.32, 0.1}}));
    cues.push_back(render("mail", 0.5, {{G4, 0.0, 0.12, 0.3, 0, true}, {D5, 0.08, 0.38, 0.3, G5}}));
    cues.push_back(render("catch", 0.3, {{E4, 0.0, 0.1, 0.35, A4}, {A5, 0.07, 0.2, 0.28}}));
    return cues;
}

QByteArray encodeMp3(const SoundCue& cue, QString* error) {
    QByteArray pcm;
    pcm.reserve(int(cue.samples.size() * 2));
    for (qint16 s : cue.samples) {
        pcm.append(char(s & 0xff));
        pcm.append(char((s >> 8) & 0xff));
    }
    QProcess lame;
    // Raw little-endian 16-bit mono in, MP3 out on standard output; no tag, no ID3.
    lame.start("lame", {"--quiet", "-r", "-s", "22.05", "--bitwidth", "16", "--signed", "--little-endian",
                        "-m", "m", "-b", "64", "--cbr", "-q", "2", "-t", "--noreplaygain", "-", "-"});
    if (!lame.waitForStarted(10000)) {
        if (error)
            *error = "could not start lame: " + lame.errorString();
        return {};
    }
    lame.write(pcm);
    lame.closeWriteChannel();
    if (!lame.waitForFinished(30000) || lame.exitStatus() != QProcess::NormalExit || lame.exitCode() != 0) {
        if (error)
            *error = "lame failed: " + QString::fromLocal8Bit(lame.readAllStandardError());
        return {};
    }
    return lame.readAllStandardOutput();
}
