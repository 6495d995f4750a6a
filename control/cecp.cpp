// The Chess Engine Communication Protocol loop (Tim Mann and H.G. Muller, protocol version
// 2). One line, one command; everything that is no command is tried as a move.
#include "control/control.h"

#include "board/board.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string_view>

namespace tarsimo {

namespace {

constexpr int MOST = std::numeric_limits<int>::max();

// Kept on the clock whatever the formulas say: what a move may need to reach the GUI, or a quarter
// of the clock if that is less.
constexpr int CLOCK_RESERVE_MS = 100;
constexpr int CLOCK_RESERVE_PART = 4;

// Clock state. It outlives a new game.
int level_moves = 0;         // moves to the end of the current control, 0 for none
int control_moves = 0;       // moves of one control, as the level command gave them
int level_increment_ms = 0;  // increment a move
int own_time_ms = 0;
int opponent_time_ms = 0;

constexpr std::array<std::string_view, 13> ignored_commands = {
    "accepted", "rejected", "xboard", "post", "nopost",   ".",      "pause",
    "draw",     "rating",   "resume", "?",    "computer", "random",
};

// The text behind the command word, or behind `skip` characters of the line.
std::string text_behind(const std::string& line, std::size_t skip) {
    return skip < line.size() ? line.substr(skip) : "";
}

std::string argument(const std::string& line, const std::string& command) {
    return text_behind(line, line.find(command) + command.size());
}

int number_argument(const std::string& line, const std::string& command, int limit) {
    return parse_number(argument(line, command), limit);
}

void print_features() {
    std::printf("feature name=0 myname=\"Tarsimo_II %s\"\n", "2023");
    std::puts("feature setboard=1 playother=1 colors=0 reuse=0");
    std::puts("feature analyze=1 ping=1 draw=0 variants=normal");
    std::puts("feature sigint=0 sigterm=0 ics=0 done=1");
}

// Take back half-moves, if more than that many have been made.
void take_back(int half_moves) {
    if (game_ply <= half_moves || !can_take_back(half_moves)) return;
    for (int i = 0; i < half_moves; ++i) take_back_move();
    search_ply = 1;
}

void leave_the_game_alone() {
    force_mode = true;
    engine_side = NEITHER_SIDE;
}

void set_budget(int milliseconds) {
    time_budget_ms = milliseconds;
    time_limit_ms = NO_TIME_LIMIT;
}

void start_analysis() {
    ponder = false;
    analyze_mode = true;
    engine_side = NEITHER_SIDE;
    set_budget(UNLIMITED_BUDGET_MS);
    think();
}

void move_now() {
    analyze_mode = false;
    force_mode = false;
    engine_side = side;
    think();
}

// "level MOVES BASE INCREMENT": the base is not used, a missing increment counts as 0. A base
// in minutes and seconds ("2:30") ends the reading, as does a fraction.
void set_level(const std::string& line) {
    int moves = 0;
    int base = 0;
    int increment = 0;
    std::array<int*, 3> fields = {&moves, &base, &increment};
    const std::string text = argument(line, "level");
    const char* rest = text.c_str();
    for (int* field : fields) {
        char* end = nullptr;
        const long number = std::strtol(rest, &end, 10);
        if (end == rest) break;
        *field = static_cast<int>(std::clamp<long>(number, -MOST / 1000, MOST / 1000));
        rest = end;
    }
    level_moves = moves;
    control_moves = moves;
    level_increment_ms = increment * 1000;
}

// A large increment, or one move a control, can make the budget exceed the clock.
void set_clock(const std::string& line) {
    own_time_ms = number_argument(line, "time", MOST / 10) * 10;
    const int budget = allocate_time(own_time_ms, opponent_time_ms, level_moves, control_moves,
                                     level_increment_ms);
    time_limit_ms = clock_limit(own_time_ms);
    time_budget_ms = std::min(budget, time_limit_ms);
}

void play_user_move(const std::string& word) {
    std::string text = word;
    if (!parse_user_move(text)) {
        std::transform(text.begin(), text.end(), text.begin(), [](char c) {
            return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        });
        std::printf("Error (unknown command): %s\n", text.c_str());
    } else if (analyze_mode || (!force_mode && engine_side == side)) {
        think();
    }
}

void execute(const std::string& line) {
    const std::string command = first_word(line);
    if (command.empty()) return;

    if (command == "protover") {
        print_features();
    } else if (std::find(ignored_commands.begin(), ignored_commands.end(), command) !=
               ignored_commands.end()) {
        return;
    } else if (command == "ping") {
        std::printf("pong %d\n", number_argument(line, command, MOST));
    } else if (command == "setboard") {
        set_position_fen(text_behind(line, std::string_view("setboard ").size()));
    } else if (command == "quit") {
        end_program(EXIT_SUCCESS);
    } else if (command == "undo") {
        take_back(1);
    } else if (command == "remove") {
        take_back(2);
    } else if (command == "white") {
        side = WHITE;
        engine_side = BLACK;
    } else if (command == "black") {
        side = BLACK;
        engine_side = WHITE;
    } else if (command == "playother") {
        force_mode = false;
        engine_side = side == WHITE ? BLACK : WHITE;
    } else if (command == "new") {
        init_engine();
    } else if (command == "easy") {
        ponder = false;
    } else if (command == "hard") {
        ponder = true;
    } else if (command == "force" || command == "result") {
        leave_the_game_alone();
    } else if (command == "analyze") {
        start_analysis();
    } else if (command == "go") {
        move_now();
    } else if (command == "sd") {
        max_depth = number_argument(line, command, MOST);
        set_budget(UNLIMITED_BUDGET_MS);
    } else if (command == "level") {
        set_level(line);
    } else if (command == "st") {
        set_budget(number_argument(line, command, MOST / 1000) * 1000);
    } else if (command == "otim") {
        opponent_time_ms = number_argument(line, command, MOST / 10) * 10;
    } else if (command == "time") {
        set_clock(line);
    } else {
        play_user_move(command);
    }
}

}  // namespace

int allocate_time(int own_ms, int opponent_ms, int& moves_to_control, int moves_a_control,
                  int increment_ms) {
    const int sudden_death = own_ms / (opponent_ms <= own_ms ? 20 : 30);
    if (moves_to_control == 0 && increment_ms == 0) return sudden_death;
    if (moves_to_control == 0 && increment_ms > 0) {
        return own_ms / (own_ms < opponent_ms ? 30 : 20) + (increment_ms >> 1);
    }

    // Moves per control, counted from the start of the game.
    int left = moves_to_control - game_ply / 2 - (engine_side == WHITE ? 1 : 0);
    if (left < 0 || (left == 0 && moves_a_control <= 0)) return sudden_death;
    if (left == 0) {
        // The control has just been reached: count towards the next one.
        moves_left = moves_a_control;
        moves_to_control += moves_a_control;
        return own_ms / (moves_a_control - moves_a_control / 10);
    }
    moves_left = left;
    // The last moves before the control keep one second in reserve.
    if (left < 4) return (own_ms - 1000) / left;
    return own_ms / std::min(left, 30);
}

int clock_limit(int own_ms) {
    return own_ms - std::min(own_ms / CLOCK_RESERVE_PART, CLOCK_RESERVE_MS);
}

void run_cecp() {
    level_moves = control_moves = 0;
    level_increment_ms = 0;
    own_time_ms = opponent_time_ms = 0;
    for (;;) {
        flush_output();
        std::string line;
        if (!read_line(line)) leave_program();
        execute(line);
    }
}

}  // namespace tarsimo
