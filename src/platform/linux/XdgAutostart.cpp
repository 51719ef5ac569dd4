#include "platform/linux/XdgAutostart.h"

#include "app/AppIdentity.h"
#include "base/Text.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

namespace platform {
namespace {

// Desktop entries quote an Exec argument in double quotes, escaping what the shell would read.
QString quotedExec(const QString& path) {
    QString escaped;
    for (const QChar c : path) {
        if (c == QLatin1Char('"') || c == QLatin1Char('`') || c == QLatin1Char('$') ||
            c == QLatin1Char('\\')) {
            escaped += QLatin1Char('\\');
        }
        escaped += c;
    }
    return QLatin1Char('"') + escaped + QLatin1Char('"');
}

// A plain string value of a desktop entry: only the backslash and the control characters
// are escaped.
QString entryString(const QString& value) {
    QString escaped = value;
    escaped.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    escaped.replace(QLatin1Char('\n'), QStringLiteral("\\n"));
    escaped.replace(QLatin1Char('\t'), QStringLiteral("\\t"));
    escaped.replace(QLatin1Char('\r'), QStringLiteral("\\r"));
    return escaped;
}

} // namespace

XdgAutostart::XdgAutostart(QString e) : executable(std::move(e)) {}

QString XdgAutostart::entryPath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QLatin1String("/autostart/mirkvantle-agents.desktop");
}

bool XdgAutostart::isEnabled() {
    QFile file(entryPath());
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    // An entry the desktop's own settings switched off stays in place, marked hidden.
    const QByteArray text = file.read(64 * 1024);
    for (const auto& line : text.split('\n')) {
        const QByteArray trimmed = line.trimmed();
        if (trimmed == "Hidden=true" || trimmed == "X-GNOME-Autostart-enabled=false") {
            return false;
        }
    }
    return true;
}

std::optional<QString> XdgAutostart::setEnabled(bool enabled) {
    const QString path = entryPath();
    if (!enabled) {
        if (QFile::exists(path) && !QFile::remove(path)) {
            return base::pick(QStringLiteral("Couldn't remove ") + path + QStringLiteral("."),
                              QStringLiteral("Faili ") + path + QStringLiteral(" ei saanud eemaldada."));
        }
        return std::nullopt;
    }
    const QString folder = QFileInfo(path).absolutePath();
    QSaveFile file(path);
    const QByteArray entry = "[Desktop Entry]\n"
                             "Type=Application\n"
                             "Name=" +
                             QByteArray(AppIdentity::name) +
                             "\n"
                             "Exec=" +
                             quotedExec(executable).toUtf8() +
                             "\n"
                             // A removed program leaves an entry that the session passes over.
                             "TryExec=" +
                             entryString(executable).toUtf8() +
                             "\n"
                             "Icon=mirkvantle-agents\n"
                             "Terminal=false\n"
                             "X-GNOME-Autostart-enabled=true\n";
    // A folder that can't be made shows in the file's own error.
    QDir().mkpath(folder);
    if (!file.open(QIODevice::WriteOnly) || file.write(entry) != entry.size() || !file.commit()) {
        const QString reason = file.errorString().isEmpty() ? QStringLiteral("?") : file.errorString();
        return base::pick(QStringLiteral("Couldn't write ") + path + QStringLiteral(": ") + reason,
                          QStringLiteral("Faili ") + path + QStringLiteral(" ei saanud kirjutada: ") +
                              reason);
    }
    return std::nullopt;
}

} // namespace platform
