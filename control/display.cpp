// The board diagram and the two notations of a move.
#include "control/control.h"

#include "board/board.h"

#include <cstdio>

namespace tarsimo {

namespace {

constexpr char FRAME[] = "   +---+---+---+---+---+---+---+---+";

void print_cell(int piece) {
    const char letter = SPANISH_LETTERS[piece < 0 ? -piece : piece];
    std::printf(piece < 0 ? "|*%c " : "| %c ", letter);
}

void print_spanish_move(const Move& move) {
    std::printf("%c%s%c%s", SPANISH_LETTERS[type_on(move.from)], square_name(move.from).c_str(),
                move.captured != 0 ? 'x' : '-', square_name(move.to).c_str());
    if (move.promotion != 0) std::printf("%c", SPANISH_LETTERS[move.promotion]);
}

void print_cecp_move(const Move& move) {
    std::printf("move %s", square_name(move.from).c_str());
    std::printf("%s", square_name(move.to).c_str());
    if (move.promotion != 0) std::printf("%c", FEN_LETTERS[move.promotion]);
    std::printf("  \n");  // the trailing blanks are deliberate
    flush_output();
}

}  // namespace

std::string square_name(int sq) {
    if (!on_board(sq)) return "--";
    return {static_cast<char>('a' + sq % 10 - 1), static_cast<char>('0' + sq / 10 - 1)};
}

void print_board() {
    std::printf("\n%s\n", FRAME);
    for (int rank = 8; rank >= 1; --rank) {
        std::printf(" %d ", rank);
        for (int file = 1; file <= 8; ++file) print_cell(piece_on(10 * (rank + 1) + file));
        std::puts("|");
        std::puts(FRAME);
    }
    std::puts("     a   b   c   d   e   f   g   h ");
    std::puts("");
    if (!xboard_mode) std::puts(side == WHITE ? " BLANCAS JUEGAN " : " NEGRAS JUEGAN  ");
    flush_output();
}

void print_move(int index) {
    if (xboard_mode) print_cecp_move(move_at(index));
    else print_spanish_move(move_at(index));
}

}  // namespace tarsimo
