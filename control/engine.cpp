// The settings and the initialisation of all rooms.
#include "control/engine.h"

#include "board/attacks.h"
#include "board/keys.h"
#include "board/position.h"
#include "control/clock.h"
#include "control/output.h"
#include "control/system.h"
#include "eval/kpk.h"
#include "eval/square_tables.h"
#include "search/hash_memory.h"

namespace tarsimo {

int max_depth = 0;
int engine_side = BLACK;
bool force_mode = false;
bool ponder = false;
bool analyze_mode = false;
bool test_mode = false;
bool xboard_mode = false;

namespace {

constexpr int EXIT_BY_USER = 1;
constexpr int DEFAULT_MAX_DEPTH = 60;

void set_default_settings() {
    set_default_times();
    max_depth = DEFAULT_MAX_DEPTH;
    engine_side = BLACK;
    force_mode = false;
    ponder = false;
    analyze_mode = false;
    test_mode = false;
}

}  // namespace

void init_engine() {
    begin_initial_position();
    init_square_distance();
    init_square_tables();
    init_kpk();
    // QUIRK: the key is computed before side and en-passant square are set. Within a game all keys
    // then differ from the true ones by the same constant.
    init_keys();
    finish_initial_position();
    if (!allocate_hash_tables()) {
        print_line("ERROR: Couldn't allocate memory for hash table.");
        flush_output();
        leave_program();
    }
    set_default_settings();
}

void leave_program() {
    free_hash_tables();
    end_program(EXIT_BY_USER);
}

}  // namespace tarsimo
