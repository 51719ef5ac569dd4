#pragma once

#include "activity/DailyReport.h"
#include "app/VantleAgent.h"
#include "base/Result.h"
#include "base/Scheduler.h"
#include "capture/Capture.h"
#include "character/CharacterPlayerDelegate.h"
#include "character/CharacterView.h"
#include "chat/ChatSession.h"
#include "notifications/NoticeQueue.h"
#include "stage/BalloonPanel.h"
#include "stage/BalloonStatus.h"
#include "time/TimeEntry.h"
#include "workspace/ClientError.h"
#include "workspace/VantleDocument.h"
#include "workspace/VantleNotification.h"

#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <vector>

class CharacterPlayer;
class CharacterSheet;
class CharacterWindow;
class DaySummary;
class DornReportPanel;
struct DornReport;
class QAction;
class QMimeData;
class QMenu;
class QWidget;
struct VantleApproval;

// The controller of the one figure on the desktop: the content of the CharacterWindow, whose
// view is the CharacterView, and the player's delegate. One object over several subsystems;
// each group of member functions below is defined in its own subsystem's folder.
class StageViewController : public QObject, public CharacterPlayerDelegate {
    Q_OBJECT
public:
    // A change of agent under way: the one that is to arrive, and who waits for it.
    struct HandOver {
        QString target;
        std::vector<std::function<void()>> arrivals;
    };

    explicit StageViewController(QObject* parent = nullptr);
    ~StageViewController() override;

    // --- Core: appearance, hand-over, size and place (stage/StageViewController.cpp) ---

    CharacterView& view() const { return *characterView; }
    CharacterPlayer& player() const { return *characterPlayer; }
    // The window the view stands in; none while it stands in no CharacterWindow.
    CharacterWindow* window() const;
    // The agent on stage: the sheet's id, else the last one used; dorn when neither names one.
    VantleAgent vantleAgent() const;

    // Makes this character the one on stage, with a hand-over where someone is on stage already.
    // then runs on arrival, and also when nothing can be done, so that no caller hangs.
    void bringOn(const QString& id, std::function<void()> then = {});
    // Makes sure the figure is on stage; with entrance, plays its "Show" again in any case.
    void appear(bool entrance);
    // Glides the window's top left corner to a point of the screen.
    void move(QPoint to);
    // The character after the current one, wrapping round; a hand-over's target counts as current.
    QString nextCharacter() const;
    void showContextMenu(QPoint at);

    void playerWantsToAppear(CharacterPlayer& player) override;
    void playerWantsToDisappear(CharacterPlayer& player) override;
    void playerWillSwitchTo(CharacterPlayer& player, const CharacterSheet& sheet) override;
    void playerDidSwitchTo(CharacterPlayer& player, const CharacterSheet& sheet) override;

    std::optional<HandOver> handOver;

    // --- Conversation (stage/StageConversation.cpp) ---

    void openChat(bool focusInput);
    // Safe in any state.
    void closeChat();
    void say(const QString& text, const std::optional<QString>& animation = std::nullopt);
    // A notice; seconds above 0 close it by itself unless the user has turned to it.
    void notify(const QString& text, const std::optional<QString>& animation, double seconds,
                const std::optional<QString>& hint, const std::optional<QString>& title, BalloonStatus status,
                std::function<void()> action);
    // A notice whose click opens a link or a file.
    void notify(const QString& text, const std::optional<QString>& animation, double seconds,
                const QUrl& url);
    BalloonPanel& makeBalloon(bool activate);
    void showNotConnected(BalloonPanel& panel);
    // The not-connected words as a notice by themselves; a click opens the settings.
    void announceNotConnected();
    void show(const VantleClient::ClientError& error, BalloonPanel& panel);
    void send(const QString& question, const std::optional<QString>& choiceRef);
    static QString greeting(VantleAgent agent);
    // The animations that act out a workspace tool, in order of preference.
    static QStringList animations(const QString& tool);
    void showReportProgress(const QDate& day);
    void stopSpeaking();
    void showReport(const base::Result<DailyReport::Report, DailyReport::ReportError>& result,
                    const QDate& day);

    QPointer<BalloonPanel> balloonPanel;
    std::function<void()> pendingAction;
    base::Timer autoDismissWorkItem;
    ChatSession chatSession;
    // Documents and messages handed over since the last question, which go with the next one.
    QList<VantleDocument> droppedDocuments;
    QList<ForwardedEmail> droppedEmails;

