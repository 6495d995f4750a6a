/// Late-move reductions (Romstad 2006), and the pawn moves that no rule prunes or reduces.
#ifndef TARSIMO_SEARCH_REDUCTIONS_H
#define TARSIMO_SEARCH_REDUCTIONS_H

namespace tarsimo {

/// Reduction of a late move in plies, 0..6.
///   depth         of the node in half-plies
///   move_number   of the move among the legal ones of the node, from 1
int late_move_reduction(int depth, int move_number);

/// True for a pawn move that is neither pruned nor reduced: to the seventh rank of its
/// side, or to the sixth with no enemy pawn on the three squares ahead. The move has been
/// made; `type` and `colour` are the moving piece's.
bool is_exempt_pawn_move(int type, int colour, int to);

}  // namespace tarsimo

#endif
