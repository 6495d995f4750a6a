/// The console: a dialogue in Spanish with a person at a terminal.
#ifndef TARSIMO_CONTROL_CONSOLE_H
#define TARSIMO_CONTROL_CONSOLE_H

#include "control/think.h"

namespace tarsimo {

/// What the console says while the engine thinks, and its report of the move.
extern const Voice console_voice;

/// Serve the console until it ends the program, or hands over to the CECP loop.
[[noreturn]] void run_console();

/// Print the block of the search's counters with the time and the nodes per second.
void print_statistics(long elapsed_seconds);

}  // namespace tarsimo

#endif
