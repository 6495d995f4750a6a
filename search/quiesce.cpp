// Quiescence search: stand pat, then captures and queen promotions. It has no table and no
// check handling.
#include "board/attacks.h"
#include "board/generate.h"
#include "board/make.h"
#include "board/move_list.h"
#include "board/position.h"
#include "board/see.h"
#include "search/digest.h"
#include "search/node.h"
#include "search/ordering.h"
#include "search/search.h"

#include <algorithm>

namespace tarsimo {

namespace {

constexpr bool MAYBE_IN_CHECK = true;  // nobody has looked
constexpr int DELTA_MARGIN = 100;      // a capture must be able to lift the best to alpha

// True if a pawn of the side not to move guards the square.
bool guarded_by_pawn(int sq) {
    const int enemy_pawn = -side * PAWN;
    return piece_on(sq + side * 9) == enemy_pawn || piece_on(sq + side * 11) == enemy_pawn;
}

// A piece takes a less valuable one, or a pawn, that a pawn guards or that wins the exchange.
bool is_losing_capture(const Move& move) {
    if (order_value[idx(type_on(move.from))] <= order_value[idx(move.captured)]) return false;
    return guarded_by_pawn(move.to) || see(move.from, move.to) < 0;
}

}  // namespace

int quiesce(int alpha, int beta, int qply) {
    record_node('Q', alpha, beta, qply, false, false);
    ++nodes;
    deepest_ply = std::max(deepest_ply, search_ply);
    if (qply >= 0 && is_repetition()) return 0;
    if (!may_generate()) return static_score(alpha, beta);
    if ((nodes & stop_test_mask) == 0 && input_pending()) {
        search_aborted = true;
        return 0;
    }

    // Stand pat.
    int best = static_score(alpha, beta);
    if (best >= beta) return best;
    alpha = std::max(alpha, best);

    clear_pv_line();
    generate_captures();
    const bool delta_pruning =
        white_pieces > 0 && black_pieces > 0 && white_pawns > 0 && black_pawns > 0;

    MovePicker picker;
    for (int index = picker.next(); index >= 0; index = picker.next()) {
        const Move& move = move_at(index);
        if (move.promotion == 0) {
            if (delta_pruning && best + DELTA_MARGIN + piece_value[idx(move.captured)] <= alpha)
                continue;
            if (is_losing_capture(move)) continue;
        }
        if (!make_if_legal(index, 0, MAYBE_IN_CHECK)) continue;
        const int score = -quiesce(-beta, -alpha, qply - 1);
        unmake_move();
        if (search_aborted) return 0;

        if (score <= best) continue;
        if (score > alpha) {
            if (score >= beta) return beta;  // QUIRK: a hard bound, where stand pat gives the score
            update_pv(index);
            alpha = best;  // QUIRK: one improvement behind, even below the alpha passed in
        }
        best = score;
    }
    return best;
}

}  // namespace tarsimo
