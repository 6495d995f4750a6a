// Danger to the king: the squares around it, the lines to it, and what the enemy attacks there.
#include "eval/king_danger.h"

#include "board/position.h"
#include "eval/setup.h"

#include <algorithm>
#include <bit>

namespace tarsimo {

namespace {

// Danger grows faster than its causes: they are counted together in units, and each number of
// units has a weight of its own.
constexpr int SAFE_CHECK_UNITS = 3;  // for each kind of piece that has one
constexpr int ATTACKER_UNITS = 2;    // for each piece that attacks the king zone
constexpr int WEAK_SQUARE_UNITS = 1;
constexpr int MAX_UNITS = 19;

// Squares from which a piece of each type would check the king, as far as the board allows it.
struct Checks {
    SquareSet diagonal = 0;           // what a bishop in the king's place would reach
    SquareSet straight = 0;           // and a rook
    std::array<SquareSet, 6> from{};  // by piece type, KNIGHT to QUEEN
};

template <int Us> Checks checking_squares() {
    const EvalSide& them = eval_side<-Us>();
    const SquareSet occupied = occupied_squares();
    const int king = square_index[idx(king_square<Us>())];
    Checks checks;
    checks.diagonal = bishop_attacks(king, occupied);
    checks.straight = rook_attacks(king, occupied);
    checks.from[KNIGHT] = knight_attacks(king) & ~them.occupied;
    checks.from[BISHOP] = checks.diagonal & ~them.occupied;
    checks.from[ROOK] = checks.straight & ~them.occupied;
    checks.from[QUEEN] = checks.from[BISHOP] | checks.from[ROOK];
    return checks;
}

// Own pieces and pawns that stand alone between the king and an enemy slider of the lines
// `Attacks`, of which the king sees the squares `seen`.
template <int Us, auto Attacks, int Slider> ScorePair pinned_on_lines(SquareSet seen) {
    const SquareSet own = eval_side<Us>().occupied;
    const int king = square_index[idx(king_square<Us>())];
    const SquareSet beyond = Attacks(king, occupied_squares() & ~(seen & own)) & ~seen;
    SquareSet pinners = beyond & eval_side<-Us>().pieces;
    ScorePair score = 0;
    for (; pinners != 0; pinners &= pinners - 1) {
        const int pinner = std::countr_zero(pinners);
        const int type = type_on(square_of_bit(pinner));
        if (type != Slider && type != QUEEN) continue;
        const SquareSet pinned = Attacks(king, bit(pinner)) & Attacks(pinner, bit(king)) & own;
        score += weigh<Us>(PINNED + type_on(square_of_bit(std::countr_zero(pinned))) - PAWN);
    }
    return score;
}

// Squares guarded by pawns and pieces other than king and queen.
SquareSet guarded_by_pawn_minor_or_rook(const EvalSide& us) {
    return us.attacks[PAWN] | us.attacks[KNIGHT] | us.attacks[BISHOP] | us.attacks[ROOK];
}

// Squares next to the king that the enemy attacks and only king or queen defend.
template <int Us> int weak_ring() {
    const EvalSide& us = eval_side<Us>();
    return count_squares(us.attacks[KING] & eval_side<-Us>().attacks[0] &
                         ~guarded_by_pawn_minor_or_rook(us));
}

}  // namespace

template <int Us> ScorePair king_danger_terms() {
    const EvalSide& us = eval_side<Us>();
    const EvalSide& them = eval_side<-Us>();
    const Checks checks = checking_squares<Us>();
    const SquareSet unguarded = ~(guarded_by_pawn_minor_or_rook(us) | us.attacks[QUEEN]);
    const int weak = weak_ring<Us>();
    const int queen = them.count[QUEEN] != 0 ? 1 : 0;
    int units = WEAK_SQUARE_UNITS * weak + ATTACKER_UNITS * them.king_attackers;
    ScorePair score = 0;
    for (int type = KNIGHT; type <= QUEEN; ++type) {
        if ((checks.from[idx(type)] & them.attacks[idx(type)] & unguarded) == 0) continue;
        score += weigh<Us>(KING_SAFE_CHECK + type - KNIGHT);
        units += SAFE_CHECK_UNITS;
    }
    score += weigh<Us>(KING_WEAK_RING + queen, weak);
    score += weigh<Us>(KING_ATTACKERS + 5 * queen + std::min(them.king_attackers, 4));
    if (queen != 0) {
        const SquareSet seen = (checks.diagonal | checks.straight) & ~occupied_squares();
        score += weigh<Us>(KING_EXPOSED, count_squares(seen));
        score += weigh<Us>(KING_DANGER + std::min(units, MAX_UNITS));
    }
    score += pinned_on_lines<Us, bishop_attacks, BISHOP>(checks.diagonal);
    return score + pinned_on_lines<Us, rook_attacks, ROOK>(checks.straight);
}

template ScorePair king_danger_terms<WHITE>();
template ScorePair king_danger_terms<BLACK>();

}  // namespace tarsimo
