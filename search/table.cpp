// Probe and store.
#include "search/table.h"

#include "board/move_list.h"
#include "board/position.h"

#include "search/search.h"
#include "search/statistics.h"

namespace tarsimo {

TTEntry* tt_table = nullptr;
int tt_generation = 0;

namespace {

// An upper bound from a search at most this much shallower still speaks against a null move.
constexpr int NULL_DEPTH_MARGIN = 8;

TTEntry& slot_of_position() { return tt_table[hash_key % tt_size]; }

// Mate scores are stored as distances from the stored node, not from the root.
int to_stored(int score) {
    return is_mate(score) ? score + search_ply : is_mated(score) ? score - search_ply : score;
}

int from_stored(int score) {
    return is_mate(score) ? score - search_ply : is_mated(score) ? score + search_ply : score;
}

}  // namespace

void begin_generation() { ++tt_generation; }

int tt_probe(int depth, int& score, int beta, bool& null_ok) {
    ++statistics.hash_probes;
    const TTEntry& entry = slot_of_position();
    if (entry.key != hash_key) {
        hash_move = {};
        return NO_ENTRY;
    }
    hash_move = {entry.from, entry.to, entry.move_extra};
    score = entry.score;
    if (entry.depth >= depth - NULL_DEPTH_MARGIN && score < beta && entry.bound == BOUND_UPPER) {
        null_ok = false;
    }
    if (entry.depth < depth) return NO_ENTRY;
    ++statistics.hash_hits;
    score = from_stored(score);
    return entry.bound;
}

void tt_store(int bound, int depth, int score, int from, int to) {
    TTEntry& entry = slot_of_position();
    if (entry.generation == tt_generation && entry.depth > depth) return;
    entry = {hash_key, bound, depth, to_stored(score), tt_generation, from, to, 0};
}

void read_hash_move() {
    const TTEntry& entry = slot_of_position();
    if (entry.key == hash_key) hash_move = {entry.from, entry.to, entry.move_extra};
    else hash_move = {};
}

}  // namespace tarsimo
