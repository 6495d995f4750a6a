// Attack tests. They run after every move of the search, so the rays are straight-line
// code with the steps as template parameters.
#include "board/board.h"

#include <algorithm>
#include <cstdlib>

namespace tarsimo {

std::array<std::array<int, SQUARE_LIMIT>, SQUARE_LIMIT> square_distance{};

namespace {

constexpr int OFF_BOARD_DISTANCE = 16;

// True if the first man in one of the directions is one of the two sliders.
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

}  // namespace

void init_square_distance() {
    for (int from = A1; from < SQUARE_LIMIT; ++from) {
        for (int to = A1; to < SQUARE_LIMIT; ++to) {
            const int files = std::abs(from % 10 - to % 10);
            const int ranks = std::abs(from / 10 - to / 10);
            square_distance[at(from)][at(to)] =
                on_board(from) && on_board(to) ? std::max(files, ranks) : OFF_BOARD_DISTANCE;
        }
    }
}

bool is_attacked(int sq, int by) { return by == WHITE ? attacked<WHITE>(sq) : attacked<BLACK>(sq); }

bool attacked_by_white(int sq) { return attacked<WHITE>(sq); }

bool king_left_safe() {
    return side == WHITE ? !attacked<WHITE>(black_king_sq) : !attacked<BLACK>(white_king_sq);
}

bool in_check() {
    return side == WHITE ? attacked<BLACK>(white_king_sq) : attacked<WHITE>(black_king_sq);
}

}  // namespace tarsimo
