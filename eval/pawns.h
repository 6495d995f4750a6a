/// What pawns and kings alone decide, kept in a cache of its own (pawn hash tables: Slate and Atkin
/// 1977).
#ifndef TARSIMO_EVAL_PAWNS_H
#define TARSIMO_EVAL_PAWNS_H

#include "board/square_set.h"
#include "eval/weights.h"

#include <array>
#include <cstdint>

namespace tarsimo {

/// One entry of the cache, the answer for one placement of pawns and kings; pairs of values are by
/// colour: white, black.
struct alignas(64) PawnTerms {
    using SquareSums = std::array<std::int16_t, 2>;

    std::array<SquareSet, 2> pawns;      ///< the placement; an empty entry has no kings
    std::array<std::uint8_t, 2> kings;   ///< mailbox squares
    std::array<std::uint8_t, 2> storm;   ///< pawns in front of the enemy king
    SquareSums middlegame_squares;       ///< square tables of pawns and king, centipawns
    SquareSums endgame_squares;          ///< the same by the tables of endings
    SquareSet passed;                    ///< passed pawns of both colours
    std::array<int, 2> shelter;          ///< shelter of the king, before it is scaled
    std::array<ScorePair, 2> structure;  ///< pawn structure
};

static_assert(sizeof(PawnTerms) == 64, "an entry fills one cache line");

/// Begin to load what the cache holds for the position: memory answers while the set-up goes on.
void prefetch_pawn_terms();

/// Empty the cache, for tools that change the weights.
void clear_pawn_cache();

/// The pawn terms of the position, from their cache or computed. Sets EvalSide::passed. To be
/// called after eval_setup().
const PawnTerms& pawn_terms();

}  // namespace tarsimo

#endif
