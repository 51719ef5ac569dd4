#pragma once

#include <QString>

namespace AppIdentity {

inline constexpr auto name = "Mirk Vantle Agents";

// The folder under the user's data directory that holds the program's files (activity logs,
// reports, the key file when no keyring is at hand). Not created here; writers create what
// they need under it.
QString supportURL();

} // namespace AppIdentity
