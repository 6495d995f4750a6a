// What UCI has an engine say of a search: information lines and the answer.
#include "control/uci.h"

#include "board/attacks.h"
#include "board/generate.h"
#include "board/make.h"
#include "board/move_list.h"
#include "control/input.h"
#include "control/notation.h"
#include "control/output.h"
#include "search/root.h"
#include "search/search.h"
#include "search/table.h"

#include <algorithm>
#include <cinttypes>
#include <iterator>
#include <string>
#include <vector>

namespace tarsimo {

namespace {

constexpr int CURRENT_MOVE_FROM_MS = 1000;  // before, it changes faster than anybody reads
constexpr std::uint64_t SAMPLE = std::min<std::uint64_t>(1000, tt_size);  // entries looked at

// Generating leaves ordering scores in the slots of the array, and later lists build on what they
// find there: whoever looks at moves beside the search puts them back.
class KeptSlots {
  public:
    KeptSlots() : slots_(begin(), begin() + MAX_LIST_LENGTH) {}
    ~KeptSlots() { std::copy(slots_.begin(), slots_.end(), begin()); }
    KeptSlots(const KeptSlots&) = delete;
    KeptSlots& operator=(const KeptSlots&) = delete;

  private:
    static MoveStack::iterator begin() { return std::next(move_stack.begin(), list_start(1)); }
    std::vector<Move> slots_;
};

bool make_if_legal(const PvEntry& entry) {
    search_ply = 1;  // one list for all of them, behind that of the root
    generate_moves();
    for (int i = list_start(1); i < list_start(2); ++i) {
        const Move& move = move_at(i);
        if (move.from != entry.from || move.to != entry.to || move.promotion != entry.promotion) {
            continue;
        }
        make_move(i);
        if (king_left_safe()) return true;
        unmake_move();
        return false;
    }
    return false;
}

// The moves of a variation up to the first that the rules do not allow: what a node has left in
// its row can stand behind a line that ends before it.
std::vector<std::string> legal_variation(const std::array<PvEntry, PLY_SLOTS>& line) {
    const KeptSlots kept;
    std::vector<std::string> names;
    for (const PvEntry& entry : line) {
        if (entry.from == 0 || !make_if_legal(entry)) break;
        names.push_back(coordinate_name({.from = entry.from,
                                         .to = entry.to,
                                         .captured = 0,
                                         .promotion = entry.promotion,
                                         .castle = 0,
                                         .ep_capture = 0,
                                         .score = 0}));
    }
    for (std::size_t i = 0; i < names.size(); ++i) unmake_move();
    search_ply = 0;
    return names;
}

// Centipawns, or full moves to the mate; negative when the engine is mated.
std::string score_text(int score) {
    if (is_mate(score)) return "mate " + std::to_string((mate_in(0) - score + 1) / 2);
    if (is_mated(score)) return "mate -" + std::to_string((score - mated_in(0)) / 2);
    return "cp " + std::to_string(score);
}

// Share of the table that this search has written, in thousandths.
std::uint64_t table_permill() {
    const auto written = std::count_if(tt_table, tt_table + SAMPLE, [](const TTEntry& entry) {
        return entry.key != 0 && entry.generation == tt_generation;
    });
    return static_cast<std::uint64_t>(written) * 1000 / SAMPLE;
}

void print_info(int line, int depth, int score, const char* bound) {
    const auto ms = static_cast<std::uint64_t>(std::max(ms_since_go(), 0));
    print("info depth %d seldepth %d multipv %d score %s%s", depth, std::max(deepest_ply, depth),
          line + 1, score_text(score).c_str(), bound);
    print(" nodes %" PRIu64 " nps %" PRIu64 " hashfull %" PRIu64 " time %" PRIu64 " pv", nodes,
          nodes * 1000 / std::max<std::uint64_t>(ms, 1), table_permill(), ms);
    for (const std::string& name : legal_variation(root.lines[idx(line)].variation)) {
        print(" %s", name.c_str());
    }
    print("\n");
    flush_output();
}

void print_current_move(int index) {
    if (ms_since_go() < CURRENT_MOVE_FROM_MS) return;
    const auto begin = move_stack.begin();
    const auto number = std::count_if(begin, std::next(begin, index + 1),
                                      [](const Move& move) { return move.score != PICKED; });
    print("info depth %d currmove %s currmovenumber %d\n", root.iteration_depth,
          coordinate_name(move_at(index)).c_str(), static_cast<int>(number));
    flush_output();
}

void print_fallen_score(int depth, int score) {
    print_info(root.line, depth, score, " upperbound");
}

void print_thinking_line(int depth, int score) { print_info(root.line, depth, score, ""); }

// Several lines, in the order of their scores.
void print_lines(int depth) {
    if (root.task.lines == 1) return;
    for (int line = 0; line < root_lines(); ++line) {
        print_info(line, depth, root.lines[idx(line)].score, "");
    }
}

void report_game_over(bool in_check) {
    print("info depth 0 score %s\n", in_check ? "mate 0" : "cp 0");
    print("info string no legal move: %s\n", in_check ? "checkmate" : "stalemate");
    flush_output();
}

}  // namespace

const Voice uci_voice = {.min_reported_depth = 1,
                         .hears_in_overtime = true,
                         .root_move_begun = print_current_move,
                         .score_fell = print_fallen_score,
                         .thinking_line = print_thinking_line,
                         .iteration_done = print_lines,
                         .input_waiting = line_waiting,
                         .stop_wanted = uci_stops_search,
                         .game_over = report_game_over,
                         .move_found = [] {}};

void print_bestmove() {
    if (root.legal_moves == 0) {
        print_line("bestmove 0000");
    } else {
        const auto line = legal_variation(root.lines[0].variation);
        print("bestmove %s", coordinate_name(move_at(0)).c_str());
        if (line.size() > 1) print(" ponder %s", line[1].c_str());
        print("\n");
    }
    flush_output();
}

}  // namespace tarsimo
