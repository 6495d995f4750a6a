// The replies to a root move as one node of simple rules: no draw or mate-distance test, no
// static evaluation, no pruning; check extensions, late-move reductions and
// principal-variation re-searches only.
#include "board/attacks.h"
#include "board/generate.h"
#include "board/make.h"
#include "board/move_list.h"
#include "board/position.h"
#include "search/digest.h"
#include "search/node.h"
#include "search/ordering.h"
#include "search/reductions.h"
#include "search/search.h"
#include "search/statistics.h"
#include "search/table.h"

namespace tarsimo {

namespace {

constexpr int LMR_MIN_REPLY = 4;  // number of the first reply that may be reduced

// Which replies are reduced: by the rule of the reply search, or by that of the root loop.
enum class Reduction { REPLIES, ROOT };

// The reply has been made, so `side` is the root side's colour.
template <Reduction Rule> bool is_reduced(const Move& move, int type, int n, bool gives_check) {
    if (n < LMR_MIN_REPLY || move.promotion != 0) return false;
    if constexpr (Rule == Reduction::REPLIES) {
        // QUIRK: captures are reduced here, unlike in search().
        if (gives_check || move.castle != 0 || current_move_score >= history_max) return false;
    } else {
        if (move.captured != 0) return false;
    }
    return !is_exempt_pawn_move(type, -side, move.to);
}

template <Reduction Rule> RootReplies reply_node(int alpha, int beta, int depth) {
    record_node('R', alpha, beta, depth, false, false);
    clear_pv_line();
    const bool node_in_check = in_check();

    // The table gives the first move and nothing else.
    int unused_score = 0;
    bool unused_null_ok = true;
    tt_probe(depth, unused_score, beta, unused_null_ok);
    generate_moves();

    int best = NO_SCORE;
    int best_from = 0;
    int best_to = 0;
    int bound = BOUND_UPPER;
    int n = 0;
    const bool may_reduce = depth >= LMR_MIN_DEPTH && !node_in_check;

    MovePicker picker;
    for (int index = picker.next(); index >= 0; index = picker.next()) {
        const Move& move = move_at(index);
        const int type = type_on(move.from);
        if (!make_if_legal(index, depth - ONE_PLY, node_in_check)) continue;
        ++nodes;
        ++n;
        const bool gives_check = move_gives_check(move);
        const int new_depth = gives_check ? depth : depth - ONE_PLY;

        int score = alpha + 1;
        if (n == 1) {
            score = -search(-beta, -alpha, new_depth, NullMove::YES, gives_check);
        } else {
            if (may_reduce && is_reduced<Rule>(move, type, n, gives_check)) {
                ++statistics.lmr;
                score =
                    -search(-alpha - 1, -alpha, new_depth - ONE_PLY * late_move_reduction(depth, n),
                            NullMove::YES, gives_check);
            }
            if (score > alpha && !search_aborted) {
                score = search_late_move(alpha, beta, new_depth, gives_check);
            }
        }
        unmake_move();
        if (search_aborted) {
            return {beta, best == NO_SCORE ? std::nullopt : std::optional<int>(best)};
        }

        if (score <= best) continue;
        best = score;
        best_from = move.from;
        best_to = move.to;
        if (score <= alpha) continue;
        // QUIRK: credit is neither squared nor followed by ageing, unlike in search().
        credit_history(move, depth / 2);
        if (score >= beta) {
            update_killers(move, score);
            tt_store(BOUND_LOWER, depth, score, move.from, move.to);
            return {score, score};
        }
        update_pv(index);
        bound = BOUND_EXACT;
        alpha = score;
    }

    if (n == 0) best = node_in_check ? mated_in(search_ply) : 0;
    else tt_store(bound, depth, best, best_from, best_to);
    return {best, best};
}

}  // namespace

int search_replies(int beta, int depth) {
    return reply_node<Reduction::REPLIES>(-INFINITE_SCORE, beta, depth).score;
}

RootReplies search_root_replies(int alpha, int beta, int depth) {
    return reply_node<Reduction::ROOT>(alpha, beta, depth);
}

}  // namespace tarsimo
