#include "platform/linux/SystemSecretStore.h"

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
    return std::chrono::steady_clock::now() < restUntil;
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
            a.outcome = Outcome::done;
            a.secret = QString::fromUtf8(secret);
            secret_password_free(secret);
        }
        return a;
    });
    if (!answer) {
        restUntil = std::chrono::steady_clock::now() + std::chrono::minutes(1);
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
        restUntil = std::chrono::steady_clock::now() + std::chrono::minutes(1);
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
    return cleared.value_or(false);
}

std::optional<QString> SystemSecretStore::read(const QString& account) {
    const Answer answer = keyringLookup(account);
    if (answer.outcome == Outcome::done) {
        return answer.secret;
    }
    const auto inFile = file.read(account);
    if (answer.outcome == Outcome::missing && inFile && keyringStore(account, *inFile)) {
        // The keyring answers now: the secret moves there and leaves the file.
        file.remove(account);
    }
    return inFile;
}

bool SystemSecretStore::write(const QString& account, const QString& secret) {
    if (keyringStore(account, secret)) {
        file.remove(account);
        return true;
    }
    return file.write(account, secret);
}

void SystemSecretStore::remove(const QString& account) {
    keyringClear(account);
    file.remove(account);
}

SecretStore::Location SystemSecretStore::location() {
    return keyringLookup(QStringLiteral("-")).outcome == Outcome::failed ? Location::file : Location::keyring;
}

} // namespace platform
