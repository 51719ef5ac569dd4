#include "app/Settings.h"
#include "chat/ChatSession.h"
#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

namespace {

class ExtractLinksTest : public ::testing::Test {
protected:
    void SetUp() override {
        TestEnvironment::freshSettings();
        Settings::setValue(QLatin1String(Settings::Key::vantleURL),
                           QStringLiteral("https://acme.example/app"));
    }
    static QString text(const QString& raw, bool partial = false) {
        return ChatSession::extractLinks(raw, partial).text;
    }
    static QList<WebLink> links(const QString& raw, bool partial = false) {
        return ChatSession::extractLinks(raw, partial).links;
    }
};

} // namespace

TEST_F(ExtractLinksTest, MarkdownLinksBecomeTheirTitlesAndLinkRows) {
    EXPECT_EQ(text(""), QString());
    EXPECT_TRUE(links("").isEmpty());

    auto found = links("See [Report](/reports/7) now");
    EXPECT_EQ(text("See [Report](/reports/7) now"), QStringLiteral("See Report now"));
    ASSERT_EQ(found.size(), 1);
    EXPECT_EQ(found.at(0).title, QStringLiteral("Report"));
    EXPECT_EQ(found.at(0).url, QUrl("https://acme.example/app/reports/7"));

    found = links("[](https://h.example/x)");
    EXPECT_EQ(text("[](https://h.example/x)"), QString());
    ASSERT_EQ(found.size(), 1);
    EXPECT_EQ(found.at(0).title, QStringLiteral("h.example"));

    const QString twice = "[a](https://h.example/x) and [b](https://h.example/x)";
    EXPECT_EQ(text(twice), QStringLiteral("a and b"));
    ASSERT_EQ(links(twice).size(), 1);
    EXPECT_EQ(links(twice).at(0).title, QStringLiteral("b")) << "a repeated link keeps its last title";

    const QString then = "[a](https://h.example/x) then https://h.example/x";
    EXPECT_EQ(text(then), QStringLiteral("a then"));
    ASSERT_EQ(links(then).size(), 1);
    EXPECT_EQ(links(then).at(0).title, QStringLiteral("a"));

    EXPECT_EQ(text("[x](ftp://h.example/x)"), QStringLiteral("[x](ftp://h.example/x)")) << "no link at all";

    Settings::setValue(QLatin1String(Settings::Key::vantleURL), QStringLiteral("bad host"));
    EXPECT_EQ(text("See [Report](/reports/7)"), QStringLiteral("See Report"));
    EXPECT_TRUE(links("See [Report](/reports/7)").isEmpty());
}

TEST_F(ExtractLinksTest, BareAddressesLeaveTheTextAndKeepTheirOrder) {
    EXPECT_EQ(text("See https://h.example/a."), QStringLiteral("See."));
    EXPECT_EQ(text("(https://h.example/a) is it"), QStringLiteral("is it"));
    const auto found =
        links("first https://one.example/a, then https://two.example/b; and [c](https://c.example)");
    ASSERT_EQ(found.size(), 3);
    EXPECT_EQ(found.at(0).title, QStringLiteral("c")) << "markdown links come first";
    EXPECT_EQ(found.at(1).title, QStringLiteral("one.example"));
    EXPECT_EQ(found.at(2).title, QStringLiteral("two.example"));
    QString nine;
    for (int i = 0; i < 9; ++i) {
        nine += QStringLiteral("https://h%1.example ").arg(i);
    }
    EXPECT_EQ(links(nine).size(), 9) << "the limit of four is the caller's";

    // Any Unicode space ends an address: no-break, narrow no-break, thin, ideographic.
    for (const char16_t space : {u'\u00A0', u'\u202F', u'\u2009', u'\u3000'}) {
        const QString gap(QChar{space});
        const QString raw = "See https://h.example/a" + gap + "now";
        const auto one = links(raw);
        ASSERT_EQ(one.size(), 1) << int(space);
        EXPECT_EQ(one.at(0).url, QUrl("https://h.example/a")) << int(space);
        EXPECT_EQ(text(raw), "See " + gap + "now");
        EXPECT_TRUE(links("[a](/x" + gap + "y)").isEmpty()) << "a target holds no space";
    }
}

