#include "app/Settings.h"
#include "app/AppIdentity.h"
#include "app/Language.h"
#include "base/Text.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QSettings>

#include <gtest/gtest.h>

namespace {

class SettingsTest : public ::testing::Test {
protected:
    void SetUp() override { TestEnvironment::freshSettings(); }
    void store(const char* key, const QVariant& value) { Settings::setValue(QLatin1String(key), value); }
};

QString address(const char* stored) {
    Settings::setValue(QLatin1String(Settings::Key::vantleURL), QString::fromUtf8(stored));
    const auto url = Settings::vantleURL();
    return url ? url->toString() : QStringLiteral("<none>");
}

} // namespace

TEST_F(SettingsTest, WorkspaceAddressIsTrimmedGivenASchemeAndFallsBackToTheDefault) {
    EXPECT_EQ(Settings::vantleURL(), Settings::defaultWorkspaceURL()) << "nothing stored";
    EXPECT_EQ(Settings::defaultWorkspaceURL().toString(), QStringLiteral("https://vantle.example/app"));
    EXPECT_EQ(address("  acme.vantle.example/team//\n"), QStringLiteral("https://acme.vantle.example/team"));
    EXPECT_EQ(address(" ///  "), QStringLiteral("https://vantle.example/app"))
        << "only slashes after trimming";
    EXPECT_EQ(address("\t \n"), QStringLiteral("https://vantle.example/app"));
    EXPECT_EQ(address("http://127.0.0.1:8080/app/"), QStringLiteral("http://127.0.0.1:8080/app"));
    EXPECT_EQ(address("HTTPS://Acme.example"), QStringLiteral("https://acme.example"));
    EXPECT_EQ(address("exa mple.com/x"), QStringLiteral("<none>")) << "no usable address";
    EXPECT_EQ(address("https://bad host/app"), QStringLiteral("<none>"));
    EXPECT_EQ(address("http://[::1"), QStringLiteral("<none>"));
}

TEST_F(SettingsTest, OllamaAddressKeepsItsTextAndFallsBackWhenUnusable) {
    EXPECT_EQ(Settings::ollamaURL(), QUrl("http://localhost:11434"));
    store(Settings::Key::ollamaURL, "  http://gpu-box.local:11434/ ");
    EXPECT_EQ(Settings::ollamaURL(), QUrl("http://gpu-box.local:11434/"))
        << "no slash removed, unlike the workspace";
    store(Settings::Key::ollamaURL, "   ");
    EXPECT_EQ(Settings::ollamaURL(), QUrl("http://localhost:11434"));
    store(Settings::Key::ollamaURL, "http://[oops");
    EXPECT_EQ(Settings::ollamaURL(), QUrl("http://localhost:11434"));
}

TEST_F(SettingsTest, DefaultsAreReadButNeverWritten) {
    EXPECT_FALSE(Settings::boolValue(Settings::Key::isMuted));
    EXPECT_TRUE(Settings::boolValue(Settings::Key::idleAnimations));
    EXPECT_TRUE(Settings::boolValue(Settings::Key::notifications));
    EXPECT_EQ(Settings::intValue(Settings::Key::reportMinutes), 1050);
    EXPECT_DOUBLE_EQ(Settings::doubleValue(Settings::Key::scale), 1.0);
    EXPECT_EQ(Settings::stringValue(Settings::Key::language), QString());
    EXPECT_FALSE(Settings::contains(Settings::Key::lastUsedAgent));
    Settings::sync();
    QSettings file(Settings::fileName(), QSettings::IniFormat);
    EXPECT_TRUE(file.allKeys().isEmpty()) << file.allKeys().join(',').toStdString();

    // Values that come back as text from the file are read by type; unreadable ones fall back.
    store(Settings::Key::scale, "2");
    store(Settings::Key::reportMinutes, "abc");
    store(Settings::Key::idleAnimations, "false");
    EXPECT_DOUBLE_EQ(Settings::doubleValue(Settings::Key::scale), 2.0);
    EXPECT_EQ(Settings::intValue(Settings::Key::reportMinutes), 1050);
    EXPECT_FALSE(Settings::boolValue(Settings::Key::idleAnimations));
}

