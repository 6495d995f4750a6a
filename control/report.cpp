// Thinking output: one line an improved move, for the GUI or for the console.
#include "control/control.h"

#include "board/board.h"
#include "search/search.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace tarsimo {

namespace {

constexpr int CECP_LINE_MOVES = 12;
constexpr int CONSOLE_LINE_MOVES = 8;  // shorter than under CECP; deliberate
constexpr int MINUTES_FROM_MS = 61000;
constexpr int PROGRESS_WIDTH = 52;  // columns that the progress line may have filled

// The first moves of the root's principal variation.
void print_line(int most_moves, bool with_letters) {
    for (int i = 0; i < most_moves; ++i) {
        const PvEntry& entry = pv_table[0][at(i)];
        if (entry.from == 0) break;
        if (with_letters) std::printf("%c", SAN_LETTERS[entry.piece]);
        std::printf("%s%c%s ", square_name(entry.from).c_str(), entry.captured != 0 ? 'x' : '-',
                    square_name(entry.to).c_str());
    }
    std::printf("\n");
    flush_output();
}

void print_cecp_thinking(int depth, int score) {
    std::printf("%d %6d %d %" PRIu64 "    ", depth, score, std::max(elapsed_ms(), 0) / 10, nodes);
    flush_output();
    print_line(CECP_LINE_MOVES, true);
}

void print_console_thinking(int depth, int score) {
    const int elapsed = std::max(elapsed_ms(), 0);
    const int total_seconds = elapsed / 1000;
    const int minutes = elapsed < MINUTES_FROM_MS ? 0 : elapsed / 60000;
    const int seconds = total_seconds - 60 * minutes;
    // During the first second the count is its own divisor and the rate shows as 1; deliberate.
    const std::uint64_t divisor =
        elapsed < 1000 ? nodes : static_cast<std::uint64_t>(total_seconds);
    const std::uint64_t rate =
        std::max<std::uint64_t>(nodes / std::max<std::uint64_t>(divisor, 1), 1);

    std::printf("%*s\r", PROGRESS_WIDTH, "");
    std::printf("%2d)  %2d:%2d  %5.2f %7" PRIu64 " n/s  ", depth, minutes, seconds,
                static_cast<double>(static_cast<float>(score) * 0.01F), rate);
    print_line(CONSOLE_LINE_MOVES, false);
}

}  // namespace

void print_thinking(int depth, int score) {
    if (search_aborted) {
        std::printf("\n");
        flush_output();
    } else if (xboard_mode) {
        print_cecp_thinking(depth, score);
    } else {
        print_console_thinking(depth, score);
    }
}

}  // namespace tarsimo
