#include "stage/StageViewController.h"

#include "app/AppEvents.h"
#include "app/AppIdentity.h"
#include "app/Settings.h"
#include "base/Clock.h"
#include "base/Text.h"
#include "character/CharacterPlayer.h"
#include "character/CharacterWindow.h"
#include "platform/Services.h"
#include "stage/BalloonView.h"
#include "stage/MessageText.h"
#include "time/TimeTracker.h"
#include "workspace/VantleClient.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QScreen>

#include <algorithm>
#include <array>
#include <memory>

namespace {

const QStringList chatOpened{"Greeting", "Greet", "Wave"};
const QStringList notConnected{"GetAttention", "Explain"};
const QStringList questionSent{"Thinking", "Think", "Processing"};
const QStringList firstText{"Explain", "Writing"};
const QStringList answerWithLinks{"GetAttention", "Explain"};
const QStringList answerWithoutLinks{"Explain", "RestPose"};
const QStringList errorShown{"Stressed", "Confused", "DontRecognize", "Uncertain", "Alert"};
const QStringList reportBeingWritten{"Writing", "Write", "Processing"};
const QStringList reportReady{"Congratulate", "Pleased", "GetAttention"};

QStringList withGiven(const std::optional<QString>& animation) {
    QStringList names;
    if (animation && !animation->isEmpty()) {
        names << *animation;
    }
    return names << QStringLiteral("GetAttention") << QStringLiteral("Explain");
}

QString reportTitle() {
    return base::pick(QStringLiteral("Daily report"), QStringLiteral("Päeva aruanne"));
}

} // namespace

QStringList StageViewController::animations(const QString& tool) {
    struct Row {
        bool exact;
        QStringList words;
        QStringList animations;
    };
    static const std::array<Row, 9> table{{
        {true,
         {"get_team_availability", "get_schedule", "set_working_pattern", "get_absences",
          "get_absence_balances"},
         {"CheckingSchedule", "Searching", "Processing"}},
        {true,
         {"request_absence", "cancel_absence", "finish_sickness"},
         {"RecordingLeave", "Writing", "Processing"}},
        {true,
         {"list_employees", "update_employee_profile", "get_timesheet", "get_wage_report"},
         {"ReviewingRecords", "Searching", "Processing"}},
        {true,
         {"search_knowledge", "read_document", "list_documents"},
         {"ReadingPolicy", "Searching", "Processing"}},
        {false,
         {"delegate", "handoff", "assign", "colleague", "consult"},
         {"CoordinatingCover", "Delegating", "Explain", "Processing"}},
        {false, {"proposal", "propose", "quote", "offer"}, {"WritingProposal", "Writing", "Processing"}},
        {false, {"email", "mail", "letter"}, {"SendMail", "Writing", "Write"}},
        {false,
         {"draft", "write", "note", "create", "save", "update", "propose", "log"},
         {"Writing", "Write", "Processing"}},
        {false,
         {"search", "read", "list", "find", "get", "lookup", "ask", "check"},
         {"Searching", "Search", "CheckingSomething", "Reading"}},
    }};
    const QString name = tool.toLower();
    for (const auto& row : table) {
        const bool matches = row.exact
                                 ? row.words.contains(name)
                                 : std::any_of(row.words.begin(), row.words.end(),
                                               [&](const QString& word) { return name.contains(word); });
        if (matches) {
            return row.animations;
        }
    }
    return {"Processing", "Process", "Thinking"};
}

QString StageViewController::greeting(VantleAgent agent) {
    const QString name = VantleAgents::displayName(agent);
    return base::pick(QStringLiteral("Hi, ") + name + QStringLiteral(" here. What can I help you with?"),
                      QStringLiteral("Tere! Siin ") + name + QStringLiteral(". Millega saan aidata?"));
}

void StageViewController::appearIfHidden() {
    if (player().isHidden) {
        playerWantsToAppear(player());
    }
}

void StageViewController::placeBalloon() {
    if (!balloonPanel) {
        return;
    }
    auto* w = window();
    QScreen* screen = w && w->screen() ? w->screen() : QGuiApplication::primaryScreen();
    balloonPanel->place(w ? w->frameGeometry() : QRect(), screen);
}

