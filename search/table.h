/// The transposition table: one slot per index, chosen by the key modulo the size, no second
/// probe. Within a generation a slot keeps its deepest result; older results always yield.
#ifndef TARSIMO_SEARCH_TABLE_H
#define TARSIMO_SEARCH_TABLE_H

#include "board/config.h"

#include <cstdint>

namespace tarsimo {

/// Bound types of a stored score, and the probe's answer when there is none to use.
constexpr int BOUND_EXACT = 1;
constexpr int BOUND_UPPER = 2;  ///< the search failed low
constexpr int BOUND_LOWER = 3;  ///< it failed high
constexpr int NO_ENTRY = 4;

/// One stored result (a hash table of positions: Greenblatt, Eastlake and Crocker 1967); key 0
/// marks an empty slot.
struct TTEntry {
    std::uint64_t key;
    int bound;
    int depth;       ///< half-plies of the search that stored it
    int score;       ///< mate scores count from the stored node
    int generation;  ///< tt_generation when stored
    int from;        ///< best move, 0 when none
    int to;
    std::int16_t move_extra;  ///< always 0
};

constexpr std::uint64_t tt_size = SHORT_SESSIONS ? 1021 : 6710886;  ///< entries; 268435440 bytes
static_assert(sizeof(TTEntry) == 40);

/// The entries. Null until allocate_hash_tables().
extern TTEntry* tt_table;

/// Raised by begin_generation(), 0 after a clear.
extern int tt_generation;

/// Raise tt_generation, to be called before the search of every move.
void begin_generation();

/// Look up the position. Sets hash_move, none when the position is not stored.
///   depth      half-plies asked for; an entry of at least this depth can be used
///   score      receives the stored score of the position, when it is stored
///   null_ok    cleared when a stored upper bound says that a null move would fail
/// Returns the bound type of a usable entry, else NO_ENTRY.
int tt_probe(int depth, int& score, int beta, bool& null_ok);

/// Store a result, unless the slot holds a deeper one of this generation.
void tt_store(int bound, int depth, int score, int from, int to);

/// Set hash_move from the slot of the position, without the counters of a probe.
void read_hash_move();

}  // namespace tarsimo

#endif
