#include "settings/SettingsModel.h"

#include "activity/ActivityRecorder.h"
#include "app/AppEvents.h"
#include "app/Language.h"
#include "app/Settings.h"
#include "app/VantleAgent.h"
#include "base/Text.h"
#include "chat/OllamaClient.h"
#include "platform/Services.h"
#include "workspace/ClientError.h"
#include "workspace/Keychain.h"
#include "workspace/VantleClient.h"

#include <QCoro/QCoroTask>

#include <algorithm>

namespace {

QString checking() {
    return base::pick(QStringLiteral("Checking…"), QStringLiteral("Kontrollin…"));
}

QString keyAccount() {
    return QLatin1String(Keychain::desktopKeyAccount);
}

} // namespace

SettingsModel::SettingsModel(QObject* parent)
    : QObject(parent),
      vantleStatus(base::pick(QStringLiteral("Not connected."), QStringLiteral("Pole ühendatud."))),
      ollamaStatus(checking()) {
    vantleKey = Keychain::read(keyAccount()).value_or(QString());
    storedKey = vantleKey;
    readStored();
    const auto reread = [this] {
        readDesktop();
        emit changed();
    };
    connect(&ActivityRecorder::shared(), &ActivityRecorder::canSeeApplicationsChanged, this, reread);
    connect(&ActivityRecorder::shared(), &ActivityRecorder::sightChanged, this, reread);
    if (const auto keys = platform::services().hotKeys) {
        keys->onReachChanged = [self = QPointer(this), reread] {
            if (self) {
                reread();
            }
        };
    }
}

void SettingsModel::readStored() {
    readDesktop();
    recordWindowTitles = Settings::boolValue(QLatin1String(Settings::Key::recordWindowTitles));
    reportTime = timeFromMinutes(Settings::intValue(QLatin1String(Settings::Key::reportMinutes)));
    if (const auto autostart = platform::services().autostart) {
        launchAtLogin = autostart->isEnabled();
    }
}

void SettingsModel::readDesktop() {
    sight = ActivityRecorder::sight();
    const auto keys = platform::services().hotKeys;
    shortcutReach = keys ? keys->reach() : platform::HotKeyGrabber::Reach::none;
}

void SettingsModel::refresh() {
    readStored();
    // A key stored meanwhile (a connect link) is a change of its own.
    const QString stored = Keychain::read(keyAccount()).value_or(QString());
    if (stored != storedKey) {
        keyTyping.cancel();
        vantleKey = stored;
        storedKey = stored;
        switchWorkspace();
    } else {
        if (!keyTyping.isActive()) {
            vantleKey = stored;
        }
        checkConnection();
    }
    loadOllamaModels();
    emit changed();
}

void SettingsModel::setVantleKey(const QString& key) {
    if (key == vantleKey) {
        return;
    }
    vantleKey = key;
    if (key.trimmed() == storedKey) {
        keyTyping.cancel();
        return;
    }
    QPointer<SettingsModel> self(this);
    keyTyping = base::Scheduler::current().after(keyPause, [self] {
        if (self) {
            self->commitKey();
        }
    });
}

void SettingsModel::commitKey() {
    Keychain::save(vantleKey, keyAccount());
    storedKey = vantleKey.trimmed();
    switchWorkspace();
}

void SettingsModel::workspaceSubmitted() {
    switchWorkspace();
}

void SettingsModel::switchWorkspace() {
    // The old token goes at once, whoever else hears of the change.
    VantleClient::reset();
    emit AppEvents::shared().workspaceDidChange();
    checkConnection();
}

void SettingsModel::checkConnection() {
    const quint64 number = ++connectionChecks;
    if (const auto problem = Settings::vantleURLProblem()) {
        vantleStatus = *problem;
        emit changed();
        return;
    }
    if (!VantleClient::isConfigured()) {
        vantleStatus = base::pick(QStringLiteral("Not connected."), QStringLiteral("Pole ühendatud."));
        emit changed();
        return;
    }
    vantleStatus = checking();
    emit changed();
    [](QPointer<SettingsModel> self, quint64 number) -> QCoro::Task<> {
        const auto identity = co_await VantleClient::whoAmI();
        if (!self || number != self->connectionChecks) {
            co_return;
        }
        self->vantleStatus =
            identity ? base::pick(QStringLiteral("Connected as "), QStringLiteral("Ühendatud kui ")) +
                           identity->name + QStringLiteral(".")
                     : identity.error().localizedDescription();
        emit self->changed();
    }(this, number);
}

