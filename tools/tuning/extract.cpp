#include "tools/tuning/extract.h"

#include "board/attacks.h"
#include "board/position.h"

#include "control/fen.h"
#include "eval/evaluate.h"
#include "search/search.h"
#include "tools/common/legal_moves.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>

namespace tarsimo::tuning {

namespace {

constexpr int FIRST_PLIES = 4;       // of a game, still too much like its random start
constexpr int LAST_FIFTY = 80;       // later scores fade towards the draw
constexpr int SETTLED_SCORE = 2000;  // from here on there is nothing to learn, as in KQK

constexpr int MAX_PIECES = 16;  // of a side, pawns and king included

// A position that a game can have, as far as is needed here: the king of the side that is not to
// move cannot be taken, and no side has more pieces than it began with. With dozens of pieces the
// quiescence search does not end within minutes.
bool is_playable() {
    std::array<int, 2> pieces{};
    for (int sq = A1; sq <= H8; ++sq) {
        if (piece_on(sq) != EMPTY && piece_on(sq) != OFFBOARD) ++pieces[piece_on(sq) > 0 ? 0 : 1];
    }
    return std::max(pieces[0], pieces[1]) <= MAX_PIECES &&
           !is_attacked(side == WHITE ? black_king_sq : white_king_sq, side);
}

bool is_wanted(const PlayedMove& move) {
    return fifty < LAST_FIFTY && std::abs(move.score) < SETTLED_SCORE && is_quiet();
}

}  // namespace

bool is_quiet() {
    if (in_check()) return false;
    const int score = evaluate(-INFINITE_SCORE, INFINITE_SCORE);
    return std::abs(score) < SETTLED_SCORE && quiesce(-INFINITE_SCORE, INFINITE_SCORE, 0) == score;
}

std::vector<LabelledPosition> Extractor::extract(const GameRecord& game, bool& legal) {
    std::vector<std::pair<std::uint64_t, LabelledPosition>> found;
    set_position_fen(game.start);
    legal = false;
    if (!is_playable()) return {};
    int ply = 0;
    for (const PlayedMove& move : game.moves) {
        if (++ply > FIRST_PLIES && is_wanted(move) && !seen_.contains(hash_key)) {
            found.emplace_back(hash_key, labelled_position(game.result));
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
