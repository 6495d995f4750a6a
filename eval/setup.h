/// What an evaluation knows of the position beside the board: the set-up fills the first part, and
/// the terms add what they find on their way.
///
/// Every evaluate() resets all of it before any exit, so that a lazy exit or an answer of the cache
/// leaves nothing behind of an earlier position.
#ifndef TARSIMO_EVAL_SETUP_H
#define TARSIMO_EVAL_SETUP_H

#include "board/position.h"
#include "board/square_set.h"
#include "eval/geometry.h"

#include <array>
#include <cstdint>

namespace tarsimo {

/// Steps of development from which on a side lacks none.
inline constexpr int DEVELOPMENT_STEPS = 5;

/// What is known of one colour.
struct EvalSide {
    int piece_material;  ///< centipawns, pawns and king left out

    // Set by eval_setup().
    SquareSet pieces;  ///< own knights, bishops, rooks and queens
    SquareSet safe;    ///< where an own piece may well go to: no enemy pawn guards the square, and
                       ///< neither an own pawn nor the own king stands there
    SquareSet king_zone;  ///< squares around the enemy king that no enemy pawn guards

    int board_flip;   ///< makes a square's number that of seen_square()
    int kings_apart;  ///< 1 with the kings on different wings: files a to d, e to h; else 0

    // Set by the terms.
    std::array<SquareSet, 7> attacks;  ///< squares attacked, by piece type; eval_setup() sets those
                                       ///< of pawns and king. Index 0: by any, set when all pieces
                                       ///< have been scanned.
    SquareSet passed;                  ///< own passed pawns
    std::array<int, 6> count;          ///< own pieces by type, knights to queens
    std::array<int, 2> bishops;        ///< own bishops by square_colour
    int development;                   ///< steps of development done, 0..6
    int king_attack_count;             ///< attacks on the enemy king's surroundings
    int king_attackers;                ///< own pieces that attack the king zone
    int attacker_weight;               ///< their sum, by how dangerous each kind is
};

extern EvalSide white_eval, black_eval;

template <int Us> inline EvalSide& eval_side() {
    if constexpr (Us == WHITE) return white_eval;
    else return black_eval;
}

/// Number 0..63 of a square as the colour Us sees the board with its king on the right: from its
/// first rank upwards, the files mirrored when its king stands on a to d.
template <int Us> inline int seen_square(int sq) {
    return square_index[idx(sq)] ^ eval_side<Us>().board_flip;
}

/// Neither side has more than 1700 of piece material, queen and minor piece excepted.
extern bool endgame_flag;

/// Set all outputs to those of an empty board, the two piece_material values to the position's.
void reset_eval_outputs();

/// To be called after reset_eval_outputs(): fill what the set-up fills.
void eval_setup();

}  // namespace tarsimo

#endif
