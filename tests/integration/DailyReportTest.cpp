#include "activity/DailyReport.h"
#include "activity/ActivityRecorder.h"
#include "activity/Digest.h"
#include "app/AppIdentity.h"
#include "app/Settings.h"
#include "support/ReportFixture.h"
#include "support/WorkspaceFixture.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSemaphore>
#include <QThreadPool>

#include <sys/stat.h>

using DailyReport::ReportError;

namespace {

const QString englishSystem = QStringLiteral(
    "You write concise daily timelog reports for the user, from app-usage data recorded on their "
    "computer. The durations are already calculated: use them as given and don't invent activities.");

// The report fixture begins and ends with no logs or reports on disk, for other tests share the
// folder, and lends its made-up days.
class DailyReportTest : public WorkspaceFixture, protected ReportFixture {
protected:
    void SetUp() override {
        WorkspaceFixture::SetUp();
        if (HasFatalFailure()) {
            return;
        }
        Settings::setValue(QLatin1String(Settings::Key::ollamaURL), sim->rootUrl().toString());
        writeLog(day, spans());
    }

    // The morning of the shared fixture, and a visit of five seconds.
    QList<ActivitySpan> spans() const {
        return morning(day) << span(day, QTime(10, 30), 5, QStringLiteral("Calculator"));
    }
    static QString reports() { return AppIdentity::supportURL() + QStringLiteral("/Reports"); }
    // As bytes, so that a failure shows the text.
    std::string reportText() const {
        QFile file(DailyReport::reportURL(day));
        return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : "<none>";
    }
    void reply(const QString& text) const {
        sim->control("POST", "/sim/ollama", QJsonObject{{"reply", text}});
    }
    QList<QJsonObject> chatRequests() const {
        QList<QJsonObject> out;
        for (const auto& entry : requestsAt(QStringLiteral("/api/chat"))) {
            out.append(QJsonDocument::fromJson(SimProcess::bodyOf(entry)).object());
        }
        return out;
    }
    static int modeOf(const QString& path) {
        struct stat info {};
        return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? static_cast<int>(info.st_mode & 0777)
                                                                       : -1;
    }
    static QString userPrompt(const Digest& digest, const char* sections) {
        return QStringLiteral(
                   "Provide a summarised and categorised time in a concise summary of this user activity "
                   "for a daily timelog report. Answer in Markdown with:\n1. One sentence summarising "
                   "the day.\n2. A \"## Time by category\" section: a bullet list like \"* Coding - "
                   "2.5h\" (use minutes for short items, e.g. \"* Browsing - 19min\"). Group apps into "
                   "categories such as Coding, Meetings, Chatting, Browsing, Writing, Design, Admin and "
                   "Other. The categories should add up to the active time.\n") +
               QString::fromUtf8(sections) + QStringLiteral("\n\nHere is the user's app usage:\n") +
               digest.text;
    }

    const QDate day{2026, 11, 18};
};

} // namespace