    // --- Receiving (capture/StageReceiving.cpp) ---

    // What a batch of uploads gave.
    struct Received {
        QList<VantleDocument> documents;
        QList<ForwardedEmail> emails; // duplicates included
        QStringList failed;           // "name (reason)"
    };
    // The files of a drop sorted: to upload, refused by name, and acceptable beyond the batch.
    struct Picked {
        QStringList files;
        QStringList skipped;
        int leftOut = 0;
    };
    static constexpr qint64 largestFile = 104857600;
    static constexpr int batchLimit = 50;

    // Brings the figure's drop zone in line with the flags below.
    void updateDropZone();
    // A drop on the figure or the balloon; false when it was refused and nothing happened.
    bool receiveDrop(const QMimeData* data);
    // Uploads what a drop or an accepted offer gave, one item after another, with a running
    // count in the balloon and one closing message.
    void receive(const Capture::Captured& captured);
    // Folders walked, hidden entries passed over, the workspace's types up to 100 MB, 50 at most.
    static Picked collect(const QStringList& paths);
    // What goes in front of the next question so that the agent knows which emails are meant.
    static QString emailContext(const QList<ForwardedEmail>& emails);
    static QString describe(const ForwardedEmail& email);
    // A chip under the greeting that offers what the user has just copied elsewhere.
    void offerClipboard(BalloonPanel& panel);

    bool isFileDragActive = false; // a file drag is under way anywhere on the screen
    bool areFilesOver = false;     // the drag is over the figure
    bool isReceivingFiles = false; // a drop is being taken; the drop zone stays as it is

private:
    void finishReceiving(const Received& received, const Picked& picked);

public:
protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void viewDidAppear();
    bool keyDown(int key);
    // Plays one animation and goes on when it has ended, for certain: at the latest 0.3 s after
    // its nominal end, since a run that another play cuts off never completes.
    void play(const QString& name, std::function<void()> then);
    void stepIn();
    void applySize(const CharacterSheet& sheet);
    void noteInteraction();
    void appearIfHidden();
    void placeBalloon();
    void speak(const QString& text);
    void showFailure(const QString& text, BalloonPanel& panel);
    // Lets the running animation end its pass, then plays the first of the names.
    void playNext(const QStringList& names, bool loops = false);

    // What one question has seen so far, shared by its handlers.
    struct QuestionProgress {
        bool sawText = false;
        std::optional<QString> lastTool;
    };
    // The ids of the dropped documents, which go with this question only.
    QStringList takeAttachments();
    ChatSession::AnswerHandlers answerHandlers(BalloonPanel& panel);
    void showAnswerText(BalloonPanel& panel, QuestionProgress& progress, const QString& text);
    void actOutTool(QuestionProgress& progress, const QString& name);
    void showAnswer(BalloonPanel& panel, const ChatSession::Result& result);
    void offerChoices(BalloonPanel& panel, const QList<ChatChoice>& choices);

    QPointer<CharacterView> characterView;
    std::unique_ptr<CharacterPlayer> characterPlayer;
    std::list<base::Timer> safetyTimers;

    // --- Agent action menus (time/StageAgentActions.cpp) ---
public:
    // The agent's own rows of the context menu. Owned by parent.
    QList<QAction*> ownActions(VantleAgent agent, QObject* parent);
    // The report items of the context menu: they go with Pelka when she is around, and with
    // whoever stands there when she isn't. Owned by parent.
    QList<QAction*> reportActions(VantleAgent agent, QObject* parent);

    // What a timer can be started on: the recent entries, then none, then asking Pelka.
    QMenu* timerStartMenu(QWidget* parent);

    // Pelka is installed and the workspace hasn't said she is switched off.
    static bool isPelkaAtHand();
    // There is a workspace, and it keeps time for this user.
    static bool isTimerUsable();

    // How the menus reach the program's reports.
    std::function<void(const QDate& day)> onGenerateReport;
    std::function<void()> onOpenReportsFolder;
    // Lets the program add its own rows to the figure's menu before it opens.
    std::function<void(QMenu& menu)> onContextMenu;

private:
    QList<QAction*> pelkaActions(QObject* parent);
    // A row that opens a page of the workspace; titled with the link arrow.
    QAction* vantleLink(const QString& title, const QString& path, QObject* parent);

    // --- Time dialogues (time/StageTimer.cpp, time/StageTimeDialogues.cpp) ---
public:
    // Start and stop in the background; a failure is said by the figure.
    void startTimer(std::optional<TimeEntry> like);
    void stopTimer();
    // Pelka's word on what the timer did, unless the user is typing to her.
    void timerNotice(const QString& text);

