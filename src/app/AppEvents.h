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
    // The program is ending, by either road: the open activity span closes at this time.
    void activityEnds(const QDateTime& at);

private:
    AppEvents() = default;
};
