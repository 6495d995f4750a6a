// The transposition table: one slot an index, chosen by the key modulo the size, no second
// probe. Within a generation a slot keeps its deepest result; older results always yield.
// This file also allocates and clears the evaluation cache.
#include "search/search.h"

#include "eval/eval.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tarsimo {

TTEntry* tt_table = nullptr;
int tt_generation = 0;

namespace {

constexpr std::size_t TT_BYTES = tt_size * sizeof(TTEntry);
constexpr std::size_t CACHE_BYTES = eval_cache_size * sizeof(EvalCacheEntry);

// An upper bound from a search at most this much shallower still speaks against a null move.
constexpr int NULL_DEPTH_MARGIN = 8;

// Bytes that the system is asked to provide in one go: a millisecond's worth of zeroing.
constexpr std::size_t PAGES_AT_ONCE = std::size_t{4} << 20;

bool pages_in_use = false;    // a search has had the tables since they were allocated
std::size_t pages_ready = 0;  // bytes provided in advance, of the transposition table first

// Zero pages from the system, or null. With `where`, they replace the pages there: the fastest
// way to clear a table that has been used little.
void* map_zero_pages(std::size_t bytes, void* where = nullptr) {
    const int flags = MAP_PRIVATE | MAP_ANONYMOUS | (where != nullptr ? MAP_FIXED : 0);
    void* pages = mmap(where, bytes, PROT_READ | PROT_WRITE, flags, -1, 0);
    return pages == MAP_FAILED ? nullptr : pages;
}

[[noreturn]] void fail_without_memory() {
    std::puts("ERROR: Couldn't allocate memory for hash table.");
    std::fflush(stdout);
    std::exit(EXIT_FAILURE);
}

TTEntry& slot_of_position() { return tt_table[hash_key % tt_size]; }

// Mate scores are stored as distances from the stored node, not from the root.
int to_stored(int score) {
    if (score > MATE_THRESHOLD) return score + search_ply;
    if (score < -MATE_THRESHOLD) return score - search_ply;
    return score;
}

int from_stored(int score) {
    if (score > MATE_THRESHOLD) return score - search_ply;
    if (score < -MATE_THRESHOLD) return score + search_ply;
    return score;
}

}  // namespace

void allocate_hash_tables() {
    free_hash_tables();
    tt_table = static_cast<TTEntry*>(map_zero_pages(TT_BYTES));
    if (tt_table == nullptr) fail_without_memory();
    eval_cache = static_cast<EvalCacheEntry*>(map_zero_pages(CACHE_BYTES));
    if (eval_cache == nullptr) fail_without_memory();
    pages_in_use = false;
    pages_ready = 0;
    tt_generation = 0;
}

void free_hash_tables() {
    if (tt_table != nullptr) munmap(tt_table, TT_BYTES);
    tt_table = nullptr;
    if (eval_cache != nullptr) munmap(eval_cache, CACHE_BYTES);
    eval_cache = nullptr;
}

// After a search, which touches nearly every page, writing zeros takes a fifth of the time of new
// pages and their faults.
void clear_hash_tables() {
    if (pages_in_use) {
        std::memset(static_cast<void*>(tt_table), 0, TT_BYTES);
        std::memset(static_cast<void*>(eval_cache), 0, CACHE_BYTES);
    } else if (map_zero_pages(TT_BYTES, tt_table) == nullptr ||
               map_zero_pages(CACHE_BYTES, eval_cache) == nullptr) {
        fail_without_memory();
    }
    tt_generation = 0;
}

// In small pages every probe of a table this size misses the address cache, and each first touch
// of one costs a fault. Large ones are advice only.
void begin_generation() {
    ++tt_generation;
    if (pages_in_use) return;
    madvise(tt_table, TT_BYTES, MADV_HUGEPAGE);
    madvise(eval_cache, CACHE_BYTES, MADV_HUGEPAGE);
    pages_in_use = true;
}

bool provide_pages() {
    const bool in_table = pages_ready < TT_BYTES;
    const std::size_t offset = in_table ? pages_ready : pages_ready - TT_BYTES;
    const std::size_t left = (in_table ? TT_BYTES : CACHE_BYTES) - offset;
    if (left == 0) return false;

    char* const table =
        in_table ? reinterpret_cast<char*>(tt_table) : reinterpret_cast<char*>(eval_cache);
    const std::size_t part = std::min(left, PAGES_AT_ONCE);
    pages_ready += part;
    return madvise(table + offset, part, MADV_POPULATE_WRITE) == 0;
}

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
