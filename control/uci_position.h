/// The `position` command of UCI: a game as a start position and its moves.
#ifndef TARSIMO_CONTROL_UCI_POSITION_H
#define TARSIMO_CONTROL_UCI_POSITION_H

#include "board/move_list.h"

#include <optional>
#include <string>

namespace tarsimo {

/// Set up the start of a game: the initial position with the keys of the game in progress.
void set_up_initial_game();

/// Carry out "position startpos|fen FEN [moves MOVE ...]". The game is played through again each
/// time, so that repetitions count; tables and keys stay. A text that is no position is refused
/// and the game stays; moves are made up to the first that is not legal. Both are reported with
/// "info string".
void set_up_game(const std::string& line);

/// True if the game in hand began from the initial position.
bool game_is_from_start();

/// The legal move of the position that a name in coordinates means ("e2e4", "e7e8q").
std::optional<MoveRef> legal_move(const std::string& name);

}  // namespace tarsimo

#endif
