#include "support/SpinUntil.h"
#include "support/WorkspaceFixture.h"
#include "workspace/VantleClient.h"

#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QTemporaryDir>

namespace {

const QString documentsPath = QStringLiteral("/api/knowledge/documents");

class UploadsTest : public WorkspaceFixture {
protected:
    QString write(const QString& name, const QByteArray& bytes) {
        QFile file(dir.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return file.fileName();
    }
    static QString sha256(const QByteArray& bytes) {
        return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
    }
    QTemporaryDir dir;
};

} // namespace

TEST_F(UploadsTest, ADocumentArrivesWholeUnderItsShownNameAndARetrySendsTheSameBytes) {
    const QByteArray content = "Quarterly figures\r\n\0\x01\x02 and the rest";
    const QString path = write("Q3 \"final\"\nreport.pdf", content);
    // A token that has ended on the workspace's side: the first try meets a 401.
    ASSERT_TRUE(await(VantleClient::whoAmI()));
    sim->control("POST", "/sim/tokens/expire");
    const auto document = await(VantleClient::upload(path));
    ASSERT_TRUE(document) << document.error().localizedDescription().toStdString();
    EXPECT_EQ(document->name, "Q3 'final' report.pdf");
    EXPECT_EQ(document->folder, "Uploads");
    ASSERT_TRUE(document->link);
    EXPECT_TRUE(document->link->path().endsWith("/knowledge/documents/" + document->id));

    const auto sent = requestsTo(documentsPath);
    ASSERT_EQ(sent.size(), 2) << "a 401, then the retry";
    const QByteArray first = SimProcess::bodyOf(sent.at(0));
    EXPECT_EQ(first, SimProcess::bodyOf(sent.at(1))) << "the same body, boundary and all";
    const QString type = sent.at(1).toObject().value("headers").toObject().value("content-type").toString();
    EXPECT_TRUE(type.startsWith("multipart/form-data; boundary=mirk-")) << type.toStdString();
    EXPECT_TRUE(first.startsWith("--" + type.section("boundary=", 1).toLatin1() + "\r\n"));
    const auto stored = sim->control("GET", "/sim/state").toObject().value("documents").toArray();
    ASSERT_FALSE(stored.isEmpty());
    EXPECT_EQ(stored.last().toObject().value("sha256").toString(), sha256(content));
}

TEST_F(UploadsTest, AHundredMegabytesGoFromDiskAndArriveByteForByte) {
    QByteArray block(1 << 20, '\0');
    for (auto& c : block) {
        c = static_cast<char>(QRandomGenerator::global()->bounded(256));
    }
    QFile file(dir.filePath("large.bin"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    QCryptographicHash hash(QCryptographicHash::Sha256);
    for (int i = 0; i < 100; ++i) {
        block[0] = static_cast<char>(i); // no two megabytes alike
        file.write(block);
        hash.addData(block);
    }
    file.close();
    const auto document = await(VantleClient::upload(file.fileName()));
    ASSERT_TRUE(document) << document.error().localizedDescription().toStdString();
    const auto stored =
        sim->control("GET", "/sim/state").toObject().value("documents").toArray().last().toObject();
    EXPECT_EQ(stored.value("size").toInteger(), 100 << 20);
    EXPECT_EQ(stored.value("sha256").toString(), QString::fromLatin1(hash.result().toHex()));
}

TEST_F(UploadsTest, MailGoesToTheInboxAndWhatCantBeReadIsNeverSent) {
    const QString mail =
        write("Offer.eml", "From: Mari Maasikas <mari@example.ee>\r\nSubject: Pakkumine\r\n\r\nTere!\r\n");
    const auto forwarded = await(VantleClient::forwardEmail(mail));
    ASSERT_TRUE(forwarded) << forwarded.error().localizedDescription().toStdString();
    EXPECT_EQ(forwarded->subject, "Pakkumine");
    const auto sent = requestsTo("/api/inbox/forward");
    ASSERT_EQ(sent.size(), 1);
    EXPECT_TRUE(SimProcess::bodyOf(sent.at(0))
                    .contains("filename=\"Offer.eml\"\r\nContent-Type: message/rfc822\r\n\r\nFrom:"));

    // The workspace refuses an empty message; the error is the workspace's own.
    const auto empty = await(VantleClient::forwardEmail(write("empty.eml", {})));
    ASSERT_FALSE(empty);
    EXPECT_EQ(empty.error().localizedDescription().toStdString(), "Vantle: The message is empty");

    // Gone, a folder: the system's reason with the name, and no request at all.
    const int before = sim->requests().size();
    const auto gone = await(VantleClient::upload(dir.filePath("gone.pdf")));
    ASSERT_FALSE(gone);
    EXPECT_TRUE(gone.error().localizedDescription().startsWith("gone.pdf: "))
        << gone.error().localizedDescription().toStdString();
    const auto folder = await(VantleClient::forwardEmail(dir.path()));
    ASSERT_FALSE(folder);
    EXPECT_TRUE(folder.error().localizedDescription().endsWith(": Is a directory"));
    EXPECT_EQ(sim->requests().size(), before);
}

TEST_F(UploadsTest, RepliesBecomeRecordsByTheirRules) {
    const QString path = QStringLiteral("/tmp/a \"quoted\" name.pdf");
    auto document = VantleClient::documentFrom(QJsonObject{{"id", "d1"}}, path);
    ASSERT_TRUE(document);
    EXPECT_EQ(document->name, "a \"quoted\" name.pdf") << "the file's own name, not the shown one";
    EXPECT_EQ(document->folder, "Uploads");
    EXPECT_EQ(document->link, VantleClient::dashboardURL("/knowledge"));
    document = VantleClient::documentFrom(
        QJsonObject{{"id", "d2"}, {"webViewLink", "not a link"}, {"folderId", "f 9"}}, path);
    EXPECT_EQ(document->link, VantleClient::dashboardURL("/knowledge?folder=f 9"));
    EXPECT_FALSE(VantleClient::documentFrom(QJsonObject{{"id", 7}}, path));

    const auto email =
        VantleClient::emailFrom(QJsonObject{{"attachments", QJsonArray{"a.pdf", 3}}}, "/tmp/Offer.v2.eml");
    EXPECT_EQ(email.subject, "Offer.v2");
    EXPECT_TRUE(email.fromName.isEmpty() && email.fromEmail.isEmpty());
    EXPECT_TRUE(email.attachments.isEmpty()) << "a mixed list counts as none";
    EXPECT_FALSE(email.duplicate);
    EXPECT_EQ(VantleClient::emailFrom(QJsonObject{{"attachments", QJsonArray{"a.pdf"}}, {"duplicate", true}},
                                      "x.eml")
                  .attachments,
              QStringList{"a.pdf"});
}
