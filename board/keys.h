/// Position keys.
#ifndef TARSIMO_BOARD_KEYS_H
#define TARSIMO_BOARD_KEYS_H

#include "board/board.h"

namespace tarsimo {

/// Row c + 7 holds the keys of piece code c by square, row 14 those of the en-passant
/// square. Castling rights have no keys. Drawn anew by init_keys() for every game.
extern std::array<std::array<std::uint64_t, SQUARE_LIMIT>, 15> zobrist;
extern std::uint64_t side_key;  ///< in the key while white is to move

/// Fill all keys with the next numbers of the generator and set hash_key from scratch.
void init_keys();

/// Set hash_key from the board, the side to move and the en-passant square.
void compute_hash_key();

/// The key of a piece code on a square.
inline std::uint64_t piece_key(int piece, int sq) { return zobrist[idx(piece + 7)][idx(sq)]; }

/// The key of an en-passant square.
inline std::uint64_t ep_key(int sq) { return zobrist[14][idx(sq)]; }

}  // namespace tarsimo

#endif
