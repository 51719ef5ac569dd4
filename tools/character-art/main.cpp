// character-art: draws the four agents, their sound cues and the program's icons from code.
//
//   character-art OUTDIR                  writes OUTDIR/Characters/..., OUTDIR/MenuBarIcon*.png and
//                                         OUTDIR/icons/hicolor/...
//   character-art --contact-sheet DIR     writes one review sheet per character into DIR
//
// The output is the same, byte for byte, on every run; the packages in the repository's
// resources are this program's output.

#include "Figure.h"
#include "Icons.h"
#include "Package.h"
#include "Sounds.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QSaveFile>

#include <cstdio>
#include <memory>

namespace {

bool writeFile(const QString& path, const QByteArray& bytes) {
    if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
        std::fprintf(stderr, "character-art: cannot create the folder of %s\n", qPrintable(path));
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        std::fprintf(stderr, "character-art: cannot write %s\n", qPrintable(path));
        return false;
    }
    return true;
}

int writePackages(const QString& out) {
    const QDir dir(out);
    bool ok = true;
    for (const auto& figure : makeFigures()) {
        const CharacterPackage pkg = buildPackage(*figure);
        const QString base = dir.filePath("Characters/" + pkg.id);
        ok = writeFile(base + "/character.json", pkg.json()) && ok;
        ok = writeFile(base + "/atlas.png", indexedPngBytes(pkg.atlas())) && ok;
    }
    for (const SoundCue& cue : makeSoundCues()) {
        QString error;
        const QByteArray mp3 = encodeMp3(cue, &error);
        if (mp3.isEmpty()) {
            std::fprintf(stderr, "character-art: %s: %s\n", qPrintable(cue.name), qPrintable(error));
            ok = false;
            continue;
        }
        ok = writeFile(dir.filePath("Characters/Sounds/" + cue.name + ".mp3"), mp3) && ok;
    }
    ok = writeFile(dir.filePath("MenuBarIcon.png"), pngBytes(menuBarIcon(22))) && ok;
    ok = writeFile(dir.filePath("MenuBarIcon@2x.png"), pngBytes(menuBarIcon(44))) && ok;
    for (int size : {16, 24, 32, 48, 64, 128, 256}) {
        const QString path = QString("icons/hicolor/%1x%1/apps/mirkvantle-agents.png").arg(size);
        ok = writeFile(dir.filePath(path), pngBytes(applicationIcon(size))) && ok;
    }
    return ok ? 0 : 1;
}

int writeContactSheets(const QString& out) {
    bool ok = true;
    for (const auto& figure : makeFigures()) {
        const CharacterPackage pkg = buildPackage(*figure);
        ok = writeFile(QDir(out).filePath(pkg.id + ".png"), pngBytes(contactSheet(pkg))) && ok;
    }
    return ok ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    const bool sheets = argc == 3 && QByteArray(argv[1]) == "--contact-sheet";
    if (!sheets && argc != 2) {
        std::fprintf(stderr, "usage: character-art OUTDIR\n       character-art --contact-sheet DIR\n");
        return 2;
    }
    if (sheets) {
        // Lettering needs fonts, and so a GUI application; no display is needed.
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        QGuiApplication app(argc, argv);
        return writeContactSheets(QString::fromLocal8Bit(argv[2]));
    }
    QCoreApplication app(argc, argv);
    return writePackages(QString::fromLocal8Bit(argv[1]));
}