    // Run every 300 seconds: at the working day's end Pelka comes by herself, once a day.
    void dayEndCheck();
    void startTimerByAsking();
    void logTime();
    // asked: the user chose it; otherwise too little recorded passes in silence.
    void offerTodaysTime(bool asked);
    void requestTimeOff();
    void confirmSickToday();

private:
    void talkToPelka(const std::optional<QString>& placeholder, const std::optional<QString>& say,
                     const std::optional<QString>& opening);
    // A question with buttons and no input field.
    void pelkaAsks(const QString& question, const QList<ChatChoice>& choices,
                   const std::optional<QString>& hint, std::function<void(const ChatChoice& choice)> onPick);
    void askAboutRunningTimer(const TimeEntry& entry);
    void showDaySummary(const DaySummary& summary);

    // The pause before the day's end question, and the one after the running-timer answer.
    base::Timer dayEndStep;

    // --- Board report (panels/StageDornReport.cpp) ---
public:
    // Fetches Dorn's newest report and shows it in its panel beside the figure.
    void showDornReport();
    // Safe in any state.
    void closeReport();

    QPointer<DornReportPanel> reportPanel;

private:
    // A new report always replaces the panel that is open.
    void presentReport(const DornReport& report);

    // --- Notifications and approvals (notifications/StageNotifications.cpp, StageApprovals.cpp) ---
public:
    // A notification of the workspace, said by the agent it comes from. While the balloon is
    // busy it waits, and the waiting ones are shown oldest first once the balloon is free.
    void showVantleNotification(const VantleNotification& n);
    // The workspace has marked a notification read elsewhere: it no longer waits.
    void notificationRead(const QString& id);
    // Shows the next waiting notice at once, whatever the balloon holds; the user asked for it.
    void showNextWaiting();
    // How many notices wait.
    int waitingCount() const { return waiting.size(); }
    void presentPlainNotification(const VantleNotification& n);
    // An approval as a decision in the balloon; a plain notice where it can't be decided.
    void presentDecision(const QString& id, const VantleNotification& n);
    // Opens a link of a notice: web pages and documents. Programs, folders and whatever the
    // desktop would run are shown in the file manager; other schemes do nothing.
    void open(const QUrl& notificationURL);
    // The balloon is taken by something the user should not lose: a conversation, an approval,
    // a notice still within its reading time, uploads, a dialogue, a figure on its way.
    bool isBalloonBusy() const;

signals:
    void waitingChanged(int count);

private:
    // The balloon is the active window and takes input: the user is in a conversation.
    bool isChatOpen() const;
    // A message of the program's own waits while an approval holds the balloon or a notice is on
    // its way to it.
    bool mustWait(std::function<void()> show);
    void enqueue(NoticeQueue::Entry entry);
    // Soon, once the current handler has returned: the next notice, if the balloon is free.
    void scheduleNextNotice();
    void presentNext();
    void presentNotice(NoticeQueue::Entry entry);
    // A notice stands for its reading time before a waiting one may take its place.
    void startReadingTime(const QString& text);
    // The approval on show goes back to wait, undecided, with what was typed under it.
    void setApprovalAside();
    void presentColleagueMessage(const VantleNotification& n);
    void openVantleNotification(const VantleNotification& n, std::optional<VantleAgent> agent);
    void showNotificationThread(const VantleNotification& n, VantleAgent agent, bool wasOnStage);
    void presentDecision(const QString& id, const NoticeQueue::Entry& entry);
    void showApproval(const VantleApproval& approval, BalloonPanel& panel, const VantleNotification& n,
                      const QString& comment);
    void decide(const VantleApproval& approval, bool approve, const std::optional<QString>& comment,
                BalloonPanel& panel, const VantleNotification& n);
    void showDecisionOutcome(const VantleApproval& approval, bool approve, bool withComment,
                             BalloonPanel& panel);
    // Counts what the balloon has been given to present of notifications; a late answer for an
    // earlier one finds the count moved on and is dropped.
    quint64 presentedNotifications = 0;
    NoticeQueue waiting;
    base::Timer readingTime;
    base::Timer nextNoticeStep;
    // The approval the balloon holds, fetched or on show, until it is decided or set aside.
    std::optional<NoticeQueue::Entry> openApproval;
    // A notice waits for its agent to come on stage.
    bool noticeArriving = false;
};
