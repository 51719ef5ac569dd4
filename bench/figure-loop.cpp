// The figure as the program shows it, playing one looping animation without end: for the cost
// of an animation against the bare window switching its picture at the same rate.
//
//   figure-loop CHARACTERS-FOLDER ID ANIMATION

#include "app/Settings.h"
#include "character/CharacterPlayer.h"
#include "character/CharacterSheet.h"
#include "character/CharacterWindow.h"
#include "platform/Services.h"
#include "stage/StageViewController.h"

#include <QApplication>

#include <cstdio>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    if (argc < 4) {
        std::fprintf(stderr, "usage: figure-loop CHARACTERS-FOLDER ID ANIMATION\n");
        return 2;
    }
    platform::install(platform::systemServices());
    Settings::registerDefaults();
    Settings::setValue(QLatin1String(Settings::Key::idleAnimations), false);
    Settings::setValue(QLatin1String(Settings::Key::isMuted), true);
    CharacterSheet::setDirectory(QString::fromLocal8Bit(argv[1]));

    StageViewController stage;
    CharacterWindow window;
    window.setContentView(&stage.view());
    window.center();
    stage.bringOn(QString::fromLocal8Bit(argv[2]));
    window.makeKeyAndOrderFront();
    if (!stage.player().play({QString::fromLocal8Bit(argv[3])}, true)) {
        std::fprintf(stderr, "no such character or animation\n");
        return 1;
    }
    return QApplication::exec();
}
