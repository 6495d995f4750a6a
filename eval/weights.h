/// The tunable weights of the evaluation, and the record of how often each was counted.
///
/// eval/weights.inc is the one list: the evaluation, its trace and the tuner are all generated
/// from it. A weight has a middlegame and an endgame value in centipawns; the two are mixed
/// by the piece material on the board.
#ifndef TARSIMO_EVAL_WEIGHTS_H
#define TARSIMO_EVAL_WEIGHTS_H

#include "board/position.h"

#include <array>
#include <cstdint>

namespace tarsimo {

/// A middlegame and an endgame value in one integer, so that one addition serves both. Each
/// half may range over 32 bits; sums and whole multiples of pairs are pairs.
using ScorePair = std::int64_t;

constexpr ScorePair score_pair(int middlegame, int endgame) {
    return middlegame + endgame * (ScorePair{1} << 32);
}

constexpr int middlegame_part(ScorePair pair) { return static_cast<std::int32_t>(pair); }

/// Adding half of the lower range undoes the borrow of a negative middlegame value.
constexpr int endgame_part(ScorePair pair) {
    return static_cast<std::int32_t>((pair + (ScorePair{1} << 31)) >> 32);
}

/// How the count of a weight becomes centipawns.
enum class WeightKind : std::uint8_t {
    TAPERED,  ///< mixed by the piece material of both sides
    SHELTER,  ///< middlegame value alone, times the opponent's piece material over 3330
};

namespace detail {

template <typename... Pairs> constexpr int count_of(Pairs...) { return sizeof...(Pairs); }

}  // namespace detail

/// Index of the first weight of each group; a group of n weights takes n indexes.
// clang-format off
enum WeightIndex : int {
#define S(middlegame, endgame) 0
#define WEIGHTS(name, kind, index, ...) name, name##_LAST = name + detail::count_of(__VA_ARGS__) - 1,
#include "eval/weights.inc"
#undef WEIGHTS
#undef S
    WEIGHT_COUNT
};
// clang-format on

/// The same list counted by groups.
constexpr int WEIGHT_GROUP_COUNT = 0
#define WEIGHTS(name, kind, index, ...) +1
#include "eval/weights.inc"
#undef WEIGHTS
    ;

/// All weights of the list by index.
// clang-format off
inline constexpr std::array<ScorePair, WEIGHT_COUNT> listed_weights = {
#define S(middlegame, endgame) score_pair(middlegame, endgame)
#define WEIGHTS(name, kind, index, ...) __VA_ARGS__,
#include "eval/weights.inc"
#undef WEIGHTS
#undef S
};
// clang-format on

/// One line of the list.
struct WeightGroup {
    const char* name;
    WeightKind kind;
    const char* index;  ///< what the position within the group stands for; empty for one weight
    int first;
    int size;
};

/// Groups in the order of the list.
extern const std::array<WeightGroup, WEIGHT_GROUP_COUNT> weight_groups;

// ---------------------------------------------------------------------------
// Trace, and other weights: only in the library that the tuning tools and the tests link
// ---------------------------------------------------------------------------

#ifdef TARSIMO_EVAL_TRACE
constexpr bool EVAL_TRACED = true;
/// The weights that count. Whoever changes them sees to the caches.
inline std::array<ScorePair, WEIGHT_COUNT> weights = listed_weights;
/// While true no cache answers. Set and reset by evaluate_traced() alone.
extern bool caches_bypassed;
#else
constexpr bool EVAL_TRACED = false;
inline constexpr const auto& weights = listed_weights;
constexpr bool caches_bypassed = false;
#endif

/// A value of each colour: white, black.
using ColourPair = std::array<int, 2>;

/// How one full evaluation came about. In centipawns for white,
///   lead  = the sum over the parts and weights, white's less black's
///   score = (lead * scale / 64 + tempo for the side to move) / divisor * damping / 20
/// but for roundings of a centipawn or two.
struct EvalTrace {
    bool linear;  ///< false when a draw rule, the lazy exit or a special ending answered
    std::array<std::array<int, WEIGHT_COUNT>, 2> counts;  ///< times each weight was counted
    ColourPair material;
    ColourPair opening;           ///< opening terms
    ColourPair squares;           ///< square tables
    ColourPair king_attack;       ///< king attack table
    ColourPair trade_down;        ///< penalty for pieces left when ahead
    ColourPair pawn_ending;       ///< terms of pure pawn endings
    ColourPair shelter_material;  ///< SHELTER weights count times this over 3330
    int mix;    ///< TAPERED weights: middlegame times this, endgame times 6660 less this, over 6660
    int scale;  ///< of the lead in 64ths, for drawish material
    int tempo;  ///< for the side to move
    int divisor;  ///< 4 in drawish endings without pawns, else 1
    int damping;  ///< 20 at full value; less when the fifty-move rule comes near
};

/// Of the last evaluate(); what a cache answered is not in it.
extern EvalTrace eval_trace;

/// evaluate() without bounds and without the caches, so that eval_trace explains the whole score.
int evaluate_traced();

/// Set one field of the trace, where there is one.
template <typename Field> inline void record(Field EvalTrace::*field, const Field& value) {
    if constexpr (EVAL_TRACED) eval_trace.*field = value;
}

/// `count` times a weight for the colour Us. Goes into the trace where there is one.
template <int Us> inline ScorePair weigh(int index, int count = 1) {
    if constexpr (EVAL_TRACED) eval_trace.counts[Us == WHITE ? 0 : 1][idx(index)] += count;
    return weights[idx(index)] * count;
}

}  // namespace tarsimo

#endif
