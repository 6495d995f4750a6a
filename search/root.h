/// The search of the root moves: one iteration at a time. When to begin another one, and what is
/// said about it, is up to whoever drives it.
///
/// The root list is the list of ply 0. The best move stands at its head from the moment it is
/// found, and before that a legal move does, so that whatever stops the search there is a move to
/// play.
#ifndef TARSIMO_SEARCH_ROOT_H
#define TARSIMO_SEARCH_ROOT_H

#include "board/move_list.h"
#include "search/search.h"

#include <array>
#include <vector>

namespace tarsimo {

constexpr int MAX_ITERATIONS = 127;  ///< plies; size of the per-depth tables
constexpr int MAX_LINES = 64;

/// What the root search is to look for.
struct RootTask {
    int lines = 1;                    ///< so many best moves, each with its own score; 1..MAX_LINES
    std::vector<MoveRef> among;       ///< only these moves, as far as they are legal; empty for all
    bool goes_on_after_mate = false;  ///< a mate that is found does not end the search
};

/// One of the best moves. It stands in the root list at the line's own index.
struct RootLine {
    int score = NO_SCORE;  ///< NO_SCORE before it has been proven
    std::array<PvEntry, PLY_SLOTS> variation{};
};

/// State of the root search. begin_root_search() resets it.
struct RootSearch {
    RootTask task;
    int iteration_depth = 0;       ///< of the running iteration in plies, from 1; set by the driver
    int legal_moves = 0;           ///< of the root position, among those of the task
    int line = 0;                  ///< index of the line that is being searched
    bool first_root_move = false;  ///< the first move of the first line is being searched
    bool best_move_stable = true;  ///< no change of the best move beyond the first iterations
    std::array<int, MAX_ITERATIONS + 1> best_move_changes{};  ///< by iteration depth
    std::array<RootLine, MAX_LINES> lines{};

    int best_score() const { return lines[0].score; }
};

extern RootSearch root;

// ---------------------------------------------------------------------------
// What is told to the surroundings; defined by whoever drives the search
// ---------------------------------------------------------------------------

/// The root move at an index of the root list is about to be searched.
void root_move_begun(int index);

/// A better move than before has been proven for root.line: it stands in the root list at that
/// index, its score and variation in root.lines.
void root_move_accepted();

/// The first move of a line has a score of at most this, less than was expected of it; its true
/// score is being looked for.
void root_move_failed_low(int score);

// ---------------------------------------------------------------------------

/// Generate the root moves, mark those that are illegal or not asked for as PICKED, and put the
/// others' first at the head.
void begin_root_search(const RootTask& task = {});

/// Put the legal root move between these squares at the head (from 0: from wherever), as the best
/// with score 0. Returns false when there is none.
bool choose_root_move(int from, int to);

/// How an iteration ended.
enum class Iteration { COMPLETE, ABORTED, MATE_FOUND };

/// Search all root moves at root.iteration_depth, once for every line.
Iteration search_root_moves();

}  // namespace tarsimo

#endif
