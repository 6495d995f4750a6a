/// A digest of the nodes that a search enters, in the library that tests and tree tools link;
/// nothing in the engine itself.
#ifndef TARSIMO_SEARCH_DIGEST_H
#define TARSIMO_SEARCH_DIGEST_H

#include <cstdint>

namespace tarsimo {

#ifdef TARSIMO_TREE_DIGEST

/// FNV-1a over every node entered since the last reset_tree_digest(): two trees with equal
/// digests visited the same nodes in the same order with the same windows.
extern std::uint64_t tree_digest;

void reset_tree_digest();

/// Take a node into the digest. `kind` is 'S', 'Q' or 'R'.
void record_node(char kind, int alpha, int beta, int depth, bool allow_null, bool node_in_check);

#else

inline void record_node(char, int, int, int, bool, bool) {}

#endif

}  // namespace tarsimo

#endif
