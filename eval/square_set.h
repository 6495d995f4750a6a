/// Sets of squares as 64-bit numbers, bit 0 is a1, bit 7 h1, bit 63 h8.
#ifndef TARSIMO_EVAL_SQUARE_SET_H
#define TARSIMO_EVAL_SQUARE_SET_H

#include "board/board.h"

namespace tarsimo {

using SquareSet = std::uint64_t;

/// Bit number 0..63 of a playing square.
constexpr int set_index(int sq) { return (sq / 10 - 2) * 8 + sq % 10 - 1; }

/// The playing square of a bit number 0..63.
constexpr int square_of_bit(int index) { return A1 + index / 8 * 10 + index % 8; }

/// The set of one bit number 0..63.
constexpr SquareSet bit(int index) { return SquareSet{1} << index; }

/// The squares to the left and right of those of a set.
constexpr SquareSet squares_aside(SquareSet set) {
    constexpr SquareSet file_a = 0x0101010101010101ULL;
    constexpr SquareSet file_h = file_a << 7;
    return ((set & ~file_h) << 1) | ((set & ~file_a) >> 1);
}

/// All squares a king's step away from a square of the set.
constexpr SquareSet squares_beside(SquareSet set) {
    const SquareSet row = set | squares_aside(set);
    return squares_aside(set) | (row << 8) | (row >> 8);
}

/// The squares attacked by pawns that move towards h8.
constexpr SquareSet pawn_attacks(SquareSet pawns) { return squares_aside(pawns << 8); }

}  // namespace tarsimo

#endif
