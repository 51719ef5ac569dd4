#include "character/CharacterPlayer.h"

#include "app/Settings.h"
#include "base/Clock.h"
#include "character/CharacterPlayerDelegate.h"
#include "character/CharacterView.h"

#include <QRandomGenerator>

namespace {

QString pickOne(const QStringList& names) {
    return names.at(
        static_cast<int>(QRandomGenerator::global()->bounded(static_cast<quint32>(names.size()))));
}

} // namespace

CharacterPlayer::CharacterPlayer(CharacterView& v, QObject* parent)
    : QObject(parent), isMuted(Settings::boolValue(QLatin1String(Settings::Key::isMuted))),
      lastInteraction(base::Clock::now()), view(v), cues(this) {}

bool CharacterPlayer::switchTo(const QString& id) {
    auto next = CharacterSheet::named(id);
    if (!next) {
        return false;
    }
    cancelRun();
    if (delegate) {
        delegate->playerWillSwitchTo(*this, *next);
    }
    currentSheet = next;
    view.setSheet(next);
    view.setCell(next->definition.rest);
    if (view.onPoseChange) {
        view.onPoseChange();
    }
    if (delegate) {
        delegate->playerDidSwitchTo(*this, *next);
    }
    return true;
}

void CharacterPlayer::cancelRun() {
    nextStep.cancel();
    run.reset();
}

bool CharacterPlayer::play(const QStringList& names, bool loops, std::function<void()> completion) {
    const auto found = currentSheet ? currentSheet->firstAnimation(names) : std::nullopt;
    if (!found) {
        if (completion) {
            completion();
        }
        return false;
    }
    cancelRun();
    auto next = std::make_shared<Run>();
    next->name = found->first;
    next->steps = found->second;
    next->loops = loops;
    if (completion) {
        next->completions.push_back(std::move(completion));
    }
    run = next;
    advance(next);
    return true;
}

void CharacterPlayer::advance(const std::shared_ptr<Run>& current) {
    if (run != current) {
        return;
    }
    if (current->position == current->steps.size()) {
        if (!current->loops || current->isWindingDown) {
            finish(current);
            return;
        }
        current->position = 0;
        ++current->pass;
    }
    const Step step = current->steps.at(current->position++);
    view.setCell(view.sheet() ? step.cell : std::nullopt);
    if (view.onPoseChange) {
        view.onPoseChange();
    }
    // A looping animation sounds once.
    if (current->pass == 0 && !isMuted && step.sound) {
        if (onCue) {
            onCue(*step.sound);
        }
        // Started on the next turn of the loop: loading a cue never holds up a frame.
        cueStart = base::Scheduler::current().after(0, [this, sound = *step.sound] { cues.play(sound); });
    }
    double delay = step.ms / 1000.0;
    if (current->isWindingDown && delay > 0.09) {
        delay = 0.09;
    }
    if (delay <= 0.01) {
        delay = 0.01;
    }
    nextStep = base::Scheduler::current().after(delay, [this, current] { advance(current); });
}

void CharacterPlayer::setMuted(bool muted) {
    isMuted = muted;
    if (muted) {
        cueStart.cancel();
        cues.stopAll();
    }
}

void CharacterPlayer::stop(std::function<void()> then) {
    if (!run) {
        if (then) {
            then();
        }
        return;
    }
    if (then) {
        run->completions.push_back(std::move(then));
    }
    run->isWindingDown = true;
}

void CharacterPlayer::finish(const std::shared_ptr<Run>& current) {
    if (run != current) {
        return;
    }
    run.reset();
    nextStep.cancel();
    // The figure stays on the last cell of the run.
    for (auto& completion : current->completions) {
        completion();
    }
}

void CharacterPlayer::playSomething() {
    lastInteraction = base::Clock::now();
    scheduleIdle(30.0);
    if (!currentSheet) {
        return;
    }
    const auto playful = currentSheet->playfulAnimations();
    if (!playful.isEmpty()) {
        play({pickOne(playful)});
    }
}

void CharacterPlayer::scheduleIdle(double seconds) {
    idleCheck = base::Scheduler::current().after(seconds, [this] { idle(); });
}

void CharacterPlayer::idle() {
    if (!Settings::boolValue(QLatin1String(Settings::Key::idleAnimations)) || isHidden || !currentSheet) {
        scheduleIdle(30.0);
        return;
    }
    if (run) {
        scheduleIdle(5.0);
        return;
    }
    const double elapsed = lastInteraction.msecsTo(base::Clock::now()) / 1000.0;
    const int level = elapsed > 300 ? 3 : elapsed > 120 ? 2 : 1;
    const auto tier = currentSheet->idleAnimations(level);
    if (!tier.isEmpty()) {
        play({pickOne(tier)});
    }
    scheduleIdle(12.0 + QRandomGenerator::global()->generateDouble() * 18.0);
}
