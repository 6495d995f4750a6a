/// Attack tests, and the distance of squares.
#ifndef TARSIMO_BOARD_ATTACKS_H
#define TARSIMO_BOARD_ATTACKS_H

#include "board/move_list.h"

namespace tarsimo {

/// King distance between two playing squares, by from and to; 16 when either is off the
/// board. Filled by init_square_distance(); indexes 21..99.
extern std::array<std::array<int, SQUARE_LIMIT>, SQUARE_LIMIT> square_distance;

/// Fill square_distance. Run once at start-up; running it again changes nothing.
void init_square_distance();

/// King distance between two squares 21..99.
inline int distance_between(int a, int b) { return square_distance[idx(a)][idx(b)]; }

/// True if a piece of colour `by` attacks the playing square `sq`, whatever stands on it.
/// WHITE selects the white attackers, any other value the black ones.
bool is_attacked(int sq, int by);

/// Right after make_move(): true if the king of the side that has moved is not attacked.
/// False means that the move was illegal and must be unmade.
bool king_left_safe();

/// True if the king of the side to move is attacked.
bool in_check();

/// king_left_safe() right after make_move() of this move, when it is known whether its side was
/// in check before: without check only a line that the move opened is looked at.
bool king_left_safe(const Move& move, bool was_in_check);

/// in_check() right after make_move() of this move, which has left its own king safe: looks at
/// the square that it went to and the line that it opened only.
bool move_gives_check(const Move& move);

}  // namespace tarsimo

#endif
