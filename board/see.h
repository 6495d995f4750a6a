/// Static exchange evaluation.
#ifndef TARSIMO_BOARD_SEE_H
#define TARSIMO_BOARD_SEE_H

namespace tarsimo {

/// Outcome, in order_value units for the side to move, of the captures on `to` that begin
/// with the piece on `from`: both sides retake with their least valuable attacker and may
/// stop. `to` may be empty. Leaves board and side as they were.
int see(int from, int to);

}  // namespace tarsimo

#endif
