/// Endings of kings and pawns.
#ifndef TARSIMO_EVAL_PAWN_ENDINGS_H
#define TARSIMO_EVAL_PAWN_ENDINGS_H

#include "eval/weights.h"

namespace tarsimo {

/// True for one pawn against the bare king, and for pawns of one rook's file that cannot win
/// against it: writes the score for the side to move. To be called without pieces on the board
/// and after eval_setup().
bool known_pawn_ending(int& score);

/// What only endings without pieces allow, for each colour in centipawns: pawns that run to queen
/// unstopped and who wins the race, pawns that beat a bare king, the opposition. To be called after
/// pawn_terms().
ColourPair pawn_ending_terms();

}  // namespace tarsimo

#endif
