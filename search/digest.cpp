// The tree digest, compiled into the library that tests and tree tools link.
#include "search/digest.h"

#include "board/position.h"

#ifdef TARSIMO_TREE_DIGEST

namespace tarsimo {

namespace {

constexpr std::uint64_t FNV_START = 1469598103934665603ULL;
constexpr std::uint64_t FNV_FACTOR = 1099511628211ULL;

void take(std::uint64_t value) { tree_digest = (tree_digest ^ value) * FNV_FACTOR; }

void take(int value) { take(static_cast<std::uint64_t>(static_cast<std::int64_t>(value))); }

}  // namespace

std::uint64_t tree_digest = FNV_START;
std::function<void(const EnteredNode&)> node_observer;

void reset_tree_digest() { tree_digest = FNV_START; }

void record_node(char kind, int alpha, int beta, int depth, bool allow_null, bool node_in_check) {
    take(static_cast<int>(kind));
    take(search_ply);
    take(alpha);
    take(beta);
    take(depth);
    take(allow_null ? 1 : 0);
    take(node_in_check ? 1 : 0);
    take(hash_key);
    if (node_observer) node_observer({kind, alpha, beta, depth, allow_null, node_in_check});
}

}  // namespace tarsimo

#endif
