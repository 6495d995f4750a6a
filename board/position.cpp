// The position itself: its globals, the initial set-up, the counts, and the ring of
// history records. A record of ply p stands at p modulo HISTORY_SIZE.
#include "board/position.h"

#include "board/move_list.h"

#include <algorithm>

namespace tarsimo {

std::array<int, BOARD_SIZE> board{};
int side = 0;
int white_king_sq = E1;
int black_king_sq = E8;
int ep_square = 0;
int fifty = 0;
std::uint64_t hash_key = 0;
std::array<int, BOARD_SIZE> square_moves{};
std::uint8_t white_castled = 0;
std::uint8_t black_castled = 0;
int white_material = 0;
int black_material = 0;
int white_pawns = 0;
int black_pawns = 0;
int white_pieces = 0;
int black_pieces = 0;
SquareSet white_occupied = 0;
SquareSet black_occupied = 0;
SquareSet white_pawn_set = 0;
SquareSet black_pawn_set = 0;
int game_ply = 0;
int search_ply = 0;
std::array<HistoryEntry, HISTORY_SIZE> game_history{};

namespace {

// Longest line of game moves made since the last set-up, in plies. Records older than
// HISTORY_SPAN plies before it may have been overwritten.
int longest_game_ply = 0;

constexpr std::array<int, 8> back_rank = {ROOK, KNIGHT, BISHOP, QUEEN, KING, BISHOP, KNIGHT, ROOK};

int initial_piece(int sq) {
    if (!on_board(sq)) return OFFBOARD;
    const auto file = idx(sq % 10 - 1);
    switch (square_rank[idx(sq)]) {
        case 1: return back_rank[file];
        case 2: return PAWN;
        case 7: return -PAWN;
        case 8: return -back_rank[file];
        default: return EMPTY;
    }
}

}  // namespace

void begin_initial_position() {
    for (int sq = 0; sq < BOARD_SIZE; ++sq) board[idx(sq)] = initial_piece(sq);
    square_moves.fill(0);
    white_king_sq = E1;
    black_king_sq = E8;
    white_castled = 0;
    black_castled = 0;
    start_history(0);
}

void finish_initial_position() {
    ep_square = 0;
    count_material();
    search_ply = 0;
    list_start(0) = 0;
    side = WHITE;
}

void count_material() {
    white_material = black_material = 0;
    white_pawns = black_pawns = 0;
    white_pieces = black_pieces = 0;
    white_occupied = black_occupied = 0;
    white_pawn_set = black_pawn_set = 0;
    for (int sq = A1; sq <= H8; ++sq) {
        const int piece = piece_on(sq);
        const int type = type_on(sq);
        if (type == EMPTY || piece == OFFBOARD) continue;
        (piece > 0 ? white_occupied : black_occupied) |= set_of(sq);
        if (type == KING) continue;
        const int value = piece_value[idx(type)];
        (piece > 0 ? white_material : black_material) += value;
        if (type == PAWN) {
            ++(piece > 0 ? white_pawns : black_pawns);
            (piece > 0 ? white_pawn_set : black_pawn_set) |= set_of(sq);
        } else {
            ++(piece > 0 ? white_pieces : black_pieces);
        }
    }
}

void start_history(int reversible_moves) {
    game_ply = 0;
    longest_game_ply = 0;
    fifty = reversible_moves;
}

void note_game_length() { longest_game_ply = std::max(longest_game_ply, game_ply); }

bool can_take_back(int half_moves) {
    return half_moves <= game_ply && game_ply - half_moves >= longest_game_ply - HISTORY_SPAN;
}

bool is_repetition() {
    // Every record toggles the side's key, so only records an even number of plies back
    // can match, and none fewer than four back does: the loop skips what cannot be equal.
    const int oldest = game_ply - std::min({fifty, game_ply, HISTORY_SPAN});
    for (int ply = game_ply - 4; ply >= oldest; ply -= 2) {
        if (history_entry(ply).key == hash_key) return true;
    }
    return false;
}

}  // namespace tarsimo
