#pragma once

#include <functional>

// Runs the event loop until the condition holds or the time is up; false when it never held.
// The deadline is a safety net for a loaded machine, never a measurement.
bool spinUntil(const std::function<bool()>& condition, int ms = 10000);

// Runs the event loop for a while, for what has no event to wait on.
void spinFor(int ms);
