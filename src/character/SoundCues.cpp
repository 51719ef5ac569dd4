#include "character/SoundCues.h"

#include "character/CharacterSheet.h"

#include <QAudioOutput>
#include <QFileInfo>
#include <QMediaPlayer>
#include <QUrl>

SoundCues::SoundCues(QObject* parent) : QObject(parent) {}

QMediaPlayer* SoundCues::player(const QString& name) {
    if (const auto it = players.constFind(name); it != players.constEnd() && *it) {
        return *it;
    }
    const QString folder = CharacterSheet::soundsDirectory();
    if (folder.isEmpty()) {
        return nullptr;
    }
    const QString path = folder + QLatin1Char('/') + name + QLatin1String(".mp3");
    if (name.contains(QLatin1Char('/')) || !QFileInfo(path).isFile()) {
        return nullptr;
    }
    auto* media = new QMediaPlayer(this);
    // With no sound device the output is a silent one; nothing else changes.
    media->setAudioOutput(new QAudioOutput(media));
    media->setSource(QUrl::fromLocalFile(path));
    // A file that does not decode is dropped, so that the next request tries again.
    connect(media, &QMediaPlayer::errorOccurred, this, [this, name, media] {
        if (players.value(name) == media) {
            players.remove(name);
        }
        media->deleteLater();
    });
    players.insert(name, media);
    return media;
}

void SoundCues::play(const QString& name) {
    if (auto* media = player(name)) {
        media->setPosition(0);
        media->play();
    }
}

void SoundCues::stopAll() {
    for (const auto& media : std::as_const(players)) {
        if (media) {
            media->stop();
        }
    }
}
