/// What the program says: text is gathered and reaches its reader, a terminal or an interface,
/// with flush_output().
#ifndef TARSIMO_CONTROL_OUTPUT_H
#define TARSIMO_CONTROL_OUTPUT_H

namespace tarsimo {

/// Add a text to the output, formatted as by printf.
void print(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Add a text and a newline to the output.
void print_line(const char* text);

/// Send what has been printed, waiting as long as its reader needs, also where the output has
/// been made non-blocking by another program. Ends the program when nobody can receive it any
/// more.
void flush_output();

/// False once whoever read the output has gone.
bool output_has_reader();

}  // namespace tarsimo

#endif
