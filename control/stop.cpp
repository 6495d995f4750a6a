// The stop test, run by the searches every few thousand nodes: the clock first, then the
// GUI's lines or the console's keyboard.
#include "control/control.h"

#include "search/search.h"

namespace tarsimo {

bool stop_test_enabled = true;
bool stop_requested = false;
int search_start_ms = 0;

namespace {

constexpr int FEW_MOVES_LEFT = 5;  // to the time control: no overtime then
constexpr int PONDER_BUDGETS = 3;
constexpr int OVERTIME_BUDGETS = 2;  // a root move past the first may finish in this

bool budgets_spent(int budgets) {
    return elapsed_ms() >= static_cast<std::int64_t>(budgets) * time_budget_ms;
}

bool overtime_is_over() {
    if (moves_left < FEW_MOVES_LEFT) return true;
    if (first_root_move && !time_extended) return true;  // nothing new to learn from this iteration
    return budgets_spent(OVERTIME_BUDGETS) || elapsed_ms() >= time_limit_ms;
}

// A line in the middle of a search: "?" and "exit" stop it, anything else is dropped. The end
// of input does not stop a search that owes somebody a move.
bool gui_says_stop() {
    if (!line_waiting()) return false;
    if (input_ended()) return analyze_mode || !output_has_reader();

    std::string line;
    read_line(line);
    const std::string command = first_word(line);
    return command == "?" || command == "exit";
}

bool must_stop() {
    // Whatever arrives while pondering ends it, and is left for the command loop.
    if (pondering) {
        stop_requested = line_waiting();
        return stop_requested || budgets_spent(PONDER_BUDGETS);
    }
    if (budgets_spent(1)) return overtime_is_over();
    stop_requested = xboard_mode ? gui_says_stop() : key_pressed();
    return stop_requested;
}

}  // namespace

int elapsed_ms() {
    return static_cast<int>(static_cast<std::uint32_t>(clock_ms()) -
                            static_cast<std::uint32_t>(search_start_ms));
}

bool input_pending() { return stop_test_enabled && must_stop(); }

}  // namespace tarsimo
