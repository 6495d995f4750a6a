// Danger to a king and threats to its men: the terms that look at both sides' attack maps, and
// therefore come when all pieces have been walked.
#include "board/position.h"
#include "eval/eval.h"

#include <algorithm>
#include <bit>

namespace tarsimo {

namespace {

// Danger grows faster than its causes: they are counted together in units, and each number of
// units has a weight of its own.
constexpr int SAFE_CHECK_UNITS = 3;  // for each kind of piece that has one
constexpr int ATTACKER_UNITS = 2;    // for each piece that attacks the king zone
constexpr int WEAK_SQUARE_UNITS = 1;
constexpr int MOST_UNITS = 19;

// Squares from which a piece of each type would check the king, as far as the board allows it.
struct Checks {
    SquareSet diagonal = 0;           // what a bishop in the king's place would reach
    SquareSet straight = 0;           // and a rook
    std::array<SquareSet, 6> from{};  // by piece type, KNIGHT to QUEEN
};

template <int Us> Checks checking_squares() {
    const EvalSide& them = eval_side<-Us>();
    const SquareSet occupied = occupied_squares();
    const int king = square_index[at(king_square<Us>())];
    Checks checks;
    checks.diagonal = bishop_attacks(king, occupied);
    checks.straight = rook_attacks(king, occupied);
    checks.from[KNIGHT] = knight_attacks(king) & ~them.men;
    checks.from[BISHOP] = checks.diagonal & ~them.men;
    checks.from[ROOK] = checks.straight & ~them.men;
    checks.from[QUEEN] = checks.from[BISHOP] | checks.from[ROOK];
    return checks;
}

// Own men that stand alone between the king and an enemy slider of the lines `Attacks`, of which
// the king sees the squares `seen`.
template <int Us, auto Attacks, int Slider> ScorePair pinned_on_lines(SquareSet seen) {
    const SquareSet own = eval_side<Us>().men;
    const int king = square_index[at(king_square<Us>())];
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
SquareSet guarded_by_lesser(const EvalSide& us) {
    return us.attacks[PAWN] | us.attacks[KNIGHT] | us.attacks[BISHOP] | us.attacks[ROOK];
}

// Squares next to the king that the enemy attacks and only king or queen defend.
template <int Us> int weak_ring() {
    const EvalSide& us = eval_side<Us>();
    return count_squares(us.attacks[KING] & eval_side<-Us>().attacks[0] & ~guarded_by_lesser(us));
}

// A pawn step that would attack an enemy piece from a square where it is not lost at once.
template <int Us> int push_threats() {
    const EvalSide& us = eval_side<Us>();
    const EvalSide& them = eval_side<-Us>();
    const SquareSet steps = step_forward<Us>(us.pawns) & ~occupied_squares();
    const SquareSet held = steps & ~them.attacks[PAWN] & (us.attacks[0] | ~them.attacks[0]);
    const SquareSet attacks = step_forward<Us>(held);
    return count_squares(squares_left(attacks) & them.pieces) +
           count_squares(squares_right(attacks) & them.pieces);
}

// Who attacks an enemy man, cheapest attacker first, and whether it is defended.
template <int Us> ScorePair one_threat(int sq, int victim) {
    const auto& attacks = eval_side<Us>().attacks;
    const SquareSet target = set_of(sq);
    ScorePair score = 0;
    if ((attacks[PAWN] & target) != 0 && victim >= KNIGHT) {
        score += weigh<Us>(THREAT_BY_PAWN + victim - KNIGHT);
    } else if (((attacks[KNIGHT] | attacks[BISHOP]) & target) != 0) {
        score += weigh<Us>(THREAT_BY_MINOR + victim - PAWN);
    } else if ((attacks[ROOK] & target) != 0 && victim != ROOK) {
        score += weigh<Us>(THREAT_BY_ROOK + (victim == QUEEN ? 3 : victim - PAWN));
    }
    if ((eval_side<-Us>().attacks[0] & target) == 0) {
        score += weigh<Us>(HANGING + victim - PAWN);
        if ((attacks[KING] & target) != 0) score += weigh<Us>(THREAT_BY_KING);
    }
    return score;
}

}  // namespace

template <int Us> ScorePair king_danger_term() {
    const EvalSide& us = eval_side<Us>();
    const EvalSide& them = eval_side<-Us>();
    const Checks checks = checking_squares<Us>();
    const SquareSet unguarded = ~(guarded_by_lesser(us) | us.attacks[QUEEN]);
    const int weak = weak_ring<Us>();
    const int queen = them.count[QUEEN] != 0 ? 1 : 0;
    int units = WEAK_SQUARE_UNITS * weak + ATTACKER_UNITS * them.king_attackers;
    ScorePair score = 0;
    for (int type = KNIGHT; type <= QUEEN; ++type) {
        if ((checks.from[at(type)] & them.attacks[at(type)] & unguarded) == 0) continue;
        score += weigh<Us>(KING_SAFE_CHECK + type - KNIGHT);
        units += SAFE_CHECK_UNITS;
    }
    score += weigh<Us>(KING_WEAK_RING + queen, weak);
    score += weigh<Us>(KING_ATTACKERS + 5 * queen + std::min(them.king_attackers, 4));
    if (queen != 0) {
        const SquareSet seen = (checks.diagonal | checks.straight) & ~occupied_squares();
        score += weigh<Us>(KING_EXPOSED, count_squares(seen));
        score += weigh<Us>(KING_DANGER + std::min(units, MOST_UNITS));
    }
    score += pinned_on_lines<Us, bishop_attacks, BISHOP>(checks.diagonal);
    return score + pinned_on_lines<Us, rook_attacks, ROOK>(checks.straight);
}

template <int Us> ScorePair threat_term() {
    ScorePair score = 0;
    SquareSet targets =
        (eval_side<-Us>().pieces | eval_side<-Us>().pawns) & eval_side<Us>().attacks[0];
    for (; targets != 0; targets &= targets - 1) {
        const int sq = square_of_bit(std::countr_zero(targets));
        score += one_threat<Us>(sq, type_on(sq));
    }
    return score + weigh<Us>(THREAT_BY_PUSH, push_threats<Us>());
}

template ScorePair king_danger_term<WHITE>();
template ScorePair king_danger_term<BLACK>();
template ScorePair threat_term<WHITE>();
template ScorePair threat_term<BLACK>();

}  // namespace tarsimo
