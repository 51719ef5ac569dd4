#pragma once

#include <QDateTime>

#include <functional>

// The one source of the current time for the program's logic. Tests replace it, usually through
// VirtualScheduler, so that dates advance with virtual time.
namespace base::Clock {

QDateTime now();

// Replaces the source of now(); an empty function restores the system clock.
void setSource(std::function<QDateTime()> source);

} // namespace base::Clock
