#pragma once

#include "app/AppLanguage.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>

#include <optional>

namespace platform {

// The names that the installed applications' desktop entries give them, found by a window's
// class. The folders are read when first asked, and again when a class is not found, at most
// every few minutes and only if a folder has changed since: an application installed while the
// program runs is named soon, and a window with no entry at all costs a few lookups in memory
// and, every few minutes, a look at the folders' times.
class DesktopEntries {
public:
    // The entry's name in that language, else its plain name; none when no entry matches.
    std::optional<QString> name(const QString& windowClass, const QString& instance, AppLanguage language);
    // The language the desktop speaks, for names in the record: unlike the program's own, it
    // does not change while the program runs.
    static AppLanguage desktopLanguage();
    // The keys of an entry's [Desktop Entry] group that names are made of, escapes undone; later
    // groups (actions) and all other keys are skipped.
    static QHash<QByteArrayView, QString> mainGroup(const QByteArray& text);

private:
    struct Names {
        QString plain;
        QString estonian;
    };

    const Names* find(const QString& windowClass, const QString& instance) const;
    bool rescanDue();
    void scan();
    void read(const QString& path, const QString& id);

    // The entry's StartupWMClass, by lower case and as written, and its desktop file id without
    // ".desktop", by lower case.
    QHash<QString, Names> byWindowClass;
    QHash<QString, Names> byExactWindowClass;
    QHash<QString, Names> byId;
    QDateTime scanned; // the last read or look at the folders
    QList<std::pair<QString, QDateTime>> folders;
};

} // namespace platform
