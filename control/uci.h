/// The Universal Chess Interface (Rudolf Huber and Stefan Meyer-Kahlen, 2006), spoken with a
/// graphical interface.
///
/// Lines are read while the engine thinks: what can be answered is answered, `stop` and
/// `ponderhit` act at once, a command that begins something else ends the search with its move,
/// and the rest waits until the search is over. Every `go` is answered by one `bestmove`.
#ifndef TARSIMO_CONTROL_UCI_H
#define TARSIMO_CONTROL_UCI_H

#include "control/think.h"

namespace tarsimo {

/// What an interface is told while the engine thinks.
extern const Voice uci_voice;

/// Serve the interface until its `quit` or the end of input ends the program.
[[noreturn]] void run_uci();

/// Whether a line from the interface, or a limit of the search in progress, ends it; reads the
/// lines that have arrived up to one that does, a bounded number at a time.
bool uci_stops_search();

/// Milliseconds since the `go` in hand.
int ms_since_go();

/// Print the answer to `go`: the move at the head of the root list and the reply expected to it, or
/// "0000" when there is no legal move.
void print_bestmove();

}  // namespace tarsimo

#endif