BalloonPanel& StageViewController::makeBalloon(bool activate) {
    // Whatever comes now replaces what stood: an undecided approval goes back to wait.
    readingTime.cancel();
    setApprovalAside();
    if (balloonPanel) {
        // The comment field belongs to the approval: nothing typed there stays for what follows.
        balloonPanel->balloon().endDecision();
    }
    if (!balloonPanel) {
        auto* panel = new BalloonPanel(window());
        panel->setWindowTitle(QLatin1String(AppIdentity::name));
        QPointer<StageViewController> self(this);
        BalloonView& view = panel->balloon();
        view.onSubmit = [self](const QString& text) {
            if (self) {
                self->send(text, std::nullopt);
            }
        };
        view.onMessageClick = [self] {
            if (!self || !self->pendingAction) {
                return;
            }
            auto action = std::exchange(self->pendingAction, nullptr);
            self->closeChat();
            action();
        };
        view.onClose = [self] {
            if (!self) {
                return;
            }
            // An approval closed undecided waits for the balloon's next free moment after this.
            const auto approval =
                self->openApproval ? std::optional(self->openApproval->notification->id) : std::nullopt;
            self->closeChat();
            if (approval) {
                self->waiting.rest(*approval, base::Clock::now());
            }
        };
        view.onFilesOver = [self](bool over) {
            if (self) {
                self->areFilesOver = over;
                self->updateDropZone();
            }
        };
        view.onDrop = [self](const QMimeData* data) { return self && self->receiveDrop(data); };
        panel->onBecomeKey = [self] {
            // A notice the user turns to stays.
            if (self) {
                self->autoDismissWorkItem.cancel();
            }
        };
        panel->onResignKey = [self] {
            // The user has turned away from the conversation: what waits may come.
            if (self) {
                self->scheduleNextNotice();
            }
        };
        balloonPanel = panel;
    }
    BalloonPanel& panel = *balloonPanel;
    panel.balloon().setInputShown(true);
    panel.balloon().setTitle(VantleAgents::displayName(vantleAgent()));
    placeBalloon();
    if (activate) {
        panel.makeKeyAndOrderFront();
    } else {
        panel.orderFront();
    }
    return panel;
}

void StageViewController::openChat(bool focusInput) {
    appearIfHidden();
    noteInteraction();
    BalloonPanel& panel = makeBalloon(focusInput);
    const VantleAgent agent = vantleAgent();
    chatSession.setAgent(agent);
    chatSession.resumeRecentThread();
    pendingAction = nullptr;
    static const std::array<const char*, 4> estonianAsk{"Küsi Dornilt…", "Küsi Lirralt…", "Küsi Morvolt…",
                                                        "Küsi Pelkalt…"};
    panel.balloon().setPlaceholder(
        base::pick(QStringLiteral("Ask ") + VantleAgents::displayName(agent) + QStringLiteral("…"),
                   QString::fromUtf8(estonianAsk[static_cast<std::size_t>(agent)])));
    if (VantleClient::isConfigured()) {
        panel.balloon().showMessage(greeting(agent), true, std::nullopt, false, BalloonStatus::none);
        player().play(chatOpened);
        offerClipboard(panel);
    } else {
        showNotConnected(panel);
    }
    placeBalloon();
    if (focusInput) {
        panel.balloon().focusInput();
    }
}

void StageViewController::showNotConnected(BalloonPanel& panel) {
    panel.balloon().setInputShown(false);
    pendingAction = [] { emit AppEvents::shared().settingsRequested(); };
    panel.balloon().showMessage(
        base::pick(
            QStringLiteral(
                "Connect me to your Vantle workspace first: Personal settings → Connect desktop app."),
            QStringLiteral("Ühenda mind kõigepealt oma Vantle tööruumiga: Isiklikud seaded → Ühenda töölaua "
                           "agendid.")),
        false, base::pick(QStringLiteral("Click to open Settings ›"), QStringLiteral("Ava seaded ›")), true,
        BalloonStatus::warning);
    player().play(notConnected);
}

void StageViewController::announceNotConnected() {
    QPointer<StageViewController> self(this);
    if (mustWait([self] {
            if (self) {
                self->announceNotConnected();
            }
        })) {
        return;
    }
    appearIfHidden();
    BalloonPanel& panel = makeBalloon(false);
    chatSession.cancel();
    showNotConnected(panel);
    placeBalloon();
    startReadingTime(panel.balloon().messageLabel()->message());
}

void StageViewController::closeChat() {
    readingTime.cancel();
    setApprovalAside();
    // The balloon is free: what waits may come, an approval closed before this one too.
    waiting.wake();
    scheduleNextNotice();
    autoDismissWorkItem.cancel();
    chatSession.cancel();
    stopSpeaking();
    pendingAction = nullptr;
    droppedDocuments.clear();
    if (!balloonPanel) {
        return;
    }
    // Usually called from inside one of the balloon's own handlers: it goes once they return.
    QPointer<BalloonPanel> panel = balloonPanel;
    balloonPanel.clear();
    panel->orderOut();
    panel->deleteLater();
    if (auto* w = window()) {
        w->updateAlphaSoon();
    }
    if (const auto run = player().currentRun()) {
        run->isWindingDown = true;
    }
}

