/// What the program is told: lines from standard input, and keys pressed during a think.
///
/// Nothing is read ahead of the line in hand, so that whatever runs after the program finds the
/// rest of a shared input; only what exceeds the longest line is read in larger pieces.
#ifndef TARSIMO_CONTROL_INPUT_H
#define TARSIMO_CONTROL_INPUT_H

#include <string>

namespace tarsimo {

/// A piece of work for the time while nobody says anything: some milliseconds at most. Returns
/// false when nothing is left to do.
using IdleWork = bool (*)();

/// Read a line without its newline, at most 255 characters of it, waiting for it; as long as
/// nothing arrives, `work` is done piece by piece (null for none). Returns false at end of input. A
/// last line without a newline counts; a NUL character ends the text of its line.
bool read_line(std::string& line, IdleWork work = nullptr);

/// True if a whole line, or the end of input, can be read without waiting. Takes in a bounded
/// part of what has arrived, so that a line without end does not hold the caller.
bool line_waiting();

/// The line that read_line() would return, if line_waiting() and not input_ended().
std::string waiting_line();

/// True if the input has ended and every line of it has been read.
bool input_ended();

/// True if a key was pressed at the console; the key then is the first character of the next line
/// read. End of input, an unreadable terminal, or one that another program uses is no key. The
/// terminal is left as it was found.
bool key_pressed();

/// Take lines of up to a million characters from here on, and read ahead: for a dialogue that has
/// the input to itself.
void accept_long_lines();

/// Forget what has been read, the end of the input included, and accept_long_lines(): for programs
/// that serve one input after another.
void restart_input();

}  // namespace tarsimo

#endif
