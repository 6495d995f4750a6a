/// What pawns and kings alone decide, kept in a cache of its own (pawn hash tables: Slate and Atkin
/// 1977).
#ifndef TARSIMO_EVAL_PAWNS_H
#define TARSIMO_EVAL_PAWNS_H

#include "board/square_set.h"
#include "eval/weights.h"

#include <array>
#include <cstdint>

namespace tarsimo {

/// One entry of the cache; pairs of values are by colour: white, black.
struct alignas(64) PawnTerms {
    std::uint64_t key;                   ///< pawn_key; 0 in an empty entry
    std::array<SquareSet, 2> passed;     ///< passed pawns
    std::array<ScorePair, 2> structure;  ///< pawn structure
    std::array<int, 2> shelter;          ///< shelter of the king, before it is scaled
    std::array<std::uint8_t, 2> storm;   ///< pawns in front of the enemy king
};

/// Begin to load what the cache holds for pawn_key: memory answers while the set-up goes on.
void prefetch_pawn_terms();

/// Empty the cache, for tools that change the weights.
void clear_pawn_cache();

/// The pawn terms of the position, from their cache or computed. Sets EvalSide::passed. To be
/// called after eval_setup().
const PawnTerms& pawn_terms();

}  // namespace tarsimo

#endif
