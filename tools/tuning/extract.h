/// Quiet positions out of games: those on which a static evaluation can be judged.
#ifndef TARSIMO_TOOLS_TUNING_EXTRACT_H
#define TARSIMO_TOOLS_TUNING_EXTRACT_H

#include "tools/tuning/records.h"

#include <cstdint>
#include <random>
#include <unordered_set>
#include <vector>

namespace tarsimo::tuning {

/// True if the side to move of the current position is not in check and no capture or
/// promotion improves on its static evaluation, as the quiescence search sees it.
bool is_quiet();

class Extractor {
  public:
    /// At most `per_game` positions of a game, chosen at random by the seed.
    Extractor(std::uint64_t per_game, std::uint64_t seed) : per_game_(per_game), random_(seed) {}

    /// The chosen quiet positions of a game in the order of play, with the game's result. Left
    /// out: the first plies, decided positions, moves near the fifty-move draw, and positions
    /// that an earlier call gave. Empty for a game with an illegal move or start, which also sets
    /// `legal` to false.
    std::vector<LabelledPosition> extract(const GameRecord& game, bool& legal);

  private:
    std::uint64_t per_game_;
    std::mt19937_64 random_;
    std::unordered_set<std::uint64_t> seen_;
};

}  // namespace tarsimo::tuning

#endif
