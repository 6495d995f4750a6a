// The settings and the initialisation of all rooms.
#include "control/control.h"

#include "board/board.h"
#include "eval/eval.h"
#include "search/search.h"

namespace tarsimo {

int time_budget_ms = 0;
int time_limit_ms = NO_TIME_LIMIT;
int max_depth = 0;
int engine_side = BLACK;
bool force_mode = false;
bool ponder = false;
bool analyze_mode = false;
bool test_mode = false;
int moves_left = 0;
bool xboard_mode = false;

namespace {

constexpr int DEFAULT_BUDGET_MS = 20000;
constexpr int DEFAULT_MAX_DEPTH = 60;
constexpr int DEFAULT_MOVES_LEFT = 20;

void set_default_settings() {
    time_budget_ms = DEFAULT_BUDGET_MS;
    time_limit_ms = NO_TIME_LIMIT;
    max_depth = DEFAULT_MAX_DEPTH;
    engine_side = BLACK;
    force_mode = false;
    ponder = false;
    analyze_mode = false;
    test_mode = false;
    moves_left = DEFAULT_MOVES_LEFT;
}

}  // namespace

void init_engine() {
    begin_initial_position();
    init_square_distance();
    init_square_tables();
    init_kpk();
    // The key is computed before side and en-passant square are set; deliberate. Within a
    // game all keys then differ from the true ones by the same constant.
    init_keys();
    finish_initial_position();
    allocate_hash_tables();
    set_default_settings();
}

void leave_program() {
    free_hash_tables();
    end_program(EXIT_BY_USER);
}

}  // namespace tarsimo
