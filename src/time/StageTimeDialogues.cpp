#include "stage/StageViewController.h"

#include "activity/Digest.h"
#include "app/Settings.h"
#include "base/Clock.h"
#include "base/Text.h"
#include "character/CharacterPlayer.h"
#include "stage/BalloonView.h"
#include "time/DaySummary.h"
#include "time/TimeTracker.h"
#include "workspace/VantleClient.h"

namespace {

const QString pelkaId = VantleAgents::rawValue(VantleAgent::pelka);

// What the user might type when telling Pelka what to log.
QString logPlaceholder() {
    return base::pick(QStringLiteral("e.g. 40 min to Pine House yesterday"),
                      QStringLiteral("nt 40 min Pine House'ile eile"));
}

// Pelka's questions carry no reference: a pick is told by its label.
QList<ChatChoice> choices(const QString& first, const QString& second) {
    return {ChatChoice{first, std::nullopt}, ChatChoice{second, std::nullopt}};
}

} // namespace

void StageViewController::dayEndCheck() {
    if (!isPelkaAtHand()) {
        return;
    }
    // Someone in a conversation, or who has put the figure away, isn't interrupted.
    if (!VantleClient::isConfigured() || balloonPanel || player().isHidden) {
        return;
    }
    const QDateTime now = base::Clock::now().toLocalTime();
    const int minutes = now.time().hour() * 60 + now.time().minute();
    if (minutes < Settings::intValue(QLatin1String(Settings::Key::reportMinutes)) + 5) {
        return;
    }
    const QString today = now.date().toString(Qt::ISODate);
    if (Settings::stringValue(QLatin1String(Settings::Key::dayEndOffered)) == today) {
        return;
    }
    // From here the day counts as offered, whatever follows.
    Settings::setValue(QLatin1String(Settings::Key::dayEndOffered), today);
    TimeTracker::shared().refresh();
    QPointer<StageViewController> self(this);
    dayEndStep = base::Scheduler::current().after(1.5, [self] {
        if (!self || !isTimerUsable()) {
            return;
        }
        if (const auto& running = TimeTracker::shared().state->active) {
            self->askAboutRunningTimer(*running);
        } else {
            self->offerTodaysTime(false);
        }
    });
}

void StageViewController::askAboutRunningTimer(const TimeEntry& entry) {
    QPointer<StageViewController> self(this);
    bringOn(pelkaId, [self, entry] {
        if (!self) {
            return;
        }
        const QString elapsed = TimeTracker::shared().elapsed().value_or(QString());
        const auto offered =
            choices(base::pick(QStringLiteral("Stop it"), QStringLiteral("Peata")),
                    base::pick(QStringLiteral("Keep it running"), QStringLiteral("Las käib")));
        self->pelkaAsks(base::pick(QStringLiteral("Your timer on ") + entry.label() +
                                       QStringLiteral(" is still running (") + elapsed + QStringLiteral(")."),
                                   QStringLiteral("Sinu taimer (") + entry.label() +
                                       QStringLiteral(") käib endiselt (") + elapsed + QStringLiteral(").")),
                        offered, std::nullopt, [self, first = offered.first()](const ChatChoice& picked) {
                            if (!self) {
                                return;
                            }
                            if (picked == first) {
                                self->stopTimer();
                            }
                            // The offer to log the day follows either answer.
                            self->dayEndStep = base::Scheduler::current().after(2.0, [self] {
                                if (self) {
                                    self->offerTodaysTime(false);
                                }
                            });
                        });
    });
}

void StageViewController::offerTodaysTime(bool asked) {
    if (!isPelkaAtHand() || !isTimerUsable()) {
        return;
    }
    const DaySummary summary = DaySummary::of(base::Clock::now().date());
    if (summary.active < 1800.0 || summary.lines.isEmpty()) {
        if (asked) {
            talkToPelka(
                logPlaceholder(), std::nullopt,
                base::pick(
                    QStringLiteral(
                        "There's too little on this computer today to suggest anything — tell me what "
                        "to log."),
                    QStringLiteral(
                        "Selles arvutis on täna liiga vähe, et midagi soovitada — ütle, mida logida.")));
        }
        return;
    }
    QPointer<StageViewController> self(this);
    bringOn(pelkaId, [self, summary] {
        if (!self) {
            return;
        }
        const QString about = DailyReport::format(summary.active);
        const auto offered = choices(base::pick(QStringLiteral("Show me"), QStringLiteral("Näita")),
                                     base::pick(QStringLiteral("Not today"), QStringLiteral("Täna mitte")));
        self->pelkaAsks(base::pick(QStringLiteral("Shall we log today's time? About ") + about +
                                       QStringLiteral(" on this computer."),
                                   QStringLiteral("Kas logime tänase aja? Selles arvutis umbes ") + about +
                                       QStringLiteral(".")),
                        offered, std::nullopt,
                        [self, summary, first = offered.first()](const ChatChoice& picked) {
                            if (!self) {
                                return;
                            }
                            if (picked == first) {
                                self->showDaySummary(summary);
                            } else {
                                self->closeChat();
                            }
                        });
    });
}

