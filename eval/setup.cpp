// The set-up of an evaluation, from the position's sets of squares.
#include "eval/setup.h"

#include "eval/pawns.h"

namespace tarsimo {

EvalSide white_eval{};
EvalSide black_eval{};
bool endgame_flag = false;

namespace {

// What pawns and king attack.
template <int Us> void set_up_attacks() {
    EvalSide& us = eval_side<Us>();
    us.attacks[PAWN] = squares_aside(step_forward<Us>(pawn_set<Us>()));
    us.attacks[KING] = squares_beside(set_of(king_square<Us>()));
}

// The pieces, where they like to go, and the squares around the enemy king that count as attacks on
// it.
template <int Us> void set_up_targets() {
    EvalSide& us = eval_side<Us>();
    const EvalSide& them = eval_side<-Us>();
    const SquareSet pawns_and_king = pawn_set<Us>() | set_of(king_square<Us>());
    us.pieces = occupied<Us>() & ~pawns_and_king;
    us.safe = ~(them.attacks[PAWN] | pawns_and_king);
    us.king_zone = them.attacks[KING] & ~them.attacks[PAWN];
}

// From where the squares are seen.
template <int Us> void set_up_view() {
    constexpr int OTHER_RANK = 56;
    constexpr int OTHER_FILE = 7;
    EvalSide& us = eval_side<Us>();
    const bool left = file_of(king_square<Us>()) <= 4;
    us.board_flip = (left ? OTHER_FILE : 0) ^ (Us == WHITE ? 0 : OTHER_RANK);
    us.kings_apart = left != (file_of(king_square<-Us>()) <= 4) ? 1 : 0;
}

template <int Us> void reset_side() {
    EvalSide& us = eval_side<Us>();
    us = {};
    us.piece_material = material<Us>() - piece_value[PAWN] * pawn_count<Us>();
}

}  // namespace

void reset_eval_outputs() {
    reset_side<WHITE>();
    reset_side<BLACK>();
    endgame_flag = false;
}

void eval_setup() {
    prefetch_pawn_terms();
    set_up_attacks<WHITE>();
    set_up_attacks<BLACK>();
    set_up_targets<WHITE>();
    set_up_targets<BLACK>();
    set_up_view<WHITE>();
    set_up_view<BLACK>();
}

}  // namespace tarsimo
