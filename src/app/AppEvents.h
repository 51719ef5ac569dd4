#pragma once

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

private:
    AppEvents() = default;
};
