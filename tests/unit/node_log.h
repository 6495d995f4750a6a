/// The nodes that a search enters, seen from outside: how deep and with which window each move was
/// looked at says which rules applied to it.
#ifndef TARSIMO_TESTS_UNIT_NODE_LOG_H
#define TARSIMO_TESTS_UNIT_NODE_LOG_H

#include "support.h"

#include <ostream>

namespace tarsimo::test {

/// A node as it was entered.
struct Node {
    char kind;         ///< 'S' search, 'Q' quiescence, 'R' replies to a root move
    int ply;           ///< search_ply
    std::string move;  ///< that led to it, "null" for a null move, "" for none
    int depth;         ///< half-plies; of a quiescence node its `qply`
    int alpha;
    int beta;
    bool allow_null;
    bool in_check;
    int move_score;  ///< ordering score of the move that led to it
};

/// "S e2e4 4 (-1,0)", with "!" behind the depth when no null move is allowed and "+" in check.
std::string text_of(const Node& node);

/// Records nodes as long as it lives. There is one at a time.
class NodeLog {
  public:
    /// With `is_last`, the search is stopped in the first node of which that is true.
    explicit NodeLog(std::function<bool(const Node&)> is_last = {});
    ~NodeLog();
    NodeLog(const NodeLog&) = delete;
    NodeLog& operator=(const NodeLog&) = delete;

    std::vector<Node> nodes;
    int entered_after_abort = 0;  ///< nodes that a search entered although it had been stopped

    /// Nodes of a kind at a ply, in order.
    std::vector<Node> of(char kind, int ply) const;

  private:
    void take(const EnteredNode& entered);

    std::function<bool(const Node&)> is_last_;
    bool stopping_ = false;
};

}  // namespace tarsimo::test

#endif
