/// The control room: the console and CECP loops, set-up from FEN, display, the think driver
/// with its stop test and reports, the suite, and the reading of the user's moves.
#ifndef TARSIMO_CONTROL_CONTROL_H
#define TARSIMO_CONTROL_CONTROL_H

#include <cstdint>
#include <limits>
#include <string>

namespace tarsimo {

// ---------------------------------------------------------------------------
// Engine and settings
// ---------------------------------------------------------------------------

/// Exit status of every way out but CECP's `quit`.
constexpr int EXIT_BY_USER = 1;

/// A budget that means "no limit": about 9.3 hours, in milliseconds.
constexpr int UNLIMITED_BUDGET_MS = 33554432;

/// Value of time_limit_ms while no clock runs.
constexpr int NO_TIME_LIMIT = std::numeric_limits<int>::max();

/// Value of engine_side when the engine plays neither colour.
constexpr int NEITHER_SIDE = 2;

// Settings, set to their defaults by init_engine() and changed by commands.
extern int time_budget_ms;  ///< time for one move, in milliseconds; may be 0 or negative
extern int time_limit_ms;   ///< a budget is never overdrawn beyond this, in milliseconds
extern int max_depth;       ///< deepest iteration begun, in plies
extern int engine_side;     ///< under CECP: WHITE, BLACK or NEITHER_SIDE
extern bool force_mode;     ///< the engine does not answer moves
extern bool ponder;         ///< under CECP: think on the opponent's time
extern bool analyze_mode;   ///< under CECP: think without playing
extern bool test_mode;      ///< no fixed opening replies, no board after the engine's move
extern int moves_left;      ///< moves to the next time control

/// Set once the CECP loop has been entered; init_engine() leaves it.
extern bool xboard_mode;

/// Bring everything to the initial position and the default settings: square tables, new
/// keys, fresh hash tables. Ends the program when there is no memory for the tables.
void init_engine();

/// End the program with an exit status.
[[noreturn]] void end_program(int status);

/// Release the hash tables and end the program with EXIT_BY_USER.
[[noreturn]] void leave_program();

/// The console loop; it does not return.
[[noreturn]] void run_console();

/// The CECP loop; it does not return.
[[noreturn]] void run_cecp();

// ---------------------------------------------------------------------------
// Input and output
// ---------------------------------------------------------------------------

/// Longest line taken from the input, in characters; what exceeds it is dropped.
constexpr int MAX_LINE = 255;

/// Read a line without its newline, waiting for it. Returns false at end of input. A last
/// line without a newline counts; a NUL character ends the text of its line.
bool read_line(std::string& line);

/// True if a whole line, or the end of input, can be read without waiting.
bool line_waiting();

/// True if the input has ended and every line of it has been read.
bool input_ended();

/// Forget what has been read, the end of the input included: for programs that serve one input
/// after another.
void restart_input();

/// True if a key was pressed at the console; the key then is the first character of the
/// next line read. End of input or an unreadable terminal is no key. The terminal is left
/// as it was found.
bool key_pressed();

/// Send what has been printed to the terminal or GUI. Ends the program when nobody can
/// receive it any more.
void flush_output();

/// False once whoever read the output has gone.
bool output_has_reader();

/// Upper-case a text in place, ASCII letters only.
void to_upper(std::string& text);

/// The first blank-separated word of a line, empty when there is none.
std::string first_word(const std::string& line);

/// The whole number at the start of a text, clamped to -limit..limit; 0 when there is none.
/// Leading blanks and a sign are accepted.
int parse_number(const std::string& text, int limit);

// ---------------------------------------------------------------------------
// Set-up and display
// ---------------------------------------------------------------------------

/// Set up the position of a FEN text and start a fresh game from it: placement, side,
/// castling and en-passant field; the two counters are not read. Malformed fields end early
/// without a report. A position without exactly one king a side is answered with
/// "tellusererror Illegal position", and the initial position stands.
void set_position_fen(const std::string& text);

/// Print the board; on the console also who is to move.
void print_board();

/// Print the move at an index of the move array, not yet made: on the console in Spanish
/// notation without a newline, under CECP as the protocol's move command.
void print_move(int index);

/// Two characters for a square, "--" for one off the board.
std::string square_name(int sq);

inline constexpr char SAN_LETTERS[] = "  NBRQK";      ///< by piece type; a blank for the pawn
inline constexpr char SPANISH_LETTERS[] = " PCATDR";  ///< by piece type
inline constexpr char FEN_LETTERS[] = " pnbrqk";      ///< by piece type

// ---------------------------------------------------------------------------
// Thinking
// ---------------------------------------------------------------------------

// State of one think, read by the stop test and the reports.
extern int search_start_ms;   ///< clock_ms() at the start of the call or pondering pass
extern bool pondering;        ///< thinking on the opponent's time
extern bool first_root_move;  ///< the first root move of an iteration is being searched
extern bool time_extended;    ///< an unstable best move has earned the whole budget
extern bool stop_requested;   ///< the stop test answered to a person or the GUI

/// Milliseconds since some moment, which nobody can set, wrapped to 32 bits; compare readings by
/// difference only.
int clock_ms();

/// Milliseconds since search_start_ms.
int elapsed_ms();

/// Find and play the move of the side to move, or analyse without playing; under CECP with
/// pondering on, think on for the opponent afterwards. Without a legal move it reports the
/// end of the game and plays nothing.
void think();

/// One line of thinking output: depth in plies, score in centipawns for the side to move.
void print_thinking(int depth, int score);

/// With false the stop test never stops a search: for programs that search to a fixed
/// depth and have no user. True at the start.
extern bool stop_test_enabled;

// ---------------------------------------------------------------------------
// Suite and user moves
// ---------------------------------------------------------------------------

/// One position of the built-in suite.
struct SuitePosition {
    const char* caption;  ///< printed before it, names the expected move
    const char* fen;
};

constexpr int SUITE_SIZE = 13;

/// Position 0..12 of the suite.
const SuitePosition& suite_position(int index);

/// Think about every position of the suite in turn and report.
void run_suite();

/// Make the move that a text names ("e2e4", "e7e8q"), upper-casing the text. Returns false,
/// with the position unchanged, when it is no legal move; a king left in check is reported
/// in Spanish.
bool parse_user_move(std::string& text);

/// Budget in milliseconds for the next move from the clocks. May set `moves_left`.
///   own_ms, opponent_ms   time left
///   moves_to_control      moves to the end of the current control since the start of the
///                         game, 0 for none; raised when the control has been reached
///   moves_a_control       moves of one control as the level command gave them
///   increment_ms          increment a move
int allocate_time(int own_ms, int opponent_ms, int& moves_to_control, int moves_a_control,
                  int increment_ms);

/// The longest that a move may take with so much time left, in milliseconds: less than the clock
/// by what the move may need to reach the GUI. Caps the budget and what overdraws it.
int clock_limit(int own_ms);

}  // namespace tarsimo

#endif
