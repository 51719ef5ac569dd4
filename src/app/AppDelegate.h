#pragma once

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

// Owns the running program: builds the figure and its window, starts the background services
// in a fixed order, takes links from outside and sees the process out.
class AppDelegate : public QObject {
    Q_OBJECT
public:
    explicit AppDelegate(QObject* parent = nullptr);
    ~AppDelegate() override;

    // The start sequence; runs once, on the main loop.
    void applicationDidFinishLaunching();
    // The quit item's road out: closes the open activity span.
    void applicationWillTerminate();
    // Links from outside: held until start-up has finished, then run in order of arrival.
    void open(const QList<QUrl>& urls);

    QString settingsTitle() const;
    void openReportsFolder();
    // The workspace's dashboard in the browser; nothing without a workspace address.
    void openVantle();

    StageViewController* stage = nullptr;
    CharacterWindow* window = nullptr;
    StatusMenu* statusMenu = nullptr;
    QPointer<QWidget> settingsWindow;
    std::vector<HotKey*> shortcuts;
    std::optional<QDateTime> lastAnnouncedReportFailure;
    bool announcedKeyEnded = false;
    // None once start-up has finished; from then on links run at once.
    std::optional<QList<QUrl>> waitingLinks = QList<QUrl>{};

    // How a link is run; tests look at the links that reach it.
    std::function<void(const QUrl&)> runLink;

private:
    void setUpStage();
    void setUpShortcuts();
    void startVantleEvents();
    void startRecording();
    void observeLanguage();

    base::Timer startUpFinish;
};
