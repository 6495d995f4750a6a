/// Making moves and taking them back.
#ifndef TARSIMO_BOARD_MAKE_H
#define TARSIMO_BOARD_MAKE_H

namespace tarsimo {

/// Play the pseudo-legal move at `index` of the move array.
void make_move(int index);

/// Play the move at the head of the root list as a move of the game.
void make_root_move();

/// Take back the last move made. Its record must still be there: see can_take_back().
void unmake_move();

/// unmake_move() for a move of the game. A command may have given the move to the other side since
/// it was made: its pieces are put back all the same, and then `side` changes.
void take_back_move();

/// Pass the move to the other side: a record without a move, no en-passant square.
/// `search_ply` stays as it is. Returns the en-passant square that there was, which the record
/// does not keep.
int make_null_move();

/// Take back a null move, with what make_null_move() returned.
void unmake_null_move(int ep_square_before);

}  // namespace tarsimo

#endif
