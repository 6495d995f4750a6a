/// Tables by square, drawn as boards, and the piece-square tables of the evaluation.
#ifndef TARSIMO_EVAL_SQUARE_TABLES_H
#define TARSIMO_EVAL_SQUARE_TABLES_H

#include "board/board.h"

namespace tarsimo {

/// A value by mailbox square, border included.
using SquareTable = std::array<int, BOARD_SIZE>;

/// The table of a board drawn as white sees it: rank 8 on top, files a to h. 0 on the border.
constexpr SquareTable drawn(const std::array<int, 64>& board_values) {
    SquareTable table{};
    for (int sq = A1; sq <= H8; ++sq) {
        if (on_board(sq)) table[idx(sq)] = board_values[idx((9 - sq / 10) * 8 + sq % 10 - 1)];
    }
    return table;
}

/// Values in centipawns by square, for one class of the evaluation and one colour.
struct SquareTables {
    std::array<SquareTable, 7> by_type;  ///< index: piece type
};

/// One independent copy for each class of the evaluation and each colour. Written by
/// init_square_tables() alone.
extern SquareTables white_middlegame_tables, black_middlegame_tables;
extern SquareTables white_endgame_tables, black_endgame_tables;

/// Build the four table sets. Run at start-up; running it again changes nothing.
void init_square_tables();

}  // namespace tarsimo

#endif
