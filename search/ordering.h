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

/// Picks the moves of this ply's list one after the other, the highest ordering score first and the
/// earliest among equals. The list must stay as it is between the picks, but for what they mark.
class MovePicker {
  public:
    /// Index of the next move, or -1 when all are picked. Marks its slot as PICKED and sets
    /// current_move_score.
    int next();

  private:
    void sort_rest();

    int picked_ = 0;
    int rest_begin_ = 0;  // what is left, once sorted: sorted_keys from here to rest_end_
    int rest_end_ = 0;
};

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
