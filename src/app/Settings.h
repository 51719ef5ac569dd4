#pragma once

#include "app/AppLanguage.h"

#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariant>

#include <optional>

// The user's settings: a per-user key-value store with registered defaults that live in memory
// and are never written. Every reader asks the store when it needs a value, so a change takes
// effect at the next reading. Safe to read from any thread.
namespace Settings {

namespace Key {
inline constexpr auto isMuted = "isMuted";
inline constexpr auto scale = "scale";
inline constexpr auto vantleURL = "vantleURL";
inline constexpr auto idleAnimations = "idleAnimations";
inline constexpr auto speakAnswers = "speakAnswers";
inline constexpr auto notifications = "notifications";
inline constexpr auto ollamaURL = "ollamaURL";
inline constexpr auto ollamaModel = "ollamaModel";
inline constexpr auto reportModel = "reportModel";
inline constexpr auto recordActivity = "recordActivity";
inline constexpr auto recordWindowTitles = "recordWindowTitles";
inline constexpr auto reportMinutes = "reportMinutes";
// Application identifiers that the activity record passes over, as if the user were away.
inline constexpr auto excludedApps = "excludedApps";
inline constexpr auto language = "language";
inline constexpr auto workspaceLanguage = "workspaceLanguage";
inline constexpr auto lastUsedAgent = "lastUsedAgent";
inline constexpr auto dayEndOffered = "dayEndOffered";
// The stored desktop key has been accepted by the workspace at least once.
inline constexpr auto keyWorked = "keyWorked";
} // namespace Key

// The address used when none is stored.
QUrl defaultWorkspaceURL();
QUrl defaultOllamaURL();

// Registers the defaults of the settings that have one. Called first at start.
void registerDefaults();

// The stored value, else the registered default, else an invalid value.
QVariant value(const QString& key);
bool contains(const QString& key);
void setValue(const QString& key, const QVariant& value);
void remove(const QString& key);
// Keys that hold a stored value and begin with the prefix.
QStringList keys(const QString& prefix = {});

// Typed readers: a stored value that is missing or cannot be read as the type falls back to
// the registered default (false, 0 or the empty text where there is none).
bool boolValue(const QString& key);
double doubleValue(const QString& key);
int intValue(const QString& key);
QString stringValue(const QString& key);
QStringList stringListValue(const QString& key);

// The workspace address: trimmed, trailing slashes removed, "https://" added when there is no
// scheme, the default when empty. None when the text is no usable address: not a web address,
// or plain http to another computer, which would carry the key in the clear.
std::optional<QUrl> vantleURL();
// Why the stored workspace address can't be used, in words for the user; none when it can.
std::optional<QString> vantleURLProblem();
// The local model server's address; the default when empty or unusable.
QUrl ollamaURL();
// The language the workspace reported, when it is exactly "en" or "et".
std::optional<AppLanguage> workspaceLanguage();

// Writes pending changes to disk.
void sync();
// The settings file in use.
QString fileName();
// Uses another settings file and forgets the registered defaults (tests).
void useFile(const QString& path);

} // namespace Settings
