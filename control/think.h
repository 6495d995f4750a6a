/// The think driver: fixed opening replies, the end of the game, iterative deepening, when to
/// stop, and thinking on the opponent's time.
#ifndef TARSIMO_CONTROL_THINK_H
#define TARSIMO_CONTROL_THINK_H

#include "search/root.h"

namespace tarsimo {

/// How a dialogue takes part in a think: what it is told, and what it is asked.
struct Voice {
    /// The least depth in plies whose thinking lines it wants; those of mates come at any depth.
    int min_reported_depth;

    /// It listens although the budget is spent, so that it can always answer.
    bool hears_in_overtime;

    /// The root move at an index of the root list is about to be searched.
    void (*root_move_begun)(int index);

    /// The first move of a line has a score of at most this; may be null.
    void (*score_fell)(int depth, int score);

    /// One line of thinking output: depth in plies, score in centipawns for the side to move; the
    /// variation stands in pv_table[0].
    void (*thinking_line)(int depth, int score);

    /// Whether somebody has said something that has not been read.
    bool (*input_waiting)();

    /// Polled while the clock allows to go on: whether somebody asks to stop. May read input.
    bool (*stop_wanted)();

    /// The side to move has no legal move.
    void (*game_over)(bool in_check);

    /// The best move stands at the head of the root list: tell it, and play it if it is to be
    /// played.
    void (*move_found)();
};

/// The dialogue in progress. Set by its loop; null before the first.
extern const Voice* voice;

/// Set while the engine thinks on the opponent's time.
extern bool pondering;

/// What a think is to do beside what the settings say.
struct ThinkTask {
    RootTask root;
    bool fixed_replies = true;  ///< the fixed opening replies may answer
    bool ends_early = true;     ///< when there is no choice, or an obvious recapture
};

/// Find the best move of the side to move and hand it to the voice; without a legal move, say that
/// the game is over.
void think(const ThinkTask& task = {});

/// Search on for the opponent, until input arrives or three budgets have passed; what is found
/// stays in the tables. For a voice, after it has made its move.
void ponder_on();

/// Report the depth, the score and the variation of the root, by the voice; only a newline when
/// the search was stopped.
void print_thinking(int depth, int score);

/// With false the stop test never stops a search: for programs that search to a fixed
/// depth and have no user. True at the start.
extern bool stop_test_enabled;

}  // namespace tarsimo

#endif