void StageViewController::say(const QString& text, const std::optional<QString>& animation) {
    QPointer<StageViewController> self(this);
    if (mustWait([self, text, animation] {
            if (self) {
                self->say(text, animation);
            }
        })) {
        return;
    }
    appearIfHidden();
    BalloonPanel& panel = makeBalloon(false);
    chatSession.cancel();
    pendingAction = nullptr;
    panel.balloon().showMessage(text, true, std::nullopt, false, BalloonStatus::none);
    placeBalloon();
    player().play(withGiven(animation));
    speak(text);
    startReadingTime(text);
}

void StageViewController::notify(const QString& text, const std::optional<QString>& animation, double seconds,
                                 const std::optional<QString>& hint, const std::optional<QString>& title,
                                 BalloonStatus status, std::function<void()> action) {
    QPointer<StageViewController> self(this);
    if (mustWait([self, text, animation, seconds, hint, title, status, action] {
            if (self) {
                self->notify(text, animation, seconds, hint, title, status, action);
            }
        })) {
        return;
    }
    appearIfHidden();
    BalloonPanel& panel = makeBalloon(false);
    chatSession.cancel();
    autoDismissWorkItem.cancel();
    pendingAction = action;
    panel.balloon().setInputShown(false);
    if (title) {
        panel.balloon().setTitle(*title);
    }
    panel.balloon().showMessage(text, false, action ? hint : std::nullopt, true, status);
    placeBalloon();
    player().play(withGiven(animation));
    speak(text);
    startReadingTime(text);
    if (seconds > 0) {
        QPointer<BalloonPanel> shown(&panel);
        autoDismissWorkItem = base::Scheduler::current().after(seconds, [self, shown] {
            // A notice that became a chat, or was replaced, is not closed by an old timer.
            if (self && shown && self->balloonPanel == shown && !shown->balloon().isInputShown()) {
                self->closeChat();
            }
        });
    }
}

void StageViewController::notify(const QString& text, const std::optional<QString>& animation, double seconds,
                                 const QUrl& url) {
    // A file's name, else the host, else the link as it stands.
    QString name = url.isLocalFile() ? QFileInfo(url.path()).fileName() : QString();
    if (name.isEmpty()) {
        name = url.host().isEmpty() ? url.toString() : url.host();
    }
    const QString hint = base::pick(QStringLiteral("Click to open ") + name + QStringLiteral(" ›"),
                                    QStringLiteral("Ava ") + name + QStringLiteral(" ›"));
    QPointer<StageViewController> self(this);
    notify(text, animation, seconds, hint, std::nullopt, BalloonStatus::notice, [self, url] {
        if (self) {
            self->open(url);
        }
    });
}

void StageViewController::show(const VantleClient::ClientError& error, BalloonPanel& panel) {
    showFailure(error.localizedDescription(), panel);
}

void StageViewController::showFailure(const QString& text, BalloonPanel& panel) {
    panel.balloon().showMessage(text, true, std::nullopt, false, BalloonStatus::failure);
    placeBalloon();
    playNext(errorShown);
}

void StageViewController::playNext(const QStringList& names, bool loops) {
    QPointer<StageViewController> self(this);
    player().stop([self, names, loops] {
        if (self) {
            self->player().play(names, loops);
        }
    });
}

void StageViewController::send(const QString& question, const std::optional<QString>& choiceRef) {
    autoDismissWorkItem.cancel();
    pendingAction = nullptr;
    if (!balloonPanel) {
        return;
    }
    BalloonPanel& panel = *balloonPanel;
    if (!VantleClient::isConfigured()) {
        showNotConnected(panel);
        placeBalloon();
        return;
    }
    chatSession.setAgent(vantleAgent());
    noteInteraction();
    stopSpeaking();
    panel.balloon().showThinking();
    placeBalloon();
    player().play(questionSent, true);
    // The messages handed over since the last question are named in front of it, once.
    QString sent = question;
    if (!droppedEmails.isEmpty()) {
        sent = emailContext(droppedEmails) + QStringLiteral("\n\n") + question;
        droppedEmails.clear();
    }
    chatSession.ask(sent, takeAttachments(), choiceRef, answerHandlers(panel));
}

QStringList StageViewController::takeAttachments() {
    QStringList ids;
    for (const auto& document : std::as_const(droppedDocuments)) {
        ids << document.id;
    }
    droppedDocuments.clear();
    return ids;
}

