#pragma once

#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

class AppDelegate;
class QAbstractButton;
class QMessageBox;

// The mirkvantle:// links that drive the figure from outside the program. Any web page can send
// one, so nothing here starts a program, touches a file or stores a key without the user's word.
namespace LinkCommands {

// Runs one link. Links act on the stage; with no stage, nothing runs.
void run(const QUrl& url, AppDelegate& app);

// Asks before a link's desktop key is stored, and stores it only on the user's yes. The key is
// first tried at the address, so that the question names the account it opens; a key the
// workspace refuses is refused with its reason, unasked. A link that comes while another is
// being handled waits its turn.
void connect(const std::optional<QString>& workspace, const QString& key, AppDelegate& app);

// The address as the question shows it: a host with letters beyond ASCII in its ASCII form
// ("xn--…"), so that no look-alike letter can pass for another.
QString shownAddress(const QUrl& address);

// Shows the question in front of everything and blocks until it is answered; gives the button
// chosen, none when the box was closed otherwise. Tests answer through it ahead of time.
extern std::function<QAbstractButton*(QMessageBox& box)> runModal;

} // namespace LinkCommands
