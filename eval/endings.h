/// Endings with a score of their own, and draws.
#ifndef TARSIMO_EVAL_ENDINGS_H
#define TARSIMO_EVAL_ENDINGS_H

namespace tarsimo {

/// Material below which a bare piece cannot mate, two knights included.
bool is_bare_minor_draw();

/// Endings that have a score of their own: without pawns, and known_pawn_ending(). Returns
/// true and writes the score for the side to move, or false when the position is none of them. To
/// be called after eval_setup().
bool special_ending(int& score);

/// True for pawnless endings such as rook and minor piece against rook, whose score is cut
/// to a quarter.
bool is_drawish_pawnless_ending();

}  // namespace tarsimo

#endif
