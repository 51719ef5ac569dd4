#pragma once

#include <QString>
#include <QTemporaryDir>

// A throw-away home for a test run: XDG folders, the runtime folder and the settings file all
// lie in a temporary folder, so no test touches the user's files or depends on another.
class TestEnvironment {
public:
    // Points the XDG variables at a fresh folder; call before the application object exists.
    static void prepare();
    static QString root();
    // A fresh settings file for one test, with the registered defaults.
    static void freshSettings();
};

// Runs the tests of one executable inside a test environment. widgets: make a QApplication
// (needs a display) instead of a QCoreApplication.
int runTests(int argc, char** argv, bool widgets);
