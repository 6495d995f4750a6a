/// Files, ranks, colours and pawns of squares, as the owner of a piece sees them.
#ifndef TARSIMO_EVAL_GEOMETRY_H
#define TARSIMO_EVAL_GEOMETRY_H

#include "board/board.h"
#include "board/position.h"

#include <algorithm>

namespace tarsimo {

/// 1..8 on the board, 0 and 9 on the border columns.
constexpr int file_of(int sq) { return square_file[idx(sq)]; }

/// Rank 1..8 of a playing square as the colour Us sees it.
template <int Us> constexpr int own_rank(int sq) {
    return Us == WHITE ? square_rank[idx(sq)] : 9 - square_rank[idx(sq)];
}

/// Index of a rank within a group of ranks `first` to `last`; pawns that a set-up has put on the
/// first or last rank of the board count with their neighbours.
constexpr int rank_index(int rank, int first, int last) {
    return std::clamp(rank, first, last) - first;
}

/// The square of white's board that stands for it on the own colour's: the rank mirror for
/// black.
template <int Us> constexpr int own_square(int sq) {
    return Us == WHITE ? sq : mirror_square[idx(sq)];
}

/// True where a pawn of the colour Us stands.
template <int Us> bool own_pawn_on(int sq) { return piece_on(sq) == Us * PAWN; }

/// 1 on dark squares (a1 among them), 0 on light ones and on the border.
inline constexpr auto square_colour = detail::fill_squares(
    [](int sq) { return on_board(sq) && (sq / 10 + sq % 10) % 2 != 0 ? 1 : 0; });

/// square_colour of a playing square.
constexpr int colour_of(int sq) { return square_colour[idx(sq)]; }

}  // namespace tarsimo

#endif
