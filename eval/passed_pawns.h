/// Passed pawns among the pieces.
#ifndef TARSIMO_EVAL_PASSED_PAWNS_H
#define TARSIMO_EVAL_PASSED_PAWNS_H

#include "eval/weights.h"

namespace tarsimo {

/// Passed pawns of one colour: blocked, with a free or guarded way, rooks behind them. Reads all
/// attacks of both sides.
template <int Us> ScorePair passed_pawn_terms();

}  // namespace tarsimo

#endif
