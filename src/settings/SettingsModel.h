#pragma once

#include "base/Scheduler.h"
#include "platform/ActiveWindow.h"
#include "platform/HotKeyGrabber.h"

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTime>

#include <optional>

// What the settings form needs beyond storing a value: the desktop key, the live connection
// line, the local models, launch at login and what the record can see of this desktop. Tells the
// form to redraw through changed().
class SettingsModel : public QObject {
    Q_OBJECT
public:
    // A typed key counts once the typing has paused this long, so that a burst of keystrokes
    // stores the key and asks the workspace once, for the last text.
    static constexpr double keyPause = 0.6;

    explicit SettingsModel(QObject* parent = nullptr);

    QString vantleKey;
    QString vantleStatus;
    bool launchAtLogin = false;
    std::optional<QString> launchAtLoginError;
    QStringList ollamaModels;
    QString ollamaStatus;
    // What the activity record can see of this desktop's windows.
    platform::Sight sight;
    // Where the shortcuts are heard on this desktop.
    platform::HotKeyGrabber::Reach shortcutReach = platform::HotKeyGrabber::Reach::everyWindow;
    bool recordWindowTitles = false;
    QTime reportTime;

    // Brings everything up to date; the form calls it when it appears and when the language
    // changes.
    void refresh();
    void loadOllamaModels();
    // The workspace address was submitted: a new workspace with the same key.
    void workspaceSubmitted();

    void setVantleKey(const QString& key);
    void setRecordWindowTitles(bool on);
    void setReportTime(const QTime& time);
    void setLaunchAtLogin(bool on);
    // The lines that bind the shortcuts in a compositor's configuration (sway's form, which other
    // wlroots compositors read alike or nearly).
    static QString compositorLines();
    // The one step that lets the record see this desktop's windows (the GNOME Shell extension).
    void turnOnWindowSource();

    // The report time of a number of minutes after midnight; 00:00 for what isn't a time of day.
    static QTime timeFromMinutes(int minutes);
    // "Same as Vantle", with the workspace's language in brackets when it has told it.
    static QString automaticLanguageLabel();
    // The report model picker's values after its first entry: the installed models and the
    // stored one, distinct, non-empty, in ascending order.
    static QStringList reportModelChoices(const QStringList& installed, const QString& stored);
    // Whether the key is kept in the keyring, or in the private file where no keyring answers.
    static bool keyInKeyring();

signals:
    void changed();

private:
    // The fields that stand for what is stored elsewhere: settings, autostart, the recorder.
    void readStored();
    // What this desktop lets the record see and where it lets the shortcuts be heard.
    void readDesktop();
    void commitKey();
    // A new key or address: the program lets go of the old workspace, then checks the new one.
    void switchWorkspace();
    void checkConnection();

    // The key as last stored, trimmed; a field that matches it needs no switch.
    QString storedKey;
    base::Timer keyTyping;
    // Each check takes the next number; an answer whose number has passed is stale.
    quint64 connectionChecks = 0;
};
