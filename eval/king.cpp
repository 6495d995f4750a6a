// Danger to a king and threats to its men: the terms that look at both sides' attack maps, and
// therefore come when all pieces have been walked.
#include "eval/eval.h"

#include <bit>

namespace tarsimo {

namespace {

constexpr int PAWN_BIT = 1 << PAWN;
constexpr int MINOR_BITS = 1 << KNIGHT | 1 << BISHOP;
constexpr int ROOK_BIT = 1 << ROOK;
constexpr int QUEEN_BIT = 1 << QUEEN;
constexpr int KING_BIT = 1 << KING;

int attacks_on(const EvalSide& by, int sq) { return by.attacks[at(sq)]; }

// Kinds of pieces that could give check without being taken, seen from the king outward.
struct Checks {
    int kinds = 0;  // bits 1 << type
    int seen = 0;   // squares that a queen in the king's place would reach
};

// Squares where a check is safe: the attackers reach it and the king's men, himself left out,
// do not guard it.
template <int Us> int safe_kinds(int sq) {
    if ((attacks_on(eval_side<Us>(), sq) & ~KING_BIT) != 0) return 0;
    return attacks_on(eval_side<-Us>(), sq);
}

template <int Us, int Step> void look_along(int king, int kinds, Checks& checks) {
    int sq = king + Step;
    while (piece_on(sq) == EMPTY) {
        checks.kinds |= safe_kinds<Us>(sq) & kinds;
        ++checks.seen;
        sq += Step;
    }
    if (piece_on(sq) != OFFBOARD && piece_on(sq) * Us > 0) {
        checks.kinds |= safe_kinds<Us>(sq) & kinds;
    }
}

template <int Us, int... Steps> void look_at_knight_checks(int king, Checks& checks) {
    constexpr int kinds = 1 << KNIGHT;
    const auto look = [&](int sq) {
        const int piece = piece_on(sq);
        if (piece == OFFBOARD || piece * Us < 0) return;
        checks.kinds |= safe_kinds<Us>(sq) & kinds;
    };
    (look(king + Steps), ...);
}

template <int Us> Checks safe_checks(int king) {
    constexpr int DIAGONAL = 1 << BISHOP | QUEEN_BIT;
    constexpr int STRAIGHT = ROOK_BIT | QUEEN_BIT;
    Checks checks;
    look_along<Us, 9>(king, DIAGONAL, checks);
    look_along<Us, -9>(king, DIAGONAL, checks);
    look_along<Us, 11>(king, DIAGONAL, checks);
    look_along<Us, -11>(king, DIAGONAL, checks);
    look_along<Us, 1>(king, STRAIGHT, checks);
    look_along<Us, -1>(king, STRAIGHT, checks);
    look_along<Us, 10>(king, STRAIGHT, checks);
    look_along<Us, -10>(king, STRAIGHT, checks);
    look_at_knight_checks<Us, 8, -8, 12, -12, 19, -19, 21, -21>(king, checks);
    return checks;
}

// Squares next to the king that the enemy attacks and only king or queen defend.
template <int Us, int... Steps> int weak_ring(int king) {
    const auto is_weak = [&](int sq) {
        return piece_on(sq) != OFFBOARD && attacks_on(eval_side<-Us>(), sq) != 0 &&
               (attacks_on(eval_side<Us>(), sq) & ~(KING_BIT | QUEEN_BIT)) == 0;
    };
    return ((is_weak(king + Steps) ? 1 : 0) + ...);
}

// A pawn step that would attack an enemy piece from a square where it is not lost at once.
template <int Us> int push_threats() {
    const PieceList& list = own_list<Us>();
    int count = 0;
    for (int i = 0; i < list.size; ++i) {
        const int sq = list.squares[at(i)];
        const int stop = sq + 10 * Us;
        if (piece_on(sq) != Us * PAWN || piece_on(stop) != EMPTY) continue;
        const auto is_target = [](int victim) {
            return victim != OFFBOARD && victim * Us <= -KNIGHT && victim * Us > -KING;
        };
        const int targets = (is_target(piece_on(stop + 9 * Us)) ? 1 : 0) +
                            (is_target(piece_on(stop + 11 * Us)) ? 1 : 0);
        if (targets == 0) continue;
        const int guards = attacks_on(eval_side<-Us>(), stop);
        if ((guards & PAWN_BIT) != 0) continue;
        if (guards == 0 || attacks_on(eval_side<Us>(), stop) != 0) count += targets;
    }
    return count;
}

// Who attacks an enemy man, cheapest attacker first, and whether it is defended.
template <int Us> ScorePair one_threat(int sq, int victim) {
    const int attackers = attacks_on(eval_side<Us>(), sq);
    const bool defended = attacks_on(eval_side<-Us>(), sq) != 0;
    ScorePair score = 0;
    if ((attackers & PAWN_BIT) != 0 && victim >= KNIGHT) {
        score += weigh<Us>(THREAT_BY_PAWN + victim - KNIGHT);
    } else if ((attackers & MINOR_BITS) != 0) {
        score += weigh<Us>(THREAT_BY_MINOR + victim - PAWN);
    } else if ((attackers & ROOK_BIT) != 0 && victim != ROOK) {
        score += weigh<Us>(THREAT_BY_ROOK + (victim == QUEEN ? 3 : victim - PAWN));
    }
    if (!defended) {
        score += weigh<Us>(HANGING + victim - PAWN);
        if ((attackers & KING_BIT) != 0) score += weigh<Us>(THREAT_BY_KING);
    }
    return score;
}

}  // namespace

template <int Us> ScorePair king_danger_term() {
    const int king = king_square<Us>();
    const Checks checks = safe_checks<Us>(king);
    ScorePair score = 0;
    for (int type = KNIGHT; type <= QUEEN; ++type) {
        if ((checks.kinds & 1 << type) != 0) score += weigh<Us>(KING_SAFE_CHECK + type - KNIGHT);
    }
    const int queen = eval_side<-Us>().queens != 0 ? 1 : 0;
    const int weak = weak_ring<Us, 9, 10, 11, -1, 1, -9, -10, -11>(king);
    score += weigh<Us>(KING_WEAK_RING + queen, weak);
    if (queen != 0) score += weigh<Us>(KING_EXPOSED, checks.seen);
    return score;
}

template <int Us> ScorePair threat_term() {
    const PieceList& enemies = own_list<-Us>();
    ScorePair score = 0;
    for (int i = 0; i < enemies.size; ++i) {
        const int sq = enemies.squares[at(i)];
        const int victim = type_on(sq);
        if (victim != KING && attacks_on(eval_side<Us>(), sq) != 0) {
            score += one_threat<Us>(sq, victim);
        }
    }
    return score + weigh<Us>(THREAT_BY_PUSH, push_threats<Us>());
}

template ScorePair king_danger_term<WHITE>();
template ScorePair king_danger_term<BLACK>();
template ScorePair threat_term<WHITE>();
template ScorePair threat_term<BLACK>();

}  // namespace tarsimo
