/// Time: what the interface's clocks leave for a move, what a move may take, and whether its time
/// is over. All times are milliseconds; sums and products are formed in 64 bits and clamped once.
#ifndef TARSIMO_CONTROL_CLOCK_H
#define TARSIMO_CONTROL_CLOCK_H

#include <cstdint>
#include <limits>

namespace tarsimo {

/// A budget that means "no limit": about 9.3 hours.
constexpr int UNLIMITED_BUDGET_MS = 33554432;

/// Value of time_limit_ms while no clock runs.
constexpr int NO_TIME_LIMIT = std::numeric_limits<int>::max();

// ---------------------------------------------------------------------------
// Settings
// ---------------------------------------------------------------------------

// Set to their defaults by init_engine(), then by the commands of the dialogues.
extern int time_budget_ms;  ///< for one move; may be 0 or negative
extern int time_limit_ms;   ///< a budget is never overdrawn beyond this
extern int moves_left;      ///< moves to the next time control

/// 20 seconds per move, no limit, 20 moves to the time control.
void set_default_times();

/// Give every move this much time, and no clock to keep to.
void set_budget(int milliseconds);

/// The clocks and the time control as an interface has told them. They outlive a new game.
struct GameClock {
    int level_moves;                  ///< moves from the start of the game to the end of the
                                      ///< current control, 0 for none
    int control_moves;                ///< moves of one control
    std::int64_t level_increment_ms;  ///< per move
    std::int64_t own_time_ms;         ///< left on the engine's clock
    std::int64_t opponent_time_ms;
};

/// Budget of the next move, within +-NO_TIME_LIMIT.
///   clock        as told; level_moves is raised when its control has been reached
///   left         receives the moves to the end of the control, where there is one
///   half_moves   made in the game so far, from 0
///   is_white     the engine plays white
int allocate_time(GameClock& clock, int& left, int half_moves, bool is_white);

/// The longest that a move may take with so much time left: less than the clock by what the move
/// may need to reach the interface. Caps the budget and what overdraws it.
int clock_limit(std::int64_t own_time_ms);

/// Set budget, limit and moves_left from the clocks.
void set_budget_by_clock(GameClock& clock, int half_moves, bool is_white);

// ---------------------------------------------------------------------------
// The time of one think
// ---------------------------------------------------------------------------

extern int search_start_ms;  ///< clock_ms() at the start of the think or pondering pass
extern bool time_extended;   ///< an unstable best move has earned the whole budget

/// Start the clock of a think.
void start_clock();

/// Milliseconds since search_start_ms.
int elapsed_ms();

/// True once as many budgets have passed.
bool budgets_spent(int budgets);

/// True once one `part`th of the budget has passed, by whole milliseconds.
bool budget_part_spent(int part);

/// True while another iteration may begin: less than 60 percent of the budget have passed, or not
/// more than all of it if time_extended.
bool time_for_iteration();

/// To be asked when the budget is spent: whether the search must end now. A root move past the
/// first may be finished within a second budget.
///   first_root_move   the first root move of an iteration is being searched
bool overtime_is_over(bool first_root_move);

}  // namespace tarsimo

#endif
