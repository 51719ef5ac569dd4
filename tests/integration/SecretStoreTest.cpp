#include "platform/linux/FileSecretStore.h"
#include "platform/linux/SystemSecretStore.h"
#include "support/PrivateKeyring.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/stat.h>

namespace {

const QString service = QStringLiteral("Mirk Vantle Agents");
const QString account = QStringLiteral("Vantle OS Desktop Key");

unsigned modeOf(const QString& path) {
    struct stat info {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_mode & 0777u : 0u;
}

QStringList filesIn(const QString& folder) {
    return QDir(folder).entryList(QDir::Files);
}

} // namespace

TEST(SecretStore, WithoutAKeyringTheKeyLivesInAPrivateFile) {
    QTemporaryDir folder;
    platform::SystemSecretStore store(service, folder.path() + "/support");
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(store.location(), platform::SecretStore::Location::file);
    EXPECT_FALSE(store.read(account));
    EXPECT_LT(clock.elapsed(), 500) << "a missing keyring answers at once";

    ASSERT_TRUE(store.write(account, "key-123"));
    const auto files = filesIn(folder.path() + "/support");
    ASSERT_EQ(files.size(), 1);
    EXPECT_EQ(modeOf(folder.path() + "/support/" + files.at(0)), 0600u);
    EXPECT_EQ(modeOf(folder.path() + "/support"), 0700u);
    EXPECT_EQ(store.read(account), QStringLiteral("key-123"));

    ASSERT_TRUE(store.write(account, "key-456"));
    EXPECT_EQ(store.read(account), QStringLiteral("key-456")) << "replaced whole";
    store.remove(account);
    EXPECT_FALSE(store.read(account));
    EXPECT_TRUE(filesIn(folder.path() + "/support").isEmpty());
}

TEST(SecretStore, AKeyringHoldsTheKeyAndTakesOverTheFile) {
    PrivateKeyring keyring;
    if (!keyring.isRunning()) {
        GTEST_SKIP() << "no keyring daemon could be started here";
    }
    QTemporaryDir folder;
    const QString support = folder.path() + "/support";
    platform::FileSecretStore(support).write(account, "from-the-file");

    platform::SystemSecretStore store(service, support);
    EXPECT_EQ(store.location(), platform::SecretStore::Location::keyring);
    EXPECT_EQ(store.read(account), QStringLiteral("from-the-file"));
    EXPECT_TRUE(filesIn(support).isEmpty()) << "the key moved out of the file";
    EXPECT_EQ(keyring.lookup(service, account), QStringLiteral("from-the-file"));

    ASSERT_TRUE(store.write(account, "key-789"));
    EXPECT_EQ(keyring.lookup(service, account), QStringLiteral("key-789"));
    EXPECT_EQ(store.read(account), QStringLiteral("key-789"));
    EXPECT_TRUE(filesIn(support).isEmpty());

    // A keyring that stops answering costs about a second, once, and then the file serves.
    ::kill(static_cast<pid_t>(keyring.keyringPid()), SIGSTOP);
    QElapsedTimer clock;
    clock.start();
    EXPECT_FALSE(store.read(account)) << "no answer counts as no key";
    EXPECT_LT(clock.elapsed(), 1500);
    clock.restart();
    EXPECT_TRUE(store.write(account, "while-stalled"));
    EXPECT_LT(clock.elapsed(), 200) << "the stalled keyring is not asked again at once";
    EXPECT_EQ(store.read(account), QStringLiteral("while-stalled"));
    EXPECT_EQ(modeOf(support + "/" + filesIn(support).value(0)), 0600u);
    ::kill(static_cast<pid_t>(keyring.keyringPid()), SIGCONT);
}
