// Endings with a score of their own; those without pawns: dead draws, the mates against a bare
// king, and the endings of one piece each.
#include "eval/eval.h"

#include <cstdlib>

namespace tarsimo {

namespace {

constexpr int LESS_THAN_ROOK = 519;
constexpr int TWO_KNIGHTS = 640;
constexpr int BISHOP_AND_KNIGHT = 650;
constexpr int DRAWISH_LOW = 520;   // a rook
constexpr int DRAWISH_HIGH = 850;  // rook and bishop

constexpr int WON_AGAINST_BARE_KING = 10000;
constexpr int WON_BISHOP_AND_KNIGHT = 990;
constexpr int KING_DISTANCE_WEIGHT = 12;

// Boards drawn as seen from white: rank 8 on top, files a to h.
using Grid = std::array<int, 64>;

constexpr int on_grid(const Grid& grid, int sq) {
    return grid[at((9 - sq / 10) * 8 + sq % 10 - 1)];
}

// clang-format off
// How far from the edge the bare king still is. Deliberately not symmetric: a7 and h7.
constexpr Grid lone_king_centre = {
     0,  4,  8, 16, 16,  8,  4,  0,
     8, 32, 40, 48, 48, 40, 32,  4,
     8, 40, 56, 64, 64, 56, 40,  8,
    16, 48, 64, 99, 99, 64, 48, 16,
    16, 48, 64, 99, 99, 64, 48, 16,
     8, 40, 56, 64, 64, 56, 40,  8,
     4, 32, 40, 48, 48, 40, 32,  4,
     0,  4,  8, 16, 16,  8,  4,  0,
};

// Bishop on light squares: mate is given at a8 or h1. Deliberately irregular at b6, a5, b5.
constexpr Grid light_corner_table = {
      0,  10,  20,  30,  60, 100, 150, 200,
     10,  20,  30,  60, 100, 150, 200, 150,
     20,  60,  60, 100, 150, 200, 150, 100,
     60,  40, 100, 150, 200, 150, 100,  60,
     40, 100, 150, 200, 150, 100,  60,  30,
    100, 150, 200, 150, 100,  60,  30,  20,
    150, 200, 150, 100,  60,  30,  20,  10,
    200, 150, 100,  60,  30,  20,  10,   0,
};

// Bishop on dark squares: mate is given at a1 or h8.
constexpr Grid dark_corner_table = {
    200, 150, 100,  60,  30,  20,  10,   0,
    150, 200, 150, 100,  60,  30,  20,  10,
    100, 150, 200, 150, 100,  60,  30,  20,
     60, 100, 150, 200, 150, 100,  60,  30,
     30,  60, 100, 150, 200, 150, 100,  60,
     20,  30,  60, 100, 150, 200, 150, 100,
     10,  20,  30,  60, 100, 150, 200, 150,
      0,  10,  20,  30,  60, 100, 150, 200,
};
// clang-format on

// 1 on dark squares (a1 among them), 0 on light ones.
int square_colour(int sq) { return (sq / 10 + sq % 10 + 1) % 2 == 0 ? 1 : 0; }

bool cannot_mate(int piece_material) {
    return piece_material <= LESS_THAN_ROOK || piece_material == TWO_KNIGHTS;
}

int corner_value(int strong, int lone_king) {
    for (int sq = A1; sq <= H8; ++sq) {
        if (piece_on(sq) != strong * BISHOP) continue;
        return on_grid(square_colour(sq) == 1 ? dark_corner_table : light_corner_table, lone_king);
    }
    return 0;
}

// Drive the bare king to the edge, or to the bishop's corner, and bring up the own king.
int bare_king_score() {
    const int strong = white_material > black_material ? WHITE : BLACK;
    const int lone_king = strong == WHITE ? black_king_sq : white_king_sq;
    const int distance = KING_DISTANCE_WEIGHT * distance_between(white_king_sq, black_king_sq);
    const int score = white_material + black_material == BISHOP_AND_KNIGHT
                          ? WON_BISHOP_AND_KNIGHT - distance - corner_value(strong, lone_king)
                          : WON_AGAINST_BARE_KING - distance - on_grid(lone_king_centre, lone_king);
    return side == strong ? score : -score;
}

}  // namespace

bool is_bare_minor_draw() {
    return white_pawns + black_pawns == 0 && cannot_mate(white_piece_material) &&
           cannot_mate(black_piece_material);
}

bool special_ending(int& score) {
    if (white_pawns + black_pawns != 0) {
        return white_pieces + black_pieces == 0 && known_pawn_ending(score);
    }
    if (white_material + black_material == std::abs(white_material - black_material)) {
        score = bare_king_score();
        return true;
    }
    // One piece each: level until the ending is known better.
    if (white_pieces == 1 && black_pieces == 1) {
        score = 0;
        return true;
    }
    return false;
}

bool is_drawish_pawnless_ending() {
    return white_pawns + black_pawns == 0 && white_material >= DRAWISH_LOW &&
           white_material <= DRAWISH_HIGH && black_material >= DRAWISH_LOW &&
           black_material <= DRAWISH_HIGH;
}

}  // namespace tarsimo
