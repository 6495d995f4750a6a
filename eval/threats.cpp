// Threats: what a side attacks, by attacker and victim.
#include "eval/threats.h"

#include "board/position.h"
#include "eval/setup.h"

namespace tarsimo {

namespace {

// A pawn step that would attack an enemy piece from a square where it is not lost at once.
template <int Us> int push_threats() {
    const EvalSide& us = eval_side<Us>();
    const EvalSide& them = eval_side<-Us>();
    const SquareSet steps = step_forward<Us>(pawn_set<Us>()) & ~occupied_squares();
    const SquareSet held = steps & ~them.attacks[PAWN] & (us.attacks[0] | ~them.attacks[0]);
    const SquareSet attacks = step_forward<Us>(held);
    return count_squares(squares_left(attacks) & them.pieces) +
           count_squares(squares_right(attacks) & them.pieces);
}

// Who attacks an enemy piece or pawn, least valuable attacker first, and whether it is defended.
template <int Us> ScorePair threat_to(int sq, int victim) {
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

template <int Us> ScorePair threat_terms() {
    ScorePair score = 0;
    const SquareSet victims = eval_side<-Us>().pieces | pawn_set<-Us>();
    for (const int sq : Squares{victims & eval_side<Us>().attacks[0]}) {
        score += threat_to<Us>(sq, type_on(sq));
    }
    return score + weigh<Us>(THREAT_BY_PUSH, push_threats<Us>());
}

template ScorePair threat_terms<WHITE>();
template ScorePair threat_terms<BLACK>();

}  // namespace tarsimo
