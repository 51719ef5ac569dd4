#pragma once

#include <QStringList>

// What other local users and crash reports could otherwise read of the program's secrets: its
// command line (a link may carry a desktop key) and its memory after a crash.
namespace ProcessPrivacy {

// The arguments after the program's name, as text. Every mirkvantle: link among them is then
// overwritten in place with zero bytes, so /proc/<pid>/cmdline no longer shows it.
QStringList takeArguments(int argc, char** argv);

// Core dumps off, soft and hard limit alike.
void forbidCoreDumps();

// A mirkvantle: link, by its scheme alone.
bool isLink(const QString& argument);

} // namespace ProcessPrivacy
