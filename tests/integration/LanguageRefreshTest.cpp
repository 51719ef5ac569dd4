#include "app/AppEvents.h"
#include "app/Language.h"
#include "app/Settings.h"
#include "support/HttpStub.h"
#include "support/TestEnvironment.h"

#include <QCoro/QCoroTask>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

namespace {

class LanguageRefreshTest : public ::testing::Test {
protected:
    void SetUp() override {
        TestEnvironment::freshSettings();
        stub.get("/app/api/company", [this] {
            std::lock_guard lock(mutex);
            return answer;
        });
        stub.start();
        Settings::setValue(QLatin1String(Settings::Key::vantleURL), stub.url("/app/").toString());
    }
    void answerWith(int status, std::string body) {
        std::lock_guard lock(mutex);
        answer = {status, std::move(body)};
    }
    // Runs one refresh to its end and counts the announcements it made.
    int refresh() {
        QSignalSpy spy(&AppEvents::shared(), &AppEvents::languageDidChange);
        QCoro::waitFor(Language::refreshWorkspaceLanguage());
        return static_cast<int>(spy.count());
    }
    QString stored() { return Settings::value(QLatin1String(Settings::Key::workspaceLanguage)).toString(); }

    HttpStub stub;
    std::mutex mutex;
    HttpStub::Answer answer;
};

} // namespace

TEST_F(LanguageRefreshTest, StoresTheWorkspaceLanguageAndAnnouncesOnlyARealChange) {
    answerWith(200, R"({"name":"Acme","language":"et"})");
    EXPECT_EQ(refresh(), 1);
    EXPECT_EQ(stored(), QStringLiteral("et"));
    EXPECT_EQ(Language::current(), AppLanguage::et);
    EXPECT_EQ(stub.requests(), 1);

    EXPECT_EQ(refresh(), 0) << "the same language again";

    // The user's own choice stands: the workspace's value is stored, nothing is announced.
    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("et"));
    answerWith(200, R"({"language":"en"})");
    EXPECT_EQ(refresh(), 0);
    EXPECT_EQ(stored(), QStringLiteral("en"));
    EXPECT_EQ(Language::current(), AppLanguage::et);
}

TEST_F(LanguageRefreshTest, AnythingButAGoodAnswerLeavesTheStoredLanguage) {
    Settings::setValue(QLatin1String(Settings::Key::workspaceLanguage), QStringLiteral("et"));
    const std::pair<int, std::string> bad[] = {
        {500, R"({"language":"en"})"},
        {404, ""},
        {200, "not json"},
        {200, R"(["en"])"},
        {200, R"({"language":5})"},
        {200, R"({"x":1})"},
        {200, R"({"language":"fr"})"},
        {200, ""},
    };
    for (const auto& [status, body] : bad) {
        answerWith(status, body);
        EXPECT_EQ(refresh(), 0) << body;
        EXPECT_EQ(stored(), QStringLiteral("et")) << status << " " << body;
    }
}

TEST_F(LanguageRefreshTest, NoUsableAddressOrNoServerIsSilent) {
    Settings::setValue(QLatin1String(Settings::Key::vantleURL), QStringLiteral("bad host name/x"));
    EXPECT_EQ(refresh(), 0);
    EXPECT_EQ(stub.requests(), 0);

    // A port with nobody listening: the refresh ends quietly.
    Settings::setValue(QLatin1String(Settings::Key::vantleURL), QStringLiteral("http://127.0.0.1:1/app"));
    EXPECT_EQ(refresh(), 0);
    EXPECT_FALSE(Settings::contains(QLatin1String(Settings::Key::workspaceLanguage)));
}