ChatSession::AnswerHandlers StageViewController::answerHandlers(BalloonPanel& panel) {
    QPointer<StageViewController> self(this);
    QPointer<BalloonPanel> asked(&panel);
    // A result for a balloon that has since closed or been replaced does nothing.
    auto current = [self, asked] { return self && asked && self->balloonPanel == asked; };
    auto progress = std::make_shared<QuestionProgress>();

    ChatSession::AnswerHandlers handlers;
    handlers.onText = [self, asked, current, progress](const QString& text) {
        if (current()) {
            self->showAnswerText(*asked, *progress, text);
        }
    };
    handlers.onTool = [self, current, progress](const QString& name) {
        if (current()) {
            self->actOutTool(*progress, name);
        }
    };
    handlers.completion = [self, asked, current](const ChatSession::Result& result) {
        if (current()) {
            self->showAnswer(*asked, result);
        }
    };
    handlers.onOptions = [self, asked, current](const QList<ChatChoice>& choices) {
        if (current()) {
            self->offerChoices(*asked, choices);
        }
    };
    return handlers;
}

void StageViewController::showAnswerText(BalloonPanel& panel, QuestionProgress& progress,
                                         const QString& text) {
    if (text.isEmpty()) {
        return;
    }
    if (!progress.sawText) {
        progress.sawText = true;
        playNext(firstText);
    }
    panel.balloon().showMessage(text, true, std::nullopt, false, BalloonStatus::working, Qt::MarkdownText);
    placeBalloon();
}

void StageViewController::actOutTool(QuestionProgress& progress, const QString& name) {
    if (progress.sawText) {
        return;
    }
    const QStringList names = animations(name);
    if (progress.lastTool && animations(*progress.lastTool) == names) {
        return;
    }
    progress.lastTool = name;
    playNext(names, true);
}

void StageViewController::showAnswer(BalloonPanel& panel, const ChatSession::Result& result) {
    // The question has its answer: a balloon the user has left may take what waits.
    scheduleNextNotice();
    if (const auto* error = std::get_if<VantleClient::ClientError>(&result)) {
        show(*error, panel);
        return;
    }
    // Pelka may have started or stopped the timer.
    if (vantleAgent() == VantleAgent::pelka) {
        TimeTracker::shared().refresh();
    }
    const auto& answer = std::get<ChatSession::Answer>(result);
    panel.balloon().showMessage(answer.text, true, std::nullopt, false, BalloonStatus::success,
                                Qt::MarkdownText);
    panel.balloon().showLinks(answer.links);
    placeBalloon();
    // The words as they read, without the Markdown's marks.
    speak(panel.balloon().messageLabel()->toPlainText());
    playNext(answer.links.isEmpty() ? answerWithoutLinks : answerWithLinks);
}

void StageViewController::offerChoices(BalloonPanel& panel, const QList<ChatChoice>& choices) {
    if (choices.isEmpty()) {
        return;
    }
    QPointer<StageViewController> self(this);
    panel.balloon().showChoices(choices, [self](const ChatChoice& choice) {
        if (self) {
            self->send(choice.label, choice.ref);
        }
    });
    placeBalloon();
}

void StageViewController::showReportProgress(const QDate& day) {
    appearIfHidden();
    BalloonPanel& panel = makeBalloon(false);
    chatSession.cancel();
    pendingAction = nullptr;
    panel.balloon().setTitle(reportTitle());
    panel.balloon().showMessage(DailyReport::writingMessage(day), true, std::nullopt, false,
                                BalloonStatus::working);
    placeBalloon();
    player().play(reportBeingWritten, true);
}

void StageViewController::showReport(
    const base::Result<DailyReport::Report, DailyReport::ReportError>& result, const QDate& day) {
    BalloonPanel& panel = makeBalloon(false);
    if (!result) {
        pendingAction = nullptr;
        showFailure(result.error().localizedDescription(), panel);
        return;
    }
    const QString path = result->path;
    pendingAction = [path] {
        if (auto desktop = platform::services().desktop) {
            desktop->open(QUrl::fromLocalFile(path));
        }
    };
    panel.balloon().setTitle(reportTitle());
    panel.balloon().showMessage(result->headline, false, DailyReport::openHint(day), true,
                                BalloonStatus::success);
    placeBalloon();
    playNext(reportReady);
    scheduleNextNotice();
}

void StageViewController::startReadingTime(const QString& text) {
    // About fifteen characters a second, a few seconds at least and never long.
    const double seconds = std::clamp(2.0 + static_cast<double>(text.size()) / 15.0, 5.0, 12.0);
    QPointer<StageViewController> self(this);
    readingTime = base::Scheduler::current().after(seconds, [self] {
        if (self) {
            self->presentNext();
        }
    });
}

void StageViewController::speak(const QString& text) {
    const auto speech = platform::services().speech;
    if (!speech || !Settings::boolValue(Settings::Key::speakAnswers) || player().isMuted) {
        return;
    }
    // What is still being said gives way first, also to a text that says nothing.
    speech->stop();
    if (!text.isEmpty()) {
        speech->say(text);
    }
}

void StageViewController::stopSpeaking() {
    if (const auto speech = platform::services().speech) {
        speech->stop();
    }
}
