// Piece-square tables in centipawns, written for white; black reads them through the rank
// mirror. Each class of the evaluation has its own copy for each colour.
#include "eval/square_tables.h"

namespace tarsimo {

SquareTables white_middlegame_tables{};
SquareTables black_middlegame_tables{};
SquareTables white_endgame_tables{};
SquareTables black_endgame_tables{};

namespace {

// clang-format off
// Pawns: the two centre pawns are to advance. Middlegame and transition only.
constexpr SquareTable pawn_square_table = drawn({
      0,   0,   0,   0,   0,   0,   0,   0,
      4,   4,  12,  16,  16,  12,   4,   4,
      4,   4,  12,  16,  16,  12,   4,   4,
      2,   2,  12,  16,  16,  12,   2,   2,
      0,   0,   0,  25,  25,   0,   0,   0,
     -2,  -2,  -2,  10,  10,  -2,  -2,  -2,
      5,   5,   5, -20, -20,   5,   5,   5,
      0,   0,   0,   0,   0,   0,   0,   0,
});

// Knights. QUIRK: the far corners cost -140, the near ones -40.
constexpr SquareTable knight_square_table = drawn({
    -140,  -40,  -20,  -20,  -20,  -20,  -40, -140,
     -40,  -20,    0,    5,    5,    0,  -20,  -40,
     -15,    0,    5,   10,   10,    5,    0,  -15,
     -15,   -5,   10,   15,   15,   10,   -5,  -15,
     -10,   -5,   10,   15,   15,   10,   -5,  -10,
     -10,   -5,    5,    5,    5,    5,   -5,  -10,
     -20,   -5,   -5,   -5,   -5,   -5,   -5,  -20,
     -40,  -20,  -10,  -10,  -10,  -10,  -20,  -40,
});

// Bishops, with the fianchetto squares b2 and g2. QUIRK: h4 is -15 and a4 -10.
constexpr SquareTable bishop_square_table = drawn({
    -15, -10, -10, -10, -10, -10, -10, -15,
    -10, -10,  -5,  -5,  -5,  -5, -10, -10,
    -10,  -5,   5,   0,   0,   5,  -5, -10,
    -10,  -2,   0,  10,  10,   0,  -2, -10,
    -10,  -2,   0,  10,  10,   0,  -2, -15,
    -10,  -5,   5,   0,   0,   5,  -5, -10,
     -5,  10,  -5,  -5,  -5,  -5,  10,  -5,
    -10, -10, -10, -10, -10, -10, -10, -10,
});

// Rooks: files count, ranks do not.
constexpr SquareTable rook_square_table = drawn({
    -5, -2,  0,  4,  4,  0, -2, -5,
    -5, -2,  0,  4,  4,  0, -2, -5,
    -5, -2,  0,  4,  4,  0, -2, -5,
    -5, -2,  0,  4,  4,  0, -2, -5,
    -5, -2,  0,  4,  4,  0, -2, -5,
    -5, -2,  0,  4,  4,  0, -2, -5,
    -5, -2,  0,  4,  4,  0, -2, -5,
    -5, -2,  0,  4,  4,  0, -2, -5,
});

// Queens, middlegame and transition: the edge is a poor place.
constexpr SquareTable queen_square_table = drawn({
    -5, -5, -5, -5, -5, -5, -5, -5,
    -5,  0,  0,  0,  0,  0,  0, -5,
    -5,  0,  0,  0,  0,  0,  0, -5,
    -5,  0,  0,  0,  0,  0,  0, -5,
    -5,  0,  0,  0,  0,  0,  0, -5,
    -5,  0,  0,  0,  0,  0,  0, -5,
    -5,  0,  0,  0,  0,  0,  0, -5,
    -5, -5, -5, -5, -5, -5, -5, -5,
});

// King, middlegame and transition. QUIRK: not symmetric on the first rank.
constexpr SquareTable king_square_table = drawn({
    -80, -80, -80, -80, -80, -80, -80, -80,
    -80, -80, -80, -80, -80, -80, -80, -80,
    -80, -80, -80, -80, -80, -80, -80, -80,
    -30, -20, -40, -60, -60, -40, -20, -30,
    -10,  -5, -20, -40, -40, -20,  -5, -10,
     10,  10,   0, -20, -20,   0,  10,  10,
     10,  20,   0,   0,   0,   0,  20,  10,
     30,  40,   0,   0,  10,   0,  50,  40,
});

// King, endgame: to the centre.
constexpr SquareTable king_endgame_table = drawn({
    -30, -20, -10,  -5,  -5, -10, -20, -30,
    -20, -10,   0,  10,  10,   0, -10, -20,
    -10,   0,  10,  20,  20,  10,   0, -10,
      0,  10,  20,  30,  30,  20,  10,   0,
      0,  10,  20,  30,  30,  20,  10,   0,
    -10,   0,  10,  20,  20,  10,   0, -10,
    -20, -10,   0,  10,  10,   0, -10, -20,
    -30, -20, -10,  -5,  -5, -10, -20, -30,
});

// Queens, endgame. QUIRK: ranks 6 to 8 stand one file to the left of what their shape suggests,
// their first value on the border, with 0 on the h-file.
constexpr SquareTable queen_endgame_table = [] {
    SquareTable table = drawn({
        -20, -10,  -8,  -8, -10, -20, -30,   0,
         -8,  -4,   0,   0,  -4,  -8, -20,   0,
          0,   0,   0,   0,   0,   0, -10,   0,
         -8,   0,   0,   0,   0,   0,   0,  -8,
         -8,   0,   0,   0,   0,   0,   0,  -8,
        -10,  -4,   0,   4,   4,   0,  -4, -10,
        -20,  -8,  -4,   0,   0,  -4,  -8, -20,
        -30, -20, -10,  -8,  -8, -10, -20, -30,
    });
    table[at(A6 - 1)] = -10;
    table[at(A7 - 1)] = -20;
    table[at(A8 - 1)] = -30;
    return table;
}();
// clang-format on

void add_table(const SquareTable& table, int type, SquareTables& white, SquareTables& black) {
    white.by_type[at(type)] = table;
    for (int sq = 0; sq < BOARD_SIZE; ++sq) {
        black.by_type[at(type)][at(sq)] = table[at(mirror_square[at(sq)])];
    }
}

}  // namespace

void init_square_tables() {
    SquareTables& white_mg = white_middlegame_tables;
    SquareTables& black_mg = black_middlegame_tables;
    add_table(pawn_square_table, PAWN, white_mg, black_mg);
    add_table(knight_square_table, KNIGHT, white_mg, black_mg);
    add_table(bishop_square_table, BISHOP, white_mg, black_mg);
    add_table(rook_square_table, ROOK, white_mg, black_mg);
    add_table(queen_square_table, QUEEN, white_mg, black_mg);
    add_table(king_square_table, KING, white_mg, black_mg);

    // Pawns have no square value in the endgame: that row stays 0.
    SquareTables& white_eg = white_endgame_tables;
    SquareTables& black_eg = black_endgame_tables;
    add_table(knight_square_table, KNIGHT, white_eg, black_eg);
    add_table(bishop_square_table, BISHOP, white_eg, black_eg);
    add_table(rook_square_table, ROOK, white_eg, black_eg);
    add_table(queen_endgame_table, QUEEN, white_eg, black_eg);
    add_table(king_endgame_table, KING, white_eg, black_eg);
}

}  // namespace tarsimo
