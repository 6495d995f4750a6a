// Attack tests. They run after every move of the search, so the rays are straight-line
// code with the steps as template parameters.
#include "board/attacks.h"

#include "board/move_list.h"
#include "board/position.h"

#include <algorithm>
#include <cstdlib>

namespace tarsimo {

std::array<std::array<int, SQUARE_LIMIT>, SQUARE_LIMIT> square_distance{};

namespace {

constexpr int OFF_BOARD_DISTANCE = 16;

// True if the first piece in one of the directions is one of the two sliders.
template <int... Steps> bool slider_hits(int sq, int slider, int queen) {
    const auto hits = [=](int piece) { return piece == slider || piece == queen; };
    return (hits(first_piece<Steps>(sq)) || ...);
}

template <int By> bool attacked(int sq) {
    return slider_hits<9, -9, 11, -11>(sq, By * BISHOP, By * QUEEN) ||
           slider_hits<1, -1, 10, -10>(sq, By * ROOK, By * QUEEN) || knight_near(sq, By * KNIGHT) ||
           // Pawns capture away from their own side, so they stand behind the square.
           stands_near<-By * 9, -By * 11>(sq, By * PAWN) ||
           distance_between(king_square<By>(), sq) == 1;
}

bool attacked_by_white(int sq) { return attacked<WHITE>(sq); }

bool attacked_by_black(int sq) { return attacked<BLACK>(sq); }

constexpr int KNIGHT_LEAP = 100;

// The step from a square towards another on the same rank, file or diagonal; KNIGHT_LEAP for
// squares a knight's move apart, 0 for all others.
constexpr auto line_step = [] {
    std::array<std::array<std::int8_t, SQUARE_LIMIT>, SQUARE_LIMIT> table{};
    for (int from = A1; from <= H8; ++from) {
        if (!on_board(from)) continue;
        auto& row = table[idx(from)];
        for (const int step : {1, -1, 10, -10, 9, -9, 11, -11}) {
            for (int to = from + step; on_board(to); to += step) {
                row[idx(to)] = static_cast<std::int8_t>(step);
            }
        }
        for (const int leap : {8, -8, 12, -12, 19, -19, 21, -21}) {
            if (on_board(from + leap)) row[idx(from + leap)] = KNIGHT_LEAP;
        }
    }
    return table;
}();

constexpr bool is_line(int step) { return step != 0 && step != KNIGHT_LEAP; }

// True if the first piece from the square on along the line is a slider of colour By that moves
// along it.
template <int By> bool hit_along(int sq, int step) {
    do sq += step;
    while (piece_on(sq) == EMPTY);
    const int piece = By * piece_on(sq);
    return piece == QUEEN || piece == (step % 10 == 0 || step * step == 1 ? ROOK : BISHOP);
}

// The king that moved, and moves that leave two squares, are not worth a special case. Nor is the
// first move of a search: a position set up by hand may let its side take the king.
bool needs_full_test(const Move& move, int king) {
    return search_ply <= 1 || move.to == king || move.ep_capture != 0 || move.castle != 0;
}

template <int Us> bool keeps_king_safe(const Move& move, bool was_in_check) {
    const int king = king_square<Us>();
    if (was_in_check || needs_full_test(move, king)) return !attacked<-Us>(king);
    const int step = line_step[idx(king)][idx(move.from)];
    return !is_line(step) || !hit_along<-Us>(king, step);
}

template <int Us> bool checks(const Move& move) {
    const int king = king_square<-Us>();
    if (needs_full_test(move, king)) return attacked<Us>(king);
    const int opened = line_step[idx(king)][idx(move.from)];
    if (is_line(opened) && hit_along<Us>(king, opened)) return true;
    const int step = line_step[idx(king)][idx(move.to)];
    if (step == 0) return false;
    const int piece = Us * piece_on(move.to);
    if (step == KNIGHT_LEAP) return piece == KNIGHT;
    if (piece == PAWN) return king - move.to == 9 * Us || king - move.to == 11 * Us;
    return hit_along<Us>(king, step);
}

}  // namespace

void init_square_distance() {
    for (int from = A1; from < SQUARE_LIMIT; ++from) {
        for (int to = A1; to < SQUARE_LIMIT; ++to) {
            const int files = std::abs(from % 10 - to % 10);
            const int ranks = std::abs(from / 10 - to / 10);
            square_distance[idx(from)][idx(to)] =
                on_board(from) && on_board(to) ? std::max(files, ranks) : OFF_BOARD_DISTANCE;
        }
    }
}

bool is_attacked(int sq, int by) {
    return by == WHITE ? attacked_by_white(sq) : attacked_by_black(sq);
}

bool king_left_safe() {
    return side == WHITE ? !attacked_by_white(black_king_sq) : !attacked_by_black(white_king_sq);
}

bool in_check() {
    return side == WHITE ? attacked_by_black(white_king_sq) : attacked_by_white(black_king_sq);
}

bool king_left_safe(const Move& move, bool was_in_check) {
    return side == WHITE ? keeps_king_safe<BLACK>(move, was_in_check)
                         : keeps_king_safe<WHITE>(move, was_in_check);
}

bool move_gives_check(const Move& move) {
    return side == WHITE ? checks<BLACK>(move) : checks<WHITE>(move);
}

}  // namespace tarsimo
