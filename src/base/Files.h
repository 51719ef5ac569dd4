#pragma once

#include <QString>

#include <optional>

namespace base {

// Makes the folder and any missing parent, and leaves the folder and every parent it made
// readable by the user alone (0700). False when it can't be made.
bool makePrivateFolder(const QString& path);

// A real folder (not a link to one) owned by this user that nobody else may enter: mode 0700.
bool isOwnFolder(const QString& path);

// Makes the folder, 0700, when it is missing (its parent must exist); true when what stands there
// then is isOwnFolder. One made beforehand by somebody else, or with looser modes, is refused.
bool makeOwnFolder(const QString& path);

// A new folder, 0700, whose name is the prefix and six random characters; none when it can't
// be made.
std::optional<QString> makeFreshFolder(const QString& prefix);

} // namespace base
