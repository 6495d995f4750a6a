// Attack tests. They run after every move of the search, so the rays are straight-line
// code with the steps as template parameters.
#include "board/board.h"

#include <algorithm>
#include <cstdlib>

namespace tarsimo {

std::array<std::array<int, SQUARE_LIMIT>, SQUARE_LIMIT> square_distance{};

namespace {

constexpr int OFF_BOARD_DISTANCE = 16;

template <int By, int Step> bool diagonal_hit(int sq) {
    const int piece = first_piece<Step>(sq);
    return piece == By * BISHOP || piece == By * QUEEN;
}

template <int By, int Step> bool line_hit(int sq) {
    const int piece = first_piece<Step>(sq);
    return piece == By * ROOK || piece == By * QUEEN;
}

template <int By> bool attacked(int sq) {
    if (diagonal_hit<By, 9>(sq) || diagonal_hit<By, -9>(sq) ||
        diagonal_hit<By, 11>(sq) || diagonal_hit<By, -11>(sq)) return true;

    if (line_hit<By, 1>(sq) || line_hit<By, -1>(sq) ||
        line_hit<By, 10>(sq) || line_hit<By, -10>(sq)) return true;

    constexpr int knight = By * KNIGHT;
    if (piece_on(sq + 8) == knight || piece_on(sq - 8) == knight ||
        piece_on(sq + 12) == knight || piece_on(sq - 12) == knight ||
        piece_on(sq + 19) == knight || piece_on(sq - 19) == knight ||
        piece_on(sq + 21) == knight || piece_on(sq - 21) == knight) return true;

    // Pawns capture away from their own side, so they stand behind the square.
    constexpr int pawn = By * PAWN;
    if (piece_on(sq - By * 9) == pawn || piece_on(sq - By * 11) == pawn) return true;

    return distance_between(king_square<By>(), sq) == 1;
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
