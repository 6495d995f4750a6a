/// Pieces, colours and squares: what every file of the program builds on.
///
/// There is one thread and one position. Nothing in this folder allocates.
#ifndef TARSIMO_BOARD_BOARD_H
#define TARSIMO_BOARD_BOARD_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarsimo {

/// An array index from a non-negative number, as board squares, plies and types are.
constexpr std::size_t at(int index) { return static_cast<std::size_t>(index); }

// ---------------------------------------------------------------------------
// Pieces, colours and squares
// ---------------------------------------------------------------------------

/// Piece codes. White pieces are positive, black ones the negated code; the
/// absolute value is the piece type.
constexpr int EMPTY = 0;
constexpr int PAWN = 1;
constexpr int KNIGHT = 2;
constexpr int BISHOP = 3;
constexpr int ROOK = 4;
constexpr int QUEEN = 5;
constexpr int KING = 6;
constexpr int OFFBOARD = 100;  ///< content of every border square

constexpr int WHITE = 1;
constexpr int BLACK = -1;

/// Mailbox squares: 21 + file + 10 * rank on a board of 10 columns by 12 rows,
/// so that a piece which leaves the playing area meets the border.
// clang-format off
enum Square : int {
    A1 = 21, B1, C1, D1, E1, F1, G1, H1,
    A2 = 31, B2, C2, D2, E2, F2, G2, H2,
    A3 = 41, B3, C3, D3, E3, F3, G3, H3,
    A4 = 51, B4, C4, D4, E4, F4, G4, H4,
    A5 = 61, B5, C5, D5, E5, F5, G5, H5,
    A6 = 71, B6, C6, D6, E6, F6, G6, H6,
    A7 = 81, B7, C7, D7, E7, F7, G7, H7,
    A8 = 91, B8, C8, D8, E8, F8, G8, H8,
};
// clang-format on

constexpr int BOARD_SIZE = 120;    ///< mailbox squares, border included
constexpr int SQUARE_LIMIT = 100;  ///< tables indexed by playing squares only end here

/// Ply limits. The deepest node that may generate moves stands at MAX_PLY; per-ply
/// tables have room for the node one ply deeper, which is entered and left at once.
constexpr int MAX_PLY = 63;
constexpr int PLY_SLOTS = MAX_PLY + 2;

namespace detail {

template <typename Function> constexpr std::array<int, BOARD_SIZE> fill_squares(Function value_of) {
    std::array<int, BOARD_SIZE> table{};
    for (int sq = 0; sq < BOARD_SIZE; ++sq) table[at(sq)] = value_of(sq);
    return table;
}

}  // namespace detail

/// True for the 64 squares of the chessboard; any other number, however large or
/// negative, is not one.
constexpr bool on_board(int sq) { return sq >= A1 && sq <= H8 && sq % 10 >= 1 && sq % 10 <= 8; }

/// The square reflected between the white and the black half: the file stays, rank
/// r becomes rank 9 - r (21 <-> 91). Defined for the border too (0 <-> 110).
inline constexpr auto mirror_square =
    detail::fill_squares([](int sq) { return (11 - sq / 10) * 10 + sq % 10; });

/// Rank 1..8 of a mailbox square, 0 on the border.
inline constexpr auto square_rank =
    detail::fill_squares([](int sq) { return on_board(sq) ? sq / 10 - 1 : 0; });

/// File 1..8 (a..h) of a mailbox square; 0 and 9 in the two border columns.
inline constexpr auto square_file = detail::fill_squares([](int sq) { return sq % 10; });

/// Material values in centipawns, by piece type. The king's is never added to a
/// side's material.
inline constexpr std::array<int, 8> piece_value = {0, 100, 320, 330, 520, 990, 2000, 0};

/// Values for move ordering and exchanges, by piece type. QUIRK: knight and bishop are equal here,
/// so that one for the other is an even exchange.
inline constexpr std::array<int, 8> order_value = {0, 100, 400, 400, 600, 1200, 5000, 0};

}  // namespace tarsimo

#endif
