/// The memory of the two hash tables: the transposition table and the evaluation cache.
///
/// Addresses are reserved at the start, and the system provides memory where the tables are
/// written first. That costs a fault for every page, so it is done ahead: while nobody waits for
/// a move, else at the start of a longer search.
#ifndef TARSIMO_SEARCH_HASH_MEMORY_H
#define TARSIMO_SEARCH_HASH_MEMORY_H

#include <cstdint>
#include <string>

namespace tarsimo {

/// Reserve both tables, empty, or clear those held. Returns false when there is not enough
/// memory, by the system's answer or by the limits set for this process.
bool allocate_hash_tables();

/// Release both tables; without effect when there are none.
void free_hash_tables();

/// Fill both tables with zero bytes and set tt_generation to 0.
void clear_hash_tables();

/// Have the system provide the next 2 MB of the tables, in a large page if it can: some
/// milliseconds. Returns false when all is there, or no memory is to be had.
bool prefault_hash_tables();

/// Bytes that a group of processes may use, its parents' limits included, as Linux tells in the
/// files memory.max of a version 2 control group; the largest number when there is no limit.
///   root    folder where the groups are mounted
///   group   path of the group below it, as in /proc/self/cgroup
std::uint64_t group_memory_limit(const std::string& root, const std::string& group);

}  // namespace tarsimo

#endif