TEST_F(DailyReportTest, TheModelWritesTheProseAndTheDigestTheFigures) {
    reply(QStringLiteral(
        "\n  A calm morning, mostly in the editor.\n\n## Time by category\n* Coding - 1h 12m\n\n"));
    const auto english = await(DailyReport::generate(day));
    ASSERT_TRUE(english) << english.error().localizedDescription().toStdString();
    EXPECT_EQ(english->path, DailyReport::reportURL(day));
    EXPECT_EQ(english->headline, "A calm morning, mostly in the editor.");
    EXPECT_EQ(reportText(),
              "# Daily report: Wednesday, November 18, 2026\n\n"
              "A calm morning, mostly in the editor.\n\n## Time by category\n* Coding - 1h 12m\n\n"
              "---\n\n## Recorded app usage\n\n| App | Time |\n|---|---|\n"
              "| Editor | 1h 12m |\n| Browser | 15m |\n| Chat | 1m |\n| Calculator | <1m |\n\n"
              "_Active 1h 28m between 09:02 and 10:30. Written by llama3.2:latest on this computer; "
              "the activity data was not sent anywhere._\n");
    EXPECT_EQ(modeOf(reports()), 0700);
    EXPECT_EQ(modeOf(english->path), 0600);

    // One whole answer, no thinking, no schema; the system prompt first, then the digest.
    auto requests = chatRequests();
    ASSERT_EQ(requests.size(), 1);
    EXPECT_EQ(requests[0].value("model").toString(), "llama3.2:latest");
    EXPECT_EQ(requests[0].value("think"), QJsonValue(false));
    EXPECT_EQ(requests[0].value("stream"), QJsonValue(false));
    EXPECT_FALSE(requests[0].contains("format"));
    const auto digest = Digest::make(day, spans());
    ASSERT_TRUE(digest);
    const QJsonArray messages{
        QJsonObject{{"role", "system"}, {"content", englishSystem}},
        QJsonObject{
            {"role", "user"},
            {"content", userPrompt(*digest, "3. A \"## Highlights\" section with up to 5 bullets about "
                                            "what was worked on, based on the window titles.")}}};
    EXPECT_EQ(requests[0].value("messages").toArray(), messages);

    // In Estonian, from the general model setting, over a day without titles: the same file
    // replaced, and nothing left beside it.
    QList<ActivitySpan> untitled = spans();
    for (ActivitySpan& span : untitled) {
        span.title.reset();
    }
    writeLog(day, untitled);
    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("et"));
    Settings::setValue(QLatin1String(Settings::Key::ollamaModel), QStringLiteral("qwen2.5:7b"));
    reply(QStringLiteral("Rahulik hommik."));
    const auto estonian = await(DailyReport::generate(day));
    ASSERT_TRUE(estonian) << estonian.error().localizedDescription().toStdString();
    EXPECT_EQ(estonian->path, english->path);
    EXPECT_EQ(reportText(), "# Päeva aruanne: Kolmapäev, 18. november 2026\n\nRahulik hommik.\n\n"
                            "---\n\n## Salvestatud rakenduste kasutus\n\n| Rakendus | Aeg |\n|---|---|\n"
                            "| Editor | 1h 12m |\n| Browser | 15m |\n| Chat | 1m |\n| Calculator | <1m |\n\n"
                            "_Aktiivne 1h 28m kell 09:02–10:30. Kirjutas qwen2.5:7b selles arvutis; "
                            "tegevusandmeid ei saadetud kuhugi._\n");
    EXPECT_EQ(QDir(reports()).entryList(QDir::Files | QDir::Hidden), QStringList{"2026-11-18.md"});
    EXPECT_EQ(modeOf(english->path), 0600);
    requests = chatRequests();
    ASSERT_EQ(requests.size(), 2);
    EXPECT_EQ(requests[1].value("model").toString(), "qwen2.5:7b");
    const QJsonArray estonianMessages{
        QJsonObject{{"role", "system"},
                    {"content", englishSystem +
                                    " Write the whole report, headings and category names included, "
                                    "in Estonian."}},
        QJsonObject{{"role", "user"},
                    {"content", userPrompt(*Digest::make(day, untitled), "Don't add any other sections.")}}};
    EXPECT_EQ(requests[1].value("messages").toArray(), estonianMessages);

    // Estonian writes a weekday in lower case, also where it leads the name of the report.
    EXPECT_EQ(DailyReport::writingMessage(day), "Kirjutan selles arvutis kolmapäeva aruannet…");
    EXPECT_EQ(DailyReport::openHint(day), "Ava kolmapäeva aruanne ›");
    Settings::setValue(QLatin1String(Settings::Key::language), QStringLiteral("en"));
    EXPECT_EQ(DailyReport::openHint(day), "Click to open Wednesday's report ›");
}

