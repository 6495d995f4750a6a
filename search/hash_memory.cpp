// Both tables lie in one mapping that begins at a large page.
#include "search/hash_memory.h"

#include "eval/evaluate.h"
#include "search/table.h"

#include <sys/mman.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>

namespace tarsimo {

namespace {

constexpr std::size_t LARGE_PAGE = std::size_t{2} << 20;

constexpr std::size_t to_whole_pages(std::size_t bytes) {
    return (bytes + LARGE_PAGE - 1) / LARGE_PAGE * LARGE_PAGE;
}

constexpr std::size_t CACHE_OFFSET = to_whole_pages(tt_size * sizeof(TTEntry));
constexpr std::size_t TABLE_BYTES =
    CACHE_OFFSET + to_whole_pages(eval_cache_size * sizeof(EvalCacheEntry));
constexpr std::size_t MAPPED_BYTES = TABLE_BYTES + LARGE_PAGE;
constexpr std::size_t PROGRAM_BYTES = std::size_t{8} << 20;  // beside the tables

// MADV_COLLAPSE of Linux 6.1, by number since C libraries are older. Other kernels refuse it.
constexpr int COLLAPSE_PAGES = 25;

constexpr std::uint64_t NO_LIMIT = std::numeric_limits<std::uint64_t>::max();

char* mapping = nullptr;           // what the system gave, up to a large page before the tables
std::size_t prefaulted_bytes = 0;  // of the tables, from their beginning

char* tables() { return reinterpret_cast<char*>(tt_table); }

// Zero pages from the system, or null. With `where`, they replace the pages there.
char* map_zero_pages(char* where, std::size_t bytes) {
    const int flags = MAP_PRIVATE | MAP_ANONYMOUS | (where != nullptr ? MAP_FIXED : 0);
    void* pages = mmap(where, bytes, PROT_READ | PROT_WRITE, flags, -1, 0);
    return pages == MAP_FAILED ? nullptr : static_cast<char*>(pages);
}

// The group of this process: the line of version 2 in a list of all hierarchies.
std::string own_group() {
    constexpr char VERSION_2[] = "0::/";
    std::ifstream groups("/proc/self/cgroup");
    std::string line;
    while (std::getline(groups, line)) {
        if (line.compare(0, sizeof VERSION_2 - 1, VERSION_2) == 0) {
            return line.substr(sizeof VERSION_2 - 1);
        }
    }
    return "";
}

std::uint64_t limit_in_file(const std::string& path) {
    std::ifstream file(path);
    std::uint64_t bytes = 0;
    return file >> bytes ? bytes : NO_LIMIT;  // no such file, or "max"
}

// Address limits show in the mapping itself. A group's limit does not: the system would give the
// addresses, and end the process when it comes to use them.
bool memory_suffices() {
    return group_memory_limit("/sys/fs/cgroup", own_group()) >= TABLE_BYTES + PROGRAM_BYTES;
}

}  // namespace

std::uint64_t group_memory_limit(const std::string& root, const std::string& group) {
    std::uint64_t limit = limit_in_file(root + "/memory.max");
    for (std::string path = group; !path.empty();) {
        limit = std::min(limit, limit_in_file(root + "/" + path + "/memory.max"));
        const auto parent_end = path.rfind('/');
        path = parent_end == std::string::npos ? "" : path.substr(0, parent_end);
    }
    return limit;
}

bool allocate_hash_tables() {
    if (mapping != nullptr) {
        clear_hash_tables();
        return true;
    }
    if (!memory_suffices()) return false;
    mapping = map_zero_pages(nullptr, MAPPED_BYTES);
    if (mapping == nullptr) return false;
    const auto address = reinterpret_cast<std::uintptr_t>(mapping);
    char* const begin = mapping + (to_whole_pages(address) - address);
    tt_table = reinterpret_cast<TTEntry*>(begin);
    eval_cache = reinterpret_cast<EvalCacheEntry*>(begin + CACHE_OFFSET);
    prefaulted_bytes = 0;
    tt_generation = 0;
    return true;
}

void free_hash_tables() {
    if (mapping != nullptr) munmap(mapping, MAPPED_BYTES);
    mapping = nullptr;
    tt_table = nullptr;
    eval_cache = nullptr;
}

void clear_hash_tables() {
    // Writing zeros takes a fifth of the time of new pages and their faults; what was not
    // prefaulted has few pages, and new ones are faster there.
    std::memset(tables(), 0, prefaulted_bytes);
    char* const rest = tables() + prefaulted_bytes;
    const std::size_t rest_bytes = TABLE_BYTES - prefaulted_bytes;
    if (rest_bytes > 0 && map_zero_pages(rest, rest_bytes) == nullptr) {
        std::memset(rest, 0, rest_bytes);
    }
    tt_generation = 0;
}

bool prefault_hash_tables() {
    // In small pages every probe of a table this size misses the address cache. Large ones are
    // advice only, and a search before this has left small pages all over the tables: they are
    // made one, which fails where none has been used.
    if (prefaulted_bytes == TABLE_BYTES) return false;
    char* const begin = tables() + prefaulted_bytes;
    prefaulted_bytes += LARGE_PAGE;
    madvise(begin, LARGE_PAGE, MADV_HUGEPAGE);
    if (madvise(begin, LARGE_PAGE, COLLAPSE_PAGES) == 0) return true;
    return madvise(begin, LARGE_PAGE, MADV_POPULATE_WRITE) == 0 || errno == EINVAL;
}

}  // namespace tarsimo
