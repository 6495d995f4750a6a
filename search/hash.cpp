// The transposition table: one slot an index, chosen by the key modulo the size, no second
// probe. Within a generation a slot keeps its deepest result; older results always yield.
// This file also allocates and clears the evaluation cache.
#include "search/search.h"

#include "eval/eval.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tarsimo {

TTEntry* tt_table = nullptr;
int tt_generation = 0;

namespace {

constexpr std::size_t LARGE_PAGE = std::size_t{2} << 20;

constexpr std::size_t to_whole_pages(std::size_t bytes) {
    return (bytes + LARGE_PAGE - 1) / LARGE_PAGE * LARGE_PAGE;
}

// Both tables lie in one piece of memory that begins at a large page.
constexpr std::size_t CACHE_OFFSET = to_whole_pages(tt_size * sizeof(TTEntry));
constexpr std::size_t TABLE_BYTES =
    CACHE_OFFSET + to_whole_pages(eval_cache_size * sizeof(EvalCacheEntry));
constexpr std::size_t MAPPED_BYTES = TABLE_BYTES + LARGE_PAGE;

// Bytes that the system is asked to provide in one go: a millisecond's worth of zeroing.
constexpr std::size_t BYTES_AT_ONCE = 2 * LARGE_PAGE;

// An upper bound from a search at most this much shallower still speaks against a null move.
constexpr int NULL_DEPTH_MARGIN = 8;

void* mapping = nullptr;         // what the system gave, up to a large page before the tables
std::size_t bytes_provided = 0;  // of the tables from their beginning, by provide_memory()

// Zero pages from the system, or null. With `where`, they replace the pages there: the fastest
// way to clear tables that have been used little.
void* map_zero_pages(void* where) {
    const int flags = MAP_PRIVATE | MAP_ANONYMOUS | (where != nullptr ? MAP_FIXED : 0);
    void* pages = mmap(where, MAPPED_BYTES, PROT_READ | PROT_WRITE, flags, -1, 0);
    return pages == MAP_FAILED ? nullptr : pages;
}

char* first_byte() { return reinterpret_cast<char*>(tt_table); }

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
    if (mapping != nullptr) {
        clear_hash_tables();
        return;
    }
    mapping = map_zero_pages(nullptr);
    if (mapping == nullptr) fail_without_memory();
    const auto address = reinterpret_cast<std::uintptr_t>(mapping);
    char* const begin = static_cast<char*>(mapping) + (to_whole_pages(address) - address);
    tt_table = reinterpret_cast<TTEntry*>(begin);
    eval_cache = reinterpret_cast<EvalCacheEntry*>(begin + CACHE_OFFSET);
    bytes_provided = 0;
    tt_generation = 0;
}

void free_hash_tables() {
    if (mapping != nullptr) munmap(mapping, MAPPED_BYTES);
    mapping = nullptr;
    tt_table = nullptr;
    eval_cache = nullptr;
}

// Writing zeros takes a fifth of the time of new pages and their faults.
void clear_hash_tables() {
    if (bytes_provided == TABLE_BYTES) {
        std::memset(first_byte(), 0, TABLE_BYTES);
    } else {
        if (map_zero_pages(mapping) == nullptr) fail_without_memory();
        bytes_provided = 0;
    }
    tt_generation = 0;
}

void begin_generation() { ++tt_generation; }

// In small pages every probe of a table this size misses the address cache. Large ones are advice
// only, and pages left to the search stay small: a fault then costs little.
bool provide_memory() {
    if (bytes_provided == TABLE_BYTES) return false;
    char* const begin = first_byte() + bytes_provided;
    const std::size_t bytes = std::min(BYTES_AT_ONCE, TABLE_BYTES - bytes_provided);
    bytes_provided += bytes;
    madvise(begin, bytes, MADV_HUGEPAGE);
    return madvise(begin, bytes, MADV_POPULATE_WRITE) == 0 || errno == EINVAL;
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
