/// The searches: alpha-beta with its pruning rules, quiescence, and the replies to a root move.
///
/// Depth is counted in half-plies: one ply is 2. Nothing here allocates while searching.
#ifndef TARSIMO_SEARCH_SEARCH_H
#define TARSIMO_SEARCH_SEARCH_H

#include "board/config.h"
#include "eval/score.h"

#include <cstdint>
#include <optional>

namespace tarsimo {

constexpr int ONE_PLY = 2;  ///< half-plies of one ply

/// Nodes between two stop tests; a power of two.
constexpr std::uint64_t STOP_TEST_INTERVAL = SHORT_SESSIONS ? 64 : 8192;

// ---------------------------------------------------------------------------
// What a search needs from its surroundings
// ---------------------------------------------------------------------------

/// The stop test: true when the search must end, by the clock or by input; then it also sets
/// stop_requested where somebody has asked for it. Defined by whoever drives the search.
bool input_pending();

// ---------------------------------------------------------------------------
// State of all searches. The driver resets it before each.
// ---------------------------------------------------------------------------

/// Legal moves made and quiescence nodes entered.
extern std::uint64_t nodes;

/// Stop tests come where no bit of `nodes` is set that is set here: STOP_TEST_INTERVAL - 1, or less
/// for a search of few nodes. Not reset by any search.
extern std::uint64_t stop_test_mask;

/// Greatest ply below the root that a search has entered.
extern int deepest_ply;

/// Set when the stop test said stop; every node then returns 0 at once and its caller
/// discards that.
extern bool search_aborted;

/// Set by the stop test when it answered to a person or an interface, not to the clock.
extern bool stop_requested;

// ---------------------------------------------------------------------------
// Searches
// ---------------------------------------------------------------------------

/// Whether a node may pass: not in null-move, verification, deepening and ProbCut searches.
enum class NullMove : bool { NO, YES };

/// Principal-variation alpha-beta search of the current position (Marsland and Campbell 1982).
///   alpha, beta     bounds, alpha < beta; a wider window than 1 makes a PV node
///   depth           half-plies; below 2 the quiescence search answers
///   allow_null      whether a null move may be tried here
///   node_in_check   whether the side to move is in check
/// Returns the score, or 0 with search_aborted set.
int search(int alpha, int beta, int depth, NullMove allow_null, bool node_in_check);

/// Captures and queen promotions until the position is quiet (Harris 1975). `qply` is 0 when called
/// by search and falls by one per ply; repetitions are looked for at 0 only. No check evasions.
/// Returns the score, or 0 with search_aborted set.
int quiesce(int alpha, int beta, int qply);

/// All replies to the root move just made, as one node with open lower bound.
///   beta    upper bound for the replying side
///   depth   half-plies
/// Returns the best score, the cutting score, or beta with search_aborted set.
int search_replies(int beta, int depth);

/// What a search of the replies to a root move has found, for the side that replies.
struct RootReplies {
    int score;                ///< as search_replies() returns it
    std::optional<int> best;  ///< best score of the replies searched to their end, if there is one:
                              ///< what holds after an abort
};

/// As search_replies(), with a lower bound of its own and the reductions of the root: captures,
/// promotions and replies to a check are not reduced.
RootReplies search_root_replies(int alpha, int beta, int depth);

/// Bring searches, ordering and lists to the state of a fresh program: both tables, killers,
/// history, principal variation, evaluation stack, score slots, counters and `nodes`.
void reset_search();

}  // namespace tarsimo

#endif
