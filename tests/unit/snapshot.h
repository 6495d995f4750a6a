/// A picture of the whole position, for tests that compare it before and after.
#ifndef TARSIMO_TESTS_UNIT_SNAPSHOT_H
#define TARSIMO_TESTS_UNIT_SNAPSHOT_H

#include "board/position.h"

namespace tarsimo {

/// Every field of the position, all but the records of the moves made.
struct Snapshot {
    std::array<int, BOARD_SIZE> board, square_moves;
    int side, white_king_sq, black_king_sq, ep_square, fifty;
    std::uint64_t hash_key;
    std::uint8_t white_castled, black_castled;
    int white_material, black_material, white_pawns, black_pawns, white_pieces, black_pieces;
    int game_ply, search_ply;
    SquareSet white_occupied, black_occupied, white_pawn_set, black_pawn_set;
    bool operator==(const Snapshot&) const = default;
};

inline Snapshot snapshot() {
    return {board,          square_moves,   side,        white_king_sq,  black_king_sq,
            ep_square,      fifty,          hash_key,    white_castled,  black_castled,
            white_material, black_material, white_pawns, black_pawns,    white_pieces,
            black_pieces,   game_ply,       search_ply,  white_occupied, black_occupied,
            white_pawn_set, black_pawn_set};
}

}  // namespace tarsimo

#endif
