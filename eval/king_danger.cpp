// Danger to the king: the squares around it, the lines to it, and what the enemy attacks there.
#include "eval/king_danger.h"

#include "board/position.h"
#include "eval/setup.h"

#include <algorithm>

namespace tarsimo {

namespace {

// Danger grows faster than its causes: they are counted together in units, and each number of
// units has a weight of its own.
constexpr int WEAK_SQUARE_UNITS = 3;
constexpr int NO_QUEEN_UNITS = -10;
constexpr int FULL_COVER = 3;        // own pawns before the king
constexpr int ATTACKER_DIVISOR = 4;  // attackers times the sum of their weights
constexpr int FLANK_DIVISOR = 32;    // square of the attacked squares of the flank
constexpr int MAX_UNITS = 39;

// A check that loses nothing, by piece type from KNIGHT on; half as much again for a choice.
constexpr std::array<int, 4> safe_check_units = {8, 6, 10, 8};

// Squares from which a piece of each type would check the king, as far as the board allows it.
struct Checks {
    SquareSet diagonal = 0;           // what a bishop in the king's place would reach
    SquareSet straight = 0;           // and a rook
    std::array<SquareSet, 6> from{};  // by piece type, KNIGHT to QUEEN
};

template <int Us> Checks checking_squares() {
    const SquareSet all = occupied_squares();
    const SquareSet free = ~occupied<-Us>();
    const int king = square_index[idx(king_square<Us>())];
    Checks checks;
    checks.diagonal = bishop_attacks(king, all);
    checks.straight = rook_attacks(king, all);
    checks.from[KNIGHT] = knight_attacks(king) & free;
    checks.from[BISHOP] = checks.diagonal & free;
    checks.from[ROOK] = checks.straight & free;
    checks.from[QUEEN] = checks.from[BISHOP] | checks.from[ROOK];
    return checks;
}

// Own pieces and pawns that stand alone between the king and an enemy slider of the lines
// `Attacks`, of which the king sees the squares `seen`.
template <int Us, auto Attacks, int Slider> ScorePair pinned_on_lines(SquareSet seen) {
    const SquareSet own = occupied<Us>();
    const int king = square_index[idx(king_square<Us>())];
    const SquareSet beyond = Attacks(king, occupied_squares() & ~(seen & own)) & ~seen;
    ScorePair score = 0;
    for (const int sq : Squares{beyond & eval_side<-Us>().pieces}) {
        const int type = type_on(sq);
        if (type != Slider && type != QUEEN) continue;
        const int pinner = square_index[idx(sq)];
        const SquareSet pinned = Attacks(king, bit(pinner)) & Attacks(pinner, bit(king)) & own;
        score += weigh<Us>(PINNED + type_on(first_square(pinned)) - PAWN);
    }
    return score;
}

// Squares guarded by pawns and pieces other than king and queen.
SquareSet guarded_by_pawn_minor_or_rook(const EvalSide& us) {
    return us.attacks[PAWN] | us.attacks[KNIGHT] | us.attacks[BISHOP] | us.attacks[ROOK];
}

// The four files on whose side the king stands, or the middle ones, by file a..h.
constexpr std::array<SquareSet, 8> flank_files = [] {
    constexpr SquareSet FOUR_FILES = 0x0f0f0f0f0f0f0f0fULL;
    std::array<SquareSet, 8> files{};
    for (int file = 0; file < 8; ++file) {
        files[idx(file)] = FOUR_FILES << (file < 3 ? 0 : file < 5 ? 2 : 4);
    }
    return files;
}();

// The king's flank from the own first rank to the fifth.
template <int Us> SquareSet flank() {
    constexpr SquareSet FIVE_RANKS = 0x000000ffffffffffULL;
    constexpr SquareSet camp = Us == WHITE ? FIVE_RANKS : FIVE_RANKS << 24;
    return camp & flank_files[idx(file_of(king_square<Us>()) - 1)];
}

// Squares that pieces or pawns of more than one kind attack.
SquareSet attacked_by_two_kinds(const EvalSide& side) {
    SquareSet once = 0;
    SquareSet twice = 0;
    for (int type = PAWN; type <= KING; ++type) {
        twice |= once & side.attacks[idx(type)];
        once |= side.attacks[idx(type)];
    }
    return twice;
}

// Own pawns on the two ranks before the king, on its file and beside.
template <int Us> int pawn_cover() {
    const SquareSet king = set_of(king_square<Us>());
    const SquareSet row = step_forward<Us>(king | squares_aside(king));
    return std::min(count_squares((row | step_forward<Us>(row)) & pawn_set<Us>()), FULL_COVER);
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
    ScorePair score = 0;

    // Safe checks.
    int units = queen != 0 ? 0 : NO_QUEEN_UNITS;
    for (int type = KNIGHT; type <= QUEEN; ++type) {
        const SquareSet safe = checks.from[idx(type)] & them.attacks[idx(type)] & unguarded;
        if (safe == 0) continue;
        const bool several = (safe & (safe - 1)) != 0;
        score += weigh<Us>(KING_SAFE_CHECK + type - KNIGHT);
        units += safe_check_units[idx(type - KNIGHT)] * (several ? 3 : 2) / 2;
    }

    // Attackers of the squares around, and of the flank.
    score += weigh<Us>(KING_WEAK_RING + queen, weak);
    score += weigh<Us>(KING_ATTACKERS + 5 * queen + std::min(them.king_attackers, 4));
    const SquareSet home = flank<Us>();
    const int attacked = count_squares(home & them.attacks[0]);
    const int twice = count_squares(home & attacked_by_two_kinds(them));

    units += WEAK_SQUARE_UNITS * weak + them.king_attack_count;
    units += them.king_attackers * them.attacker_weight / ATTACKER_DIVISOR;
    units += (attacked + twice) * (attacked + twice) / FLANK_DIVISOR;
    units += (FULL_COVER - pawn_cover<Us>()) * them.king_attackers;
    score += weigh<Us>(KING_DANGER + std::clamp(units, 0, MAX_UNITS));

    // Lines to the king.
    if (queen != 0) {
        const SquareSet seen = (checks.diagonal | checks.straight) & ~occupied_squares();
        score += weigh<Us>(KING_EXPOSED, count_squares(seen));
    }
    score += pinned_on_lines<Us, bishop_attacks, BISHOP>(checks.diagonal);
    return score + pinned_on_lines<Us, rook_attacks, ROOK>(checks.straight);
}

template ScorePair king_danger_terms<WHITE>();
template ScorePair king_danger_terms<BLACK>();

}  // namespace tarsimo
