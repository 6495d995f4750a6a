// Time control.
#include "control/clock.h"

#include "control/system.h"

#include <algorithm>

namespace tarsimo {

int time_budget_ms = 0;
int time_limit_ms = NO_TIME_LIMIT;
int moves_left = 0;
int search_start_ms = 0;
bool time_extended = false;

namespace {

constexpr int DEFAULT_BUDGET_MS = 20000;
constexpr int DEFAULT_MOVES_LEFT = 20;

// Moves that the time left is taken to be for.
constexpr int MOVES_WHEN_AHEAD = 20;
constexpr int MOVES_WHEN_BEHIND = 30;
constexpr int MAX_MOVES_TO_CONTROL = 30;
constexpr int LAST_MOVES = 3;  // before a control keep a second in reserve
constexpr int LAST_MOVES_RESERVE_MS = 1000;
constexpr int SPARE_MOVES_PART = 10;  // of a control just reached

// Kept on the clock whatever the formulas say: what a move may need to reach the interface, or a
// quarter of the clock if that is less.
constexpr int CLOCK_RESERVE_MS = 100;
constexpr int CLOCK_RESERVE_PART = 4;

constexpr int NEXT_ITERATION_PERCENT = 60;
constexpr int OVERTIME_BUDGETS = 2;
constexpr int MIN_MOVES_FOR_OVERTIME = 5;  // to the time control

int to_budget(std::int64_t milliseconds) {
    return static_cast<int>(std::clamp<std::int64_t>(milliseconds, -NO_TIME_LIMIT, NO_TIME_LIMIT));
}

}  // namespace

void set_default_times() {
    set_budget(DEFAULT_BUDGET_MS);
    moves_left = DEFAULT_MOVES_LEFT;
}

void set_budget(int milliseconds) {
    time_budget_ms = milliseconds;
    time_limit_ms = NO_TIME_LIMIT;
}

int allocate_time(GameClock& clock, int& left, int half_moves, bool is_white) {
    const std::int64_t own = clock.own_time_ms;
    const bool is_behind = clock.opponent_time_ms > own;
    const std::int64_t share = own / (is_behind ? MOVES_WHEN_BEHIND : MOVES_WHEN_AHEAD);
    const std::int64_t increment = clock.level_increment_ms;
    if (clock.level_moves == 0 && increment >= 0) return to_budget(share + (increment >> 1));

    // Moves per control, counted from the start of the game.
    const std::int64_t to_control = std::int64_t{clock.level_moves} - half_moves / 2 - is_white;
    if (to_control < 0 || (to_control == 0 && clock.control_moves <= 0)) return to_budget(share);
    if (to_control == 0) {
        // The control has just been reached: count towards the next one.
        left = clock.control_moves;
        clock.level_moves = to_budget(std::int64_t{clock.level_moves} + clock.control_moves);
        return to_budget(own / (left - left / SPARE_MOVES_PART));
    }
    left = static_cast<int>(to_control);
    if (left <= LAST_MOVES) return to_budget((own - LAST_MOVES_RESERVE_MS) / left);
    return to_budget(own / std::min(left, MAX_MOVES_TO_CONTROL));
}

int clock_limit(std::int64_t own_time_ms) {
    return to_budget(own_time_ms -
                     std::min<std::int64_t>(own_time_ms / CLOCK_RESERVE_PART, CLOCK_RESERVE_MS));
}

void set_budget_by_clock(GameClock& clock, int half_moves, bool is_white) {
    // A large increment, or one move per control, can make the budget exceed the clock.
    time_limit_ms = clock_limit(clock.own_time_ms);
    time_budget_ms =
        std::min(allocate_time(clock, moves_left, half_moves, is_white), time_limit_ms);
}

void start_clock() {
    search_start_ms = clock_ms();
    time_extended = false;
}

int elapsed_ms() {
    return static_cast<int>(static_cast<std::uint32_t>(clock_ms()) -
                            static_cast<std::uint32_t>(search_start_ms));
}

bool budgets_spent(int budgets) {
    return elapsed_ms() >= static_cast<std::int64_t>(budgets) * time_budget_ms;
}

bool budget_part_spent(int part) { return elapsed_ms() >= time_budget_ms / part; }

bool time_for_iteration() {
    const std::int64_t budget = time_budget_ms;
    if (time_extended) return elapsed_ms() <= budget;
    return elapsed_ms() < budget * NEXT_ITERATION_PERCENT / 100;
}

bool overtime_is_over(bool first_root_move) {
    if (moves_left < MIN_MOVES_FOR_OVERTIME) return true;
    if (first_root_move && !time_extended) return true;  // this iteration can teach nothing new
    return budgets_spent(OVERTIME_BUDGETS) || elapsed_ms() >= time_limit_ms;
}

}  // namespace tarsimo
