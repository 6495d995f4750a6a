// The console loop: a person types commands and moves in either case, one a line.
#include "control/console.h"

#include "board/make.h"
#include "board/position.h"
#include "control/cecp.h"
#include "control/clock.h"
#include "control/display.h"
#include "control/engine.h"
#include "control/input.h"
#include "control/output.h"
#include "control/suite.h"
#include "control/text.h"
#include "control/user_move.h"
#include "search/hash_memory.h"

#include <array>
#include <limits>

namespace tarsimo {

namespace {

constexpr int AUTO_MOVES = 30;
constexpr int DEPTH_LEVEL = 13;  // the level that asks for a depth instead of a time
constexpr int MAX_NUMBER = std::numeric_limits<int>::max();

constexpr std::array<const char*, 13> help_lines = {
    "                                                 ",
    " q, quit, exit    = exit program",
    " e2e4, e7e8q      = do a move",
    " new              = new game",
    " d                = print board",
    " auto             = auto-play 30 move",
    " test             = test diverse positions 60 s, ",
    " r                = undo a move",
    " c                = change color to play",
    " dos              = force",
    " go               = computer play",
    " n                = level (1=10s, 2=20s.. 13=ply",
    "                                                 ",
};

// Set by the first command that concerns a game: from then on a search is to be expected, and the
// tables' memory is prepared while the person thinks.
bool game_begun = false;

// Print a prompt and read the answer in upper case. The end of input ends the program.
std::string ask(const char* prompt) {
    print("%s", prompt);
    flush_output();
    std::string answer;
    if (!read_line(answer, game_begun ? prefault_hash_tables : nullptr)) leave_program();
    to_upper(answer);
    return answer;
}

void print_help() {
    for (const char* line : help_lines) print_line(line);
}

void take_back_half_move() {
    if (game_ply <= 1 || !can_take_back(1)) return;
    take_back_move();
    search_ply = 1;
    print_board();
}

void play_both_sides() {
    force_mode = false;
    for (int i = 0; i < AUTO_MOVES; ++i) think();
}

void toggle_force_mode() {
    force_mode = !force_mode;
    print(force_mode ? " Jugador-Jugador SI" : " Jugador-Jugador NO");
}

// QUIRK: level n gives n seconds per move, but 13 asks for a depth; the answer shows milliseconds
// under the word "segundos".
void ask_level() {
    const int level = parse_number(ask(" Nivel: "), MAX_NUMBER / 1000);
    if (level == DEPTH_LEVEL) {
        max_depth = parse_number(ask(" Ply: "), MAX_NUMBER);
        set_budget(UNLIMITED_BUDGET_MS);
    } else {
        set_budget(level * 1000);
        print("Nivel= %d segundos\n", time_budget_ms);
    }
}

// Returns false when the text is no legal move.
bool play_user_move(std::string& text) {
    if (!parse_user_move(text)) {
        print_line("Jugada ilegal o Comando no reconocido");
        return false;
    }
    if (!force_mode) {
        print_board();
        think();
    }
    return true;
}

// Carry out a command that shows something, or ends the dialogue. Returns false when the line is
// none of them.
bool execute_outside_game(const std::string& line) {
    if (line == "XBOARD") {
        xboard_mode = true;
        force_mode = false;
        run_cecp();
    } else if (line == "Q" || line == "QUIT" || line == "EXIT") {
        leave_program();
    } else if (line == "HELP" || line == "AYUDA") {
        print_help();
    } else if (line == "PONDER") {
        ponder = true;
    } else if (line == "D") {
        print_board();
    } else if (line == "R") {
        take_back_half_move();
    } else {
        return false;
    }
    return true;
}

// Carry out a command of the game, or a move. Returns false when the line is neither.
bool execute_in_game(std::string& line) {
    if (line == "TEST") {
        run_suite();
    } else if (line == "NEW") {
        init_engine();
    } else if (line == "C") {
        side = side == WHITE ? BLACK : WHITE;  // QUIRK: the key stays as it is
    } else if (line == "GO") {
        force_mode = false;
        think();
    } else if (line == "AUTO") {
        play_both_sides();
    } else if (line == "DOS") {
        toggle_force_mode();
    } else if (line == "N") {
        ask_level();
    } else {
        return play_user_move(line);
    }
    return true;
}

}  // namespace

void run_console() {
    voice = &console_voice;
    game_begun = false;
    for (;;) {
        std::string line = ask("Su jugada: ");
        if (!execute_outside_game(line) && execute_in_game(line)) game_begun = true;
    }
}

}  // namespace tarsimo
