/// The evaluation: one integer score for the current position, in centipawns from the side to
/// move's point of view, by a chain of exits, cheapest first.
///
/// Integers only: centipawns in 32 bits, pairs of a middlegame and an endgame value in one number
/// of 64, squares as bits of a set. The terms read the position and what the set-up gathers; only
/// the frame touches the cache and the counters.
#ifndef TARSIMO_EVAL_EVALUATE_H
#define TARSIMO_EVAL_EVALUATE_H

#include "board/config.h"

#include <cstdint>

namespace tarsimo {

/// Score of the position in centipawns for the side to move. `alpha` and `beta` are the
/// caller's bounds and decide the lazy exit alone: far outside them the material balance
/// is returned as it is. Every position yields a score.
int evaluate(int alpha, int beta);

// How often each exit was taken; cleared by clear_statistics() before the search of every move.
extern std::uint64_t eval_lazy_count;  ///< material alone
extern std::uint64_t eval_hash_count;  ///< answered by the cache
extern std::uint64_t eval_full_count;  ///< computed in full

/// A stored evaluation.
struct EvalCacheEntry {
    std::uint64_t key;  ///< hash_key of the position
    int score;          ///< for `side`; NO_SCORE counts as empty
    int side;           ///< side to move when stored; 0 in a cleared entry, which matches none
};

constexpr std::uint64_t eval_cache_size = SHORT_SESSIONS ? 256 : 1048576;  ///< entries
static_assert(sizeof(EvalCacheEntry) == 16);

/// The cache: eval_cache_size entries, allocated and cleared with the transposition table.
/// Null until the engine is initialised; evaluate() may be called only then.
extern EvalCacheEntry* eval_cache;

}  // namespace tarsimo

#endif
