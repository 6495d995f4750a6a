// What CECP has an engine say of a think: thinking lines, results and the move.
#include "control/cecp.h"

#include "board/attacks.h"
#include "board/make.h"
#include "board/move_list.h"
#include "control/clock.h"
#include "control/display.h"
#include "control/engine.h"
#include "control/input.h"
#include "control/notation.h"
#include "control/output.h"
#include "search/search.h"

#include <algorithm>
#include <cinttypes>

namespace tarsimo {

namespace {

constexpr int MAX_LINE_MOVES = 12;
constexpr int MIN_MOVES_TO_PONDER = 3;  // left to the time control

void print_thinking_line(int depth, int score) {
    print("%d %6d %d %" PRIu64 "    ", depth, score, std::max(elapsed_ms(), 0) / 10, nodes);
    for (int i = 0; i < MAX_LINE_MOVES; ++i) {
        const PvEntry& entry = pv_table[0][idx(i)];
        if (entry.from == 0) break;
        print("%c%s%c%s ", SAN_LETTERS[entry.piece], square_name(entry.from).c_str(),
              entry.captured != 0 ? 'x' : '-', square_name(entry.to).c_str());
    }
    print("\n");
    flush_output();
}

void report_game_over(bool in_check) {
    if (!in_check) print_line("1/2-1/2 {Stalemate}");
    flush_output();
}

void play_move() {
    if (analyze_mode) return;
    print_move(0);
    make_root_move();
    if (ponder && moves_left >= MIN_MOVES_TO_PONDER) ponder_on();
}

}  // namespace

const Voice cecp_voice = {.min_reported_depth = 6,
                          .hears_in_overtime = false,
                          .root_move_begun = [](int) {},
                          .score_fell = nullptr,
                          .thinking_line = print_thinking_line,
                          .iteration_done = nullptr,
                          .input_waiting = line_waiting,
                          .stop_wanted = interface_stops_search,
                          .game_over = report_game_over,
                          .move_found = play_move};

}  // namespace tarsimo
