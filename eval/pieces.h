/// Knights, bishops, rooks and queens.
#ifndef TARSIMO_EVAL_PIECES_H
#define TARSIMO_EVAL_PIECES_H

#include "eval/weights.h"

namespace tarsimo {

/// One piece on its square: mobility, place and duties. Marks what it attacks and adds its attacks
/// around the enemy king to king_attack_count.
///   type   KNIGHT to QUEEN
template <int Us> ScorePair piece_term(int sq, int type);

}  // namespace tarsimo

#endif
