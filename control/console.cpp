// The console loop: a person types commands and moves in either case, one a line.
#include "control/control.h"

#include "board/board.h"

#include <array>
#include <cstdio>
#include <limits>

namespace tarsimo {

namespace {

constexpr int AUTO_MOVES = 30;
constexpr int DEPTH_LEVEL = 13;  // the level that asks for a depth instead of a time

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

// Print a prompt and read the answer in upper case. The end of input ends the program.
std::string ask(const char* prompt) {
    std::printf("%s", prompt);
    flush_output();
    std::string answer;
    if (!read_line(answer)) leave_program();
    to_upper(answer);
    return answer;
}

void print_help() {
    for (const char* line : help_lines) std::puts(line);
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
    std::printf(force_mode ? " Jugador-Jugador SI" : " Jugador-Jugador NO");
}

// Level n gives n seconds a move, and shows milliseconds under the word "segundos"; both
// deliberate.
void set_level() {
    constexpr int most = std::numeric_limits<int>::max();
    const int level = parse_number(ask(" Nivel: "), most / 1000);
    if (level == DEPTH_LEVEL) {
        max_depth = parse_number(ask(" Ply: "), most);
        time_budget_ms = UNLIMITED_BUDGET_MS;
    } else {
        time_budget_ms = level * 1000;
        std::printf("Nivel= %d segundos\n", time_budget_ms);
    }
}

void user_moves(std::string& text) {
    if (!parse_user_move(text)) {
        std::puts("Jugada ilegal o Comando no reconocido");
    } else if (!force_mode) {
        print_board();
        think();
    }
}

void execute(std::string& line) {
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
    } else if (line == "TEST") {
        run_suite();
    } else if (line == "NEW") {
        init_engine();
    } else if (line == "D") {
        print_board();
    } else if (line == "R") {
        take_back_half_move();
    } else if (line == "C") {
        side = side == WHITE ? BLACK : WHITE;  // the key stays as it is; deliberate
    } else if (line == "GO") {
        force_mode = false;
        think();
    } else if (line == "AUTO") {
        play_both_sides();
    } else if (line == "DOS") {
        toggle_force_mode();
    } else if (line == "N") {
        set_level();
    } else {
        user_moves(line);
    }
}

}  // namespace

void run_console() {
    for (;;) {
        std::string line = ask("Su jugada: ");
        execute(line);
    }
}

}  // namespace tarsimo
