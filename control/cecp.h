/// The Chess Engine Communication Protocol (Tim Mann and H.G. Muller, protocol version 2), spoken
/// with a graphical interface.
#ifndef TARSIMO_CONTROL_CECP_H
#define TARSIMO_CONTROL_CECP_H

#include "control/think.h"

namespace tarsimo {

/// What an interface is told while the engine thinks, and its move.
extern const Voice cecp_voice;

/// Serve the interface until its `quit` or the end of input ends the program.
[[noreturn]] void run_cecp();

/// Whether a line from the interface ends the search in progress; reads lines that are to be
/// dropped, and those that stop it.
///   A search that owes a move: `?` and `exit` stop it, everything else is dropped. The end of
///   input does not, as long as somebody reads the output.
///   An analysis: `exit` and `?` end it, and any line that is a move or a command of the game,
///   which is left to be carried out; everything else is dropped.
bool interface_stops_search();

}  // namespace tarsimo

#endif
