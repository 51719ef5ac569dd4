#include "settings/SettingsModel.h"
#include "app/AppDelegate.h"
#include "app/Settings.h"
#include "platform/linux/XdgAutostart.h"
#include "support/SpinUntil.h"
#include "support/WorkspaceFixture.h"
#include "time/TimeTracker.h"
#include "workspace/Keychain.h"
#include "workspace/VantleEvents.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>

namespace {

const QString tokenPath = QStringLiteral("/api/auth/desktop/token");

class SettingsModelTest : public WorkspaceFixture {
protected:
    void SetUp() override {
        WorkspaceFixture::SetUp();
        if (HasFatalFailure()) {
            return;
        }
        Settings::setValue(QLatin1String(Settings::Key::ollamaURL), sim->rootUrl().toString());
        model = std::make_unique<SettingsModel>();
    }
    void TearDown() override {
        model.reset();
        WorkspaceFixture::TearDown();
    }
    // The connection line once it has settled on something other than "Checking…".
    QString settledStatus() {
        spinUntil([&] { return model->vantleStatus != "Checking…"; }, 15000);
        return model->vantleStatus;
    }
    QString storedKey() const { return services.secretStore->secrets.value(Keychain::desktopKeyAccount); }

    AppDelegate app;
    std::unique_ptr<SettingsModel> model;
};

} // namespace

TEST_F(SettingsModelTest, TheConnectionLineTellsEachOutcomeAndABadAddressSendsNothing) {
    model->refresh();
    EXPECT_EQ(model->vantleStatus, "Checking…");
    EXPECT_EQ(settledStatus(), "Connected as Kaia Tamm.");
    EXPECT_EQ(countOf("POST", tokenPath), 1) << "opening the form with the key unchanged switches nothing";

    // A wrong key, then the right one with blanks and a line break around it.
    model->setVantleKey("not-the-key");
    scheduler->advance(SettingsModel::keyPause);
    EXPECT_EQ(storedKey(), "not-the-key");
    EXPECT_NE(settledStatus(), "Connected as Kaia Tamm.");
    const QString wrong = model->vantleStatus;
    EXPECT_FALSE(wrong.contains("not-the-key")) << "the key never shows in an error";
    model->setVantleKey("  " + sim->desktopKey() + "\n");
    scheduler->advance(SettingsModel::keyPause);
    EXPECT_EQ(storedKey(), sim->desktopKey()) << "trimmed";
    EXPECT_EQ(settledStatus(), "Connected as Kaia Tamm.");

    // The key revoked in the workspace.
    sim->control("POST", "/sim/key", QJsonObject{{"revoked", true}});
    model->workspaceSubmitted();
    EXPECT_EQ(settledStatus(),
              QStringLiteral(
                  "Vantle disconnected this desktop app. Connect it again from Vantle's Personal settings."));
    sim->control("POST", "/sim/key", QJsonObject{{"revoked", false}});

    // Addresses that can't be used say why, and nothing goes out.
    const int before = sim->requests().size();
    for (const auto& [address, reason] : std::vector<std::pair<QString, QString>>{
             {"ftp://vantle.example", "The workspace address must begin with https://."},
             {"http://vantle.example/app",
              "Plain http is only for this computer: use https:// for the workspace."},
             {"two words", "The workspace address isn't a web address."}}) {
        Settings::setValue(QLatin1String(Settings::Key::vantleURL), address);
        model->workspaceSubmitted();
        EXPECT_EQ(model->vantleStatus, reason) << address.toStdString();
        EXPECT_FALSE(VantleClient::isConfigured());
    }
    spinFor(300);
    const QJsonArray after = sim->requests();
    QStringList extra;
    for (qsizetype i = before; i < after.size(); ++i)
        extra << after.at(i).toObject().value("method").toString() + " " +
                     after.at(i).toObject().value("path").toString();
    EXPECT_EQ(after.size(), before) << extra.join(", ").toStdString();

    // Nobody listening at the address.
    Settings::setValue(QLatin1String(Settings::Key::vantleURL), "http://127.0.0.1:1/app");
    model->workspaceSubmitted();
    EXPECT_NE(settledStatus(), "Connected as Kaia Tamm.");
    EXPECT_FALSE(model->vantleStatus.isEmpty());

    // The key emptied: it leaves the store and the line says so.
    model->setVantleKey("");
    scheduler->advance(SettingsModel::keyPause);
    EXPECT_FALSE(services.secretStore->secrets.contains(Keychain::desktopKeyAccount));
    EXPECT_EQ(model->vantleStatus, "Not connected.");
}

