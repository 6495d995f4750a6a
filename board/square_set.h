/// Sets of squares as 64-bit numbers, bit 0 is a1, bit 7 h1, bit 63 h8.
#ifndef TARSIMO_BOARD_SQUARE_SET_H
#define TARSIMO_BOARD_SQUARE_SET_H

#include "board/board.h"

#include <bit>

namespace tarsimo {

using SquareSet = std::uint64_t;

/// Bit number 0..63 of a playing square.
constexpr int set_index(int sq) { return (sq / 10 - 2) * 8 + sq % 10 - 1; }

/// The playing square of a bit number 0..63.
constexpr int square_of_bit(int index) { return A1 + index + index / 8 * 2; }

/// The set of one bit number 0..63.
constexpr SquareSet bit(int index) { return SquareSet{1} << index; }

/// Bit numbers by mailbox square; 0 on the border.
inline constexpr auto square_index =
    detail::fill_squares([](int sq) { return on_board(sq) ? set_index(sq) : 0; });

/// The set of one playing square 21..98.
inline SquareSet set_of(int sq) { return bit(square_index[idx(sq)]); }

/// Number of squares in a set, by adding neighbouring counts in parallel (Wilkes, Wheeler and
/// Gill 1957); compilers know it for the one instruction that some processors have.
constexpr int count_squares(SquareSet set) {
    set -= set >> 1 & 0x5555555555555555ULL;
    set = (set & 0x3333333333333333ULL) + (set >> 2 & 0x3333333333333333ULL);
    set = (set + (set >> 4)) & 0x0f0f0f0f0f0f0f0fULL;
    return static_cast<int>(set * 0x0101010101010101ULL >> 56);
}

/// The first square of a set that is not empty, in the order a1 to h8.
inline int first_square(SquareSet set) { return square_of_bit(std::countr_zero(set)); }

/// The squares of a set, from a1 to h8: `for (const int sq : Squares{set})`.
struct Squares {
    struct Iterator {
        SquareSet rest;

        int operator*() const { return first_square(rest); }
        void operator++() { rest &= rest - 1; }
        bool operator==(const Iterator&) const = default;
    };

    SquareSet set;

    Iterator begin() const { return {set}; }
    static Iterator end() { return {0}; }
};

constexpr SquareSet DARK_SQUARES = 0xaa55aa55aa55aa55ULL;

constexpr SquareSet FILE_A = 0x0101010101010101ULL;

/// The file of a playing square.
inline SquareSet file_of_square(int sq) { return FILE_A << (square_file[idx(sq)] - 1); }

/// The squares to the left and to the right, as white sees the board, of those of a set.
constexpr SquareSet squares_left(SquareSet set) { return (set & ~FILE_A) >> 1; }
constexpr SquareSet squares_right(SquareSet set) { return (set & ~(FILE_A << 7)) << 1; }

/// The squares on both sides of those of a set.
constexpr SquareSet squares_aside(SquareSet set) { return squares_left(set) | squares_right(set); }

/// All squares a king's step away from a square of the set.
constexpr SquareSet squares_beside(SquareSet set) {
    const SquareSet row = set | squares_aside(set);
    return squares_aside(set) | (row << 8) | (row >> 8);
}

/// The squares attacked by pawns that move towards h8.
constexpr SquareSet pawn_attacks(SquareSet pawns) { return squares_aside(pawns << 8); }

/// One rank further as the colour Us sees it; what leaves the board is gone.
template <int Us> constexpr SquareSet step_forward(SquareSet set) {
    return Us == WHITE ? set << 8 : set >> 8;
}

/// The squares of the same file that lie before a playing square as the colour Us sees it.
template <int Us> SquareSet squares_ahead(int sq) {
    const int index = square_index[idx(sq)];
    return Us == WHITE ? FILE_A << 8 << index : FILE_A << 7 >> 8 >> (63 - index);
}

/// The set as the colour Us sees the board: mirrored by rank for black.
template <int Us> inline SquareSet seen_by(SquareSet set) {
    return Us == WHITE ? set : __builtin_bswap64(set);
}

// ---------------------------------------------------------------------------
// Attacks of pieces by bit number, and by all pieces on the board for those that slide
// ---------------------------------------------------------------------------

/// Squares a knight's move away.
SquareSet knight_attacks(int index);

/// Squares along the diagonals up to and with the first piece met.
SquareSet bishop_attacks(int index, SquareSet occupied);

/// Squares along file and rank up to and with the first piece met.
SquareSet rook_attacks(int index, SquareSet occupied);

}  // namespace tarsimo

#endif
