// The root moves: aspiration, verification after an abort, and the best moves at the head.
#include "search/root.h"

#include "board/attacks.h"
#include "board/generate.h"
#include "board/make.h"

#include <algorithm>
#include <iterator>

namespace tarsimo {

RootSearch root{};

namespace {

constexpr int ASPIRATION_MARGIN = 40;      // centipawns below the last score
constexpr int ZERO_WINDOW_MIN_DEPTH = 2;   // before it a second search costs as much as the first
constexpr int MAX_UNSTABLE_DEPTH = 3;      // changes at greater depth count as unstable
constexpr int MATE_IN_HAND = 31900;        // such a score ends iterations
constexpr int MATE_IN_HAND_MIN_DEPTH = 9;  // from this depth on

int root_moves() { return list_start(1); }

// Put the root move at `index` in front of those from `first` on.
void bring_forward(int index, int first) {
    const auto head = std::next(move_stack.begin(), first);
    const auto move = std::next(move_stack.begin(), index);
    std::rotate(head, move, std::next(move));
}

bool is_asked_for(const Move& move) {
    const auto& among = root.task.among;
    return among.empty() || std::any_of(among.begin(), among.end(), [&](const MoveRef& asked) {
               return asked.same_move(move);
           });
}

// An en-passant capture stands in the list once for every own pawn; as lines of their own they must
// not be shown twice.
bool stands_before(int index) {
    const auto begin = move_stack.begin();
    const Move& move = move_at(index);
    return move.ep_capture != 0 && std::any_of(begin, std::next(begin, index), [&](const Move& m) {
               return m.from == move.from && m.to == move.to;
           });
}

bool is_to_be_searched(int index) {
    if (root.task.lines > 1 && stands_before(index)) return false;
    make_move(index);
    const bool legal = king_left_safe();
    unmake_move();
    return legal && is_asked_for(move_at(index));
}

// Mark what is not to be searched, and count the rest.
void sort_out_moves() {
    root.legal_moves = 0;
    for (int i = 0; i < root_moves(); ++i) {
        if (!is_to_be_searched(i)) {
            move_at(i).score = PICKED;
        } else if (++root.legal_moves == 1) {
            bring_forward(i, 0);
        }
    }
}

// Depth in half-plies of the node that holds the replies.
int reply_depth() { return ONE_PLY * (root.iteration_depth - 1); }

// A root move has proven better than the best of its line: it takes that line's place.
void accept_root_move(int index, int score) {
    RootLine& line = root.lines[idx(root.line)];
    line.score = score;
    if (index != root.line && root.line == 0) {
        ++root.best_move_changes[idx(root.iteration_depth)];
        if (root.iteration_depth > MAX_UNSTABLE_DEPTH) root.best_move_stable = false;
    }
    bring_forward(index, root.line);
    update_pv(root.line);
    line.variation = pv_table[0];
    root_move_accepted();
}

// Search the replies to a root move between the bounds of its own side.
RootReplies search_root_move(int index, int alpha, int beta) {
    make_move(index);
    ++nodes;
    const RootReplies replies = search_root_replies(-beta, -alpha, reply_depth());
    unmake_move();
    return replies;
}

// The search was cut short while this move was beating the best: ask the reply search for a
// verdict within the clock's rules.
void verify_root_move(int index, int alpha) {
    search_aborted = false;
    make_move(index);
    ++nodes;
    const int score = -search_replies(-alpha, reply_depth());
    unmake_move();
    if (!search_aborted && score > alpha) accept_root_move(index, score);
}

// The search was cut short while it asked how much better than the best this move is: that it is
// better is known. Of its variation only the move is.
void accept_proven_move(int index, int score) {
    search_aborted = false;
    make_move(index);
    clear_pv_line();
    unmake_move();
    accept_root_move(index, score);
}

bool mate_ends_search(int score) { return is_mate(score) && !root.task.goes_on_after_mate; }

// A mate from an earlier iteration.
bool mate_in_hand() {
    return root.best_score() >= MATE_IN_HAND && !root.task.goes_on_after_mate &&
           root.iteration_depth >= MATE_IN_HAND_MIN_DEPTH;
}

// Search the moves that are left to root.line.
Iteration search_line() {
    const int last_score = root.lines[idx(root.line)].score;
    int alpha = -INFINITE_SCORE;
    if (last_score != NO_SCORE) alpha = std::max(last_score - ASPIRATION_MARGIN, alpha);
    bool first = true;

    for (int index = root.line; index < root_moves(); ++index) {
        if (move_at(index).score == PICKED) continue;
        root_move_begun(index);
        if (mate_in_hand()) {
            root_move_accepted();
            return Iteration::MATE_FOUND;
        }

        root.first_root_move = first && root.line == 0;
        const bool asks_first = !first && root.iteration_depth >= ZERO_WINDOW_MIN_DEPTH;
        RootReplies replies =
            search_root_move(index, alpha, asks_first ? alpha + 1 : INFINITE_SCORE);
        int proven = NO_SCORE;
        if (first && -replies.score <= alpha && !search_aborted) {
            // The first move fell below the bound: its true score, with the bound open.
            root_move_failed_low(-replies.score);
            alpha = -INFINITE_SCORE;
            replies = search_root_move(index, alpha, INFINITE_SCORE);
        } else if (asks_first && -replies.score > alpha && !search_aborted) {
            // A later move is first asked only whether it is better, and then how much.
            proven = -replies.score;
            replies = search_root_move(index, alpha, INFINITE_SCORE);
        }
        if (search_aborted) {
            const bool was_beating_best = !first && replies.best && -*replies.best > alpha;
            if (proven != NO_SCORE) accept_proven_move(index, proven);
            else if (was_beating_best && !stop_requested) verify_root_move(index, alpha);
            return Iteration::ABORTED;
        }
        first = false;

        const int score = -replies.score;
        if (score > alpha) {
            alpha = score;
            accept_root_move(index, score);
            if (mate_ends_search(score)) return Iteration::MATE_FOUND;
        }
    }
    return Iteration::COMPLETE;
}

// A later line can turn out better than one before it.
void sort_lines() {
    for (int i = 1; i < root_lines(); ++i) {
        for (int j = i; j > 0 && root.lines[idx(j)].score > root.lines[idx(j - 1)].score; --j) {
            std::swap(root.lines[idx(j)], root.lines[idx(j - 1)]);
            std::swap(move_at(j), move_at(j - 1));
        }
    }
}

}  // namespace

void begin_root_search(const RootTask& task) {
    root = {};
    root.task = task;
    generate_moves();
    sort_out_moves();
}

bool choose_root_move(int from, int to) {
    for (int i = 0; i < root_moves(); ++i) {
        const Move& move = move_at(i);
        if (move.to != to || (from != 0 && move.from != from) || move.score == PICKED) continue;
        bring_forward(i, 0);
        root.lines[0].score = 0;
        return true;
    }
    return false;
}

int root_lines() { return std::min(root.task.lines, root.legal_moves); }

Iteration search_root_moves() {
    root.best_move_changes[idx(root.iteration_depth)] = 0;
    for (root.line = 0; root.line < root_lines(); ++root.line) {
        const Iteration end = search_line();
        if (end != Iteration::COMPLETE) return end;
    }
    sort_lines();
    return Iteration::COMPLETE;
}

}  // namespace tarsimo
