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

// So many moves of a list are found by scanning it. Nodes that ask for more mostly ask for all,
// which is cheaper with the rest of the list sorted.
constexpr int SCANNED_PICKS = 5;

// Of the moves not picked yet, best first, at the places of their list in the move array.
std::array<std::int64_t, MOVE_STACK_SIZE> sorted_keys;

// Score and place of a move in one number: the greatest belongs to the best score, and of equal
// ones to the first move.
std::int64_t key_of(int index) {
    return std::int64_t{move_at(index).score} * PLACES + (PLACES - 1 - index);
}

// No key of a move left to pick is as low.
constexpr std::int64_t NO_KEY = std::int64_t{PICKED} * PLACES + (PLACES - 1);

// The greatest key in this ply's list. No branch here is hard to predict.
std::int64_t best_key() {
    const int begin = list_start(search_ply);
    const int end = list_start(search_ply + 1);
    std::int64_t best = NO_KEY;
    for (int i = begin; i < end; ++i) best = std::max(best, key_of(i));
    return best;
}

}  // namespace

int MovePicker::next() {
    if (picked_ == SCANNED_PICKS) sort_rest();
    const std::int64_t key = picked_++ < SCANNED_PICKS ? best_key()
                             : rest_begin_ < rest_end_ ? sorted_keys[idx(rest_begin_++)]
                                                       : NO_KEY;
    const int score = static_cast<int>(key >> PLACE_BITS);
    if (score == PICKED) return -1;
    const int index = PLACES - 1 - static_cast<int>(key & (PLACES - 1));
    current_move_score = score;
    move_at(index).score = PICKED;
    return index;
}

// By insertion: most of the rest are quiet moves without a history, in order already.
void MovePicker::sort_rest() {
    const int begin = list_start(search_ply);
    const int end = list_start(search_ply + 1);
    rest_begin_ = rest_end_ = begin;
    for (int i = begin; i < end; ++i) {
        const std::int64_t key = key_of(i);
        if (key <= NO_KEY) continue;
        int place = rest_end_++;
        for (; place > begin && sorted_keys[idx(place - 1)] < key; --place) {
            sorted_keys[idx(place)] = sorted_keys[idx(place - 1)];
        }
        sorted_keys[idx(place)] = key;
    }
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
        auto& table = history[idx(colour + 1)];
        for (int from = A1; from <= H8; ++from) {
            for (int to = A1; to <= H8; ++to) table[idx(from)][idx(to)] >>= HISTORY_AGEING_SHIFT;
        }
    }
}

void update_killers(const Move& move, int score) {
    MoveRef& mate_killer = killer1[idx(search_ply)];
    MoveRef& first = killer2[idx(search_ply)];
    MoveRef& second = killer3[idx(search_ply)];
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
