// The root moves: aspiration, verification after an abort, and the best move at the head.
#include "search/root.h"

#include "board/attacks.h"
#include "board/generate.h"
#include "board/make.h"
#include "board/move_list.h"

#include <algorithm>
#include <iterator>

namespace tarsimo {

RootSearch root{};

namespace {

constexpr int ASPIRATION_MARGIN = 40;      // centipawns below the last score
constexpr int MAX_UNSTABLE_DEPTH = 3;      // changes at greater depth count as unstable
constexpr int MATE_IN_HAND = 31900;        // such a score ends iterations
constexpr int MATE_IN_HAND_MIN_DEPTH = 9;  // from this depth on

int root_moves() { return list_start(1); }

void bring_to_front(int index) {
    const auto head = move_stack.begin();
    std::rotate(head, std::next(head, index), std::next(head, index + 1));
}

// Depth in half-plies of the node that holds the replies.
int reply_depth() { return ONE_PLY * (root.iteration_depth - 1); }

// A root move has proven better than the best: it goes to the front with its line.
void accept_root_move(int index, int score) {
    root.best_score = score;
    if (index != 0) {
        ++root.best_move_changes[at(root.iteration_depth)];
        if (root.iteration_depth > MAX_UNSTABLE_DEPTH) root.best_move_stable = false;
    }
    bring_to_front(index);
    update_pv(0);
    root_move_accepted(score);
}

// Search the replies to a root move against the lower bound `alpha` of its own side.
RootReplies search_root_move(int index, int alpha) {
    make_move(index);
    ++nodes;
    const RootReplies replies = search_root_replies(-alpha, reply_depth());
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

}  // namespace

void begin_root_search() {
    root = {};
    root.best_score = NO_SCORE;
    root.best_move_stable = true;

    generate_moves();
    for (int i = 0; i < root_moves(); ++i) {
        make_move(i);
        const bool legal = king_left_safe();
        unmake_move();
        if (!legal) {
            move_at(i).score = PICKED;
        } else if (++root.legal_moves == 1) {
            bring_to_front(i);
        }
    }
}

bool choose_root_move(int from, int to) {
    for (int i = 0; i < root_moves(); ++i) {
        const Move& move = move_at(i);
        if (move.to != to || (from != 0 && move.from != from) || move.score == PICKED) continue;
        bring_to_front(i);
        root.best_score = 0;
        return true;
    }
    return false;
}

Iteration search_root_moves() {
    int alpha = -INFINITE_SCORE;
    if (root.iteration_depth > 1) alpha = std::max(root.best_score - ASPIRATION_MARGIN, alpha);
    root.best_move_changes[at(root.iteration_depth)] = 0;
    root.first_root_move = true;

    for (int index = 0; index < root_moves(); ++index) {
        if (move_at(index).score == PICKED) continue;
        root_move_begun(index);
        if (root.best_score >= MATE_IN_HAND && root.iteration_depth >= MATE_IN_HAND_MIN_DEPTH) {
            root_move_accepted(root.best_score);
            return Iteration::MATE_FOUND;
        }

        RootReplies replies = search_root_move(index, alpha);
        if (root.first_root_move && -replies.score <= alpha && !search_aborted) {
            // The first move fell below the bound: its true score, with the bound open.
            alpha = -INFINITE_SCORE;
            replies = search_root_move(index, alpha);
        }
        if (search_aborted) {
            const bool was_beating_best =
                !root.first_root_move && replies.best && -*replies.best > alpha;
            if (was_beating_best && !stop_requested) verify_root_move(index, alpha);
            return Iteration::ABORTED;
        }
        root.first_root_move = false;

        const int score = -replies.score;
        if (score > alpha) {
            alpha = score;
            accept_root_move(index, score);
            if (is_mate(score)) return Iteration::MATE_FOUND;
        }
    }
    return Iteration::COMPLETE;
}

}  // namespace tarsimo
