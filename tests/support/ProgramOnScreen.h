#pragma once

// The real program on a real X server, driven from outside as a person would: xdotool for the
// pointer and keyboard, a screenshot for what shows. Needs the session that scripts/test starts.

#include "support/CharacterFixture.h"
#include "support/SimProcess.h"

#include <QImage>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace onscreen {

// The standard output of a program that ended well within ten seconds; empty otherwise.
QString run(const QString& program, const QStringList& arguments);
bool xdotool(const QStringList& arguments);
QRect geometryOf(const QString& window);
// What the screen shows around a rectangle, also kept as an artefact under the name.
QImage screenshot(const QRect& around, const QString& name);
// Pixels of a clear green: the answer's success mark, the tray icon's running form.
int greenPixels(const QImage& image);
// Whether another client holds the keyboard, as an open menu does: keys sent now reach it.
bool keyboardTaken();

// The program as a user starts it, with its own home and runtime folder.
class Program {
public:
    explicit Program(const QString& home, const QString& desktopKey = {},
                     const QString& executable = QStringLiteral(MIRK_APP_PATH));
    ~Program();
    // What the program and the programs started beside it see: a desktop session of the home.
    static QProcessEnvironment environment(const QString& home);
    // The visible window of this name, once it shows; the first one that passes the filter.
    QString window(const QString& name, const std::function<bool(const QRect&)>& accept = {});
    // SIGTERM, and the program ended with status 0.
    bool terminate();
    // The program ends by itself with status 0.
    bool endsWell();
    QProcess process;
};

// A home with four disc-shaped agents and a workspace address that answers nothing, and a
// Wayland compositor beside the X server as on a Wayland session with XWayland.
class ProgramOnScreen : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // The program's workspace is the simulator.
    void useWorkspace(const SimProcess& sim);
    void setSetting(const QString& key, const QVariant& value);

    QTemporaryDir home;
    CharacterFixture fixture;
    QProcess compositor;
};

} // namespace onscreen
