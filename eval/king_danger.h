/// Danger to the king.
#ifndef TARSIMO_EVAL_KING_DANGER_H
#define TARSIMO_EVAL_KING_DANGER_H

#include "eval/weights.h"

namespace tarsimo {

/// Danger to the own king of the colour Us, a loss for that colour: safe checks, weak squares
/// beside it, attackers, open lines, pins. Reads all attacks of both sides.
template <int Us> ScorePair king_danger_terms();

}  // namespace tarsimo

#endif
