#include "app/Settings.h"

#include "app/AppIdentity.h"
#include "base/Files.h"
#include "base/Network.h"
#include "base/Text.h"

#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>
#include <QSettings>

#include <memory>

namespace Settings {
namespace {

struct Store {
    QMutex mutex;
    std::unique_ptr<QSettings> settings;
    QVariantMap defaults;
};

Store& store() {
    static auto* instance = new Store; // lives as long as the process
    return *instance;
}

// The file holds workspace addresses and thread memory: it is the user's alone, 0600 in a 0700
// folder, made so before the first write, since every later write keeps the file's modes.
void makePrivate(const QString& path) {
    base::makePrivateFolder(QFileInfo(path).path());
    QFile file(path);
    if (file.open(QIODevice::ReadWrite, QFileDevice::ReadOwner | QFileDevice::WriteOwner)) {
        file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    }
}

QSettings& settingsLocked(Store& s) {
    if (!s.settings) {
        s.settings =
            std::make_unique<QSettings>(QSettings::IniFormat, QSettings::UserScope,
                                        QLatin1String(AppIdentity::name), QLatin1String(AppIdentity::name));
        makePrivate(s.settings->fileName());
    }
    return *s.settings;
}

// The INI store treats "/" and "\" in a key as group separators; keys such as those of the
// thread memory hold whole addresses, so both are escaped.
QString escaped(const QString& key) {
    QString out;
    out.reserve(key.size());
    for (const QChar c : key) {
        if (c == QLatin1Char('%')) {
            out += QLatin1String("%25");
        } else if (c == QLatin1Char('/')) {
            out += QLatin1String("%2F");
        } else if (c == QLatin1Char('\\')) {
            out += QLatin1String("%5C");
        } else {
            out += c;
        }
    }
    return out;
}

QString unescaped(QString key) {
    key.replace(QLatin1String("%2F"), QLatin1String("/"));
    key.replace(QLatin1String("%5C"), QLatin1String("\\"));
    key.replace(QLatin1String("%25"), QLatin1String("%"));
    return key;
}

QVariant storedValue(const QString& key) {
    auto& s = store();
    QMutexLocker lock(&s.mutex);
    return settingsLocked(s).value(escaped(key));
}

QVariant registeredDefault(const QString& key) {
    auto& s = store();
    QMutexLocker lock(&s.mutex);
    return s.defaults.value(key);
}

// Values come back from the INI file as text; a text that is not a number or a truth value
// counts as missing.
std::optional<bool> readBool(const QVariant& v) {
    if (v.typeId() == QMetaType::Bool) {
        return v.toBool();
    }
    if (v.typeId() == QMetaType::QString || v.typeId() == QMetaType::QByteArray) {
        const auto text = v.toString().trimmed().toLower();
        if (text == QLatin1String("true") || text == QLatin1String("1")) {
            return true;
        }
        if (text == QLatin1String("false") || text == QLatin1String("0")) {
            return false;
        }
        return std::nullopt;
    }
    if (v.canConvert<double>()) {
        bool ok = false;
        const double d = v.toDouble(&ok);
        return ok ? std::optional(d != 0) : std::nullopt;
    }
    return std::nullopt;
}

std::optional<double> readDouble(const QVariant& v) {
    if (!v.isValid() || v.typeId() == QMetaType::QVariantMap || v.typeId() == QMetaType::QVariantList) {
        return std::nullopt;
    }
    if (v.typeId() == QMetaType::Bool) {
        return v.toBool() ? 1.0 : 0.0;
    }
    bool ok = false;
    const double d = v.toString().trimmed().toDouble(&ok);
    if (ok) {
        return d;
    }
    const double direct = v.toDouble(&ok);
    return ok ? std::optional(direct) : std::nullopt;
}

} // namespace

QUrl defaultWorkspaceURL() {
    return QUrl(QStringLiteral(MIRK_DEFAULT_WORKSPACE_URL));
}

QUrl defaultOllamaURL() {
    return QUrl(QStringLiteral("http://localhost:11434"));
}

void registerDefaults() {
    auto& s = store();
    QMutexLocker lock(&s.mutex);
    s.defaults = {
        {Key::isMuted, false},
        {Key::scale, 1.0},
        {Key::vantleURL, defaultWorkspaceURL().toString()},
        {Key::idleAnimations, true},
        {Key::speakAnswers, false},
        {Key::notifications, true},
        {Key::ollamaURL, defaultOllamaURL().toString()},
        {Key::ollamaModel, QString()},
        {Key::reportModel, QString()},
        {Key::recordActivity, true},
        {Key::recordWindowTitles, false},
        {Key::reportMinutes, 1050},
        {Key::excludedApps, QStringList()},
        {Key::language, QString()},
    };
}

QVariant value(const QString& key) {
    const auto stored = storedValue(key);
    return stored.isValid() ? stored : registeredDefault(key);
}

bool contains(const QString& key) {
    auto& s = store();
    QMutexLocker lock(&s.mutex);
    return settingsLocked(s).contains(escaped(key));
}

void setValue(const QString& key, const QVariant& v) {
    auto& s = store();
    QMutexLocker lock(&s.mutex);
    settingsLocked(s).setValue(escaped(key), v);
}

void remove(const QString& key) {
    auto& s = store();
    QMutexLocker lock(&s.mutex);
    settingsLocked(s).remove(escaped(key));
}

QStringList keys(const QString& prefix) {
    auto& s = store();
    QMutexLocker lock(&s.mutex);
    QStringList out;
    for (const auto& key : settingsLocked(s).allKeys()) {
        const auto plain = unescaped(key);
        if (plain.startsWith(prefix)) {
            out << plain;
        }
    }
    return out;
}

bool boolValue(const QString& key) {
    if (auto v = readBool(storedValue(key))) {
        return *v;
    }
    return readBool(registeredDefault(key)).value_or(false);
}

double doubleValue(const QString& key) {
    if (auto v = readDouble(storedValue(key))) {
        return *v;
    }
    return readDouble(registeredDefault(key)).value_or(0.0);
}

int intValue(const QString& key) {
    // Whole numbers only; 17.5 is no setting that a reader of an integer can use.
    auto whole = [](const QVariant& v) -> std::optional<int> {
        const auto d = readDouble(v);
        if (!d || *d != static_cast<double>(static_cast<int>(*d))) {
            return std::nullopt;
        }
        return static_cast<int>(*d);
    };
    if (auto v = whole(storedValue(key))) {
        return *v;
    }
    return whole(registeredDefault(key)).value_or(0);
}

QString stringValue(const QString& key) {
    const auto v = value(key);
    return v.typeId() == QMetaType::QString || v.typeId() == QMetaType::QByteArray ? v.toString() : QString();
}

QStringList stringListValue(const QString& key) {
    const auto v = value(key);
    // QSettings gives a list of one as a plain string.
    if (v.typeId() == QMetaType::QString) {
        return v.toString().isEmpty() ? QStringList() : QStringList{v.toString()};
    }
    return v.typeId() == QMetaType::QStringList || v.typeId() == QMetaType::QVariantList ? v.toStringList()
                                                                                         : QStringList();
}

namespace {

// The stored workspace address as the program reads it; none, with the reason, when it can't be used.
std::optional<QUrl> readVantleURL(QString& problem) {
    const auto stored = storedValue(QLatin1String(Key::vantleURL));
    QString text = stored.typeId() == QMetaType::QString ? stored.toString().trimmed() : QString();
    while (text.endsWith(QLatin1Char('/'))) {
        text.chop(1);
    }
    if (text.isEmpty()) {
        return defaultWorkspaceURL();
    }
    if (!text.contains(QLatin1String("://"))) {
        text.prepend(QLatin1String("https://"));
    }
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty()) {
        problem = base::pick(QStringLiteral("The workspace address isn't a web address."),
                             QStringLiteral("Tööruumi aadress ei ole veebiaadress."));
        return std::nullopt;
    }
    const QString scheme = url.scheme().toLower();
    if (scheme != QLatin1String("https") && scheme != QLatin1String("http")) {
        problem = base::pick(QStringLiteral("The workspace address must begin with https://."),
                             QStringLiteral("Tööruumi aadress peab algama https://."));
        return std::nullopt;
    }
    if (scheme == QLatin1String("http") && !base::isThisComputer(url.host())) {
        problem = base::pick(
            QStringLiteral("Plain http is only for this computer: use https:// for the workspace."),
            QStringLiteral("Krüptimata http on ainult selle arvuti jaoks: kasuta tööruumi jaoks https://."));
        return std::nullopt;
    }
    return url;
}

} // namespace

