// Piece-square tables in centipawns, written for white; black reads them through the rank
// mirror. Each class of the evaluation has its own copy for each colour.
#include "eval/eval.h"

namespace tarsimo {

SquareTables white_middlegame_tables{};
SquareTables black_middlegame_tables{};
SquareTables white_endgame_tables{};
SquareTables black_endgame_tables{};

namespace {

// Boards drawn as seen from white: rank 8 on top, files a to h.
using Grid = std::array<int, 64>;

// clang-format off
// Pawns: the two centre pawns are to advance. Middlegame and transition only.
constexpr Grid pawn_square_table = {
      0,   0,   0,   0,   0,   0,   0,   0,
      4,   4,  12,  16,  16,  12,   4,   4,
      4,   4,  12,  16,  16,  12,   4,   4,
      2,   2,  12,  16,  16,  12,   2,   2,
      0,   0,   0,  25,  25,   0,   0,   0,
     -2,  -2,  -2,  10,  10,  -2,  -2,  -2,
      5,   5,   5, -20, -20,   5,   5,   5,
      0,   0,   0,   0,   0,   0,   0,   0,
};

// Knights. Deliberately asymmetric: the far corners cost -140, the near ones -40.
constexpr Grid knight_square_table = {
    -140,  -40,  -20,  -20,  -20,  -20,  -40, -140,
     -40,  -20,    0,    5,    5,    0,  -20,  -40,
     -15,    0,    5,   10,   10,    5,    0,  -15,
     -15,   -5,   10,   15,   15,   10,   -5,  -15,
     -10,   -5,   10,   15,   15,   10,   -5,  -10,
     -10,   -5,    5,    5,    5,    5,   -5,  -10,
     -20,   -5,   -5,   -5,   -5,   -5,   -5,  -20,
     -40,  -20,  -10,  -10,  -10,  -10,  -20,  -40,
};

// Bishops, with the fianchetto squares b2 and g2. Deliberately h4 is -15 and a4 -10.
constexpr Grid bishop_square_table = {
    -15, -10, -10, -10, -10, -10, -10, -15,
    -10, -10,  -5,  -5,  -5,  -5, -10, -10,
    -10,  -5,   5,   0,   0,   5,  -5, -10,
    -10,  -2,   0,  10,  10,   0,  -2, -10,
    -10,  -2,   0,  10,  10,   0,  -2, -15,
    -10,  -5,   5,   0,   0,   5,  -5, -10,
     -5,  10,  -5,  -5,  -5,  -5,  10,  -5,
    -10, -10, -10, -10, -10, -10, -10, -10,
};

// Rooks: files count, ranks do not.
constexpr Grid rook_square_table = {
    -5, -2,  0,  4,  4,  0, -2, -5,
    -5, -2,  0,  4,  4,  0, -2, -5,
    -5, -2,  0,  4,  4,  0, -2, -5,
    -5, -2,  0,  4,  4,  0, -2, -5,
    -5, -2,  0,  4,  4,  0, -2, -5,
    -5, -2,  0,  4,  4,  0, -2, -5,
    -5, -2,  0,  4,  4,  0, -2, -5,
    -5, -2,  0,  4,  4,  0, -2, -5,
};

// Queens, middlegame and transition: the edge is a poor place.
constexpr Grid queen_square_table = {
    -5, -5, -5, -5, -5, -5, -5, -5,
    -5,  0,  0,  0,  0,  0,  0, -5,
    -5,  0,  0,  0,  0,  0,  0, -5,
    -5,  0,  0,  0,  0,  0,  0, -5,
    -5,  0,  0,  0,  0,  0,  0, -5,
    -5,  0,  0,  0,  0,  0,  0, -5,
    -5,  0,  0,  0,  0,  0,  0, -5,
    -5, -5, -5, -5, -5, -5, -5, -5,
};

// King, middlegame and transition. Deliberately asymmetric on the first rank.
constexpr Grid king_square_table = {
    -80, -80, -80, -80, -80, -80, -80, -80,
    -80, -80, -80, -80, -80, -80, -80, -80,
    -80, -80, -80, -80, -80, -80, -80, -80,
    -30, -20, -40, -60, -60, -40, -20, -30,
    -10,  -5, -20, -40, -40, -20,  -5, -10,
     10,  10,   0, -20, -20,   0,  10,  10,
     10,  20,   0,   0,   0,   0,  20,  10,
     30,  40,   0,   0,  10,   0,  50,  40,
};

// King, endgame: to the centre.
constexpr Grid king_endgame_table = {
    -30, -20, -10,  -5,  -5, -10, -20, -30,
    -20, -10,   0,  10,  10,   0, -10, -20,
    -10,   0,  10,  20,  20,  10,   0, -10,
      0,  10,  20,  30,  30,  20,  10,   0,
      0,  10,  20,  30,  30,  20,  10,   0,
    -10,   0,  10,  20,  20,  10,   0, -10,
    -20, -10,   0,  10,  10,   0, -10, -20,
    -30, -20, -10,  -5,  -5, -10, -20, -30,
};

// Queens, endgame. Ranks 6 to 8 stand one file to the left of what their shape suggests,
// with 0 on the h-file; a deliberate part of the scoring.
constexpr Grid queen_endgame_table = {
    -20, -10,  -8,  -8, -10, -20, -30,   0,
     -8,  -4,   0,   0,  -4,  -8, -20,   0,
      0,   0,   0,   0,   0,   0, -10,   0,
     -8,   0,   0,   0,   0,   0,   0,  -8,
     -8,   0,   0,   0,   0,   0,   0,  -8,
    -10,  -4,   0,   4,   4,   0,  -4, -10,
    -20,  -8,  -4,   0,   0,  -4,  -8, -20,
    -30, -20, -10,  -8,  -8, -10, -20, -30,
};
// clang-format on

void spread(const Grid& grid, int type, SquareTables& white, SquareTables& black) {
    for (int sq = A1; sq <= H8; ++sq) {
        if (!on_board(sq)) continue;
        const int value = grid[at((9 - sq / 10) * 8 + sq % 10 - 1)];
        const int mirrored = mirror_square[at(sq)];
        white.by_type[at(type)][at(sq)] = value;
        black.by_type[at(type)][at(mirrored)] = value;
    }
}

}  // namespace

void init_square_tables() {
    SquareTables& white_mg = white_middlegame_tables;
    SquareTables& black_mg = black_middlegame_tables;
    spread(pawn_square_table, PAWN, white_mg, black_mg);
    spread(knight_square_table, KNIGHT, white_mg, black_mg);
    spread(bishop_square_table, BISHOP, white_mg, black_mg);
    spread(rook_square_table, ROOK, white_mg, black_mg);
    spread(queen_square_table, QUEEN, white_mg, black_mg);
    spread(king_square_table, KING, white_mg, black_mg);

    // Pawns have no square value in the endgame: that row stays 0.
    SquareTables& white_eg = white_endgame_tables;
    SquareTables& black_eg = black_endgame_tables;
    spread(knight_square_table, KNIGHT, white_eg, black_eg);
    spread(bishop_square_table, BISHOP, white_eg, black_eg);
    spread(rook_square_table, ROOK, white_eg, black_eg);
    spread(queen_endgame_table, QUEEN, white_eg, black_eg);
    spread(king_endgame_table, KING, white_eg, black_eg);
}

}  // namespace tarsimo
