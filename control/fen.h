/// Set-up from Forsyth-Edwards Notation.
#ifndef TARSIMO_CONTROL_FEN_H
#define TARSIMO_CONTROL_FEN_H

#include <string>

namespace tarsimo {

/// Set up the placement, side, castling and en-passant field of a FEN text, with their material and
/// key, in an empty history; `search_ply` is 0. The two counters are not read, malformed fields end
/// early, and a side that is not named stays. Returns false when there is not exactly one king a
/// side: then the position is no position.
bool set_up_position(const std::string& text);

/// Set up the position of a FEN text and start a fresh game from it: placement, side,
/// castling and en-passant field; the two counters are not read. Malformed fields end early
/// without a report. A position without exactly one king a side is answered with
/// "tellusererror Illegal position", and the initial position stands.
void set_position_fen(const std::string& text);

}  // namespace tarsimo

#endif
