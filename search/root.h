/// The search of the root moves: one iteration at a time. When to begin another one, and what is
/// said about it, is up to whoever drives it.
///
/// The root list is the list of ply 0. The best move stands at its head from the moment it is
/// found, and before that a legal move does, so that whatever stops the search there is a move to
/// play.
#ifndef TARSIMO_SEARCH_ROOT_H
#define TARSIMO_SEARCH_ROOT_H

#include "search/search.h"

#include <array>

namespace tarsimo {

constexpr int MAX_ITERATIONS = 127;  ///< plies; size of the per-depth tables

/// State of the root search. begin_root_search() resets it.
struct RootSearch {
    int iteration_depth;    ///< of the running iteration in plies, from 1; set by the driver
    int legal_moves;        ///< of the root position
    int best_score;         ///< of the best move proven so far, NO_SCORE before the first
    bool first_root_move;   ///< the first root move of an iteration is being searched
    bool best_move_stable;  ///< no change of the best move beyond the first iterations
    std::array<int, MAX_ITERATIONS + 1> best_move_changes;  ///< by iteration depth
};

extern RootSearch root;

// ---------------------------------------------------------------------------
// What is told to the surroundings; defined by whoever drives the search
// ---------------------------------------------------------------------------

/// The root move at an index of the root list is about to be searched.
void root_move_begun(int index);

/// The move at the head of the root list has proven better than the best before, with this score;
/// its line stands in pv_table[0].
void root_move_accepted(int score);

// ---------------------------------------------------------------------------

/// Generate the root moves, mark the illegal ones as PICKED, and put a legal one at the head.
void begin_root_search();

/// Put the legal root move between these squares at the head (from 0: from wherever), as the best
/// with score 0. Returns false when there is none.
bool choose_root_move(int from, int to);

/// How an iteration ended.
enum class Iteration { COMPLETE, ABORTED, MATE_FOUND };

/// Search all root moves at root.iteration_depth.
Iteration search_root_moves();

}  // namespace tarsimo

#endif
