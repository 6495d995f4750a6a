// Move lists. All lists live in one array; a list is discarded by resetting move_count.
// Each move receives its ordering score when it is appended, there is no later pass.
//
// The bands of the scores, from first to last:
//   1900000  hash move
//   1880000+ capture of the previous principal variation (quiescence lists)
//   1860000  first killer
//   1850000+ queen promotion, captures of a more valuable piece
//   1840000+ equal and undefended captures, en passant
//   1830000  second killer
//   1820000  knight promotion
//   1810000  third killer
//   1809000+ defended captures of a less valuable piece
//         0+ other quiet moves, by history
#include "board/move_list.h"

#include "board/position.h"

#include <algorithm>

namespace tarsimo {

MoveStack move_stack{};
int move_count = 0;
std::array<int, PLY_SLOTS> first_move{};
MoveRef hash_move{};
std::array<MoveRef, PLY_SLOTS> killer1{}, killer2{}, killer3{};
HistoryTable history{};
std::array<std::array<PvEntry, PLY_SLOTS>, PLY_SLOTS> pv_table{};

namespace {

constexpr int HASH_MOVE_SCORE = 1900000;
constexpr int PV_CAPTURE_SCORE = 1880000;
constexpr int KILLER1_SCORE = 1860000;
constexpr int KILLER2_SCORE = 1830000;
constexpr int KILLER3_SCORE = 1810000;
constexpr int WINNING_CAPTURE_SCORE = 1850000;
constexpr int EQUAL_CAPTURE_SCORE = 1840000;
constexpr int LOSING_CAPTURE_SCORE = 1809000;
constexpr int QUEEN_PROMOTION_SCORE = 1850000;
constexpr int KNIGHT_PROMOTION_SCORE = 1820000;
constexpr int QUEEN_CAPTURE_PROMOTION_BONUS = 10000;
constexpr int KNIGHT_CAPTURE_PROMOTION_BONUS = 5000;

constexpr std::array<int, 4> promotion_order = {QUEEN, ROOK, BISHOP, KNIGHT};

bool matches(const MoveRef& ref, int from, int to) { return ref.from == from && ref.to == to; }

const MoveRef& killer_of(const std::array<MoveRef, PLY_SLOTS>& killers) {
    return killers[at(search_ply)];
}

int value_of(const std::array<int, 8>& values, int type) { return values[at(type)]; }

// The next free slot, filled but for its score, which still holds what an earlier list
// left there.
Move& append(int from, int to, int captured) {
    Move& move = move_at(move_count++);
    move.from = from;
    move.to = to;
    move.captured = captured;
    move.promotion = 0;
    move.castle = 0;
    move.ep_capture = 0;
    return move;
}

int quiet_score(int from, int to) {
    if (matches(hash_move, from, to)) return HASH_MOVE_SCORE;
    if (matches(killer_of(killer1), from, to)) return KILLER1_SCORE;
    if (matches(killer_of(killer2), from, to)) return KILLER2_SCORE;
    if (matches(killer_of(killer3), from, to)) return KILLER3_SCORE;
    return history_of(from, to);
}

template <int... Steps> bool ray_meets(int sq, int piece) {
    return ((first_piece<Steps>(sq) == piece) || ...);
}

// True if a pawn, knight, bishop or rook of colour Them guards the square. Queens and
// kings are left out, and what stands behind another piece.
template <int Them> bool guarded_by_lesser_piece(int sq) {
    return stands_near<-Them * 9, -Them * 11>(sq, Them * PAWN) || knight_near(sq, Them * KNIGHT) ||
           ray_meets<9, -9, 11, -11>(sq, Them * BISHOP) ||
           ray_meets<1, -1, 10, -10>(sq, Them * ROOK);
}

int exchange_score(int from, int to, int victim, int attacker) {
    const int gain = 16 * value_of(piece_value, victim) - value_of(piece_value, attacker);
    const int victim_order = value_of(order_value, victim);
    const int attacker_order = value_of(order_value, attacker);

    if (victim_order > attacker_order) return WINNING_CAPTURE_SCORE + gain;
    if (victim_order == attacker_order || victim == KING || attacker == KING) {
        return EQUAL_CAPTURE_SCORE + gain;
    }
    const bool defended = piece_on(from) > 0 ? guarded_by_lesser_piece<BLACK>(to)
                                             : guarded_by_lesser_piece<WHITE>(to);
    return (defended ? LOSING_CAPTURE_SCORE : EQUAL_CAPTURE_SCORE) + gain;
}

}  // namespace

void add_quiet_move(int from, int to) { append(from, to, 0).score = quiet_score(from, to); }

void add_capture(int from, int to) {
    const int victim = type_on(to);
    Move& move = append(from, to, victim);
    const PvEntry& pv = pv_table[0][at(search_ply)];
    // QUIRK: the score left in the slot is added, which orders several such moves.
    move.score = pv.from == from && pv.to == to
                     ? wrapping_sum(PV_CAPTURE_SCORE, move.score)
                     : 16 * value_of(order_value, victim) - value_of(order_value, type_on(from));
}

void add_scored_capture(int from, int to) {
    const int victim = type_on(to);
    Move& move = append(from, to, victim);
    if (matches(hash_move, from, to)) {
        move.score = HASH_MOVE_SCORE;
    } else if (matches(killer_of(killer1), from, to)) {
        move.score = wrapping_sum(KILLER1_SCORE, move.score);  // QUIRK: as in add_capture()
    } else {
        move.score = exchange_score(from, to, victim, type_on(from));
    }
}

void add_promotions(int from, int to) {
    const bool capture = piece_on(to) != EMPTY;
    for (const int promotion : promotion_order) {
        if (capture) add_scored_capture(from, to);
        else add_quiet_move(from, to);

        Move& move = move_at(move_count - 1);
        move.promotion = promotion;
        if (promotion == QUEEN) {
            move.score = capture ? wrapping_sum(QUEEN_CAPTURE_PROMOTION_BONUS, move.score)
                                 : std::max(move.score, QUEEN_PROMOTION_SCORE);
        } else if (promotion == KNIGHT) {
            move.score = capture ? wrapping_sum(KNIGHT_CAPTURE_PROMOTION_BONUS, move.score)
                                 : std::max(move.score, KNIGHT_PROMOTION_SCORE);
        }
    }
}

void add_ep_capture(int from, int to, int ep_capture) {
    Move& move = append(from, to, PAWN);
    move.ep_capture = ep_capture;
    move.score = EQUAL_CAPTURE_SCORE;  // QUIRK: neither hash move nor killer is looked at
}

void update_pv(int index) {
    const auto ply = at(search_ply);
    const Move& move = move_at(index);
    auto& line = pv_table[ply];
    const auto& below = pv_table[ply + 1];

    line[ply] = {move.from, move.to, static_cast<std::int8_t>(move.captured),
                 static_cast<std::int8_t>(type_on(move.from)),
                 static_cast<std::int8_t>(move.promotion)};
    for (std::size_t column = ply + 1; column < line.size(); ++column) {
        line[column] = below[column];
        if (below[column].from == 0) break;
    }
}

}  // namespace tarsimo
