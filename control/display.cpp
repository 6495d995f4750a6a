// The board diagram and the printed forms of a move.
#include "control/display.h"

#include "board/move_list.h"
#include "board/position.h"
#include "control/engine.h"
#include "control/notation.h"
#include "control/output.h"

namespace tarsimo {

namespace {

constexpr char FRAME[] = "   +---+---+---+---+---+---+---+---+";

void print_cell(int piece) {
    const char letter = SPANISH_LETTERS[piece < 0 ? -piece : piece];
    print(piece < 0 ? "|*%c " : "| %c ", letter);
}

}  // namespace

void print_board() {
    print("\n%s\n", FRAME);
    for (int rank = 8; rank >= 1; --rank) {
        print(" %d ", rank);
        for (int file = 1; file <= 8; ++file) print_cell(piece_on(10 * (rank + 1) + file));
        print_line("|");
        print_line(FRAME);
    }
    print_line("     a   b   c   d   e   f   g   h ");
    print_line("");
    if (!xboard_mode) print_line(side == WHITE ? " BLANCAS JUEGAN " : " NEGRAS JUEGAN  ");
    flush_output();
}

void print_move(int index) {
    const Move& move = move_at(index);
    if (!xboard_mode) {
        print("%s", spanish_name(move).c_str());
        return;
    }
    print("move %s  \n", coordinate_name(move).c_str());  // QUIRK: trailing blanks
    flush_output();
}

}  // namespace tarsimo
