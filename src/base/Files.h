#pragma once

#include <QString>

namespace base {

// Makes the folder and any missing parent, and leaves the folder and every parent it made
// readable by the user alone (0700). False when it can't be made.
bool makePrivateFolder(const QString& path);

} // namespace base
