/// Games of the engine against itself, each a function of one number.
#ifndef TARSIMO_TOOLS_TUNING_PLAYER_H
#define TARSIMO_TOOLS_TUNING_PLAYER_H

#include "tools/tuning/records.h"

#include <cstdint>
#include <functional>

namespace tarsimo::tuning {

/// Play a game. Most begin with eight plies of sound moves drawn at random, some with random
/// endgame material; starts that one side has already lost are drawn again. Clear wins are
/// adjudicated, draws follow the rules.
///   seed        decides start and keys: the game depends on no other game played before
///   node_limit  no iteration of a search is begun once so many nodes have been searched
/// The engine must be initialised, with the stop test off.
GameRecord play_game(std::uint64_t seed, std::uint64_t node_limit);

/// The start of a game that begins with sound moves, as position_fen() gives it.
std::string draw_opening(std::uint64_t seed);

/// A game from such a start. `before_search` is called before each move, with the position set up.
GameRecord play_game_from(const std::string& fen, std::uint64_t node_limit,
                          const std::function<void()>& before_search);

/// Distinct well-mixed numbers for distinct games (the finaliser of SplitMix64, Steele, Lea and
/// Flood 2014).
std::uint64_t seed_of_game(std::uint64_t seed, std::uint64_t game);

}  // namespace tarsimo::tuning

#endif
