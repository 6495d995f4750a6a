/// What the unit tests share: a fixture with a fresh engine, pictures of the whole position,
/// set-up and look-up of moves by their names, and recounts that trust no running total.
#ifndef TARSIMO_TESTS_UNIT_SUPPORT_H
#define TARSIMO_TESTS_UNIT_SUPPORT_H

#include "board/attacks.h"
#include "board/consistency.h"
#include "board/generate.h"
#include "board/keys.h"
#include "board/make.h"
#include "board/move_list.h"
#include "board/position.h"
#include "board/see.h"
#include "control/cecp.h"
#include "control/clock.h"
#include "control/console.h"
#include "control/display.h"
#include "control/engine.h"
#include "control/fen.h"
#include "control/notation.h"
#include "control/output.h"
#include "control/suite.h"
#include "control/system.h"
#include "control/text.h"
#include "control/user_move.h"
#include "eval/drawish.h"
#include "eval/evaluate.h"
#include "eval/kpk.h"
#include "eval/pawn_endings.h"
#include "eval/score.h"
#include "eval/setup.h"
#include "eval/square_tables.h"
#include "eval/weights.h"
#include "search/digest.h"
#include "search/hash_memory.h"
#include "search/node.h"
#include "search/ordering.h"
#include "search/reductions.h"
#include "search/root.h"
#include "search/statistics.h"
#include "search/table.h"
#include "tests/unit/snapshot.h"
#include "tools/common/legal_moves.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tarsimo::test {

inline constexpr char START_FEN[] = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

/// A wide window.
constexpr int INF = INFINITE_SCORE;

/// Keys of the program's first game, noted by main() before any test runs.
struct StartUp {
    decltype(zobrist) keys;
    std::uint64_t side_key;
    std::uint64_t position_key;  ///< of the initial position
};
extern StartUp start_up;

/// A fresh engine on the console, deaf to clock and keyboard, with the keys of the program's
/// first game. The clock stands still.
class Engine : public ::testing::Test {
  protected:
    void SetUp() override;
};

/// snapshot() with material, counts, king squares and key worked out from board, side to move
/// and en-passant square alone.
Snapshot recounted();

/// Set up a position, and everything that a search reads as in a fresh program.
void set_up(const std::string& fen);

/// Generate this ply's list: the index of the first move with a name, or -1.
int index_of_move(const std::string& name);

/// Make moves of the game, named and separated by blanks; `search_ply` returns to 0.
void play(const std::string& names);

/// Play random games from the usual starts, with a fixed seed; calls visit() in each position.
/// Returns how many there were.
int visit_random_positions(int games, int plies, const std::function<void()>& visit);

/// Lines of a data file that are neither empty nor comments.
std::vector<std::string> data_lines(const std::string& file);

/// Fields of a line, which semicolons separate, without blanks around them.
std::vector<std::string> fields_of(const std::string& line);

/// The tests' own clock: what clock_ms() answers, and by how much each reading moves it on.
extern int now_ms;
extern int tick_ms;

/// Let the current think have begun so many milliseconds ago.
void start_clock_ago(int elapsed);

/// Material for the side to move less the opponent's. In a window near it no lazy exit is taken.
int balance();

/// Let evaluate() say this of the position, for the side to move, when no lazy exit is taken.
void set_evaluation(int score);

/// Let the transposition table say this of the position for any depth, for the side to move.
void set_result(int score, int bound = BOUND_EXACT);

/// Let a move of the position be the table's move, from a search too shallow for anything else.
void set_hash_move(const std::string& name);

/// Call a function in the position after a move, after "all" legal moves in turn, or after a
/// "pass".
void after(const std::string& name, const std::function<void()>& function);

/// Let the next search begin at a ply, without moves before it.
void begin_at_ply(int ply);

/// What a function prints.
std::string output_of(const std::function<void()>& function);

}  // namespace tarsimo::test

#endif
