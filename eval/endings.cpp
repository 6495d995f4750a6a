// Endings with a score of their own; those without pawns: dead draws, the mates against a bare
// king, and the endings of one piece each.
#include "eval/endings.h"
#include "board/attacks.h"
#include "board/position.h"

#include "eval/pawn_endings.h"
#include "eval/setup.h"
#include "eval/square_tables.h"

#include <algorithm>
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

// One piece each, for the side with the better one.
constexpr int WON_QUEEN_AGAINST_ROOK = 600;   // 446 to 608 with what follows
constexpr int WON_QUEEN_AGAINST_MINOR = 680;  // 526 to 688
constexpr int QUEEN_ENDING_CENTRE_WEIGHT = 14;
constexpr int QUEEN_ENDING_KING_WEIGHT = 10;  // for the distance of the kings
constexpr int QUEEN_ENDING_LOOSE_PIECE = 4;   // for its distance from its king
constexpr int ROOK_AGAINST_MINOR = 45;        // mostly a draw: 1 to 71
constexpr int ROOK_ENDING_CENTRE_WEIGHT = 5;
constexpr int ROOK_ENDING_KING_WEIGHT = 2;
constexpr int ROOK_ENDING_LOOSE_KNIGHT = 4;
constexpr int ROOK_ENDING_WRONG_CORNER = 15;  // of the bishop's colour; its king can be mated there

// clang-format off
// How far from the edge the bare king still is. QUIRK: a7 and h7 differ.
constexpr SquareTable lone_king_centre = drawn({
     0,  4,  8, 16, 16,  8,  4,  0,
     8, 32, 40, 48, 48, 40, 32,  4,
     8, 40, 56, 64, 64, 56, 40,  8,
    16, 48, 64, 99, 99, 64, 48, 16,
    16, 48, 64, 99, 99, 64, 48, 16,
     8, 40, 56, 64, 64, 56, 40,  8,
     4, 32, 40, 48, 48, 40, 32,  4,
     0,  4,  8, 16, 16,  8,  4,  0,
});

// Bishop on light squares: mate is given at a8 or h1. QUIRK: irregular at b6, a5 and b5.
constexpr SquareTable light_corner_table = drawn({
      0,  10,  20,  30,  60, 100, 150, 200,
     10,  20,  30,  60, 100, 150, 200, 150,
     20,  60,  60, 100, 150, 200, 150, 100,
     60,  40, 100, 150, 200, 150, 100,  60,
     40, 100, 150, 200, 150, 100,  60,  30,
    100, 150, 200, 150, 100,  60,  30,  20,
    150, 200, 150, 100,  60,  30,  20,  10,
    200, 150, 100,  60,  30,  20,  10,   0,
});

// Bishop on dark squares: mate is given at a1 or h8.
constexpr SquareTable dark_corner_table = drawn({
    200, 150, 100,  60,  30,  20,  10,   0,
    150, 200, 150, 100,  60,  30,  20,  10,
    100, 150, 200, 150, 100,  60,  30,  20,
     60, 100, 150, 200, 150, 100,  60,  30,
     30,  60, 100, 150, 200, 150, 100,  60,
     20,  30,  60, 100, 150, 200, 150, 100,
     10,  20,  30,  60, 100, 150, 200, 150,
      0,  10,  20,  30,  60, 100, 150, 200,
});
// clang-format on

bool cannot_mate(int piece_material) {
    return piece_material <= LESS_THAN_ROOK || piece_material == TWO_KNIGHTS;
}

int corner_value(int strong, int lone_king) {
    for (int sq = A1; sq <= H8; ++sq) {
        if (piece_on(sq) != strong * BISHOP) continue;
        const SquareTable& table = colour_of(sq) == 1 ? dark_corner_table : light_corner_table;
        return table[idx(lone_king)];
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
                          : WON_AGAINST_BARE_KING - distance - lone_king_centre[idx(lone_king)];
    return side == strong ? score : -score;
}

// Steps from the edge, of file and rank together: 0 in the corners, 6 in the centre.
int centrality(int sq) {
    const int file = file_of(sq);
    const int rank = own_rank<WHITE>(sq);
    return std::min(file, 9 - file) + std::min(rank, 9 - rank) - 2;
}

// Colour of the corner nearest to a square.
int corner_colour(int sq) {
    const bool near_a1_or_h8 = (file_of(sq) <= 4) == (own_rank<WHITE>(sq) <= 4);
    return near_a1_or_h8 ? colour_of(A1) : colour_of(A8);
}

// The colour Us has the more valuable piece. A queen wins: the weak king is driven to the edge
// and away from its piece. A rook can only hope to.
template <int Us> int one_piece_each_score() {
    const int own_piece = first_square(eval_side<Us>().pieces);
    const int weak_king = king_square<-Us>();
    const int weak_piece = first_square(eval_side<-Us>().pieces);
    const int centre = centrality(weak_king);
    const int kings = distance_between(king_square<Us>(), weak_king);
    const int loose = distance_between(weak_king, weak_piece);
    const int weak_type = type_on(weak_piece);

    if (type_on(own_piece) == QUEEN) {
        return (weak_type == ROOK ? WON_QUEEN_AGAINST_ROOK : WON_QUEEN_AGAINST_MINOR) -
               QUEEN_ENDING_CENTRE_WEIGHT * centre - QUEEN_ENDING_KING_WEIGHT * kings +
               QUEEN_ENDING_LOOSE_PIECE * loose;
    }
    int score =
        ROOK_AGAINST_MINOR - ROOK_ENDING_CENTRE_WEIGHT * centre - ROOK_ENDING_KING_WEIGHT * kings;
    if (weak_type == KNIGHT) score += ROOK_ENDING_LOOSE_KNIGHT * loose;
    else if (centre <= 1 && corner_colour(weak_king) == colour_of(weak_piece))
        score += ROOK_ENDING_WRONG_CORNER;
    return score;
}

}  // namespace

bool is_bare_minor_draw() {
    return white_pawns + black_pawns == 0 && cannot_mate(white_material) &&
           cannot_mate(black_material);
}

bool special_ending(int& score) {
    if (white_pawns + black_pawns != 0) {
        return white_pieces + black_pieces == 0 && known_pawn_ending(score);
    }
    if (white_material + black_material == std::abs(white_material - black_material)) {
        score = bare_king_score();
        return true;
    }
    if (white_pieces == 1 && black_pieces == 1) {
        score = white_material > black_material   ? side * one_piece_each_score<WHITE>()
                : black_material > white_material ? -side * one_piece_each_score<BLACK>()
                                                  : 0;
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