TEST_F(ExtractLinksTest, HalfWrittenMarkupNeverFlashes) {
    EXPECT_EQ(text("Look at [the rep", true), QStringLiteral("Look at"));
    EXPECT_EQ(text("Look at [the report](https://h.exa", true), QStringLiteral("Look at"));
    EXPECT_EQ(text("Look at [the report](https://h.example/r)", true), QStringLiteral("Look at the report"));
    EXPECT_EQ(text("a [literal bracket and more", true), QStringLiteral("a"));
    EXPECT_EQ(text("a [literal bracket and more", false), QStringLiteral("a [literal bracket and more"));
    EXPECT_EQ(text("Open htt", true), QStringLiteral("Open htt"));
    EXPECT_EQ(text("Open http", true), QStringLiteral("Open"));
    EXPECT_EQ(text("Open https://", true), QStringLiteral("Open"));
    EXPECT_EQ(text("Open https://h.example/x", true), QStringLiteral("Open"));
    EXPECT_EQ(text("the http protocol", true), QStringLiteral("the http protocol"));
    EXPECT_EQ(text("Open http", false), QStringLiteral("Open http"));
    EXPECT_EQ(text("line\nhttp", true), QStringLiteral("line")) << "a line break is no space";
}

TEST_F(ExtractLinksTest, TheMarkdownStaysAndOnlyWhatLinksLeaveIsTidied) {
    EXPECT_EQ(text("**bold** and *it*"), QStringLiteral("**bold** and *it*"));
    EXPECT_EQ(text("# Title\n- one\n  - nested\n> quoted"),
              QStringLiteral("# Title\n- one\n  - nested\n> quoted"));
    EXPECT_EQ(text("line with a break  \nnext"), QStringLiteral("line with a break  \nnext"));
    EXPECT_EQ(text("a\n\n\n\nb"), QStringLiteral("a\n\nb"));
    EXPECT_EQ(text("Tere , kuidas läheb ?"), QStringLiteral("Tere, kuidas läheb?"));
    EXPECT_EQ(text("See https://h.example/a and that"), QStringLiteral("See and that"));
    EXPECT_EQ(text("  \n padded \n\n"), QStringLiteral("padded"));
}

TEST_F(ExtractLinksTest, ALineThatIsOnlyALinkShowsOnlyAsItsRow) {
    const QString answer =
        "Here are the reports:\n\n[Q1 report](/r/1)\n\n- **[Q2 report](/r/2)**\n"
        "> https://h.example/3\n1. [Q4](https://h.example/4):\n\nRead [Q1 report](/r/1) first.";
    const auto extracted = ChatSession::extractLinks(answer, false);
    EXPECT_EQ(extracted.text, QStringLiteral("Here are the reports:\n\nRead Q1 report first."));
    ASSERT_EQ(extracted.links.size(), 4);
    EXPECT_EQ(extracted.links.at(0).title, QStringLiteral("Q2 report"));
    EXPECT_EQ(extracted.links.at(1).title, QStringLiteral("Q4"));
    EXPECT_EQ(extracted.links.at(2).title, QStringLiteral("Q1 report"));
    EXPECT_EQ(extracted.links.at(3).title, QStringLiteral("h.example"));
    EXPECT_EQ(text("[Q1 report](/r/1)", true), QString()) << "streamed as it will stand";

    // A link that makes no row stays as its words; marks like those in use are no text.
    Settings::setValue(QLatin1String(Settings::Key::vantleURL), QStringLiteral("bad host"));
    EXPECT_EQ(text("Intro\n\n[Q1 report](/r/1)"), QStringLiteral("Intro\n\nQ1 report"));
    EXPECT_EQ(text(QStringLiteral("a\uFFF9b\uFFFBc\uFFFC")), QStringLiteral("abc"));
}

TEST_F(ExtractLinksTest, HalfWrittenBoldShowsNoStars) {
    EXPECT_EQ(text("It is **very", true), QStringLiteral("It is very"));
    EXPECT_EQ(text("It is **very**", true), QStringLiteral("It is **very**"));
    EXPECT_EQ(text("***both*** and **more", true), QStringLiteral("***both*** and more"));
    EXPECT_EQ(text("It is **very", false), QStringLiteral("It is **very"))
        << "a finished answer stands as written";
}

TEST_F(ExtractLinksTest, AnyAnswerIsReadInOnePassWhateverItHolds) {
    // Each of these took a walk over the rest of the text from every place: a million characters
    // would not have ended.
    constexpr int many = 1000000;
    const QString brackets(many, QLatin1Char('['));
    EXPECT_EQ(text(brackets), brackets);
    EXPECT_EQ(text(brackets, true), brackets.chopped(1)) << "only the last could still become a link";
    QString targets;
    for (int i = 0; i < many / 8; ++i) {
        targets += QStringLiteral("[x](/a(b");
    }
    EXPECT_EQ(text(targets), targets);
    EXPECT_EQ(links(targets + "[y](/c)").size(), 1);
    EXPECT_EQ(text(QString(many, QLatin1Char(' ')) + "x ?"), QStringLiteral("x?"));
}
