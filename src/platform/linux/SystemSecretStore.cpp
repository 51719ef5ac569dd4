#include "platform/linux/SystemSecretStore.h"

#include "base/Scheduler.h"
#include "base/Text.h"

// GLib's headers use `signals` as a name, which Qt defines as a keyword.
#pragma push_macro("signals")
#undef signals
#include <libsecret/secret.h>
#pragma pop_macro("signals")

#include <functional>
#include <future>
#include <memory>
#include <thread>

namespace platform {
namespace {

// Items carry the service and the account, as a generic password, so that other keyring tools
// show them plainly.
const SecretSchema* schema() {
    static const SecretSchema instance = {"org.freedesktop.Secret.Generic",
                                          SECRET_SCHEMA_DONT_MATCH_NAME,
                                          {{"service", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                           {"account", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                           {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                                          0,
                                          nullptr,
                                          nullptr,
                                          nullptr,
                                          nullptr,
                                          nullptr,
                                          nullptr,
                                          nullptr};
    return &instance;
}

struct Call {
    std::string service;
    std::string account;
    std::string secret;
    GCancellable* cancellable = g_cancellable_new();
    ~Call() { g_object_unref(cancellable); }
};

// Runs a blocking keyring call on a thread of its own and waits for it at most `patience`.
// A call that takes longer is cancelled and left to end by itself; it owns all it touches.
template <typename Result>
std::optional<Result> withPatience(std::chrono::milliseconds patience, std::shared_ptr<Call> call,
                                   std::function<Result(Call&)> body) {
    std::packaged_task<Result()> task([call, body] { return body(*call); });
    auto future = task.get_future();
    std::thread(std::move(task)).detach();
    if (future.wait_for(patience) != std::future_status::ready) {
        g_cancellable_cancel(call->cancellable);
        return std::nullopt;
    }
    return future.get();
}

} // namespace

SystemSecretStore::SystemSecretStore(QString s, QString fileFolder)
    : service(std::move(s)), file(std::move(fileFolder)) {}

bool SystemSecretStore::keyringResting() const {
    return base::Scheduler::current().monotonic() < restUntil;
}

void SystemSecretStore::rest() {
    restUntil = base::Scheduler::current().monotonic() + 60;
}

SystemSecretStore::Answer SystemSecretStore::keyringLookup(const QString& account) {
    if (keyringResting()) {
        return {};
    }
    auto call = std::make_shared<Call>();
    call->service = service.toStdString();
    call->account = account.toStdString();
    auto answer = withPatience<Answer>(patience, call, [](Call& c) {
        GError* error = nullptr;
        gchar* secret = secret_password_lookup_sync(schema(), c.cancellable, &error, "service",
                                                    c.service.c_str(), "account", c.account.c_str(), nullptr);
        Answer a;
        if (error) {
            g_error_free(error);
            a.outcome = Outcome::failed;
        } else if (!secret) {
            a.outcome = Outcome::missing;
        } else {
            // A secret that isn't text is nobody's key.
            const auto text = base::strictUtf8(secret);
            a.outcome = text ? Outcome::done : Outcome::missing;
            a.secret = text.value_or(QString());
            secret_password_free(secret);
        }
        return a;
    });
    if (!answer) {
        rest();
        return {};
    }
    return *answer;
}

bool SystemSecretStore::keyringStore(const QString& account, const QString& secret) {
    if (keyringResting()) {
        return false;
    }
    auto call = std::make_shared<Call>();
    call->service = service.toStdString();
    call->account = account.toStdString();
    call->secret = secret.toStdString();
    const std::string label = call->service + ": " + call->account;
    auto stored = withPatience<bool>(patience, call, [label](Call& c) {
        GError* error = nullptr;
        const gboolean ok = secret_password_store_sync(
            schema(), SECRET_COLLECTION_DEFAULT, label.c_str(), c.secret.c_str(), c.cancellable, &error,
            "service", c.service.c_str(), "account", c.account.c_str(), nullptr);
        if (error) {
            g_error_free(error);
            return false;
        }
        return ok == TRUE;
    });
    if (!stored) {
        rest();
    }
    return stored.value_or(false);
}

bool SystemSecretStore::keyringClear(const QString& account) {
    if (keyringResting()) {
        return false;
    }
    auto call = std::make_shared<Call>();
    call->service = service.toStdString();
    call->account = account.toStdString();
    auto cleared = withPatience<bool>(patience, call, [](Call& c) {
        GError* error = nullptr;
        secret_password_clear_sync(schema(), c.cancellable, &error, "service", c.service.c_str(), "account",
                                   c.account.c_str(), nullptr);
        if (error) {
            g_error_free(error);
            return false;
        }
        return true;
    });
    if (!cleared) {
        rest();
    }
    return cleared.value_or(false);
}

void SystemSecretStore::catchUp(const QString& account, Known& last) {
    const bool taken = last.secret ? keyringStore(account, *last.secret) : keyringClear(account);
    if (taken) {
        last.keyringBehind = false;
        file.remove(account);
    }
}

std::optional<QString> SystemSecretStore::read(const QString& account) {
    const auto seen = known.find(account);
    if (seen != known.end() && seen->second.keyringBehind) {
        catchUp(account, seen->second);
        return seen->second.secret;
    }
    const Answer answer = keyringLookup(account);
    if (answer.outcome == Outcome::failed && seen != known.end()) {
        // The keyring is silent; the secret it held when it last answered still stands.
        return seen->second.secret;
    }
    // A file holds a write that the keyring did not take at the time, so it is the newer secret;
    // it moves into the keyring once one answers. An empty file is a removal it did not take.
    auto secret = file.read(account);
    if (secret && secret->isEmpty()) {
        if (answer.outcome != Outcome::failed && keyringClear(account)) {
            file.remove(account);
        }
        known[account] = {std::nullopt, false};
        return std::nullopt;
    }
    if (secret && answer.outcome != Outcome::failed && keyringStore(account, *secret)) {
        file.remove(account);
    }
    if (!secret && answer.outcome == Outcome::done) {
        secret = answer.secret;
    }
    known[account] = {secret, false};
    return secret;
}

bool SystemSecretStore::write(const QString& account, const QString& secret) {
    if (secret.trimmed().isEmpty()) {
        remove(account);
        return true;
    }
    Known& last = known[account];
    last = {secret, true};
    if (keyringStore(account, secret)) {
        last.keyringBehind = false;
        file.remove(account);
        return true;
    }
    return file.write(account, secret);
}

void SystemSecretStore::remove(const QString& account) {
    const bool cleared = keyringClear(account);
    known[account] = {std::nullopt, !cleared};
    // A removal that a stalled keyring did not take stays owed across a restart: an empty file
    // says so. Without any keyring the file was the only place of the key.
    if (cleared || !keyringResting() || !file.write(account, QString())) {
        file.remove(account);
    }
}

SecretStore::Location SystemSecretStore::location() {
    return keyringLookup(QStringLiteral("-")).outcome == Outcome::failed ? Location::file : Location::keyring;
}

} // namespace platform
