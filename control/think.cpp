// The think driver: fixed opening replies, game end, iterative deepening over the root moves,
// the decision when to stop, the final report, and pondering.
//
// The root list is the list of ply 0. The best move stands at its head from the moment it is
// found, and before that a legal move does, so that whatever stops the search there is a
// move to play.
#include "control/control.h"

#include "board/board.h"
#include "search/search.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace tarsimo {

bool pondering = false;
bool first_root_move = false;
bool time_extended = false;

namespace {

constexpr int MAX_ITERATIONS = 127;    // size of the per-depth tables
constexpr int ASPIRATION_MARGIN = 40;  // centipawns below the last score
constexpr int NEXT_ITERATION_PERCENT = 60;
constexpr int SINGLE_MOVE_DEPTH = 4;     // deep enough when there is no choice
constexpr int RECAPTURE_MIN_DEPTH = 10;  // deeper iterations may be left for a recapture
constexpr int RECAPTURE_BUDGET_PART = 8;
constexpr int STABLE_FROM_DEPTH = 3;  // changes at greater depth forbid a quick recapture
constexpr int UNSTABLE_FROM_DEPTH = 9;
constexpr int UNSTABLE_CHANGES = 2;
constexpr int REPORT_FROM_DEPTH = 5;  // deeper iterations print thinking lines
constexpr int MATE_IN_HAND = 31899;   // a score above it ends deep iterations
constexpr int MATE_IN_HAND_DEPTH = 8;
constexpr int ANNOUNCED_MATE = 31969;
constexpr int PONDER_MIN_MOVES_LEFT = 3;
constexpr int MEMORY_BUDGET_PART = 2;  // of the time for a move, to provide memory for the tables

// State of one think.
int iteration_depth = 0;  // depth of the running iteration in plies, from 1
int legal_root_moves = 0;
int best_score = NO_SCORE;      // of the best move proven so far
bool opening_reply = false;     // the move at the head was chosen without a search
bool best_move_settled = true;  // no change of the best move beyond STABLE_FROM_DEPTH
std::array<int, MAX_ITERATIONS + 1> best_move_changes{};  // by iteration depth

int root_moves() { return list_start(1); }

void bring_to_front(int index) {
    const auto head = move_stack.begin();
    std::rotate(head, std::next(head, index), std::next(head, index + 1));
}

// ---------------------------------------------------------------------------
// Before the search
// ---------------------------------------------------------------------------

// The first search finds its tables without memory. The clock runs, so that a machine slow to
// provide it cannot cost more than a part of the budget.
void prepare_tables() {
    begin_generation();
    while (elapsed_ms() <= time_budget_ms / MEMORY_BUDGET_PART && provide_memory()) {}
}

void begin_pass() {
    search_start_ms = clock_ms();
    prepare_tables();
    search_aborted = false;
    stop_requested = false;
    time_extended = false;
    search_ply = 0;
    clear_ordering();
    clear_statistics();
    hash_move = {};
    best_score = NO_SCORE;
    opening_reply = false;
    best_move_settled = true;
    generate_moves();
}

// Mark illegal root moves, count the legal ones and bring the first of them to the front.
void sort_out_illegal_moves() {
    legal_root_moves = 0;
    for (int i = 0; i < root_moves(); ++i) {
        make_move(i);
        const bool legal = king_left_safe();
        unmake_move();
        if (!legal) {
            move_at(i).score = NO_SCORE;
        } else if (++legal_root_moves == 1) {
            bring_to_front(i);
        }
    }
}

bool choose_root_move(int from, int to) {
    for (int i = 0; i < root_moves(); ++i) {
        const Move& move = move_at(i);
        if (move.to != to || (from != 0 && move.from != from) || move.score == NO_SCORE) continue;
        bring_to_front(i);
        best_score = 0;
        return true;
    }
    return false;
}

// The two fixed opening moves: 1.d4, and an answer to the opponent's first move.
bool choose_opening_reply() {
    if (test_mode || analyze_mode || game_ply > 1) return false;
    if (game_ply == 0) return choose_root_move(0, D4);

    const HistoryEntry& first = history_entry(0);
    if (first.to == D4) return choose_root_move(G8, F6);
    if (first.to == F4 || (first.to == F3 && first.from == G1)) return choose_root_move(D7, D5);
    return choose_root_move(E7, E5);
}

void report_game_end() {
    if (in_check()) {
        if (!xboard_mode) std::puts("\n MATE!!...");
    } else {
        std::puts(xboard_mode ? "1/2-1/2 {Stalemate}" : "\n TABLAS AHOGADO!!...");
    }
    flush_output();
}

// ---------------------------------------------------------------------------
// One iteration
// ---------------------------------------------------------------------------

// Depth in half-plies of the node that holds the replies.
int reply_depth() { return ONE_PLY * (iteration_depth - 1); }

void print_progress(int index) {
    if (xboard_mode) return;
    std::printf(" Ply (%2d)  Analizando..(%d) ", iteration_depth, index + 1);
    print_move(index);
    std::printf(" \r  ");
    flush_output();
}

// A root move has proven better than the best: it goes to the front with its line.
void accept_root_move(int index, int score) {
    best_score = score;
    if (index != 0) {
        ++best_move_changes[at(iteration_depth)];
        if (iteration_depth > STABLE_FROM_DEPTH) best_move_settled = false;
    }
    bring_to_front(index);
    update_pv(0);
    if (iteration_depth > REPORT_FROM_DEPTH || score > MATE_THRESHOLD) {
        print_thinking(iteration_depth, score);
    }
}

// Score of a root move against the lower bound `alpha`; `partial` receives what the replies
// searched to their end leave of it, -NO_SCORE when there are none.
int search_root_move(int index, int alpha, int& partial) {
    int best_reply = NO_SCORE;
    make_move(index);
    ++nodes;
    const int score = -search_root_replies(-alpha, reply_depth(), best_reply);
    unmake_move();
    partial = -best_reply;
    return score;
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

// Search all root moves at the iteration's depth. Returns false when thinking is to end.
bool search_root_moves() {
    int alpha =
        iteration_depth == 1 ? NO_SCORE : std::max(best_score - ASPIRATION_MARGIN, NO_SCORE);
    best_move_changes[at(iteration_depth)] = 0;
    first_root_move = true;

    for (int index = 0; index < root_moves(); ++index) {
        if (move_at(index).score == NO_SCORE) continue;
        print_progress(index);
        if (best_score > MATE_IN_HAND && iteration_depth > MATE_IN_HAND_DEPTH) {
            print_thinking(iteration_depth, best_score);
            return false;
        }

        int partial = NO_SCORE;
        int score = search_root_move(index, alpha, partial);
        if (first_root_move && score <= alpha && !search_aborted) {
            // The first move fell below the bound: its true score, with the bound open.
            alpha = NO_SCORE;
            score = search_root_move(index, alpha, partial);
        }
        if (search_aborted) {
            const bool was_beating_best =
                !first_root_move && partial != -NO_SCORE && partial > alpha;
            if (was_beating_best && !stop_requested) verify_root_move(index, alpha);
            return false;
        }
        first_root_move = false;

        if (score > alpha) {
            alpha = score;
            accept_root_move(index, score);
            if (score > MATE_THRESHOLD) return false;
        }
    }
    return true;
}

// ---------------------------------------------------------------------------
// Iterative deepening
// ---------------------------------------------------------------------------

bool time_for_iteration() {
    if (pondering) return true;
    const std::int64_t budget = time_budget_ms;
    if (time_extended) return elapsed_ms() <= budget;
    return elapsed_ms() < budget * NEXT_ITERATION_PERCENT / 100;
}

// The best move takes back a rook or queen, and nothing spoke against it for long.
bool is_obvious_recapture() {
    if (analyze_mode || pondering || !best_move_settled || opening_reply) return false;
    if (iteration_depth <= RECAPTURE_MIN_DEPTH || game_ply == 0) return false;
    const int captured = move_at(0).captured;
    return captured > BISHOP && captured == history_entry(game_ply - 1).captured &&
           elapsed_ms() >= time_budget_ms / RECAPTURE_BUDGET_PART;
}

// The first iteration is always begun: whatever the budget, its first root move is legal.
void deepen() {
    for (iteration_depth = 1; iteration_depth <= std::min(max_depth, MAX_ITERATIONS);
         ++iteration_depth) {
        if (iteration_depth > 1) {
            time_extended = iteration_depth >= UNSTABLE_FROM_DEPTH && !pondering &&
                            best_move_changes[at(iteration_depth - 1)] >= UNSTABLE_CHANGES;
            if (!time_for_iteration()) return;
        }
        if (legal_root_moves == 1 && iteration_depth > SINGLE_MOVE_DEPTH) return;
        if (is_obvious_recapture()) return;
        if (!search_root_moves()) return;
    }
}

// ---------------------------------------------------------------------------
// After the search
// ---------------------------------------------------------------------------

void announce_mate() {
    if (best_score <= ANNOUNCED_MATE) return;
    if (MATED_SCORE - best_score < 3) {
        std::printf(side == BLACK ? "  blancas ganan JAQUE MATE   "
                                  : "  negras ganan JAQUE MATE   ");
    } else {
        std::printf("  MATE en %d  ", (MATED_SCORE - 1 - best_score) / 2);
    }
}

void report_on_console() {
    const long elapsed_seconds = elapsed_ms() / 1000;
    std::printf("\n\n  Mi jugada: ");
    print_move(0);
    make_root_move();
    announce_mate();
    print_statistics(elapsed_seconds);
    if (!test_mode) print_board();
    flush_output();
}

// Find the best move of the side to move and bring it to the front of the root list. Returns
// false when the game is over.
bool find_move() {
    begin_pass();
    sort_out_illegal_moves();
    if (legal_root_moves == 0) {
        report_game_end();
        return false;
    }
    opening_reply = choose_opening_reply();
    if (!opening_reply) deepen();
    return true;
}

// Think on for the opponent; what is found stays in the tables.
void ponder_on() {
    pondering = true;
    find_move();
    pondering = false;
}

}  // namespace

void think() {
    pondering = false;
    if (!find_move()) return;
    if (!xboard_mode) {
        report_on_console();
    } else if (!analyze_mode) {
        print_move(0);
        make_root_move();
        if (ponder && moves_left >= PONDER_MIN_MOVES_LEFT) ponder_on();
    }
}

}  // namespace tarsimo
