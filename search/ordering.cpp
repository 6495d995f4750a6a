// Move ordering memory: three killers per ply and the history table (Schaeffer, "The history
// heuristic", 1983). The lists read both when a move is added; the searches write them here.
#include "search/ordering.h"

#include "eval/score.h"

#include "board/move_list.h"
#include "board/position.h"

#include "search/search.h"

#include <algorithm>

namespace tarsimo {

int history_max = 0;
int current_move_score = 0;
std::array<int, PLY_SLOTS> eval_stack{};

namespace {

constexpr int HISTORY_LIMIT = 1800000;  // history stays below the bands of the killers
constexpr int HISTORY_AGEING_SHIFT = 2;

constexpr int PLACE_BITS = 15;  // hold any index of the move array
constexpr int PLACES = 1 << PLACE_BITS;
static_assert(MOVE_STACK_SIZE <= PLACES);

}  // namespace

int pick_move() {
    // Score and place in one number: the best score wins, and of equal ones the first move. No
    // branch here is hard to predict.
    const int begin = list_start(search_ply);
    const int end = list_start(search_ply + 1);
    std::int64_t best_key = std::int64_t{PICKED} * PLACES;
    for (int i = begin; i < end; ++i) {
        best_key = std::max(best_key, std::int64_t{move_at(i).score} * PLACES + (PLACES - 1 - i));
    }
    const int best = static_cast<int>(best_key >> PLACE_BITS);
    if (best == PICKED) return -1;

    const int choice = PLACES - 1 - static_cast<int>(best_key & (PLACES - 1));
    current_move_score = best;
    move_at(choice).score = PICKED;
    return choice;
}

void credit_history(const Move& move, int credit) {
    int& value = history_of(move.from, move.to);
    value += credit;
    history_max = std::max(history_max, value);
}

void age_history() {
    if (history_max <= HISTORY_LIMIT) return;
    history_max >>= HISTORY_AGEING_SHIFT;
    for (const int colour : {BLACK, WHITE}) {
        auto& table = history[at(colour + 1)];
        for (int from = A1; from <= H8; ++from) {
            for (int to = A1; to <= H8; ++to) table[at(from)][at(to)] >>= HISTORY_AGEING_SHIFT;
        }
    }
}

void update_killers(const Move& move, int score) {
    MoveRef& mate_killer = killer1[at(search_ply)];
    MoveRef& first = killer2[at(search_ply)];
    MoveRef& second = killer3[at(search_ply)];
    if (is_mate(score)) {
        mate_killer.from = move.from;
        mate_killer.to = move.to;
    } else if (move.captured == 0 && move.promotion <= ROOK && !first.same_move(move)) {
        second = first;
        first.from = move.from;  // QUIRK: the third value keeps what it held
        first.to = move.to;
    }
}

void clear_ordering() {
    killer1.fill({});
    killer2.fill({});
    killer3.fill({});
    for (auto& colour : history) {
        for (auto& row : colour) row.fill(0);
    }
    history_max = 0;
    for (auto& row : pv_table) row.fill({});
    eval_stack.fill(0);
}

}  // namespace tarsimo
