#include "tools/tuning/extract.h"

#include "board/attacks.h"
#include "board/position.h"

#include "control/fen.h"
#include "eval/evaluate.h"
#include "search/search.h"
#include "tools/legal_moves.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace tarsimo::tuning {

namespace {

constexpr int FIRST_PLIES = 4;   // of a game, still too much like its random start
constexpr int LAST_FIFTY = 80;   // later scores fade towards the draw
constexpr int WON_SCORE = 2000;  // beyond it, mates of bare kings too, there is nothing to learn

bool is_wanted(const PlayedMove& move) {
    return fifty < LAST_FIFTY && std::abs(move.score) < WON_SCORE && is_quiet();
}

}  // namespace

bool is_quiet() {
    if (in_check()) return false;
    const int score = evaluate(-INFINITE_SCORE, INFINITE_SCORE);
    return std::abs(score) < WON_SCORE && quiesce(-INFINITE_SCORE, INFINITE_SCORE, 0) == score;
}

std::vector<LabelledPosition> Extractor::extract(const GameRecord& game, bool& legal) {
    std::vector<std::pair<std::uint64_t, LabelledPosition>> found;
    set_position_fen(game.start);
    legal = false;
    int ply = 0;
    for (const PlayedMove& move : game.moves) {
        if (++ply > FIRST_PLIES && is_wanted(move) && !seen_.contains(hash_key)) {
            found.push_back({hash_key, {position_fen(), game.result, std::nullopt}});
        }
        const int index = find_root_move(legal_moves(), move.name);
        if (index < 0) return {};
        play_root_move(index);
    }
    legal = true;

    std::vector<std::pair<std::uint64_t, LabelledPosition>> chosen;
    std::sample(found.begin(), found.end(), std::back_inserter(chosen), per_game_, random_);
    std::vector<LabelledPosition> positions;
    for (auto& [key, position] : chosen) {
        if (seen_.insert(key).second) positions.push_back(std::move(position));
    }
    return positions;
}

}  // namespace tarsimo::tuning
