/// Move ordering: picking from a list by score, and the memory that the scores come from. The
/// tables themselves, killers and history, stand beside the move lists that read them.
#ifndef TARSIMO_SEARCH_ORDERING_H
#define TARSIMO_SEARCH_ORDERING_H

#include "board/move_list.h"

namespace tarsimo {

/// Largest history value written since the last clear_ordering(): ordinary quiet moves score
/// below it.
extern int history_max;

/// Ordering score of the move picked last. Deeper nodes overwrite it: it belongs to the move in
/// hand until that move is searched.
extern int current_move_score;

/// Static evaluation of the node at each ply, in centipawns for its side to move; a node in check
/// leaves what was there. Cleared by clear_ordering().
extern std::array<int, PLY_SLOTS> eval_stack;

/// Pick the move of this ply's list with the highest ordering score, the earliest among
/// equals: its index, or -1 when all are picked. Marks the slot as PICKED and sets
/// current_move_score.
int pick_move();

/// Add to the history value of a move of the side to move (Schaeffer 1983).
void credit_history(const Move& move, int credit);

/// Divide all history values by 4 when the largest has grown too big for the score bands.
void age_history();

/// Remember the move that cut off with this score as a killer of its ply (Akl and Newborn 1977).
void update_killers(const Move& move, int score);

/// Clear killers, history, principal variations and evaluation stack, before the search of every
/// move.
void clear_ordering();

}  // namespace tarsimo

#endif