TEST_F(SettingsModelTest, ABurstOfTypingStoresOnceAndChecksOnceAndTheSwitchGoesInOrder) {
    Settings::setValue(QLatin1String(Settings::Key::language), QString());
    app.announcedKeyEnded = true;
    TimeTracker::shared().refresh();
    ASSERT_TRUE(spinUntil([] { return TimeTracker::shared().state.has_value(); }));
    services.secretStore->secrets.clear();
    model = std::make_unique<SettingsModel>();
    const int writes = services.secretStore->writes;
    const QString key = sim->desktopKey();
    for (int n = 1; n <= key.size(); ++n) {
        model->setVantleKey(key.left(n));
        scheduler->advance(0.1);
    }
    EXPECT_EQ(services.secretStore->writes, writes) << "nothing stored while typing";
    const int company = countOf("GET", "/api/company");
    const int identities = countOf("GET", "/api/auth/me");
    const int exchanges = countOf("POST", tokenPath);
    scheduler->advance(SettingsModel::keyPause);
    EXPECT_EQ(services.secretStore->writes, writes + 1);
    EXPECT_EQ(storedKey(), key);
    // The switch: the announcement armed again, the old workspace forgotten, the language asked
    // anew, and one check for the last text.
    EXPECT_FALSE(app.announcedKeyEnded);
    EXPECT_FALSE(TimeTracker::shared().state && TimeTracker::shared().agentsReadAt);
    EXPECT_EQ(settledStatus(), "Connected as Kaia Tamm.");
    EXPECT_TRUE(spinUntil([&] { return countOf("GET", "/api/company") > company; }));
    spinFor(300);
    // One look at who the user is for the check, one for the timer's picture of the user.
    EXPECT_EQ(countOf("GET", "/api/auth/me"), identities + 2);
    EXPECT_EQ(countOf("POST", tokenPath), exchanges + 1) << "one exchange, shared by all who asked";
    const auto exchange = requestsTo(tokenPath).last().toObject();
    EXPECT_EQ(exchange.value("headers").toObject().value("authorization").toString(), "Bearer " + key);

    // Typing back to the stored key before the pause is no change at all.
    model->setVantleKey(key + "x");
    model->setVantleKey(key);
    scheduler->advance(SettingsModel::keyPause * 2);
    EXPECT_EQ(services.secretStore->writes, writes + 1);
}

TEST_F(SettingsModelTest, ReportTimeModelsAndLaunchAtLogin) {
    // Minutes after midnight, both ways, at the edges of the day.
    for (const auto& [time, minutes] : std::vector<std::pair<QTime, int>>{
             {QTime(0, 0), 0}, {QTime(17, 30), 1050}, {QTime(23, 59, 59), 1439}, {QTime(), 0}}) {
        model->setReportTime(time);
        EXPECT_EQ(Settings::intValue(QLatin1String(Settings::Key::reportMinutes)), minutes);
        EXPECT_EQ(SettingsModel::timeFromMinutes(minutes), model->reportTime);
    }
    EXPECT_EQ(SettingsModel::timeFromMinutes(1440), QTime(0, 0));
    EXPECT_EQ(SettingsModel::timeFromMinutes(-1), QTime(0, 0));

    // The models installed, the stored one kept selectable; then Ollama down.
    sim->control("POST", "/sim/ollama", QJsonObject{{"models", QJsonArray{"b", "a"}}});
    model->loadOllamaModels();
    ASSERT_TRUE(spinUntil([&] { return model->ollamaStatus != "Checking…"; }));
    EXPECT_EQ(model->ollamaStatus, "Running, 2 chat models installed.");
    EXPECT_EQ(SettingsModel::reportModelChoices(model->ollamaModels, "x"), (QStringList{"a", "b", "x"}));
    Settings::setValue(QLatin1String(Settings::Key::ollamaURL), "http://127.0.0.1:1");
    model->loadOllamaModels();
    ASSERT_TRUE(spinUntil([&] { return model->ollamaStatus != "Checking…"; }, 6000)) << "within five seconds";
    EXPECT_TRUE(model->ollamaModels.isEmpty());
    EXPECT_FALSE(model->ollamaStatus.startsWith("Running"));
    EXPECT_EQ(SettingsModel::reportModelChoices(model->ollamaModels, "x"), QStringList{"x"});

    // Launch at login through the autostart folder: on, off, and a folder that can't be written.
    QTemporaryDir config;
    const QByteArray oldConfig = qgetenv("XDG_CONFIG_HOME");
    qputenv("XDG_CONFIG_HOME", config.path().toLocal8Bit());
    services.autostart.reset();
    auto autostart = std::make_shared<platform::XdgAutostart>("/opt/Mirk \"Agents\"/mirkvantle-agents");
    auto installed = platform::services();
    installed.autostart = autostart;
    platform::install(installed);
    const QString entry = config.path() + "/autostart/mirkvantle-agents.desktop";
    model->setLaunchAtLogin(true);
    EXPECT_TRUE(model->launchAtLogin);
    QFile file(entry);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray written = file.readAll();
    EXPECT_TRUE(written.contains("\nExec=\"/opt/Mirk \\\"Agents\\\"/mirkvantle-agents\"\n"));
    EXPECT_TRUE(written.contains("\nTryExec=/opt/Mirk \"Agents\"/mirkvantle-agents\n"));
    file.close();
    model->setLaunchAtLogin(false);
    EXPECT_FALSE(QFile::exists(entry));
    EXPECT_FALSE(model->launchAtLogin);

    // A file where the folder should be stops even a program running as root.
    QDir(config.path()).rmdir("autostart");
    QFile blocker(config.path() + "/autostart");
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    model->setLaunchAtLogin(true);
    EXPECT_FALSE(model->launchAtLogin) << "the toggle springs back";
    ASSERT_TRUE(model->launchAtLoginError);
    EXPECT_TRUE(model->launchAtLoginError->startsWith("Couldn't write " + entry))
        << model->launchAtLoginError->toStdString();
    blocker.remove();
    model->setLaunchAtLogin(true);
    EXPECT_TRUE(model->launchAtLogin);
    EXPECT_FALSE(model->launchAtLoginError) << "a success clears the reason";
    qputenv("XDG_CONFIG_HOME", oldConfig);
}
