#pragma once

#include "base/Scheduler.h"
#include "character/CharacterSheet.h"
#include "character/SoundCues.h"

#include <QDateTime>
#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>
#include <vector>

class CharacterView;
class CharacterPlayerDelegate;

// Makes the figure move: steps a run through the cells of an animation, one scheduled call per
// step, sounds the cues, and decides when the character does something by itself.
class CharacterPlayer : public QObject {
    Q_OBJECT
public:
    // One playing of an animation. Runs are told apart by identity: a step scheduled for a run
    // that has since been replaced does nothing.
    struct Run {
        QString name;
        QVector<Step> steps;
        bool loops = false;
        int position = 0; // the next step
        int pass = 0;     // passes completed
        bool isWindingDown = false;
        std::vector<std::function<void()>> completions;
    };

    explicit CharacterPlayer(CharacterView& view, QObject* parent = nullptr);

    // Puts the character with this id on the view, at rest. False when it cannot be loaded;
    // then nothing has changed.
    bool switchTo(const QString& id);
    // Plays the first of the names that the character has. A new play replaces the run in
    // progress, whose completions are then never called. With none of the names, the completion
    // runs at once, the answer is false, and the run in progress goes on.
    bool play(const QStringList& names, bool loops = false, std::function<void()> completion = {});
    // Lets the run end at the end of its pass, quickly, then calls then; with no run, at once.
    void stop(std::function<void()> then = {});
    // Something playful, as an answer to the user.
    void playSomething();
    // Muting also silences a cue that is sounding or about to start.
    void setMuted(bool muted);
    // The next idle check, in this many seconds; pushes any earlier one aside.
    void scheduleIdle(double seconds);

    std::shared_ptr<const CharacterSheet> sheet() const { return currentSheet; }
    std::shared_ptr<Run> currentRun() const { return run; }
    // The name of the animation in progress, or empty.
    QString currentAnimation() const { return run ? run->name : QString(); }

    CharacterPlayerDelegate* delegate = nullptr;
    bool isHidden = true;
    bool isMuted;
    QDateTime lastInteraction;
    // Told each time a cue starts to sound.
    std::function<void(const QString& sound)> onCue;

private:
    void cancelRun();
    void advance(const std::shared_ptr<Run>& run);
    void finish(const std::shared_ptr<Run>& run);
    void idle();

    CharacterView& view;
    std::shared_ptr<const CharacterSheet> currentSheet;
    std::shared_ptr<Run> run;
    base::Timer nextStep;
    base::Timer idleCheck;
    base::Timer cueStart;
    SoundCues cues;
};
