// A recount of the whole position, for the assertions of builds that have them.
#include "board/consistency.h"

#include "board/keys.h"
#include "board/position.h"

namespace tarsimo {

namespace {

// Pieces of one colour as they stand on the board.
struct Census {
    int kings = 0;
    int king_square = 0;
    int pawns = 0;
    int pieces = 0;
    int material = 0;
    SquareSet occupied = 0;
    SquareSet pawn_set = 0;

    void count(int type, int sq) {
        occupied |= set_of(sq);
        if (type == PAWN) pawn_set |= set_of(sq);
        if (type == KING) {
            ++kings;
            king_square = sq;
            return;
        }
        ++(type == PAWN ? pawns : pieces);
        material += piece_value[idx(type)];
    }
};

// make_move() counts a king that is taken as it does any piece, and nothing on the board says
// where it stood.
template <int Us> bool agrees(const Census& census) {
    if (census.kings > 1) return false;
    if (occupied<Us>() != census.occupied || pawn_set<Us>() != census.pawn_set) return false;
    const int taken = 1 - census.kings;
    return pawn_count<Us>() == census.pawns && piece_count<Us>() == census.pieces - taken &&
           material<Us>() == census.material - taken * piece_value[KING] &&
           (taken == 1 || king_square<Us>() == census.king_square);
}

}  // namespace

bool position_is_consistent() {
    if (side != WHITE && side != BLACK) return false;
    if (!on_board(white_king_sq) || !on_board(black_king_sq)) return false;

    Census white;
    Census black;
    for (int sq = 0; sq < BOARD_SIZE; ++sq) {
        const int piece = piece_on(sq);
        if ((piece == OFFBOARD) != (square_rank[idx(sq)] == 0)) return false;
        if (piece == OFFBOARD || piece == EMPTY) continue;
        if (piece < -KING || piece > KING) return false;
        (piece > 0 ? white : black).count(type_on(sq), sq);
    }
    return agrees<WHITE>(white) && agrees<BLACK>(black);
}

std::uint64_t unexplained_key() {
    std::uint64_t key = hash_key ^ (side == WHITE ? side_key : 0);
    if (ep_square != 0) key ^= ep_key(ep_square);
    for (int sq = A1; sq <= H8; ++sq) {
        const int piece = piece_on(sq);
        if (piece != EMPTY && piece != OFFBOARD) key ^= piece_key(piece, sq);
    }
    return key;
}

}  // namespace tarsimo
