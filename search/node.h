/// What the searches share at a node.
#ifndef TARSIMO_SEARCH_NODE_H
#define TARSIMO_SEARCH_NODE_H

namespace tarsimo {

/// For the side to move of a node whose parent has seen to it.
constexpr bool NOT_IN_CHECK = false;

/// Begin to load what the tables hold on the position that a move has just reached: memory answers
/// while the move is tested. A node of less than a ply (`depth` in half-plies) is left to the
/// quiescence search, which has no use for the transposition table.
void prefetch_slots(int depth);

/// Make the move at `index` of this ply's list; false, with the position as it was, when that
/// leaves its own king in check.
///   depth_below    of the node that will be searched, in half-plies
///   was_in_check   false only if the side to move is known not to be in check
bool make_if_legal(int index, int depth_below, bool was_in_check);

/// Score of a move that has been made and is not the first of its node, for the side that made
/// it: a zero-width search, and one with the full bounds when the move lands between them.
int search_late_move(int alpha, int beta, int new_depth, bool gives_check);

/// evaluate() as the searches ask for it: with the bounds of the node, but with open bounds when
/// a bare king stands against pieces alone. The lazy exit would hide how far the mate has come
/// from a window near the score of a won ending, and such an ending could not be won.
int static_score(int alpha, int beta);

}  // namespace tarsimo

#endif
