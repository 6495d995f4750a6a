// The think driver.
#include "control/think.h"

#include "board/attacks.h"
#include "board/move_list.h"
#include "board/position.h"
#include "control/clock.h"
#include "control/engine.h"
#include "control/output.h"
#include "search/hash_memory.h"
#include "search/ordering.h"
#include "search/root.h"
#include "search/statistics.h"
#include "search/table.h"

#include <algorithm>

namespace tarsimo {

const Voice* voice = nullptr;
bool pondering = false;
bool stop_test_enabled = true;

namespace {

constexpr int MAX_SINGLE_MOVE_DEPTH = 4;  // deep enough when there is no choice
constexpr int MIN_RECAPTURE_DEPTH = 11;   // from here on a recapture may be played at once
constexpr int RECAPTURE_BUDGET_PART = 8;
constexpr int MIN_EXTENDED_DEPTH = 9;
constexpr int MIN_UNSTABLE_CHANGES = 2;
constexpr int PONDER_BUDGETS = 3;

// The tables' memory: what is over after a few iterations is not worth it.
constexpr int PREFAULT_DEPTH = 5;
constexpr int PREFAULT_BUDGET_PART = 10;

bool opening_reply = false;  // the move at the head was chosen without a search
ThinkTask task;

// ---------------------------------------------------------------------------
// Before the search
// ---------------------------------------------------------------------------

void begin_pass() {
    begin_generation();
    start_clock();
    search_aborted = false;
    stop_requested = false;
    search_ply = 0;
    clear_ordering();
    clear_statistics();
    hash_move = {};
    begin_root_search(task.root);
}

// The two fixed opening moves: 1.d4, and an answer to the opponent's first move.
bool choose_opening_reply() {
    if (!task.fixed_replies || test_mode || analyze_mode || game_ply > 1) return false;
    if (game_ply == 0) return choose_root_move(0, D4);

    const HistoryEntry& first = history_entry(0);
    if (first.to == D4) return choose_root_move(G8, F6);
    if (first.to == F4 || (first.to == F3 && first.from == G1)) return choose_root_move(D7, D5);
    return choose_root_move(E7, E5);
}

// What no idle time has prefaulted of the tables. The clock runs, and the stop test must not wait
// for long behind it.
void prefault_within_budget() {
    while (!budget_part_spent(PREFAULT_BUDGET_PART) && !voice->input_waiting() &&
           prefault_hash_tables()) {}
}

// ---------------------------------------------------------------------------
// Iterative deepening
// ---------------------------------------------------------------------------

// The best move takes back a rook or queen, and nothing spoke against it for long.
bool is_obvious_recapture() {
    if (!task.ends_early || analyze_mode || pondering) return false;
    if (!root.best_move_stable || opening_reply) return false;
    if (root.iteration_depth < MIN_RECAPTURE_DEPTH || game_ply == 0) return false;
    const int captured = move_at(0).captured;
    return captured > BISHOP && captured == history_entry(game_ply - 1).captured &&
           budget_part_spent(RECAPTURE_BUDGET_PART);
}

// The first iteration is always begun: whatever the budget, its first root move is legal.
void deepen() {
    for (int depth = 1; depth <= std::min(max_depth, MAX_ITERATIONS); ++depth) {
        root.iteration_depth = depth;
        if (depth > 1) {
            const int changes = root.best_move_changes[idx(depth - 1)];
            time_extended =
                depth >= MIN_EXTENDED_DEPTH && !pondering && changes >= MIN_UNSTABLE_CHANGES;
            if (!pondering && !task.uses_whole_budget && !time_for_iteration()) return;
        }
        if (task.ends_early && root.legal_moves == 1 && depth > MAX_SINGLE_MOVE_DEPTH) return;
        if (is_obvious_recapture()) return;
        if (depth == PREFAULT_DEPTH) prefault_within_budget();
        if (search_root_moves() != Iteration::COMPLETE) return;
        if (voice->iteration_done != nullptr) voice->iteration_done(depth);
        if (root.best_score() >= task.good_enough) return;
    }
}

// Find the best move of the side to move and bring it to the front of the root list. Returns
// false when the game is over.
bool find_best_move() {
    begin_pass();
    if (root.legal_moves == 0) {
        voice->game_over(in_check());
        return false;
    }
    opening_reply = choose_opening_reply();
    if (!opening_reply) deepen();
    return true;
}

bool must_stop() {
    // Whatever arrives while pondering ends it, and is left for the command loop.
    if (pondering) {
        stop_requested = voice->input_waiting();
        return stop_requested || budgets_spent(PONDER_BUDGETS);
    }
    const bool overtime = budgets_spent(1);
    if (!overtime || voice->hears_in_overtime) stop_requested = voice->stop_wanted();
    return stop_requested || (overtime && overtime_is_over(root.first_root_move));
}

}  // namespace

bool input_pending() { return stop_test_enabled && must_stop(); }

void root_move_begun(int index) { voice->root_move_begun(index); }

void root_move_accepted() {
    const int score = root.lines[idx(root.line)].score;
    if (root.iteration_depth >= voice->min_reported_depth || is_mate(score)) {
        print_thinking(root.iteration_depth, score);
    }
}

void root_move_failed_low(int score) {
    if (voice->score_fell != nullptr) voice->score_fell(root.iteration_depth, score);
}

void print_thinking(int depth, int score) {
    if (!search_aborted) {
        voice->thinking_line(depth, score);
        return;
    }
    print("\n");
    flush_output();
}

void think(const ThinkTask& wanted) {
    task = wanted;
    pondering = false;
    if (find_best_move()) voice->move_found();
}

void ponder_on() {
    pondering = true;
    find_best_move();
    pondering = false;
}

}  // namespace tarsimo
