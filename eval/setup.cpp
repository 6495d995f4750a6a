// The set-up of an evaluation, from the position's sets of squares.
#include "eval/setup.h"

#include "board/keys.h"
#include "eval/pawns.h"

#include <bit>

namespace tarsimo {

EvalSide white_eval{};
EvalSide black_eval{};
bool endgame_flag = false;
std::uint64_t pawn_key = 0;

namespace {

// Rearmost pawn of a file that has none.
constexpr int NO_WHITE_PAWN = 8;
constexpr int NO_BLACK_PAWN = 1;

template <int Us> void list_pieces() {
    EvalSide& us = eval_side<Us>();
    us.occupied = occupied<Us>();
    us.pawns = pawn_set<Us>();
    for (SquareSet rest = us.occupied; rest != 0; rest &= rest - 1) {
        us.list.squares[idx(us.list.size++)] =
            static_cast<std::uint8_t>(square_of_bit(std::countr_zero(rest)));
    }
    for (SquareSet rest = us.pawns; rest != 0; rest &= rest - 1) {
        pawn_key ^= piece_key(Us * PAWN, square_of_bit(std::countr_zero(rest)));
    }
}

// The rank of the pawn nearest to white's side, or to black's, on each file. Without branches: the
// last square of an empty file stands in.
void find_rear_pawns() {
    for (int file = 1; file <= 8; ++file) {
        const SquareSet line = FILE_A << (file - 1);
        const SquareSet white = (white_eval.pawns & line) | bit(55 + file);
        const SquareSet black = (black_eval.pawns & line) | bit(file - 1);
        white_eval.rear_pawn[idx(file)] = std::countr_zero(white) / 8 + 1;
        black_eval.rear_pawn[idx(file)] = 8 - std::countl_zero(black) / 8;
    }
}

// What pawns and king attack.
template <int Us> void set_up_attacks() {
    EvalSide& us = eval_side<Us>();
    us.attacks[PAWN] = squares_aside(step_forward<Us>(us.pawns));
    us.attacks[KING] = squares_beside(set_of(king_square<Us>()));
}

// Where pieces like to go, and the squares around the enemy king that count as attacks on it.
template <int Us> void set_up_targets() {
    EvalSide& us = eval_side<Us>();
    const EvalSide& them = eval_side<-Us>();
    us.safe = ~(them.attacks[PAWN] | us.pawns | set_of(king_square<Us>()));
    us.king_zone = them.attacks[KING] & ~them.attacks[PAWN];
}

template <int Us> void reset_side() {
    EvalSide& us = eval_side<Us>();
    us = {};
    us.piece_material = material<Us>() - piece_value[PAWN] * pawn_count<Us>();
    us.rear_pawn.fill(Us == WHITE ? NO_WHITE_PAWN : NO_BLACK_PAWN);
}

}  // namespace

void reset_eval_outputs() {
    reset_side<WHITE>();
    reset_side<BLACK>();
    endgame_flag = false;
    pawn_key = 0;
}

void eval_setup() {
    pawn_key = piece_key(KING, white_king_sq) ^ piece_key(-KING, black_king_sq);
    list_pieces<WHITE>();
    list_pieces<BLACK>();
    prefetch_pawn_terms();
    find_rear_pawns();
    set_up_attacks<WHITE>();
    set_up_attacks<BLACK>();
    set_up_targets<WHITE>();
    set_up_targets<BLACK>();
}

}  // namespace tarsimo
