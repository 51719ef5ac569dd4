#pragma once

#include <QUrl>

namespace platform {

// What a link that came from outside may do on this desktop.
enum class LinkAction { open, reveal, nothing };

// Web pages and documents open. A local file opens only when it is of a document kind by its
// name and its content; any other (programs, folders, launchers, saved pages) is only shown in
// the file manager, so that no link starts a program, and a missing file does nothing. Every
// scheme but http, https and file does nothing. A file is judged by what lies on disk now.
LinkAction linkAction(const QUrl& url);

// Carries out linkAction through the desktop service.
void openLink(const QUrl& url);

} // namespace platform
