#pragma once

#include <QUrl>

class AppDelegate;

// The mirkvantle:// links that drive the figure from outside the program.
namespace LinkCommands {

// Runs one link. Links act on the stage; with no stage, nothing runs.
void run(const QUrl& url, AppDelegate& app);

} // namespace LinkCommands
