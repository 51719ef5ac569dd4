#pragma once

#include <QIcon>
#include <QMenu>
#include <QObject>
#include <QPointer>
#include <QSystemTrayIcon>

#include <functional>
#include <memory>

class StageViewController;
class TimeTracker;

// The program's icon in the system tray and its menu, rebuilt each time it opens so that it
// shows the agent, the language and the timer of that moment. A tray shows no text beside an
// icon: the running timer is in the tooltip, and the icon turns green while it runs. Where the
// desktop has no tray, the rows the figure's own menu lacks stand in a submenu there.
class StatusMenu : public QObject {
    Q_OBJECT
public:
    // Rows of the full menu; the figure's menu already has the first two, the agents and hiding.
    enum class Rows { all, beyondFigureMenu };

    explicit StatusMenu(StageViewController* stage, QObject* parent = nullptr);
    ~StatusMenu() override;

    // Redraws the icon and its tooltip from the timer's state and the notices that wait.
    void showTimer();
    // Empties the menu and fills it afresh; the timer is asked to refresh for the next time.
    void menuNeedsUpdate();
    // Adds the rows to a menu in their order, for the language of the moment.
    void addRows(QMenu& menu, Rows rows);
    // Whether a tray holds the icon; asked anew each time, since a tray may come and go.
    static bool isInTray();

    QSystemTrayIcon item;
    QMenu menu;
    TimeTracker& timer;
    // Whether the icon is in its running form, and the count it shows.
    bool showsRunning = false;
    int showsWaiting = 0;

private:
    void toggleMute();

    int waitingCount() const;

    QPointer<StageViewController> stageController;
};
