#pragma once

#include <QString>

#include <optional>

// The program's secrets in the platform's secret store, under the service "Mirk Vantle Agents".
namespace Keychain {

inline constexpr auto desktopKeyAccount = "Vantle OS Desktop Key";

// The secret of the account; none when there is none, it is empty, or the store did not answer.
std::optional<QString> read(const QString& account);
// Stores the value trimmed; an empty value removes the secret.
void save(const QString& value, const QString& account);

} // namespace Keychain
