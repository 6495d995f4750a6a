// Principal-variation alpha-beta search below the root.

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
#include "search/node.h"
#include "search/ordering.h"
#include "search/reductions.h"
#include "search/statistics.h"
#include "search/table.h"

#include <algorithm>
#include <cstdlib>

namespace tarsimo {

std::uint64_t nodes = 0;
std::uint64_t stop_test_mask = STOP_TEST_INTERVAL - 1;
int deepest_ply = 0;
bool search_aborted = false;
bool stop_requested = false;

namespace {

constexpr int MAX_FIFTY = 99;

// Static rules trust the evaluation only away from the scores of won endings.
constexpr int MAX_ELIGIBLE = 9999;

constexpr int RAZOR_MAX_DEPTH = 5;
constexpr int RAZOR_BASE = 500;
constexpr int RAZOR_SLOPE = 32;  // centipawns a half-ply

constexpr int STATIC_NULL_MAX_DEPTH = 6;
constexpr int STATIC_NULL_MARGIN = 150;  // centipawns per ply

constexpr int NULL_MIN_DEPTH = 4;
constexpr int NULL_MIN_MATERIAL = 331;  // more than a bishop, or zugzwang is too likely
constexpr int NULL_REDUCTION = 3;       // plies
constexpr int NULL_EVAL_MARGIN = 99;    // a larger lead over beta reduces one ply more
constexpr int NULL_FEW_PIECES = 2;      // of a side: the other rule of reduction then
constexpr int NULL_VERIFY_MIN_DEPTH = 12;

constexpr int PROBCUT_MIN_DEPTH = 10;
constexpr int PROBCUT_REDUCTION = 8;  // half-plies
constexpr int PROBCUT_MAX_BETA = 31871;
constexpr int PROBCUT_IMPROVING_MARGIN = 250;
constexpr int PROBCUT_MARGIN = 300;
constexpr int PROBCUT_MAX_BOUND = 32016;
constexpr int PROBCUT_MAX_MOVES = 3;

constexpr int IID_MIN_DEPTH = 16;
constexpr int IID_REDUCTION = 12;  // half-plies

constexpr int FUTILITY_MAX_DEPTH = 10;
constexpr int FUTILITY_FEW_PIECES = 4;  // of both sides: up to here the second row of margins
constexpr int MOVE_PRUNING_MAX_DEPTH = 14;
constexpr int SEE_PRUNING_MAX_DEPTH = 10;
constexpr int EXTENSION_MAX_DEPTH = 18;
constexpr int LMR_MIN_MOVE = 3;  // number of the first move that may be reduced
constexpr int PRUNING_MIN_MOVE = 2;

// Index: depth. Moves beyond this number are pruned when their history is poor.
constexpr std::array<int, 15> lmp_limit = {6, 6, 6, 6, 10, 14, 18, 22, 26, 30, 34, 38, 42, 46, 50};

// Index: depth - 2. The last two entries of each row are not reached.
constexpr std::array<int, 11> futility_margin_many = {150, 150, 150, 150, 400, 400,
                                                      400, 500, 500, 600, 600};
constexpr std::array<int, 11> futility_margin_few = {150, 200, 200, 400, 400, 400,
                                                     400, 600, 600, 700, 700};

// What a node finds out before its moves, for the rules on single moves.
struct Node {
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
int mover_piece_material() {
    return side == WHITE ? white_material - piece_value[PAWN] * white_pawns
                         : black_material - piece_value[PAWN] * black_pawns;
}

// Razoring (Birmingham and Kent 1977): hopelessly low, and the captures do not help. The score if
// the node can be left with it.
std::optional<int> razor(const Node& node, int beta, int depth) {
    const int threshold = beta - (RAZOR_BASE + RAZOR_SLOPE * depth);
    if (node.eval >= threshold) return std::nullopt;
    const int score = quiesce(threshold - 1, threshold, 0);
    if (search_aborted || score >= threshold) return std::nullopt;
    ++statistics.razoring;
    return score;
}

bool null_move_applies(const Node& node, int beta, int depth) {
    return node.null_ok && node.eligible && node.eval >= beta && depth >= NULL_MIN_DEPTH &&
           mover_piece_material() >= NULL_MIN_MATERIAL;
}

// Plies taken off the null-move search.
int null_reduction(const Node& node, int beta, int depth) {
    // QUIRK: few pieces get no extra ply for a large lead; endings are reduced by depth alone.
    if (white_pieces <= NULL_FEW_PIECES || black_pieces <= NULL_FEW_PIECES) {
        return NULL_REDUCTION + depth / 12;
    }
    int plies = NULL_REDUCTION;
    if (depth > 10) plies += depth / 8;
    if (node.eval - NULL_EVAL_MARGIN > beta) ++plies;
    return plies;
}

// Null move (Beal 1989, Donninger 1993): if passing still reaches beta, so will a move. Deep cuts
// are verified by a search without null move. The score if the node can be left with it; otherwise
// the node learns what its failure tells.
std::optional<int> try_null_move(Node& node, int alpha, int beta, int depth) {
    ++statistics.null_tries;
    const int reduced_depth = depth - ONE_PLY * null_reduction(node, beta, depth);
    const int ep_square_before = make_null_move();
    prefetch_slots(reduced_depth);
    const int reply = search(-beta, -alpha, reduced_depth, NullMove::NO, NOT_IN_CHECK);
    unmake_null_move(ep_square_before);
    if (search_aborted) return std::nullopt;

    int score = -reply;
    if (score < beta) {
        node.null_failed = true;
        node.mate_threat = is_mate(reply);
        return std::nullopt;
    }
    ++statistics.null_cuts;
    if (score >= MATE_THRESHOLD) score = beta;  // a mate behind a pass is not proven
    if (depth < NULL_VERIFY_MIN_DEPTH) return score;
    if (search(alpha, beta, reduced_depth, NullMove::NO, NOT_IN_CHECK) >= beta) return score;
    return std::nullopt;
}

// ProbCut (Buro 1995): one of the first three legal moves reaches a raised beta at reduced
// depth, so the node very likely reaches beta. The pick that ends the loop marks its slot.
std::optional<int> probcut(int raised_beta, int depth) {
    generate_moves();
    int tried = 0;
    MovePicker picker;
    for (int index = picker.next(); index >= 0 && tried < PROBCUT_MAX_MOVES;
         index = picker.next()) {
        if (!make_if_legal(index, 0, NOT_IN_CHECK)) continue;
        ++tried;
        int score = -quiesce(-raised_beta, -raised_beta + 1, 0);
        if (score >= raised_beta && !search_aborted) {
            score = -search(-raised_beta, -raised_beta + 1, depth - PROBCUT_REDUCTION, NullMove::NO,
                            move_gives_check(move_at(index)));
        }
        unmake_move();
        if (search_aborted) return std::nullopt;
        if (score >= raised_beta) return score;
    }
    return std::nullopt;
}

// A check worth a full ply whatever the exchange says: by the king, by a capture of equal or
// greater value, or discovered by a pawn. The move has been made.
bool is_forcing_check(const Move& move, int type) {
    if (type == KING) return true;
    if (move.captured != 0 && order_value[idx(move.captured)] >= order_value[idx(type)])
        return true;
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
    const int rank = square_rank[idx(move.to)];
    if (type == PAWN && (rank == 7 || rank == 2)) return true;
    return move.captured > PAWN && white_pieces == 0 && black_pieces == 0;
}

// The move has been made: would its piece be lost on the square it went to? A captured
// piece is not put back for the question.
bool loses_exchange(const Move& move) {
    const int piece = piece_on(move.to);
    board[idx(move.from)] = piece;
    board[idx(move.to)] = EMPTY;
    side = -side;
    const int exchange = see(move.from, move.to);
    side = -side;
    board[idx(move.to)] = piece;
    board[idx(move.from)] = EMPTY;
    return exchange < 0;
}

// What becomes of a late move: searched, or skipped with or without a bound for the best score.
enum class Pruning { NONE, FUTILE, LATE, LOSING };

// The verdict on a made move that gives no check. Only moves below the history's maximum are
// candidates, so hash move, killers and good captures are safe.
Pruning pruning_of(const Node& node, const Move& move, int type, int n, int depth, int best) {
    const int node_ply = search_ply - 1;
    const bool candidate =
        !node.pv && !node.mate_threat && depth <= MOVE_PRUNING_MAX_DEPTH  // such a node
        && n >= PRUNING_MIN_MOVE && best >= mated_in(node_ply)            // that has a move already
        && current_move_score < history_max                               // and this one is late
        && move.promotion == 0 && move.castle == 0                        // and harmless
        && !is_exempt_pawn_move(type, -side, move.to);
    if (!candidate) return Pruning::NONE;

    if (node.futile) return Pruning::FUTILE;
    if (n > lmp_limit[idx(depth)] && !node.null_failed && current_move_score < history_max / 10) {
        return Pruning::LATE;
    }
    const bool shallow = depth - ONE_PLY <= SEE_PRUNING_MAX_DEPTH;
    return shallow && type != KING && loses_exchange(move) ? Pruning::LOSING : Pruning::NONE;
}

// Too little is left on the board for reductions. Read after the move.
bool is_too_empty_to_reduce() {
    const bool white_bare = white_pieces == 0 && white_pawns == 0;
    const bool black_bare = black_pieces == 0 && black_pawns == 0;
    return white_bare || black_bare || (white_pieces == 0 && black_pieces == 0);
}

// Late moves are reduced unless they are tactical or the board is too empty. The move has
// been made.
bool is_reduced(const Move& move, int type, int n, int depth, bool gives_check) {
    return depth >= LMR_MIN_DEPTH && n >= LMR_MIN_MOVE && !is_too_empty_to_reduce()  // such a node
           && !gives_check && move.captured == 0                                     // a quiet move
           && !is_exempt_pawn_move(type, -side, move.to);
}

}  // namespace

void prefetch_slots(int depth) {
    __builtin_prefetch(&eval_cache[hash_key % eval_cache_size]);
    if (depth >= ONE_PLY) __builtin_prefetch(&tt_table[hash_key % tt_size]);
}

bool make_if_legal(int index, int depth_below, bool was_in_check) {
    make_move(index);
    prefetch_slots(depth_below);
    if (king_left_safe(move_at(index), was_in_check)) return true;
    unmake_move();
    return false;
}

int static_score(int alpha, int beta) {
    const bool bare_king = white_pieces == 0 || black_pieces == 0;
    if (bare_king && white_pawns + black_pawns == 0) {
        return evaluate(-INFINITE_SCORE, INFINITE_SCORE);
    }
    return evaluate(alpha, beta);
}

int search_late_move(int alpha, int beta, int new_depth, bool gives_check) {
    const int score = -search(-alpha - 1, -alpha, new_depth, NullMove::YES, gives_check);
    if (score <= alpha || score >= beta || search_aborted) return score;
    return -search(-beta, -alpha, new_depth, NullMove::YES, gives_check);
}

int search(int alpha, int beta, int depth, NullMove allow_null, bool node_in_check) {
    const bool null_allowed = allow_null == NullMove::YES;
    record_node('S', alpha, beta, depth, null_allowed, node_in_check);

    // Horizon and maximum ply.
    clear_pv_line();
    if (depth < ONE_PLY) return quiesce(alpha, beta, 0);
    if (!may_generate()) return static_score(alpha, beta);

    // Draw by repetition, once is enough, or by the fifty-move rule.
    if (fifty > MAX_FIFTY || is_repetition()) return 0;

    // Mate-distance pruning: no score can be better than mating now or worse than being mated.
    if (search_ply != 0) {
        const int bound = mate_bound(search_ply);
        if (bound < beta) {
            if (bound <= alpha) return alpha;
            beta = bound;
        }
        if (-bound > alpha) {
            if (-bound >= beta) return beta;
            alpha = -bound;
        }
    }

    // Stop test.
    if ((nodes & stop_test_mask) == 0 && input_pending()) {
        search_aborted = true;
        return 0;
    }

    Node node;
    node.pv = beta - alpha > 1;
    node.eligible = !node.pv && !node_in_check && alpha >= -MAX_ELIGIBLE && beta <= MAX_ELIGIBLE;

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
        eval_stack[idx(search_ply)] = node.eval;
        const int eval_two_plies_back = search_ply >= 2 ? eval_stack[idx(search_ply - 2)] : 0;

        // Razoring: hopelessly low, and the captures do not help.
        if (node.eligible && pieces_on_both_sides && depth <= RAZOR_MAX_DEPTH &&
            hash_move.from == 0) {
            if (const auto cut = razor(node, beta, depth)) return *cut;
            if (search_aborted) return 0;
        }

        // Static null move: so high that a quiet margin cannot lose it.
        if (null_allowed && node.eligible && pieces_on_both_sides &&
            depth <= STATIC_NULL_MAX_DEPTH && node.eval <= MAX_ELIGIBLE &&
            node.eval - STATIC_NULL_MARGIN * (depth / 2) >= beta) {
            ++statistics.static_null;
            return node.eval;
        }

        // Null move: even passing reaches beta.
        if (null_allowed && null_move_applies(node, beta, depth)) {
            if (const auto cut = try_null_move(node, alpha, beta, depth)) {
                return search_aborted ? 0 : *cut;
            }
            if (search_aborted) return 0;
        }

        // ProbCut: a shallow search beats beta by a margin.
        if (!node.pv && depth >= PROBCUT_MIN_DEPTH && std::abs(beta) <= PROBCUT_MAX_BETA) {
            const int margin =
                node.eval >= eval_two_plies_back ? PROBCUT_IMPROVING_MARGIN : PROBCUT_MARGIN;
            hash_move = node_hash_move;
            if (const auto cut = probcut(std::min(beta + margin, PROBCUT_MAX_BOUND), depth)) {
                return *cut;
            }
            if (search_aborted) return 0;
        }

        // Internal iterative deepening: a shallower search finds the move to begin with.
        if (depth >= IID_MIN_DEPTH && node_hash_move.from == 0 && node_hash_move.to == 0) {
            search(alpha, beta, depth - IID_REDUCTION, NullMove::NO, NOT_IN_CHECK);
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
            node.futility_value = node.eval + margin[idx(depth - 2)];
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

    MovePicker picker;
    for (int index = picker.next(); index >= 0; index = picker.next()) {
        const Move& move = move_at(index);
        const int type = type_on(move.from);
        if (!make_if_legal(index, depth - ONE_PLY, node_in_check)) continue;
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
        } else if (!node_in_check) {
            const Pruning pruning = pruning_of(node, move, type, n, depth, best);
            if (pruning == Pruning::FUTILE) {
                ++statistics.futility;
                best = std::max(best, node.futility_value);
            }
            if (pruning != Pruning::NONE) {
                unmake_move();
                continue;
            }
        }

        // Principal-variation search: the first move in full, the others reduced or with a
        // zero-width window first.
        if (n == 1) {
            score = -search(-beta, -alpha, new_depth, NullMove::YES, gives_check);
        } else {
            score = alpha + 1;
            if (is_reduced(move, type, n, depth, gives_check)) {
                ++statistics.lmr;
                const int reduction = ONE_PLY * late_move_reduction(depth, n);
                score =
                    -search(-alpha - 1, -alpha, new_depth - reduction, NullMove::YES, NOT_IN_CHECK);
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
    if (n == 0) return node_in_check ? mated_in(search_ply) : 0;
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
    stop_requested = false;
    current_move_score = 0;
    search_ply = 0;
}

}  // namespace tarsimo