void StageViewController::showDaySummary(const DaySummary& summary) {
    QPointer<StageViewController> self(this);
    const auto offered =
        choices(base::pick(QStringLiteral("Match to projects"), QStringLiteral("Seo projektidega")),
                base::pick(QStringLiteral("Not now"), QStringLiteral("Mitte praegu")));
    pelkaAsks(
        summary.preview(), offered,
        base::pick(QStringLiteral("Matching sends this summary to Vantle."),
                   QStringLiteral("Sidumine saadab selle kokkuvõtte Vantlesse.")),
        [self, forPelka = summary.forPelka(), first = offered.first()](const ChatChoice& picked) {
            if (!self) {
                return;
            }
            if (picked != first) {
                self->closeChat();
                return;
            }
            self->openChat(false);
            self->send(
                base::pick(QStringLiteral("Here is how my day went on my computer today (time per app, with "
                                          "window titles where recorded):\n") +
                               forPelka +
                               QStringLiteral("\n\nSuggest time entries for my projects from it — one line "
                                              "per entry with the project and minutes — and log them once I "
                                              "confirm. Leave out what isn't project work."),
                           QStringLiteral("Nii läks mu tänane päev arvutis (aeg rakenduste kaupa, "
                                          "aknapealkirjadega, kus need on):\n") +
                               forPelka +
                               QStringLiteral("\n\nPaku selle põhjal mu projektidele ajakanded — üks rida "
                                              "kande kohta projekti ja minutitega — ning logi need, kui "
                                              "kinnitan. Jäta välja see, mis pole projektitöö.")),
                std::nullopt);
        });
}

void StageViewController::pelkaAsks(const QString& question, const QList<ChatChoice>& offered,
                                    const std::optional<QString>& hint,
                                    std::function<void(const ChatChoice& choice)> onPick) {
    BalloonPanel& panel = makeBalloon(false);
    chatSession.cancel();
    autoDismissWorkItem.cancel();
    pendingAction = nullptr;
    panel.balloon().setInputShown(false);
    panel.balloon().showMessage(question, true, hint, false, BalloonStatus::notice);
    panel.balloon().showChoices(offered, std::move(onPick));
    placeBalloon();
    player().play({QStringLiteral("GetAttention"), QStringLiteral("Explain")});
}

void StageViewController::talkToPelka(const std::optional<QString>& placeholder,
                                      const std::optional<QString>& say,
                                      const std::optional<QString>& opening) {
    if (!isPelkaAtHand()) {
        return;
    }
    QPointer<StageViewController> self(this);
    bringOn(pelkaId, [self, placeholder, say, opening] {
        if (!self) {
            return;
        }
        self->openChat(!say);
        if (placeholder && self->balloonPanel) {
            self->balloonPanel->balloon().setPlaceholder(*placeholder);
        }
        if (opening && self->balloonPanel) {
            self->balloonPanel->balloon().showMessage(*opening, true, std::nullopt, false,
                                                      BalloonStatus::none);
            self->placeBalloon();
        }
        if (say) {
            self->send(*say, std::nullopt);
        }
    });
}

void StageViewController::logTime() {
    talkToPelka(
        logPlaceholder(), std::nullopt,
        base::pick(QStringLiteral("What shall I log? Tell me how long, on which project, and the day if it "
                                  "wasn't today."),
                   QStringLiteral("Mida login? Ütle, kui kaua, millisele projektile ja päev, kui see polnud "
                                  "täna.")));
}

void StageViewController::requestTimeOff() {
    talkToPelka(
        base::pick(QStringLiteral("e.g. Friday, and Monday–Wednesday next week"),
                   QStringLiteral("nt reede ning järgmise nädala E–K")),
        std::nullopt,
        base::pick(QStringLiteral("When would you like time off? Tell me the days — and whether it's "
                                  "holiday or something else."),
                   QStringLiteral("Millal soovid vabaks võtta? Ütle päevad — ja kas see on puhkus või "
                                  "midagi muud.")));
}

void StageViewController::startTimerByAsking() {
    talkToPelka(
        base::pick(QStringLiteral("A project's name or code"), QStringLiteral("Projekti nimi või kood")),
        std::nullopt,
        base::pick(QStringLiteral("Which project shall I start the timer on?"),
                   QStringLiteral("Millise projekti peale taimeri käivitan?")));
}

void StageViewController::confirmSickToday() {
    if (!isPelkaAtHand()) {
        return;
    }
    QPointer<StageViewController> self(this);
    bringOn(pelkaId, [self] {
        if (!self) {
            return;
        }
        const auto offered = choices(base::pick(QStringLiteral("Confirm"), QStringLiteral("Kinnita")),
                                     base::pick(QStringLiteral("Cancel"), QStringLiteral("Tühista")));
        self->pelkaAsks(
            base::pick(
                QStringLiteral("I'm sorry you're not feeling well. Shall I mark you as sick today? Your team "
                               "will see you're away — rest, the rest can wait."),
                QStringLiteral("Kahju, et sa end halvasti tunned. Kas märgin, et oled täna haige? Meeskond "
                               "näeb, et oled eemal — puhka, muu saab oodata.")),
            offered, std::nullopt, [self, first = offered.first()](const ChatChoice& picked) {
                if (!self) {
                    return;
                }
                if (picked == first) {
                    self->openChat(false);
                    self->send(
                        base::pick(QStringLiteral("I'm sick today."), QStringLiteral("Olen täna haige.")),
                        std::nullopt);
                } else {
                    self->closeChat();
                }
            });
    });
}
