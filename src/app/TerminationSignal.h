#pragma once

#include <functional>

// Delivers SIGTERM into the main loop, where the handler may do anything the program can.
namespace TerminationSignal {

// Installs the handler; a second call replaces it.
void install(std::function<void()> handler);

} // namespace TerminationSignal