void SettingsModel::loadOllamaModels() {
    ollamaStatus = checking();
    emit changed();
    // Two loads may overlap; the last answer to arrive wins.
    [](QPointer<SettingsModel> self) -> QCoro::Task<> {
        const auto models = co_await OllamaClient::models();
        if (!self) {
            co_return;
        }
        if (!models) {
            self->ollamaModels.clear();
            self->ollamaStatus = models.error().localizedDescription();
        } else {
            self->ollamaModels = *models;
            const auto n = models->size();
            if (n == 0) {
                self->ollamaStatus =
                    base::pick(QStringLiteral("Running, but no chat models installed."),
                               QStringLiteral("Töötab, kuid ühtki vestlusmudelit pole paigaldatud."));
            } else if (n == 1) {
                self->ollamaStatus = base::pick(QStringLiteral("Running, 1 chat model installed."),
                                                QStringLiteral("Töötab, paigaldatud 1 vestlusmudel."));
            } else {
                self->ollamaStatus = base::pick(QStringLiteral("Running, %1 chat models installed."),
                                                QStringLiteral("Töötab, paigaldatud %1 vestlusmudelit."))
                                         .arg(n);
            }
        }
        emit self->changed();
    }(this);
}

void SettingsModel::setRecordWindowTitles(bool on) {
    recordWindowTitles = on;
    Settings::setValue(QLatin1String(Settings::Key::recordWindowTitles), on);
    emit changed();
}

void SettingsModel::setReportTime(const QTime& time) {
    reportTime = time.isValid() ? QTime(time.hour(), time.minute()) : QTime(0, 0);
    Settings::setValue(QLatin1String(Settings::Key::reportMinutes),
                       reportTime.hour() * 60 + reportTime.minute());
    emit changed();
}

void SettingsModel::setLaunchAtLogin(bool on) {
    const auto autostart = platform::services().autostart;
    if (!autostart || on == autostart->isEnabled()) {
        launchAtLogin = autostart ? autostart->isEnabled() : false;
        emit changed();
        return;
    }
    if (const auto failure = autostart->setEnabled(on)) {
        // The toggle springs back to what is so, and the reason stands below it.
        launchAtLoginError = failure;
        launchAtLogin = autostart->isEnabled();
    } else {
        launchAtLoginError.reset();
        launchAtLogin = on;
    }
    emit changed();
}

QTime SettingsModel::timeFromMinutes(int minutes) {
    if (minutes < 0 || minutes >= 24 * 60) {
        return QTime(0, 0);
    }
    return QTime(minutes / 60, minutes % 60);
}

QString SettingsModel::automaticLanguageLabel() {
    QString label = base::pick(QStringLiteral("Same as Vantle"), QStringLiteral("Sama mis Vantles"));
    if (const auto workspace = Settings::workspaceLanguage()) {
        label += *workspace == AppLanguage::et ? QStringLiteral(" (Eesti)") : QStringLiteral(" (English)");
    }
    return label;
}

QStringList SettingsModel::reportModelChoices(const QStringList& installed, const QString& stored) {
    QStringList choices;
    for (const auto& name : installed + QStringList{stored}) {
        if (!name.isEmpty() && !choices.contains(name)) {
            choices << name;
        }
    }
    std::sort(choices.begin(), choices.end());
    return choices;
}

bool SettingsModel::keyInKeyring() {
    const auto store = platform::services().secretStore;
    return store && store->location() == platform::SecretStore::Location::keyring;
}

void SettingsModel::turnOnWindowSource() {
    if (const auto window = platform::services().activeWindow) {
        window->turnOn();
    }
}

QString SettingsModel::compositorLines() {
    QStringList lines{QStringLiteral("bindsym Ctrl+Alt+space exec xdg-open mirkvantle:chat")};
    int key = 1;
    for (const auto agent : VantleAgents::all) {
        lines << QStringLiteral("bindsym Ctrl+Alt+%1 exec xdg-open 'mirkvantle:agent?name=%2'")
                     .arg(key++)
                     .arg(VantleAgents::rawValue(agent));
    }
    return lines.join(u'\n');
}
