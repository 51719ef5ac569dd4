#pragma once

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QString>

class QMediaPlayer;

// The sound cues of all characters, each loaded once and kept for the run. A cue that cannot be
// loaded or played costs only itself, and is tried again the next time it is asked for.
class SoundCues : public QObject {
    Q_OBJECT
public:
    explicit SoundCues(QObject* parent = nullptr);

    // The player of Sounds/<name>.mp3; none when there is no such file.
    QMediaPlayer* player(const QString& name);
    // Starts the cue from its beginning.
    void play(const QString& name);
    void stopAll();

private:
    QHash<QString, QPointer<QMediaPlayer>> players;
};
