#include "platform/linux/DesktopEntries.h"

#include "base/Clock.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QLocale>
#include <QSet>
#include <QStandardPaths>

#include <algorithm>

namespace platform {
namespace {

constexpr qint64 rescanAfterSeconds = 5 * 60;
constexpr QLatin1String desktopSuffix(".desktop");

// A value with the escapes that desktop entries allow in strings undone.
QString unescaped(QStringView value) {
    QString out;
    out.reserve(value.size());
    for (qsizetype i = 0; i < value.size(); ++i) {
        if (value[i] != u'\\' || i + 1 == value.size()) {
            out += value[i];
            continue;
        }
        switch (value[++i].unicode()) {
        case 's':
            out += u' ';
            break;
        case 'n':
            out += u'\n';
            break;
        case 't':
            out += u'\t';
            break;
        case 'r':
            out += u'\r';
            break;
        default:
            out += value[i];
        }
    }
    return out;
}

// The keys read of an entry; the rest, translations of every other text above all, are skipped.
constexpr QByteArrayView wantedKeys[] = {"Type", "Name", "Name[et]", "StartupWMClass", "Hidden"};

// Each folder that may hold entries, its subfolders included, with the time it last changed; an
// entry added or removed changes its folder's time. A folder that does not exist has no time.
QList<std::pair<QString, QDateTime>> folderTimes() {
    QList<std::pair<QString, QDateTime>> times;
    for (const QString& folder : QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation)) {
        times.append({folder, QFileInfo(folder).lastModified()});
        QDirIterator it(folder, QDir::Dirs | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            it.next();
            times.append({it.filePath(), it.fileInfo().lastModified()});
        }
    }
    return times;
}

} // namespace

QHash<QByteArrayView, QString> DesktopEntries::mainGroup(const QByteArray& text) {
    QHash<QByteArrayView, QString> keys;
    bool inside = false;
    for (qsizetype start = 0; start < text.size();) {
        qsizetype end = text.indexOf('\n', start);
        end = end < 0 ? text.size() : end;
        const QByteArrayView line = QByteArrayView(text).sliced(start, end - start).trimmed();
        start = end + 1;
        if (line.startsWith('[')) {
            if (inside) {
                break;
            }
            inside = line == "[Desktop Entry]";
            continue;
        }
        const auto equals = line.indexOf('=');
        if (!inside || equals <= 0) {
            continue;
        }
        const QByteArrayView key = line.first(equals).trimmed();
        if (const auto* wanted = std::find(std::begin(wantedKeys), std::end(wantedKeys), key);
            wanted != std::end(wantedKeys)) {
            keys.insert(*wanted, unescaped(QString::fromUtf8(line.sliced(equals + 1).trimmed())));
        }
    }
    return keys;
}

AppLanguage DesktopEntries::desktopLanguage() {
    return QLocale::system().language() == QLocale::Estonian ? AppLanguage::et : AppLanguage::en;
}

std::optional<QString> DesktopEntries::name(const QString& windowClass, const QString& instance,
                                            AppLanguage language) {
    if (!scanned.isValid()) {
        scan();
    }
    const Names* names = find(windowClass, instance);
    if (!names && rescanDue()) {
        scan();
        names = find(windowClass, instance);
    }
    if (!names) {
        return std::nullopt;
    }
    return language == AppLanguage::et && !names->estonian.isEmpty() ? names->estonian : names->plain;
}

bool DesktopEntries::rescanDue() {
    const QDateTime now = base::Clock::now();
    // A clock set back counts as time passed.
    const qint64 since = scanned.secsTo(now);
    if (since >= 0 && since < rescanAfterSeconds) {
        return false;
    }
    scanned = now;
    return folderTimes() != folders;
}

const DesktopEntries::Names* DesktopEntries::find(const QString& windowClass, const QString& instance) const {
    // The class names the application; the instance only when it matches exactly, since by
    // convention it is the class in lower case, and a program started under a class of its own
    // ("xterm -class Mail") is not the program's entry.
    const std::pair<const QHash<QString, Names>*, QString> lookups[] = {
        {&byWindowClass, windowClass.toLower()},
        {&byExactWindowClass, instance},
        {&byId, windowClass.toLower()},
        {&byId, instance.toLower()}};
    for (const auto& [table, key] : lookups) {
        if (const auto it = table->constFind(key); !key.isEmpty() && it != table->constEnd()) {
            return &*it;
        }
    }
    return nullptr;
}

void DesktopEntries::scan() {
    scanned = base::Clock::now();
    folders = folderTimes();
    byWindowClass.clear();
    byExactWindowClass.clear();
    byId.clear();
    // The first folder that holds an id decides for it; the user's own folder comes first.
    QSet<QString> seen;
    for (const QString& folder : QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation)) {
        const QDir root(folder);
        QStringList paths;
        QDirIterator it(folder, {u'*' + desktopSuffix}, QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            paths << it.next();
        }
        std::sort(paths.begin(), paths.end());
        for (const QString& path : paths) {
            const QString id = root.relativeFilePath(path).replace(u'/', u'-');
            if (!seen.contains(id)) {
                seen.insert(id);
                read(path, id);
            }
        }
    }
}

void DesktopEntries::read(const QString& path, const QString& id) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return;
    }
    const QByteArray text = file.readAll();
    const auto keys = mainGroup(text);
    const Names names{keys.value("Name"), keys.value("Name[et]")};
    // A hidden entry is one the user deleted; it hides the same id further down the folders too.
    if (names.plain.isEmpty() || keys.value("Hidden") == u"true" || keys.value("Type") != u"Application") {
        return;
    }
    const QString windowClass = keys.value("StartupWMClass");
    if (!windowClass.isEmpty() && !byWindowClass.contains(windowClass.toLower())) {
        byWindowClass.insert(windowClass.toLower(), names);
    }
    if (!windowClass.isEmpty() && !byExactWindowClass.contains(windowClass)) {
        byExactWindowClass.insert(windowClass, names);
    }
    const QString plainId = id.chopped(desktopSuffix.size()).toLower();
    if (!byId.contains(plainId)) {
        byId.insert(plainId, names);
    }
}

} // namespace platform
