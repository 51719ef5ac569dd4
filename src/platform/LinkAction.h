#pragma once

#include <QUrl>

namespace platform {

// What a link that came from outside may do on this desktop.
enum class LinkAction { open, reveal, nothing };

// Web pages and documents open. Programs, folders, launchers and anything else the desktop
// would run are only shown in the file manager, so that no link starts a program. Every scheme
// but http, https and file does nothing. A file is judged by what lies on disk now.
LinkAction linkAction(const QUrl& url);

// Carries out linkAction through the desktop service.
void openLink(const QUrl& url);

} // namespace platform
