// The nodes that a search enters.
#include "node_log.h"

namespace tarsimo::test {

namespace {

// The move that led to the position, as far as the records of the game tell.
std::string last_move() {
    if (game_ply == 0) return "";
    const HistoryEntry& record = history_entry(game_ply - 1);
    return record.from == 0 ? "null" : square_name(record.from) + square_name(record.to);
}

}  // namespace

std::string text_of(const Node& node) {
    return std::string(1, node.kind) + " " + node.move + " " + std::to_string(node.depth) +
           (node.allow_null ? "" : "!") + (node.in_check ? "+" : "") + " (" +
           std::to_string(node.alpha) + "," + std::to_string(node.beta) + ")";
}

NodeLog::NodeLog(std::function<bool(const Node&)> is_last) : is_last_(std::move(is_last)) {
    node_observer = [this](const EnteredNode& entered) { take(entered); };
}

NodeLog::~NodeLog() {
    node_observer = nullptr;
    if (!stopping_) return;
    stop_test_enabled = search_aborted = false;
}

void NodeLog::take(const EnteredNode& entered) {
    if (search_aborted) ++entered_after_abort;
    if (!stopping_) {
        nodes.push_back({entered.kind, search_ply, last_move(), entered.depth, entered.alpha,
                         entered.beta, entered.allow_null, entered.in_check, current_move_score});
        stopping_ = is_last_ && is_last_(nodes.back());
    }
    if (stopping_) {
        // The stop test comes at once, and finds no time left.
        stop_test_enabled = true;
        time_budget_ms = 0;
        tarsimo::nodes = entered.kind == 'Q' ? STOP_TEST_INTERVAL - 1 : 0;
    }
}

std::vector<Node> NodeLog::of(char kind, int ply) const {
    std::vector<Node> found;
    for (const Node& node : nodes) {
        if (node.kind == kind && node.ply == ply) found.push_back(node);
    }
    return found;
}

}  // namespace tarsimo::test
