// What the console shows of a think: progress and thinking lines, the move with an announced mate,
// the statistics and the board.
#include "control/console.h"

#include "board/attacks.h"
#include "board/make.h"
#include "board/move_list.h"
#include "board/position.h"
#include "control/clock.h"
#include "control/display.h"
#include "control/engine.h"
#include "control/input.h"
#include "control/notation.h"
#include "control/output.h"
#include "eval/evaluate.h"
#include "search/root.h"
#include "search/statistics.h"

#include <algorithm>
#include <cinttypes>

namespace tarsimo {

namespace {

constexpr int MAX_LINE_MOVES = 8;  // QUIRK: under CECP it is 12
constexpr int MINUTES_FROM_MS = 61000;
constexpr int PROGRESS_WIDTH = 52;          // columns that the progress line may have filled
constexpr int MAX_ANNOUNCED_DISTANCE = 29;  // plies from the root to the mate

void print_progress(int index) {
    print(" Ply (%2d)  Analizando..(%d) ", root.iteration_depth, index + 1);
    print_move(index);
    print(" \r  ");
    flush_output();
}

void print_variation() {
    for (int i = 0; i < MAX_LINE_MOVES; ++i) {
        const PvEntry& entry = pv_table[0][at(i)];
        if (entry.from == 0) break;
        print("%s%c%s ", square_name(entry.from).c_str(), entry.captured != 0 ? 'x' : '-',
              square_name(entry.to).c_str());
    }
    print("\n");
}

void print_thinking_line(int depth, int score) {
    const int elapsed = std::max(elapsed_ms(), 0);
    const int total_seconds = elapsed / 1000;
    const int minutes = elapsed < MINUTES_FROM_MS ? 0 : elapsed / 60000;
    const int seconds = total_seconds - 60 * minutes;
    // QUIRK: during the first second the count is its own divisor, and the rate shows as 1.
    const std::uint64_t divisor =
        elapsed < 1000 ? nodes : static_cast<std::uint64_t>(total_seconds);
    const std::uint64_t rate =
        std::max<std::uint64_t>(nodes / std::max<std::uint64_t>(divisor, 1), 1);

    print("%*s\r", PROGRESS_WIDTH, "");
    print("%2d)  %2d:%2d  %5.2f %7" PRIu64 " n/s  ", depth, minutes, seconds,
          static_cast<double>(static_cast<float>(score) * 0.01F), rate);
    print_variation();
    flush_output();
}

void report_game_over(bool in_check) {
    print_line(in_check ? "\n MATE!!..." : "\n TABLAS AHOGADO!!...");
    flush_output();
}

void announce_mate() {
    const int distance = mate_in(0) - root.best_score();  // plies from the root to the mated side's
    if (distance > MAX_ANNOUNCED_DISTANCE) return;
    if (distance < 3) {
        print(side == BLACK ? "  blancas ganan JAQUE MATE   " : "  negras ganan JAQUE MATE   ");
    } else {
        print("  MATE en %d  ", (distance - 1) / 2);
    }
}

void report_move() {
    const long elapsed_seconds = elapsed_ms() / 1000;
    print("\n\n  Mi jugada: ");
    print_move(0);
    make_root_move();
    announce_mate();
    print_statistics(elapsed_seconds);
    if (!test_mode) print_board();
    flush_output();
}

std::uint64_t percentage(std::uint64_t part, std::uint64_t whole) {
    return part * 100 / std::max<std::uint64_t>(whole, 1);
}

}  // namespace

const Voice console_voice = {.min_reported_depth = 6,
                             .hears_in_overtime = false,
                             .root_move_begun = print_progress,
                             .score_fell = nullptr,
                             .thinking_line = print_thinking_line,
                             .iteration_done = nullptr,
                             .input_waiting = key_pressed,
                             .stop_wanted = key_pressed,
                             .game_over = report_game_over,
                             .move_found = report_move};

void print_statistics(long elapsed_seconds) {
    const SearchStatistics& s = statistics;
    const auto divisor = static_cast<std::uint64_t>(std::max(elapsed_seconds, 1L));
    print("\n\n  Razoring   %9" PRIu64 "    Nul_estatic %9" PRIu64 "\n", s.razoring, s.static_null);
    print("  Futility   %9" PRIu64 "    LMR         %9" PRIu64 "   En prueba     %9" PRIu64 "\n",
          s.futility, s.lmr, s.on_trial);
    print("  Extensores %9" PRIu64 "    Ex_jaque    %9" PRIu64 " \n", s.extensions,
          s.check_extensions);
    print("  Hash_prob  %9" PRIu64 "    Hash_exito  %9" PRIu64 "   %2" PRIu64 "%%\n", s.hash_probes,
          s.hash_hits, percentage(s.hash_hits, s.hash_probes));
    print("  Nulos_prob %9" PRIu64 "    Nulos_exito %9" PRIu64 "   %2" PRIu64 "%%\n", s.null_tries,
          s.null_cuts, percentage(s.null_cuts, s.null_tries));
    print("  Eval_hash  %9" PRIu64 "    Eval_lazy   %9" PRIu64 "   Eval_completa %9" PRIu64 "\n",
          eval_hash_count, eval_lazy_count, eval_full_count);
    print("\n  Crono = %ld seg, Pos/Seg = %" PRIu64 "\n", elapsed_seconds, nodes / divisor);
}

}  // namespace tarsimo
