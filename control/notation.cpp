// Names of squares and moves.
#include "control/notation.h"

#include "board/move_list.h"
#include "board/position.h"

namespace tarsimo {

std::string square_name(int sq) {
    if (!on_board(sq)) return "--";
    return {static_cast<char>('a' + sq % 10 - 1), static_cast<char>('0' + sq / 10 - 1)};
}

std::string coordinate_name(const Move& move) {
    std::string name = square_name(move.from) + square_name(move.to);
    if (move.promotion != 0) name += FEN_LETTERS[move.promotion];
    return name;
}

std::string spanish_name(const Move& move) {
    std::string name(1, SPANISH_LETTERS[type_on(move.from)]);
    name += square_name(move.from) + (move.captured != 0 ? 'x' : '-') + square_name(move.to);
    if (move.promotion != 0) name += SPANISH_LETTERS[move.promotion];
    return name;
}

int square_of(char file, char rank) {
    const char lower = file >= 'A' && file <= 'H' ? static_cast<char>(file - 'A' + 'a') : file;
    if (lower < 'a' || lower > 'h' || rank < '1' || rank > '8') return 0;
    return lower - 'a' + 1 + 10 * (rank - '1' + 2);
}

bool looks_like_a_move(const std::string& word) {
    return word.size() >= 4 && square_of(word[0], word[1]) != 0 && square_of(word[2], word[3]) != 0;
}

}  // namespace tarsimo
