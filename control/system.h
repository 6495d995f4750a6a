/// What the program asks of the system beside input and output: the time, and its own end. Apart
/// from the rest so that a program of many sessions, with a time of its own, can put others in
/// their place.
#ifndef TARSIMO_CONTROL_SYSTEM_H
#define TARSIMO_CONTROL_SYSTEM_H

namespace tarsimo {

/// Milliseconds since some moment, which nobody can set, wrapped to 32 bits; compare readings by
/// difference only.
int clock_ms();

/// End the program with an exit status.
[[noreturn]] void end_program(int status);

}  // namespace tarsimo

#endif
