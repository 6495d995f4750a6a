// The protocol's commands. One line, one command; everything that is no command is tried as a
// move.
#include "control/cecp.h"

#include "board/make.h"
#include "board/position.h"
#include "control/clock.h"
#include "control/engine.h"
#include "control/fen.h"
#include "control/input.h"
#include "control/notation.h"
#include "control/output.h"
#include "control/system.h"
#include "control/text.h"
#include "control/user_move.h"
#include "search/hash_memory.h"
#include "search/search.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>
#include <string_view>

namespace tarsimo {

namespace {

constexpr int MAX_NUMBER = std::numeric_limits<int>::max();

// The interface's clocks. They outlive a new game.
GameClock game_clock{};

// An analysis has been asked for, and nothing has ended it: it goes on after commands that only
// interrupt it. Apart from analyze_mode, which stays set until `go`.
bool analysis_wanted = false;

// The analysis stopped for a command, before it came to its own end.
bool analysis_interrupted = false;

// Set by the first command that concerns a game: from then on a search is to be expected, and the
// tables' memory is prepared while the interface is silent.
bool game_begun = false;

int number_in(const std::string& line, int limit) {
    return parse_number(text_behind(line, first_word(line)), limit);
}

std::int64_t centiseconds_in(const std::string& line) {
    return std::int64_t{number_in(line, MAX_NUMBER)} * 10;
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
    analysis_wanted = false;
}

void run_analysis() {
    analysis_wanted = true;
    think();
    analysis_interrupted = analysis_wanted && stop_requested;
}

void analyse() {
    ponder = false;
    analyze_mode = true;
    engine_side = NEITHER_SIDE;
    set_budget(UNLIMITED_BUDGET_MS);
    run_analysis();
}

// A command that has changed the position, or only asked for something, does not end an analysis.
void analyse_on() {
    if (analysis_wanted) analyse();
}

// ---------------------------------------------------------------------------
// The commands, each with the whole line
// ---------------------------------------------------------------------------

void ignore(const std::string&) {}

void print_features(const std::string&) {
    print("feature name=0 myname=\"Tarsimo_II %s\"\n", "2023");
    print_line("feature setboard=1 playother=1 colors=0 reuse=0");
    print_line("feature analyze=1 ping=1 draw=0 variants=normal");
    print_line("feature sigint=0 sigterm=0 ics=0 done=1");
}

void answer_ping(const std::string& line) {
    print("pong %d\n", number_in(line, MAX_NUMBER));
    flush_output();
    if (analysis_interrupted) analyse_on();
}

void set_board(const std::string& line) {
    constexpr std::size_t text_start = std::string_view("setboard ").size();
    set_position_fen(line.size() > text_start ? line.substr(text_start) : "");
    analyse_on();
}

void quit(const std::string&) { end_program(EXIT_SUCCESS); }

void undo_half_move(const std::string&) {
    take_back(1);
    analyse_on();
}

void undo_move(const std::string&) {
    take_back(2);
    analyse_on();
}

void let_white_move(const std::string&) {
    side = WHITE;
    engine_side = BLACK;
}

void let_black_move(const std::string&) {
    side = BLACK;
    engine_side = WHITE;
}

void play_other_side(const std::string&) {
    force_mode = false;
    engine_side = side == WHITE ? BLACK : WHITE;
}

void begin_new_game(const std::string&) {
    init_engine();
    analysis_wanted = false;
}

void stop_pondering(const std::string&) { ponder = false; }

void allow_pondering(const std::string&) { ponder = true; }

void stop_playing(const std::string&) { leave_the_game_alone(); }

void start_analysis(const std::string&) { analyse(); }

void move_now(const std::string&) {
    analyze_mode = false;
    analysis_wanted = false;
    force_mode = false;
    engine_side = side;
    think();
}

void set_depth(const std::string& line) {
    max_depth = number_in(line, MAX_NUMBER);
    set_budget(UNLIMITED_BUDGET_MS);
}

// "level MOVES BASE INCREMENT": the base is not used, a missing increment counts as 0. A base
// in minutes and seconds ("2:30") ends the reading, as does a fraction.
void set_level(const std::string& line) {
    std::array<int, 3> numbers{};
    const std::string text = text_behind(line, first_word(line));
    const char* rest = text.c_str();
    for (int& number : numbers) {
        char* end = nullptr;
        const long value = std::strtol(rest, &end, 10);
        if (end == rest) break;
        number = static_cast<int>(std::clamp<long>(value, -MAX_NUMBER, MAX_NUMBER));
        rest = end;
    }
    game_clock.level_moves = numbers[0];
    game_clock.control_moves = numbers[0];
    game_clock.level_increment_ms = std::int64_t{numbers[2]} * 1000;
}

void set_seconds_per_move(const std::string& line) {
    set_budget(number_in(line, MAX_NUMBER / 1000) * 1000);
}

void set_opponent_time(const std::string& line) {
    game_clock.opponent_time_ms = centiseconds_in(line);
}

void set_own_time(const std::string& line) {
    game_clock.own_time_ms = centiseconds_in(line);
    set_budget_by_clock(game_clock, game_ply, engine_side == WHITE);
}

void play_user_move(const std::string& line) {
    std::string word = first_word(line);
    if (!parse_user_move(word)) {
        to_lower(word);
        print("Error (unknown command): %s\n", word.c_str());
        if (analysis_interrupted) analyse_on();
        return;
    }
    game_begun = true;
    if (analyze_mode) run_analysis();
    else if (!force_mode && engine_side == side) think();
}

// The interface may end an analysis that has come to its own end at the same moment.
void end_analysis(const std::string& line) {
    if (analyze_mode) analysis_wanted = false;
    else play_user_move(line);
}

// ---------------------------------------------------------------------------
// The command table
// ---------------------------------------------------------------------------

struct Command {
    std::string_view word;
    void (*carry_out)(const std::string& line);
    bool ends_analysis;  // one that is going on, so that the command is carried out
    bool begins_game;    // a search is to be expected from here on
};

constexpr std::array<Command, 35> commands = {{
    // word, function, ends an analysis, begins a game
    {"protover", print_features, false, false},
    {"accepted", ignore, false, false},
    {"rejected", ignore, false, false},
    {"xboard", ignore, false, false},
    {"ping", answer_ping, true, false},
    {"setboard", set_board, true, true},
    {"quit", quit, true, false},
    {"undo", undo_half_move, true, false},
    {"remove", undo_move, true, false},
    {"white", let_white_move, true, true},
    {"black", let_black_move, true, true},
    {"playother", play_other_side, true, true},
    {"new", begin_new_game, true, true},
    {"easy", stop_pondering, false, false},
    {"hard", allow_pondering, false, false},
    {"force", stop_playing, true, false},
    {"analyze", start_analysis, true, true},
    {"go", move_now, true, true},
    {"result", stop_playing, true, false},
    {"sd", set_depth, false, true},
    {"level", set_level, false, true},
    {"st", set_seconds_per_move, false, true},
    {"otim", set_opponent_time, false, true},
    {"time", set_own_time, false, true},
    {"post", ignore, false, false},
    {"nopost", ignore, false, false},
    {".", ignore, false, false},
    {"pause", ignore, false, false},
    {"draw", ignore, false, false},
    {"rating", ignore, false, false},
    {"resume", ignore, false, false},
    {"?", ignore, false, false},
    {"computer", ignore, false, false},
    {"random", ignore, false, false},
    {"exit", end_analysis, false, false},
}};

const Command* find_command(const std::string& word) {
    const auto found = std::find_if(commands.begin(), commands.end(),
                                    [&](const Command& command) { return command.word == word; });
    return found == commands.end() ? nullptr : found;
}

void execute(const std::string& line) {
    const std::string word = first_word(line);
    if (word.empty()) return;
    const Command* command = find_command(word);
    if (command == nullptr) {
        play_user_move(line);
        return;
    }
    if (command->begins_game) game_begun = true;
    command->carry_out(line);
}

bool ends_analysis(const std::string& word) {
    const Command* command = find_command(word);
    return command != nullptr ? command->ends_analysis : looks_like_a_move(word);
}

}  // namespace

bool interface_stops_search() {
    if (!line_waiting()) return false;
    if (input_ended()) return analyze_mode || !output_has_reader();
    if (analyze_mode && ends_analysis(first_word(waiting_line()))) return true;

    std::string line;
    read_line(line);
    const std::string word = first_word(line);
    const bool stops = word == "?" || word == "exit";
    if (stops) analysis_wanted = false;
    return stops;
}

void run_cecp() {
    voice = &cecp_voice;
    game_clock = {};
    analysis_wanted = false;
    analysis_interrupted = false;
    game_begun = false;
    for (;;) {
        flush_output();
        std::string line;
        if (!read_line(line, game_begun ? prefault_hash_tables : nullptr)) leave_program();
        execute(line);
    }
}

}  // namespace tarsimo