TEST_F(SettingsTest, KeysHoldingAddressesSurviveTheFile) {
    const QString key = QStringLiteral("thread.https://acme.example/app.dorn");
    Settings::setValue(key, QVariantMap{{"id", "t-1"}, {"used", 1700000000.0}});
    Settings::setValue(QStringLiteral("thread.https://acme.example/app.lirra"), QVariantMap{{"id", "t-2"}});
    Settings::sync();
    const QString path = Settings::fileName();
    Settings::useFile(path); // read back from disk
    EXPECT_EQ(Settings::value(key).toMap().value("id").toString(), QStringLiteral("t-1"));
    auto keys = Settings::keys(QStringLiteral("thread.https://acme.example/app."));
    keys.sort();
    EXPECT_EQ(keys, (QStringList{key, QStringLiteral("thread.https://acme.example/app.lirra")}));
    Settings::remove(key);
    EXPECT_FALSE(Settings::contains(key));

    // The user's alone: 0600 in a 0700 folder, made so or tightened when opened, kept by writes.
    const QString folder = TestEnvironment::root() + QStringLiteral("/config/private");
    const QString loose = folder + QStringLiteral("/loose.conf");
    QDir().mkpath(folder);
    QFile(loose).open(QIODevice::WriteOnly);
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadOther |
                                      QFile::ExeOther);
    QFile::setPermissions(loose, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
    for (const QString& file : {loose, folder + QStringLiteral("/new/fresh.conf")}) {
        Settings::useFile(file);
        Settings::setValue(key, 1);
        Settings::sync();
        EXPECT_EQ(QFile::permissions(file),
                  QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser)
            << file.toStdString();
        EXPECT_EQ(QFile::permissions(QFileInfo(file).path()), QFile::ReadOwner | QFile::WriteOwner |
                                                                  QFile::ExeOwner | QFile::ReadUser |
                                                                  QFile::WriteUser | QFile::ExeUser);
    }
}

TEST_F(SettingsTest, CorruptOrUnwritableFileLeavesDefaultsInForce) {
    const QString corrupt = TestEnvironment::root() + QStringLiteral("/config/corrupt.conf");
    QFile f(corrupt);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write("\x00\xff[General\nscale=@Variant(\x01\x02\nvantleURL=\n=\n[[[", 45);
    f.close();
    Settings::useFile(corrupt);
    Settings::registerDefaults();
    EXPECT_DOUBLE_EQ(Settings::doubleValue(Settings::Key::scale), 1.0);
    EXPECT_EQ(Settings::vantleURL(), Settings::defaultWorkspaceURL());

    // A settings path that is a folder cannot be written; the program goes on with what it has.
    const QString folder = TestEnvironment::root() + QStringLiteral("/config/a-folder");
    QDir().mkpath(folder);
    Settings::useFile(folder);
    Settings::registerDefaults();
    Settings::setValue(QLatin1String(Settings::Key::scale), 2.0);
    Settings::sync();
    EXPECT_DOUBLE_EQ(Settings::doubleValue(Settings::Key::scale), 2.0);
    EXPECT_TRUE(Settings::boolValue(Settings::Key::notifications));
}

TEST_F(SettingsTest, LanguageChoiceBeatsWorkspaceWhichBeatsSystem) {
    EXPECT_EQ(Language::current(), AppLanguage::en);
    QLocale::setDefault(QLocale(QLocale::Estonian, QLocale::Estonia));
    EXPECT_EQ(Language::current(), AppLanguage::et) << "Estonian system";
    EXPECT_EQ(base::pick("Settings", "Seaded"), QStringLiteral("Seaded"));

    store(Settings::Key::workspaceLanguage, "en");
    EXPECT_EQ(Language::current(), AppLanguage::en) << "the workspace beats the system";
    store(Settings::Key::workspaceLanguage, "fr");
    EXPECT_FALSE(Settings::workspaceLanguage());
    EXPECT_EQ(Language::current(), AppLanguage::et) << "an unknown workspace language counts as absent";

    store(Settings::Key::language, "de");
    EXPECT_EQ(Language::current(), AppLanguage::et) << "an unknown choice is ignored";
    store(Settings::Key::workspaceLanguage, "et");
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    store(Settings::Key::language, "en");
    EXPECT_EQ(Language::current(), AppLanguage::en) << "the user's choice beats the workspace";
    EXPECT_EQ(base::pick("Settings", "Seaded"), QStringLiteral("Settings"));
    store(Settings::Key::language, "");
    EXPECT_EQ(Language::current(), AppLanguage::et);
    store(Settings::Key::workspaceLanguage, "");
    EXPECT_EQ(Language::current(), AppLanguage::en) << "any system language but Estonian gives English";
}

TEST(AppIdentity, SupportFolderLiesInTheUsersDataFolder) {
    EXPECT_EQ(AppIdentity::supportURL(),
              TestEnvironment::root() + QStringLiteral("/data/Mirk Vantle Agents"));
    QDir(AppIdentity::supportURL()).removeRecursively();
    AppIdentity::supportURL();
    EXPECT_FALSE(QDir(AppIdentity::supportURL()).exists()) << "not created by asking";
}
