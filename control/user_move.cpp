// The user's moves: coordinates matched against the generated moves.
#include "control/user_move.h"

#include "board/attacks.h"
#include "board/generate.h"
#include "board/make.h"
#include "board/move_list.h"
#include "board/position.h"
#include "control/notation.h"
#include "control/output.h"
#include "control/text.h"

namespace tarsimo {

namespace {

int find_generated(int from, int to) {
    for (int i = list_start(search_ply); i < list_start(search_ply + 1); ++i) {
        if (move_at(i).from == from && move_at(i).to == to) return i;
    }
    return -1;
}

// How far behind the queen promotion the wanted one stands in the list: English and Spanish
// letters are both understood.
int promotion_offset(char letter) {
    switch (letter) {
        case 'R':
        case 'T': return 1;
        case 'B':
        case 'A': return 2;
        case 'N':
        case 'C': return 3;
        default: return 0;
    }
}

void report_king_in_check() {
    if (side == BLACK) print("\nRey blanco en %s en jaque\n", square_name(white_king_sq).c_str());
    else print("\nRey negro en %s en jaque\n", square_name(black_king_sq).c_str());
}

}  // namespace

bool parse_user_move(std::string& text) {
    to_upper(text);
    if (text.size() < 4) return false;
    const int from = square_of(text[0], text[1]);
    const int to = square_of(text[2], text[3]);

    generate_moves();
    int index = find_generated(from, to);
    if (index < 0) return false;
    if (move_at(index).promotion != 0 && text.size() > 4) index += promotion_offset(text[4]);

    search_ply = 0;
    make_move(index);
    if (!king_left_safe()) {
        report_king_in_check();
        unmake_move();
        return false;
    }
    note_game_length();
    return true;
}

}  // namespace tarsimo
