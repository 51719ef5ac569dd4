#pragma once

#include <QDateTime>
#include <QObject>

// Application-wide announcements that several parts of the program listen to.
class AppEvents : public QObject {
    Q_OBJECT
public:
    static AppEvents& shared();

signals:
    // The size choice changed in the settings.
    void settingsDidChange();
    // The language in force may have changed.
    void languageDidChange();
    // The user asked for the settings window.
    void settingsRequested();
    // The user asked for the workspace's dashboard in the browser.
    void vantleRequested();
    // The user asked for the report of a day, or for the folder of the reports.
    void reportRequested(const QDate& day);
    void reportsFolderRequested();
    // A new desktop key or workspace address was stored.
    void workspaceDidChange();
    // The program is ending, by either road: the open activity span closes at this time.
    void activityEnds(const QDateTime& at);

private:
    AppEvents() = default;
};