TEST_F(DailyReportTest, ASpanClosedWhileTheReportIsUnderWayCountsOnce) {
    scheduler = std::make_unique<base::VirtualScheduler>(QDateTime(day, QTime(12, 0)));
    auto& recorder = ActivityRecorder::shared();
    recorder.current = span(day, QTime(11, 0), 1200, QStringLiteral("Mail")); // sampled last at 11:20
    // Every worker busy, so that whatever the report leaves to them waits for the span to close.
    QSemaphore busy;
    auto* pool = QThreadPool::globalInstance();
    const int workers = pool->maxThreadCount();
    for (int i = 0; i < workers; ++i) {
        pool->start([&busy] { busy.acquire(); });
    }
    auto writing = DailyReport::generate(day);
    recorder.closeCurrent(QDateTime(day, QTime(11, 30)));
    ASSERT_FALSE(recorder.current);
    busy.release(workers);
    ASSERT_TRUE(await(std::move(writing)));
    // As things stood when the report began: the log, and the open span up to its last sample.
    const auto digest = Digest::make(day, spans() << span(day, QTime(11, 0), 1200, QStringLiteral("Mail")));
    ASSERT_TRUE(digest);
    ASSERT_EQ(chatRequests().size(), 1);
    EXPECT_EQ(chatRequests()[0].value("messages").toArray().last().toObject().value("content").toString(),
              userPrompt(*digest,
                         "3. A \"## Highlights\" section with up to 5 bullets about what was worked on, "
                         "based on the window titles."));
}

TEST_F(DailyReportTest, NothingToReportOrAFailingModelKeepsTheOlderReport) {
    ASSERT_TRUE(QDir().mkpath(reports()));
    {
        QFile older(DailyReport::reportURL(day));
        ASSERT_TRUE(older.open(QIODevice::WriteOnly));
        older.write("older report\n");
    }

    writeLog(day, {span(day, QTime(9, 0), 15, "Editor"), span(day, QTime(9, 1), 15, "Mail")});
    auto result = await(DailyReport::generate(day));
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, ReportError::Kind::noActivity);
    EXPECT_EQ(result.error().localizedDescription(), "No recent usage data.");
    EXPECT_TRUE(sim->requests().isEmpty()) << "the model is not even asked";

    // The report's own model setting goes before the general one, and the server lacks it.
    writeLog(day, spans());
    Settings::setValue(QLatin1String(Settings::Key::ollamaModel), QStringLiteral("qwen2.5:7b"));
    Settings::setValue(QLatin1String(Settings::Key::reportModel), QStringLiteral("mistral"));
    result = await(DailyReport::generate(day));
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, ReportError::Kind::model);
    EXPECT_EQ(result.error().localizedDescription(),
              "Ollama: model \"mistral\" not found, try pulling it first");

    Settings::remove(QLatin1String(Settings::Key::ollamaModel));
    Settings::remove(QLatin1String(Settings::Key::reportModel));
    sim->control("POST", "/sim/ollama", QJsonObject{{"models", QJsonArray{}}});
    result = await(DailyReport::generate(day));
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().modelError.kind, OllamaClient::ClientError::Kind::noModels);

    // An answer cut off halfway is no answer.
    sim->control("POST", "/sim/ollama", QJsonObject{{"models", QJsonArray{"llama3.2:latest"}}});
    sim->control("POST", "/sim/faults", QJsonObject{{"path", "/api/chat"}, {"action", "cut"}});
    result = await(DailyReport::generate(day));
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, ReportError::Kind::model);
    EXPECT_EQ(chatRequests().size(), 2);
    EXPECT_EQ(reportText(), "older report\n");

    // A report that cannot be written says where.
    ASSERT_TRUE(QDir(reports()).removeRecursively());
    {
        QFile blocker(reports());
        ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    }
    result = await(DailyReport::generate(day));
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, ReportError::Kind::file);
    EXPECT_EQ(result.error().localizedDescription(), "Could not write the report: " + reports());
}
