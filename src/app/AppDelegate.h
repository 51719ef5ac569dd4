#pragma once

#include "activity/DailyReportScheduler.h"
#include "base/Scheduler.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QUrl>
#include <QWidget>

#include <functional>
#include <optional>
#include <vector>

class StageViewController;
class CharacterWindow;
class StatusMenu;
class HotKey;
class SettingsModel;

// Owns the running program: builds the figure and its window, starts the background services
// in a fixed order, takes links from outside and sees the process out.
class AppDelegate : public QObject {
    Q_OBJECT
public:
    explicit AppDelegate(QObject* parent = nullptr);
    ~AppDelegate() override;

    // The start sequence; runs once, on the main loop.
    void applicationDidFinishLaunching();
    // The quit item's road out, run as the main loop ends: closes the open activity span and
    // writes the settings.
    void applicationWillTerminate();
    // SIGTERM's road out: closes the open activity span, writes the settings and ends the
    // process with status 0 at once, without the quit road and without unwinding anything.
    [[noreturn]] static void terminateBySignal();
    // Links from outside: held until start-up has finished, then run in order of arrival.
    void open(const QList<QUrl>& urls);

    // A report the user asked for; nothing while another one is being written.
    void generateReport(const QDate& day);
    void openReportsFolder();
    // The workspace's dashboard in the browser; nothing without a workspace address.
    void openVantle();
    // Brings the figure back from hidden: a second launch without a link does this.
    void showAgent();
    // A new desktop key or workspace address was stored: the old workspace's state goes and
    // the stream starts again.
    void workspaceDidChange();
    // Opens the one settings window, or raises it.
    void openSettings();

    StageViewController* stage = nullptr;
    CharacterWindow* window = nullptr;
    StatusMenu* statusMenu = nullptr;
    QPointer<QWidget> settingsWindow;
    SettingsModel* settingsModel = nullptr;
    std::vector<HotKey*> shortcuts;
    DailyReportScheduler reports;
    // When the failure of an automatic report was last shown; one a day is enough.
    std::optional<QDateTime> lastAnnouncedReportFailure;
    bool announcedKeyEnded = false;
    // None once start-up has finished; from then on links run at once.
    std::optional<QList<QUrl>> waitingLinks = QList<QUrl>{};

    // How a link is run; tests look at the links that reach it.
    std::function<void(const QUrl&)> runLink;

private:
    void setUpStage();
    void setUpStatusMenu();
    void setUpShortcuts();
    void startVantleEvents();
    void startRecording();
    void startReports();
    // What both roads out do first.
    static void closeActivitySpan();
    void observeLanguage();

    base::Timer startUpFinish;
    base::Timer dayEnd;
};