std::optional<QUrl> vantleURL() {
    QString problem;
    return readVantleURL(problem);
}

std::optional<QString> vantleURLProblem() {
    QString problem;
    return readVantleURL(problem) ? std::nullopt : std::optional<QString>(problem);
}

QUrl ollamaURL() {
    const auto stored = storedValue(QLatin1String(Key::ollamaURL));
    const QString text = stored.typeId() == QMetaType::QString ? stored.toString().trimmed() : QString();
    if (text.isEmpty()) {
        return defaultOllamaURL();
    }
    const QUrl url(text, QUrl::StrictMode);
    return url.isValid() && !url.scheme().isEmpty() ? url : defaultOllamaURL();
}

std::optional<AppLanguage> workspaceLanguage() {
    const auto v = storedValue(QLatin1String(Key::workspaceLanguage));
    return v.typeId() == QMetaType::QString ? AppLanguages::fromRawValue(v.toString()) : std::nullopt;
}

void sync() {
    auto& s = store();
    QMutexLocker lock(&s.mutex);
    settingsLocked(s).sync();
}

QString fileName() {
    auto& s = store();
    QMutexLocker lock(&s.mutex);
    return settingsLocked(s).fileName();
}

void useFile(const QString& path) {
    auto& s = store();
    QMutexLocker lock(&s.mutex);
    makePrivate(path);
    s.settings = std::make_unique<QSettings>(path, QSettings::IniFormat);
    s.defaults.clear();
}

} // namespace Settings
