#include "base/VirtualScheduler.h"
#include "platform/linux/FileSecretStore.h"
#include "platform/linux/SystemSecretStore.h"
#include "support/PrivateKeyring.h"
#include "support/SpinUntil.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <future>
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

// Makes a call of the store's on a thread of its own while the keyring is stopped, and tells
// whether it came back. The limit is a safety net far beyond the patience the store is given
// for its first call, and short of the bus's own 25 s that would end a call to a keyring that
// was asked again; a call still waiting past it is released by waking the keyring.
bool comesBack(const PrivateKeyring& keyring, const std::function<void()>& call) {
    auto running = std::async(std::launch::async, call);
    if (running.wait_for(std::chrono::seconds(15)) == std::future_status::ready) {
        return true;
    }
    ::kill(static_cast<pid_t>(keyring.keyringPid()), SIGCONT);
    running.wait();
    return false;
}

} // namespace

TEST(SecretStore, WithoutAKeyringTheKeyLivesInAPrivateFile) {
    QTemporaryDir folder;
    platform::SystemSecretStore store(service, folder.path() + "/support");
    EXPECT_EQ(store.location(), platform::SecretStore::Location::file);
    EXPECT_FALSE(store.read(account));

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

    // Bytes that aren't UTF-8 are nobody's key: refused, not repaired.
    QFile bad(folder.path() + "/support/secret-Vantle-OS-Desktop-Key");
    ASSERT_TRUE(bad.open(QIODevice::WriteOnly));
    bad.write("key-\xff\xfe");
    bad.close();
    EXPECT_FALSE(platform::SystemSecretStore(service, folder.path() + "/support").read(account));
}

TEST(SecretStore, AKeyringHoldsTheKeyAndEveryReadTellsTheLastSaved) {
    PrivateKeyring keyring;
    ASSERT_TRUE(keyring.isRunning()) << "no keyring daemon started (gnome-keyring, from scripts/setup)";
    base::VirtualScheduler scheduler; // the keyring's resting minute passes in virtual time
    QTemporaryDir folder;
    const QString support = folder.path() + "/support";
    platform::FileSecretStore(support).write(account, "from-the-file");

    platform::SystemSecretStore store(service, support);
    // What is kept where, not how fast: a keyring on a machine busy with other tests may take
    // longer than a user would wait.
    const auto usualPatience = store.patience;
    store.patience = std::chrono::seconds(10);
    EXPECT_EQ(store.location(), platform::SecretStore::Location::keyring);
    EXPECT_EQ(store.read(account), QStringLiteral("from-the-file"));
    EXPECT_TRUE(filesIn(support).isEmpty()) << "the key moved out of the file";
    EXPECT_EQ(keyring.lookup(service, account), QStringLiteral("from-the-file"));

    // Save, read, replace, save blank, delete: each read gives what was saved last.
    ASSERT_TRUE(store.write(account, "key-1"));
    EXPECT_EQ(store.read(account), QStringLiteral("key-1"));
    ASSERT_TRUE(store.write(account, "key-2"));
    EXPECT_EQ(store.read(account), QStringLiteral("key-2"));
    EXPECT_EQ(keyring.lookup(service, account), QStringLiteral("key-2"));
    store.write(account, " \n ");
    EXPECT_FALSE(store.read(account));
    EXPECT_EQ(keyring.lookup(service, account), QString());
    ASSERT_TRUE(store.write(account, "key-3"));
    store.remove(account);
    EXPECT_FALSE(store.read(account));
    EXPECT_EQ(keyring.lookup(service, account), QString());
    EXPECT_TRUE(filesIn(support).isEmpty());

    // Bytes that another program stored and that aren't UTF-8: refused, not repaired.
    keyring.store(service, account, "key-\xff\xfe");
    EXPECT_FALSE(store.read(account));

    // A keyring that stops answering is waited for no longer than the patience, once; meanwhile
    // the last key seen stands, and a replacement is read back at once. (How long each costs is
    // measured by bench/keyring-and-simulator-stops.)
    ASSERT_TRUE(store.write(account, "key-4"));
    store.patience = usualPatience;
    ::kill(static_cast<pid_t>(keyring.keyringPid()), SIGSTOP);
    std::optional<QString> read;
    ASSERT_TRUE(comesBack(keyring, [&] { read = store.read(account); }))
        << "the patience ends a stalled call";
    EXPECT_EQ(read, QStringLiteral("key-4"));
    // The keyring now rests: asking it again would wait for the whole of this patience.
    store.patience = std::chrono::hours(1);
    bool written = false;
    ASSERT_TRUE(comesBack(keyring, [&] { written = store.write(account, "while-stalled"); }))
        << "the stalled keyring was asked again at once";
    EXPECT_TRUE(written);
    EXPECT_EQ(store.read(account), QStringLiteral("while-stalled"));
    store.patience = std::chrono::seconds(10);
    EXPECT_EQ(modeOf(support + "/" + filesIn(support).value(0)), 0600u);
    ::kill(static_cast<pid_t>(keyring.keyringPid()), SIGCONT);

    // The program starts again: the file holds the newer key, and it wins over the keyring's.
    EXPECT_EQ(platform::SystemSecretStore(service, support).read(account), QStringLiteral("while-stalled"));
    // A keyring just woken may still be too slow for the first catch-up; a later read makes it.
    EXPECT_TRUE(spinUntil([&] {
        return platform::SystemSecretStore(service, support).read(account) ==
                   QStringLiteral("while-stalled") &&
               keyring.lookup(service, account) == QStringLiteral("while-stalled");
    })) << keyring.lookup(service, account).toStdString();

    // Deleted while the keyring rests: gone at once, also for the program started again before
    // the keyring was asked, and from the keyring once it is asked again.
    store.remove(account);
    EXPECT_FALSE(store.read(account));
    EXPECT_FALSE(platform::SystemSecretStore(service, support).read(account));
    EXPECT_EQ(keyring.lookup(service, account), QString());
    EXPECT_TRUE(filesIn(support).isEmpty());
    scheduler.advance(61);
    EXPECT_FALSE(store.read(account));
    EXPECT_EQ(keyring.lookup(service, account), QString());
}
