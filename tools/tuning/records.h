/// The text forms in which the tuning tools hand on positions and games.
///
/// A game is a line "FEN;e2e4/35 e7e5/-20 ...;1": the position it started from, its moves each
/// with the score that the mover's search gave it (centipawns for the mover), and the result
/// for white: 1, 0.5 or 0. A labelled position is a line "FEN;1". A field "w", "b" or "wb" follows
/// when those sides have lost the right to castle without castling, which a FEN cannot say; last
/// comes a second opinion in centipawns for white once one has been asked for: "FEN;1;w;35".
#ifndef TARSIMO_TOOLS_TUNING_RECORDS_H
#define TARSIMO_TOOLS_TUNING_RECORDS_H

#include "board/move_list.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarsimo::tuning {

/// The current position in the first four fields of Forsyth-Edwards Notation.
std::string position_fen();

/// The index of the root move with this coordinate_name() after legal_moves(), -1 when there is
/// none.
int find_root_move(const std::vector<int>& legal, std::string_view name);

/// Make a move of the root list as a move of the game; the next position is the root again.
void play_root_move(int index);

/// Scores and opinions lie within this distance of 0; a search gives none beyond.
constexpr int MAX_SCORE = 100000;

struct PlayedMove {
    std::string name;
    int score;  ///< centipawns for the side that made the move
};

struct GameRecord {
    std::string start;  ///< position_fen() of the first position
    std::vector<PlayedMove> moves;
    double result = 0.5;  ///< for white
};

std::string format_game(const GameRecord& game);

/// Nothing when the line is not a game: a position to start from, moves with scores, a result.
/// Whether the moves are legal is not looked at.
std::optional<GameRecord> parse_game(const std::string& line);

/// "1", "0.5" or "0".
std::string result_text(double result);

struct LabelledPosition {
    std::string fen;
    double result = 0.5;              ///< for white
    std::array<bool, 2> uncastled{};  ///< white, black: can castle no more and never did
    std::optional<int> opinion;       ///< second opinion, centipawns for white
};

/// The current position with a result.
LabelledPosition labelled_position(double result);

/// Set up a labelled position, with what its FEN does not say.
void set_up_position(const LabelledPosition& position);

std::string format_position(const LabelledPosition& position);

/// Nothing when the line is not a labelled position.
std::optional<LabelledPosition> parse_position(const std::string& line);

}  // namespace tarsimo::tuning

#endif
