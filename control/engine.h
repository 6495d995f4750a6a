/// The settings that commands change, and the initialisation of everything.
#ifndef TARSIMO_CONTROL_ENGINE_H
#define TARSIMO_CONTROL_ENGINE_H

namespace tarsimo {

/// Value of engine_side when the engine plays neither colour.
constexpr int NEITHER_SIDE = 2;

// Settings; init_engine() sets their defaults. Those of time are in clock.h.
extern int max_depth;      ///< deepest iteration begun, in plies
extern int engine_side;    ///< under CECP: WHITE, BLACK or NEITHER_SIDE
extern bool force_mode;    ///< the engine does not answer moves
extern bool ponder;        ///< under CECP: think on the opponent's time
extern bool analyze_mode;  ///< under CECP: think without playing
extern bool test_mode;     ///< no fixed opening replies, no board after the engine's move

/// Set once the CECP loop has been entered; init_engine() leaves it.
extern bool xboard_mode;

/// Bring everything to the initial position and the default settings: square tables, new keys,
/// empty hash tables. Says so and ends the program when there is no memory for the tables.
void init_engine();

/// Release the hash tables and end the program with status 1, as every way out does but the
/// protocols' `quit`.
[[noreturn]] void leave_program();

}  // namespace tarsimo

#endif
