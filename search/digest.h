/// A digest of the nodes that a search enters, in the library that tests and tree tools link;
/// nothing in the engine itself.
#ifndef TARSIMO_SEARCH_DIGEST_H
#define TARSIMO_SEARCH_DIGEST_H

#include <cstdint>

#ifdef TARSIMO_TREE_DIGEST
#include <functional>
#endif

namespace tarsimo {

#ifdef TARSIMO_TREE_DIGEST

/// FNV-1a over every node entered since the last reset_tree_digest(): two trees with equal
/// digests visited the same nodes in the same order with the same windows.
extern std::uint64_t tree_digest;

void reset_tree_digest();

/// A node as it is entered. Its ply, its key and the move that led to it stand in the position.
struct EnteredNode {
    char kind;  ///< 'S' search, 'Q' quiescence, 'R' replies to a root move
    int alpha;
    int beta;
    int depth;  ///< half-plies; of a quiescence node its `qply`
    bool allow_null;
    bool in_check;  ///< as the caller says; replies and quiescence are not told
};

/// Called with every node before it does anything; empty unless a test has set it.
extern std::function<void(const EnteredNode&)> node_observer;

/// Take a node into the digest and show it to the observer.
void record_node(char kind, int alpha, int beta, int depth, bool allow_null, bool node_in_check);

#else

inline void record_node(char, int, int, int, bool, bool) {}

#endif

}  // namespace tarsimo

#endif
