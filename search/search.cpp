// Principal-variation alpha-beta search below the root.
//
// A node runs its paragraphs in a fixed order: cheap exits, transposition table, pruning of
// the whole node on its static evaluation, then the move loop with pruning, extensions and
// reductions of single moves. Every rule and margin shapes the tree, so their order matters.
#include "search/search.h"

#include "board/attacks.h"
#include "board/generate.h"
#include "board/make.h"
#include "board/move_list.h"
#include "board/position.h"
#include "board/see.h"

#include "eval/evaluate.h"
#include "search/digest.h"
#include "search/hash_memory.h"
#include "search/ordering.h"
#include "search/statistics.h"
#include "search/table.h"

#include <algorithm>

namespace tarsimo {

std::uint64_t nodes = 0;
bool search_aborted = false;
bool stop_requested = false;

namespace {

constexpr int FIFTY_LIMIT = 99;

// Static rules trust the evaluation only away from the scores of won endings.
constexpr int ELIGIBLE_BOUND = 9999;

constexpr int RAZOR_MAX_DEPTH = 5;
constexpr int RAZOR_BASE = 500;
constexpr int RAZOR_SLOPE = 32;  // centipawns a half-ply

constexpr int STATIC_NULL_MAX_DEPTH = 6;
constexpr int STATIC_NULL_MARGIN = 150;  // centipawns a ply

constexpr int NULL_MIN_DEPTH = 4;
constexpr int NULL_MIN_MATERIAL = 330;  // more than a bishop, or zugzwang is too likely
constexpr int NULL_REDUCTION = 3;       // plies
constexpr int NULL_EVAL_MARGIN = 99;
constexpr int NULL_MATE_SCORE = 31900;
constexpr int NULL_VERIFY_DEPTH = 11;  // deeper nodes verify the cut

constexpr int PROBCUT_MIN_DEPTH = 10;
constexpr int PROBCUT_REDUCTION = 8;  // half-plies
constexpr int PROBCUT_BETA_LIMIT = 31871;
constexpr int PROBCUT_IMPROVING_MARGIN = 250;
constexpr int PROBCUT_MARGIN = 300;
constexpr int PROBCUT_CAP = 32016;
constexpr int PROBCUT_MOVES = 3;

constexpr int IID_MIN_DEPTH = 16;
constexpr int IID_REDUCTION = 12;  // half-plies

constexpr int FUTILITY_MAX_DEPTH = 10;
constexpr int FUTILITY_FEW_PIECES = 4;  // pieces of both sides; fewer take the second row
constexpr int MOVE_PRUNING_MAX_DEPTH = 14;
constexpr int SEE_PRUNING_MAX_DEPTH = 10;
constexpr int EXTENSION_MAX_DEPTH = 18;
constexpr int LMR_MIN_DEPTH = 5;  // deeper nodes reduce

// Index: depth. Moves beyond this number are pruned when their history is poor.
constexpr std::array<int, 15> lmp_limit = {6, 6, 6, 6, 10, 14, 18, 22, 26, 30, 34, 38, 42, 46, 50};

// Index: depth - 2. The last two entries of each row are not reached.
constexpr std::array<int, 11> futility_margin_many = {150, 150, 150, 150, 400, 400,
                                                      400, 500, 500, 600, 600};
constexpr std::array<int, 11> futility_margin_few = {150, 200, 200, 400, 400, 400,
                                                     400, 600, 600, 700, 700};

// clang-format off
// Row: half the depth. Entry v - 1 is the move number from which the reduction is at least
// v plies, 64 where the row does not reach v.
constexpr std::array<std::array<int, 6>, 32> lmr_starts = {{
    {64, 64, 64, 64, 64, 64},  // 0
    { 1, 64, 64, 64, 64, 64},  // 1
    { 1, 64, 64, 64, 64, 64},  // 2
    { 1, 64, 64, 64, 64, 64},  // 3
    { 1, 28, 64, 64, 64, 64},  // 4
    { 1, 20, 64, 64, 64, 64},  // 5
    { 1, 16, 39, 64, 64, 64},  // 6
    { 1, 13, 31, 64, 64, 64},  // 7
    { 1, 12, 26, 56, 64, 64},  // 8
    { 1, 11, 22, 47, 64, 64},  // 9
    { 1, 10, 20, 41, 64, 64},  // 10
    { 1,  9, 18, 36, 64, 64},  // 11
    { 1,  8, 16, 32, 64, 64},  // 12
    { 1,  8, 15, 29, 57, 64},  // 13
    { 1,  8, 14, 27, 52, 64},  // 14
    { 1,  7, 14, 25, 48, 64},  // 15
    { 1,  7, 13, 24, 44, 64},  // 16
    { 1,  7, 12, 22, 40, 64},  // 17
    { 1,  7, 12, 21, 40, 64},  // 18
    { 1,  6, 11, 19, 37, 64},  // 19
    { 1,  6, 10, 18, 35, 62},  // 20
    { 1,  6, 10, 17, 33, 58},  // 21
    { 1,  6, 10, 17, 31, 55},  // 22
    { 1,  6, 10, 17, 30, 53},  // 23
    { 1,  6, 10, 16, 29, 50},  // 24
    { 1,  6, 10, 16, 28, 48},  // 25
    { 1,  6,  9, 15, 27, 46},  // 26
    { 1,  6,  9, 15, 26, 45},  // 27
    { 1,  5,  9, 15, 25, 43},  // 28
    { 1,  5,  9, 14, 25, 41},  // 29
    { 1,  5,  9, 14, 24, 40},  // 30
    { 1,  5,  9, 14, 23, 39},  // 31
}};
// clang-format on

constexpr auto make_lmr_table() {
    std::array<std::array<std::int8_t, 64>, 32> table{};
    for (std::size_t row = 0; row < table.size(); ++row) {
        for (const int start : lmr_starts[row]) {
            for (std::size_t column = at(start); column < 64; ++column) ++table[row][column];
        }
    }
    return table;
}

// Reductions in plies. Row: half the depth; column: number of the move among the legal ones.
constexpr auto lmr_table = make_lmr_table();

// What a node knows when it comes to its static rules.
struct Node {
    int alpha = 0;
    int beta = 0;
    int depth = 0;
    bool allow_null = false;
    bool pv = false;
    bool eligible = false;     // for the static pruning rules
    bool null_ok = true;       // the table does not speak against a null move
    int eval = 0;              // static evaluation; not set in check
    bool null_failed = false;  // a null move was tried and did not reach beta
    bool mate_threat = false;  // and it let the opponent mate
    int futility_value = 0;    // best score that a futile move can hope for
    bool futile = false;       // and it does not reach alpha
};

bool both_sides_have_pieces() { return white_pieces > 0 && black_pieces > 0; }

// Piece material of the side to move, in centipawns.
int own_piece_material() {
    return side == WHITE ? white_material - piece_value[PAWN] * white_pawns
                         : black_material - piece_value[PAWN] * black_pawns;
}

// Plies taken off the null-move search. Few pieces get no extra ply for a large margin;
// deliberate.
int null_reduction(const Node& node) {
    if (white_pieces <= 2 || black_pieces <= 2) return NULL_REDUCTION + node.depth / 12;
    int plies = NULL_REDUCTION;
    if (node.depth > 10) plies += node.depth / 8;
    if (node.eval - NULL_EVAL_MARGIN > node.beta) ++plies;
    return plies;
}

bool null_move_applies(const Node& node) {
    return node.allow_null && node.null_ok && node.depth >= NULL_MIN_DEPTH && node.eligible &&
           own_piece_material() > NULL_MIN_MATERIAL && node.eval >= node.beta;
}

// Null move (Beal 1989, Donninger 1993): if passing still reaches beta, so will a move. True
// when the node can be left with `score`; otherwise the node's two flags are set. Deep cuts
// are verified by a search without null move.
bool null_move_cuts(Node& node, int& score) {
    ++statistics.null_tries;
    const int reduced_depth = node.depth - ONE_PLY * null_reduction(node);
    const int ep_square_before = make_null_move();
    prefetch_slots(reduced_depth);
    const int reply = search(-node.beta, -node.alpha, reduced_depth, false, false);
    unmake_null_move(ep_square_before);
    if (search_aborted) return false;

    score = -reply;
    if (score < node.beta) {
        node.null_failed = true;
        node.mate_threat = reply > MATE_THRESHOLD;
        return false;
    }
    ++statistics.null_cuts;
    if (score >= NULL_MATE_SCORE) score = node.beta;  // a mate behind a pass is not proven
    if (node.depth <= NULL_VERIFY_DEPTH) return true;
    return search(node.alpha, node.beta, reduced_depth, false, false) >= node.beta;
}

// ProbCut (Buro 1995): one of the first three legal moves reaches a raised beta at reduced
// depth, so the node very likely reaches beta. The pick that ends the loop marks its slot.
bool probcut_cuts(const Node& node, int raised_beta, int& score) {
    generate_moves();
    int tried = 0;
    for (int index = pick_move(); index >= 0 && tried < PROBCUT_MOVES; index = pick_move()) {
        const Move& move = move_at(index);
        make_move(index);
        prefetch_slots(0);
        if (!king_left_safe(move, false)) {
            unmake_move();
            continue;
        }
        ++tried;
        score = -quiesce(-raised_beta, -raised_beta + 1, 0);
        if (score >= raised_beta && !search_aborted) {
            score = -search(-raised_beta, -raised_beta + 1, node.depth - PROBCUT_REDUCTION, false,
                            move_gives_check(move));
        }
        unmake_move();
        if (search_aborted) return false;
        if (score >= raised_beta) return true;
    }
    return false;
}

// A check worth a full ply whatever the exchange says: by the king, by a capture of equal or
// greater value, or discovered by a pawn. The move has been made.
bool is_forcing_check(const Move& move, int type) {
    if (type == KING) return true;
    if (move.captured != 0 && order_value[at(move.captured)] >= order_value[at(type)]) return true;
    if (type != PAWN) return false;
    const int mover = -side;
    const int enemy_king = side == WHITE ? white_king_sq : black_king_sq;
    return move.to + mover * 9 != enemy_king && move.to + mover * 11 != enemy_king;
}

// Any other check is extended when the exchange on its square does not lose.
bool check_is_extended(const Move& move, int index, int type) {
    if (is_forcing_check(move, type)) return true;
    unmake_move();
    const int exchange = see(move.from, move.to);
    make_move(index);
    return exchange >= 0;
}

// Castling, pawns that reach the seventh rank of either colour, and the capture of the last
// piece on the board. The move has been made.
bool is_extended(const Move& move, int type) {
    if (move.castle > 0) return true;
    const int rank = square_rank[at(move.to)];
    if (type == PAWN && (rank == 7 || rank == 2)) return true;
    return move.captured > PAWN && white_pieces == 0 && black_pieces == 0;
}

// The move has been made: would its piece be lost on the square it went to? A captured
// piece is not put back for the question.
bool loses_exchange(const Move& move) {
    const int piece = piece_on(move.to);
    board[at(move.from)] = piece;
    board[at(move.to)] = EMPTY;
    side = -side;
    const int exchange = see(move.from, move.to);
    side = -side;
    board[at(move.to)] = piece;
    board[at(move.from)] = EMPTY;
    return exchange < 0;
}

// Late-move pruning of a made move that gives no check. Only moves below the history's
// maximum are candidates, so hash move, killers and good captures are safe.
bool is_pruned(Node& node, const Move& move, int type, int n, int new_depth, int& best) {
    const int ply = search_ply - 1;
    if (n < 2 || current_move_score >= history_max || best < ply - MATED_SCORE) return false;
    if (move.promotion != 0 || move.castle != 0) return false;
    if (node.pv || node.depth > MOVE_PRUNING_MAX_DEPTH) return false;
    if (is_exempt_pawn_move(type, -side, move.to)) return false;

    if (node.futile) {
        ++statistics.futility;
        best = std::max(best, node.futility_value);
        return true;
    }
    if (n > lmp_limit[at(node.depth)] && !node.null_failed &&
        current_move_score < history_max / 10) {
        return true;
    }
    return new_depth <= SEE_PRUNING_MAX_DEPTH && type != KING && loses_exchange(move);
}

// Late moves are reduced unless they are tactical or the board is too empty. The move has
// been made.
bool is_reduced(const Node& node, const Move& move, int type, int n, bool gives_check) {
    if (gives_check || move.captured != 0 || node.depth <= LMR_MIN_DEPTH || n <= 2) return false;
    if (white_pieces == 0 && (black_pieces == 0 || white_pawns == 0)) return false;
    if (black_pieces == 0 && black_pawns == 0) return false;
    return !is_exempt_pawn_move(type, -side, move.to);
}

}  // namespace

int late_move_reduction(int depth, int move_number) {
    return lmr_table[at(std::min(depth / 2, 31))][at(std::min(move_number, 63))];
}

void prefetch_slots(int depth) {
    __builtin_prefetch(&eval_cache[hash_key % eval_cache_size]);
    if (depth >= ONE_PLY) __builtin_prefetch(&tt_table[hash_key % tt_size]);
}

int static_score(int alpha, int beta) {
    const bool bare_king = white_pieces == 0 || black_pieces == 0;
    if (bare_king && white_pawns + black_pawns == 0) return evaluate(-MATE_BOUND, MATE_BOUND);
    return evaluate(alpha, beta);
}

int search_late_move(int alpha, int beta, int new_depth, bool gives_check) {
    const int score = -search(-alpha - 1, -alpha, new_depth, true, gives_check);
    if (score <= alpha || score >= beta || search_aborted) return score;
    return -search(-beta, -alpha, new_depth, true, gives_check);
}

int search(int alpha, int beta, int depth, bool allow_null, bool node_in_check) {
    record_node('S', alpha, beta, depth, allow_null, node_in_check);

    // Horizon and maximum ply.
    clear_pv_line();
    if (depth < ONE_PLY) return quiesce(alpha, beta, 0);
    if (!may_generate()) return static_score(alpha, beta);

    // Draw by repetition, once is enough, or by the fifty-move rule.
    if (fifty > FIFTY_LIMIT || is_repetition()) return 0;

    // Mate-distance pruning: no score can be better than mating now or worse than being mated.
    if (search_ply != 0) {
        const int mate_at_once = MATE_BOUND - search_ply;
        if (mate_at_once < beta) {
            if (mate_at_once <= alpha) return alpha;
            beta = mate_at_once;
        }
        if (-mate_at_once > alpha) {
            if (-mate_at_once >= beta) return beta;
            alpha = -mate_at_once;
        }
    }

    // Stop test.
    if (nodes % STOP_TEST_INTERVAL == 0 && input_pending()) {
        search_aborted = true;
        return 0;
    }

    const bool pv = beta - alpha > 1;
    const bool eligible =
        !pv && !node_in_check && alpha >= -ELIGIBLE_BOUND && beta <= ELIGIBLE_BOUND;
    Node node{alpha, beta, depth, allow_null, pv, eligible};

    // Transposition table. A PV node never ends on an exact entry.
    int score = 0;
    switch (tt_probe(depth, score, beta, node.null_ok)) {
        case BOUND_UPPER:
            if (score <= alpha) return score;
            break;
        case BOUND_LOWER:
            if (score >= beta) return score;
            break;
        case BOUND_EXACT:
            if (!node.pv) return score;
            break;
        default: break;
    }
    // The searches below probe for themselves, so the node keeps what its own probe found.
    MoveRef node_hash_move = hash_move;

    // Rules on the whole node; none of them in check.
    if (!node_in_check) {
        const bool pieces_on_both_sides = both_sides_have_pieces();
        node.eval = static_score(alpha, beta);
        eval_stack[at(search_ply)] = node.eval;
        const int eval_two_plies_back = search_ply >= 2 ? eval_stack[at(search_ply - 2)] : 0;

        // Razoring (Birmingham and Kent 1977): hopelessly low, and the captures do not help.
        if (node.eligible && pieces_on_both_sides && depth <= RAZOR_MAX_DEPTH &&
            hash_move.from == 0) {
            const int threshold = beta - (RAZOR_BASE + RAZOR_SLOPE * depth);
            if (node.eval < threshold) {
                score = quiesce(threshold - 1, threshold, 0);
                if (search_aborted) return 0;
                if (score < threshold) {
                    ++statistics.razoring;
                    return score;
                }
            }
        }

        // Static null move: so high that a quiet margin cannot lose it.
        if (depth <= STATIC_NULL_MAX_DEPTH && pieces_on_both_sides && allow_null && node.eligible &&
            node.eval <= ELIGIBLE_BOUND && node.eval - STATIC_NULL_MARGIN * (depth / 2) >= beta) {
            ++statistics.static_null;
            return node.eval;
        }

        // Null move.
        if (null_move_applies(node)) {
            if (null_move_cuts(node, score)) return search_aborted ? 0 : score;
            if (search_aborted) return 0;
        }

        // ProbCut, in zero-width nodes.
        if (!node.pv && depth >= PROBCUT_MIN_DEPTH && beta >= -PROBCUT_BETA_LIMIT &&
            beta <= PROBCUT_BETA_LIMIT) {
            const int margin =
                node.eval >= eval_two_plies_back ? PROBCUT_IMPROVING_MARGIN : PROBCUT_MARGIN;
            hash_move = node_hash_move;
            if (probcut_cuts(node, std::min(beta + margin, PROBCUT_CAP), score)) return score;
            if (search_aborted) return 0;
        }

        // Internal iterative deepening: a shallower search finds the move to begin with.
        if (depth >= IID_MIN_DEPTH && node_hash_move.from == 0 && node_hash_move.to == 0) {
            search(alpha, beta, depth - IID_REDUCTION, false, false);
            if (search_aborted) return 0;
            read_hash_move();
            node_hash_move = hash_move;
        }

        // Futility (Schaeffer 1986, Heinz 1998): quiet moves are skipped when even a margin does
        // not lift them to alpha.
        if (!node.pv && depth <= FUTILITY_MAX_DEPTH && !node.mate_threat) {
            const auto& margin = white_pieces + black_pieces > FUTILITY_FEW_PIECES
                                     ? futility_margin_many
                                     : futility_margin_few;
            node.futility_value = node.eval + margin[at(depth - 2)];
            node.futile = node.futility_value < alpha;
        }
    }

    // Move loop.
    hash_move = node_hash_move;
    generate_moves();
    int best = NO_SCORE;
    int best_from = 0;
    int best_to = 0;
    int bound = BOUND_UPPER;
    int n = 0;

    for (int index = pick_move(); index >= 0; index = pick_move()) {
        const Move& move = move_at(index);
        const int type = type_on(move.from);
        make_move(index);
        prefetch_slots(depth - ONE_PLY);
        if (!king_left_safe(move, node_in_check)) {
            unmake_move();
            continue;
        }
        ++n;
        ++nodes;
        const bool gives_check = move_gives_check(move);
        int new_depth = depth - ONE_PLY;

        // Extensions and pruning. A checking move is never pruned, nor is an extended one.
        if (gives_check) {
            if (check_is_extended(move, index, type)) {
                new_depth = depth;
                ++statistics.extensions;
                ++statistics.check_extensions;
            }
        } else if ((depth <= EXTENSION_MAX_DEPTH || node.pv) && is_extended(move, type)) {
            new_depth = depth;
            ++statistics.extensions;
        } else if (!node.mate_threat && !node_in_check &&
                   is_pruned(node, move, type, n, new_depth, best)) {
            unmake_move();
            continue;
        }

        // Principal-variation search: the first move in full, the others reduced or with a
        // zero-width window first.
        if (n == 1) {
            score = -search(-beta, -alpha, new_depth, true, gives_check);
        } else {
            score = alpha + 1;
            if (is_reduced(node, move, type, n, gives_check)) {
                ++statistics.lmr;
                score = -search(-alpha - 1, -alpha,
                                new_depth - ONE_PLY * late_move_reduction(depth, n), true, false);
            }
            if (score > alpha && !search_aborted) {
                score = search_late_move(alpha, beta, new_depth, gives_check);
            }
        }
        unmake_move();
        if (search_aborted) return 0;

        // Better than what was known: history, cut-off, new bound.
        if (score <= best) continue;
        best = score;
        best_from = move.from;
        best_to = move.to;
        if (score <= alpha) continue;
        credit_history(move, (depth / 2) * (depth / 2));
        age_history();
        if (score >= beta) {
            update_killers(move, score);
            tt_store(BOUND_LOWER, depth, score, move.from, move.to);
            return score;
        }
        alpha = score;
        bound = BOUND_EXACT;
        update_pv(index);
    }

    // Mate, stalemate, or the best that was found.
    if (n == 0) return node_in_check ? search_ply - MATED_SCORE : 0;
    tt_store(bound, depth, best, best_from, best_to);
    return best;
}

void reset_search() {
    clear_hash_tables();
    clear_ordering();
    hash_move = {};
    for (Move& move : move_stack) move.score = 0;
    clear_statistics();
    search_aborted = false;
    current_move_score = 0;
    search_ply = 0;
}

}  // namespace tarsimo
