// The commands of UCI. What arrives during a search is read then, since an interface may ask or
// stop at any time; what has to wait is kept.
#include "control/uci.h"

#include "board/position.h"
#include "control/clock.h"
#include "control/engine.h"
#include "control/input.h"
#include "control/notation.h"
#include "control/output.h"
#include "control/system.h"
#include "control/text.h"
#include "control/uci_position.h"
#include "search/hash_memory.h"
#include "search/search.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <deque>
#include <optional>
#include <sstream>
#include <string_view>
#include <vector>

namespace tarsimo {

namespace {

constexpr std::int64_t MAX_NUMBER = 1'000'000'000'000;  // of any kind; a thousand million seconds
constexpr int HASH_MEGABYTES = 272;
constexpr int DEFAULT_OVERHEAD_MS = 30;
constexpr int MAX_OVERHEAD_MS = 5000;
constexpr int DEFAULT_MAX_DEPTH = 60;
constexpr std::size_t MAX_KEPT_LINES = 1000;
constexpr int MAX_LINES_PER_TEST = 100;  // so that a stream of lines does not hold the clock

// Nodes between two stop tests. Many nodes make none, so that a few intervals may pass without a
// test; interfaces expect an answer to "stop" within milliseconds, also from a slow machine.
constexpr std::uint64_t MAX_TEST_INTERVAL = std::min<std::uint64_t>(STOP_TEST_INTERVAL, 512);

// ---------------------------------------------------------------------------
// State
// ---------------------------------------------------------------------------

// Options.
int multi_pv = 1;
int move_overhead_ms = DEFAULT_OVERHEAD_MS;
bool analysing = false;

using Number = std::optional<std::int64_t>;

// What `go` asks for.
struct Go {
    std::array<Number, 2> time_ms;       // of white and black
    std::array<Number, 2> increment_ms;  // a move
    Number moves_to_go;
    Number movetime_ms;
    Number depth;
    Number nodes;
    Number mate;  // in so many moves
    bool infinite = false;
    bool ponder = false;
    std::vector<MoveRef> moves;  // the search is among these, if there are any
};

Go order;

// The interface waits for no move before `stop`, or before `ponderhit`.
bool owes_no_move = false;

int pondered_ms = 0;  // before the opponent played the expected move

// A game or a search has been spoken of: from then on the tables' memory is prepared while the
// interface is silent.
bool game_begun = false;

// Lines that have been read during a search and are to be carried out behind it.
std::deque<std::string> kept_lines;

// ---------------------------------------------------------------------------
// Time
// ---------------------------------------------------------------------------

const Number& own_time() { return order.time_ms[side == WHITE ? 0 : 1]; }

bool time_is_limited() { return order.movetime_ms || own_time(); }

// Moves to the end of the control as the formulas want it: the number of its last move.
std::int64_t last_move_of_control() {
    if (!order.moves_to_go) return 0;
    const std::int64_t to_go = std::clamp<std::int64_t>(*order.moves_to_go, 1, NO_TIME_LIMIT / 2);
    return to_go + game_ply / 2 + (side == WHITE);
}

void set_budget_by_order() {
    set_default_times();
    if (order.movetime_ms) {
        const std::int64_t given =
            std::clamp<std::int64_t>(*order.movetime_ms, 1, UNLIMITED_BUDGET_MS);
        set_budget(static_cast<int>(std::max(given - move_overhead_ms, given / 2)));
        time_limit_ms = time_budget_ms;
    } else if (own_time()) {
        const int own = side == WHITE ? 0 : 1;
        GameClock clock{};
        clock.level_moves = static_cast<int>(last_move_of_control());
        clock.control_moves = clock.level_moves;
        clock.level_increment_ms = order.increment_ms[idx(own)].value_or(0);
        clock.own_time_ms = std::max<std::int64_t>(*own_time() - move_overhead_ms, 0);
        clock.opponent_time_ms = order.time_ms[idx(1 - own)].value_or(0);
        set_budget_by_clock(clock, game_ply, side == WHITE);
    } else {
        set_budget(UNLIMITED_BUDGET_MS);
    }
}

// The opponent has played the expected move: the search goes on, on the engine's own time.
void hit() {
    if (!order.ponder) return;
    order.ponder = false;
    owes_no_move = order.infinite;
    set_budget_by_order();
    pondered_ms = elapsed_ms();
    start_clock();
}

// ---------------------------------------------------------------------------
// Searching
// ---------------------------------------------------------------------------

// Few nodes are counted exactly, many to the next stop test.
std::uint64_t stop_test_mask_for(const Number& node_limit) {
    std::uint64_t interval = MAX_TEST_INTERVAL;
    if (node_limit) {
        while (interval > 1 && interval > static_cast<std::uint64_t>(*node_limit) / 64)
            interval /= 2;
    }
    return interval - 1;
}

ThinkTask task_of_order() {
    const bool one_line = multi_pv == 1;
    ThinkTask task;
    task.root.lines = multi_pv;
    task.root.among = order.moves;
    task.root.goes_on_after_mate = !one_line || order.infinite || order.mate.has_value();
    task.fixed_replies = time_is_limited() && one_line && !analysing && !order.infinite &&
                         !order.ponder && !order.nodes && !order.mate && order.moves.empty() &&
                         game_is_from_start();
    task.ends_early = time_is_limited() && one_line && !analysing && !order.infinite;
    task.uses_whole_budget = order.movetime_ms.has_value();
    if (order.mate) task.good_enough = mate_in(2 * static_cast<int>(*order.mate) - 1);
    return task;
}

// Take a line that has arrived during a search. Returns true when it ends the search.
bool hear(std::string line);

void wait_for_permission() {
    while (owes_no_move) {
        std::string line;
        if (!read_line(line)) return;
        if (hear(line)) return;
    }
}

void search_for_order() {
    owes_no_move = order.infinite || order.ponder;
    if (order.ponder) set_budget(UNLIMITED_BUDGET_MS);
    else set_budget_by_order();
    max_depth = static_cast<int>(order.depth.value_or(DEFAULT_MAX_DEPTH));
    stop_test_mask = stop_test_mask_for(order.nodes);
    pondered_ms = 0;
    think(task_of_order());
    stop_test_mask = STOP_TEST_INTERVAL - 1;
    wait_for_permission();
    print_bestmove();
}

// ---------------------------------------------------------------------------
// Reading a command
// ---------------------------------------------------------------------------

// Set a number to the next word, within these limits; a word that is no whole number leaves it.
void read_number(std::istream& words, Number& number, std::int64_t least,
                 std::int64_t most = MAX_NUMBER) {
    std::string word;
    if (!(words >> word)) return;
    char* end = nullptr;
    const long long value = std::strtoll(word.c_str(), &end, 10);
    if (end == word.c_str() || *end != '\0') return;
    number = std::clamp<std::int64_t>(value, least, most);
}

// The moves behind `searchmoves`, up to the first word that is none. Returns that word.
std::string read_moves(std::istream& words) {
    std::string word;
    while (words >> word) {
        if (!looks_like_a_move(word)) return word;
        const std::optional<MoveRef> move = legal_move(word);
        if (move) order.moves.push_back(*move);
    }
    return "";
}

void read_order(const std::string& line) {
    order = {};
    std::istringstream words(line);
    std::string word;
    words >> word;
    words >> word;
    while (words) {
        std::string next;
        if (word == "wtime") read_number(words, order.time_ms[0], -MAX_NUMBER);
        else if (word == "btime") read_number(words, order.time_ms[1], -MAX_NUMBER);
        else if (word == "winc") read_number(words, order.increment_ms[0], 0);
        else if (word == "binc") read_number(words, order.increment_ms[1], 0);
        else if (word == "movestogo") read_number(words, order.moves_to_go, 1);
        else if (word == "movetime") read_number(words, order.movetime_ms, 1);
        else if (word == "depth") read_number(words, order.depth, 1, MAX_ITERATIONS);
        else if (word == "nodes") read_number(words, order.nodes, 1);
        else if (word == "mate") read_number(words, order.mate, 1, MAX_ITERATIONS / 2);
        else if (word == "infinite") order.infinite = true;
        else if (word == "ponder") order.ponder = true;
        else if (word == "searchmoves") next = read_moves(words);
        if (next.empty()) words >> next;
        word = next;
    }
}

// ---------------------------------------------------------------------------
// The commands, each with the whole line
// ---------------------------------------------------------------------------

void introduce(const std::string&) {
    print_line("id name Tarsimo II 2023");
    print_line("id author the Tarsimo II authors");
    print("option name Hash type spin default %d min %d max %d\n", HASH_MEGABYTES, HASH_MEGABYTES,
          HASH_MEGABYTES);
    print_line("option name Clear Hash type button");
    print_line("option name Ponder type check default false");
    print("option name MultiPV type spin default 1 min 1 max %d\n", MAX_LINES);
    print("option name Move Overhead type spin default %d min 0 max %d\n", DEFAULT_OVERHEAD_MS,
          MAX_OVERHEAD_MS);
    print_line("option name UCI_AnalyseMode type check default false");
    print_line("uciok");
}

void say_ready(const std::string&) { print_line("readyok"); }

void begin_new_game(const std::string&) { reset_search(); }

void go(const std::string& line) {
    read_order(line);
    search_for_order();
}

void set_number(std::istream& words, int& setting, int least, int most) {
    Number number;
    read_number(words, number, least, most);
    setting = static_cast<int>(number.value_or(setting));
}

// "setoption name NAME [value VALUE]"; names may hold blanks, and their case does not count.
void set_option(const std::string& line) {
    std::istringstream words(line);
    std::string word, name;
    words >> word >> word;
    while (words >> word && word != "value") name += (name.empty() ? "" : " ") + word;
    to_lower(name);
    if (name == "multipv") {
        set_number(words, multi_pv, 1, MAX_LINES);
    } else if (name == "move overhead") {
        set_number(words, move_overhead_ms, 0, MAX_OVERHEAD_MS);
    } else if (name == "uci_analysemode") {
        analysing = words >> word && word == "true";
    } else if (name == "clear hash") {
        reset_search();
    }
}

void quit(const std::string&) { end_program(EXIT_SUCCESS); }

void ignore(const std::string&) {}

// When a command that arrives during a search is carried out.
enum class Timing {
    AT_ONCE,      // the search goes on
    ENDS_SEARCH,  // which gives its move first
    AFTERWARDS,   // the search goes on
};

struct Command {
    std::string_view word;
    void (*carry_out)(const std::string& line);
    Timing timing;
    bool begins_game;
};

constexpr std::array<Command, 11> commands = {{
    {"uci", introduce, Timing::AT_ONCE, false},
    {"isready", say_ready, Timing::AT_ONCE, false},
    {"position", set_up_game, Timing::ENDS_SEARCH, true},
    {"go", go, Timing::ENDS_SEARCH, true},
    {"ucinewgame", begin_new_game, Timing::ENDS_SEARCH, true},
    {"quit", quit, Timing::ENDS_SEARCH, false},
    {"setoption", set_option, Timing::AFTERWARDS, false},
    {"debug", ignore, Timing::AT_ONCE, false},
    {"register", ignore, Timing::AT_ONCE, false},
    {"stop", ignore, Timing::AT_ONCE, false},
    {"ponderhit", ignore, Timing::AT_ONCE, false},
}};

// The first command word of a line, null when there is none: unknown words before it are skipped,
// as the protocol asks. The line then begins with it.
const Command* find_command(std::string& line) {
    for (Word word(line); !word.text.empty(); word = Word(line, word.end)) {
        const auto found = std::find_if(commands.begin(), commands.end(),
                                        [&](const Command& c) { return c.word == word.text; });
        if (found == commands.end()) continue;
        line.erase(0, word.begin);
        return found;
    }
    return nullptr;
}

bool hear(std::string line) {
    const Command* command = find_command(line);
    if (command == nullptr) return false;
    if (command->word == "stop") {
        owes_no_move = false;
        return true;
    }
    if (command->word == "ponderhit") {
        hit();
        return false;
    }
    if (command->timing == Timing::AT_ONCE) {
        command->carry_out(line);
        flush_output();
        return false;
    }
    if (kept_lines.size() < MAX_KEPT_LINES || command->timing == Timing::ENDS_SEARCH) {
        kept_lines.push_back(line);
    }
    if (command->timing != Timing::ENDS_SEARCH) return false;
    owes_no_move = false;
    return true;
}

// False at the end of the input.
bool next_line(std::string& line) {
    if (kept_lines.empty()) return read_line(line, game_begun ? prefault_hash_tables : nullptr);
    line = kept_lines.front();
    kept_lines.pop_front();
    return true;
}

void execute(std::string line) {
    const Command* command = find_command(line);
    if (command == nullptr) return;
    if (command->begins_game) game_begun = true;
    command->carry_out(line);
}

}  // namespace

bool uci_stops_search() {
    if (order.nodes && nodes >= static_cast<std::uint64_t>(*order.nodes)) return true;
    for (int i = 0; i < MAX_LINES_PER_TEST && line_waiting(); ++i) {
        if (input_ended()) return owes_no_move || !output_has_reader();
        std::string line;
        read_line(line);
        if (hear(line)) return true;
    }
    return false;
}

int ms_since_go() { return pondered_ms + elapsed_ms(); }

void run_uci() {
    voice = &uci_voice;
    accept_long_lines();
    multi_pv = 1;
    move_overhead_ms = DEFAULT_OVERHEAD_MS;
    analysing = false;
    game_begun = false;
    kept_lines.clear();
    stop_test_mask = STOP_TEST_INTERVAL - 1;
    set_up_initial_game();
    for (;;) {
        flush_output();
        std::string line;
        if (!next_line(line)) leave_program();
        execute(line);
    }
}

}  // namespace tarsimo
