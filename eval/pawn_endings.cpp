// Endings of kings and pawns: one pawn against the bare king exactly, with more pawns what only
// an ending without pieces allows to say.
//
// A pawn runs if it queens by its own moves alone, whatever the enemy king does meanwhile: the
// rule of the square, and also a way that the own king or other pawns guard. To find out, the
// set of squares that the enemy king may have reached is grown move by move, all other pawns
// standing still. Each colour looks at the board from its own side, as if it were white.
#include "eval/pawn_endings.h"
#include "board/attacks.h"
#include "board/position.h"

#include "eval/kpk.h"
#include "eval/setup.h"

#include <algorithm>
#include <array>

namespace tarsimo {

namespace {

// One pawn against the bare king, won: 455 to 590, growing towards the promotion.
constexpr int WON_KPK = 450;
constexpr int WON_KPK_RANK = 20;
constexpr int WON_KPK_KING_DISTANCE = 5;  // own king to the queening square

constexpr int RUNNING_PAWN = 400;  // on the seventh rank; the enemy has no running pawn
constexpr int RUNNING_PAWN_STEP = 12;
constexpr int RACE_WON = 250;
constexpr int RACE_WON_BUT_FORTRESS = 60;
constexpr int PAWN_BEATS_BARE_KING = 250;
constexpr int OPPOSITION = 15;

// How a pawn queens by its own moves.
struct Run {
    int plies = 0;   // half-moves until it has queened, the opponent's included; 0: it does not run
    int from = 0;    // mailbox squares
    int target = 0;  // where it queens
};

template <int Us> int index_seen(int sq) { return set_index(own_square<Us>(sq)); }

// The eighth rank's square on the file of a pawn.
template <int Us> int queening_square(int sq) { return (Us == WHITE ? A8 : A1) + file_of(sq) - 1; }

// Pawns that a set-up has put elsewhere are not solved.
constexpr SquareSet RANKS_2_TO_7 = 0x00ffffffffffff00ULL;

template <int Us> bool beats_bare_king(int pawn) {
    return is_won_kpk(Us, king_square<Us>(), pawn, king_square<-Us>(), side == Us);
}

// A king attacked by a pawn spends its side's move.
template <int Us> bool checked_by_pawn() {
    return stands_near<Us * 9, Us * 11>(king_square<Us>(), -Us * PAWN);
}

// Own king and pawns and the squares they guard, as this colour sees the board.
struct Guard {
    SquareSet occupied;
    SquareSet pawns;
    SquareSet king;  // squares beside the own king
};

template <int Us> Guard own_guard() {
    return {seen_by<Us>(occupied<Us>()), seen_by<Us>(pawn_set<Us>()),
            squares_beside(bit(index_seen<Us>(king_square<Us>())))};
}

// Moves that a passed pawn on its ranks 2 to 7 needs to queen by itself, 0 if it can be stopped.
// `enemy_first`: the enemy king moves before the pawn does.
template <int Us> int moves_to_queen(int sq, const Guard& guard, bool enemy_first) {
    int pawn = index_seen<Us>(sq);
    const SquareSet others = guard.pawns & ~bit(pawn);
    const SquareSet blockers = guard.occupied & ~bit(pawn);
    const SquareSet held =
        guard.king | bit(index_seen<Us>(king_square<Us>())) | pawn_attacks(others);
    SquareSet reach = bit(index_seen<Us>(king_square<-Us>()));
    const auto let_king_step = [&] {
        reach = (reach | squares_beside(reach)) & ~(held | pawn_attacks(bit(pawn)));
    };

    if (enemy_first) let_king_step();
    int moves = 0;
    while (pawn < 56) {
        const auto can_enter = [&](int square) { return ((blockers | reach) & bit(square)) == 0; };
        if ((reach & bit(pawn)) != 0 || !can_enter(pawn + 8)) return 0;
        pawn += pawn < 16 && can_enter(pawn + 16) ? 16 : 8;
        ++moves;
        let_king_step();
    }
    return (reach & bit(pawn)) == 0 ? moves : 0;
}

// Of equally fast pawns the one nearer to the a-file counts, for both colours alike.
bool goes_before(int plies, int pawn, const Run& other) {
    return plies != other.plies ? plies < other.plies
                                : square_file[idx(pawn)] < square_file[idx(other.from)];
}

template <int Us> Run fastest_run() {
    Run best;
    const SquareSet candidates = eval_side<Us>().passed & RANKS_2_TO_7;
    if (candidates == 0) return best;

    const Guard guard = own_guard<Us>();
    const bool enemy_first = side != Us || checked_by_pawn<Us>();
    const int waiting = side != Us ? 0 : enemy_first ? 1 : -1;
    for (const int pawn : Squares{candidates}) {
        const int moves = moves_to_queen<Us>(pawn, guard, enemy_first);
        const int plies = 2 * moves + waiting;
        if (moves == 0 || (best.plies != 0 && !goes_before(plies, pawn, best))) continue;
        best = {plies, pawn, queening_square<Us>(pawn)};
    }
    return best;
}

// True if a queen on `from` attacks `target` once the two runners have left their squares.
bool queen_attacks(int from, int target, int runner, int rival) {
    constexpr std::array<int, 8> steps = {1, -1, 9, -9, 10, -10, 11, -11};
    return std::any_of(steps.begin(), steps.end(), [&](int step) {
        int sq = from + step;
        while (sq != target && (piece_on(sq) == EMPTY || sq == runner || sq == rival)) sq += step;
        return sq == target;
    });
}

// A rook's or bishop's pawn on its seventh rank, with its king beside the queening square, holds
// the draw against a queen.
bool may_be_fortress(const Run& rival, int rival_king) {
    const int file = file_of(rival.from);
    const bool rook_or_bishop_pawn = file == 1 || file == 3 || file == 6 || file == 8;
    return rook_or_bishop_pawn && distance_between(rival_king, rival.target) <= 1;
}

// Both sides have a running pawn. One that queens two moves ahead wins the race; one that queens
// a move ahead does if it covers the rival's queening square or gives check.
template <int Us> int race_score(const Run& own, const Run& rival) {
    if (own.plies >= rival.plies) return 0;
    const int rival_king = king_square<-Us>();
    const int lead = rival.plies - own.plies;
    if (lead == 1) {
        const bool rival_king_guards = distance_between(rival_king, rival.target) <= 1;
        if (!rival_king_guards && queen_attacks(own.target, rival.target, own.from, rival.from)) {
            return RACE_WON;
        }
        const int seventh = rival.target + Us * 10;
        const int rival_left = rival.from == seventh ? 0 : rival.from;
        if (!queen_attacks(own.target, rival_king, own.from, rival_left)) return 0;
    }
    return lead <= 3 && may_be_fortress(rival, rival_king) ? RACE_WON_BUT_FORTRESS : RACE_WON;
}

template <int Us> bool any_pawn_beats_bare_king() {
    SquareSet pawns = pawn_set<Us>();
    while (pawns != 0 && !beats_bare_king<Us>(first_square(pawns))) pawns &= pawns - 1;
    return pawns != 0;
}

// True if no pawn of this colour has a move or a capture.
template <int Us> bool pawns_are_stuck() {
    const SquareSet steps = step_forward<Us>(pawn_set<Us>());
    return ((steps & ~occupied_squares()) | (squares_aside(steps) & pawn_set<-Us>())) == 0;
}

// The kings face each other at two squares' distance, and the opponent must give way: it counts
// where no pawn can make a waiting move.
template <int Us> int opposition() {
    if (side == Us) return 0;
    const int difference = king_square<Us>() - king_square<-Us>();
    if (difference != 20 && difference != -20 && difference != 2 && difference != -2) return 0;
    return pawns_are_stuck<WHITE>() && pawns_are_stuck<BLACK>() ? OPPOSITION : 0;
}

// A pawn that queens unstopped, or one that at least beats the bare king.
template <int Us> int running_score(const Run& own, const Run& rival) {
    if (own.plies != 0) {
        return rival.plies != 0 ? race_score<Us>(own, rival)
                                : RUNNING_PAWN - RUNNING_PAWN_STEP * (own.plies / 2);
    }
    return pawn_count<-Us>() == 0 && any_pawn_beats_bare_king<Us>() ? PAWN_BEATS_BARE_KING : 0;
}

// Any number of pawns on one rook's file, and the lone king in the corner that they need.
template <int Us> bool is_rook_pawn_draw(int pawn) {
    const int file = file_of(pawn);
    if (file != 1 && file != 8) return false;
    if (distance_between(king_square<-Us>(), queening_square<Us>(pawn)) > 1) return false;
    if ((pawn_set<Us>() & ~(file_of_square(pawn) & RANKS_2_TO_7)) != 0) return false;
    return !any_pawn_beats_bare_king<Us>();
}

template <int Us> bool known_against_bare_king(int& score) {
    const int pawn = first_square(pawn_set<Us>());
    score = 0;
    if (pawn_count<Us>() > 1) return is_rook_pawn_draw<Us>(pawn);
    if ((set_of(pawn) & RANKS_2_TO_7) == 0) return false;
    if (!beats_bare_king<Us>(pawn)) return true;
    score = WON_KPK + WON_KPK_RANK * own_rank<Us>(pawn) -
            WON_KPK_KING_DISTANCE * distance_between(king_square<Us>(), queening_square<Us>(pawn));
    if (side != Us) score = -score;
    return true;
}

}  // namespace

bool known_pawn_ending(int& score) {
    if (black_pawns == 0) return known_against_bare_king<WHITE>(score);
    return white_pawns == 0 && known_against_bare_king<BLACK>(score);
}

ColourPair pawn_ending_terms() {
    const Run white = fastest_run<WHITE>();
    const Run black = fastest_run<BLACK>();
    return {running_score<WHITE>(white, black) + opposition<WHITE>(),
            running_score<BLACK>(black, white) + opposition<BLACK>()};
}

}  // namespace tarsimo
