/// Games of the engine against itself, each a function of one number.
#ifndef TARSIMO_TOOLS_TUNING_PLAYER_H
#define TARSIMO_TOOLS_TUNING_PLAYER_H

#include "tools/tuning/records.h"

#include <cstdint>

namespace tarsimo::tuning {

/// Play a game. Most begin with eight plies of sound moves drawn at random, some with random
/// endgame material; starts that one side has already lost are drawn again. Clear wins are
/// adjudicated, draws follow the rules.
///   seed        decides start and keys: the game depends on no other game played before
///   node_limit  no iteration of a search is begun once so many nodes have been searched
/// The engine must be initialised, with the stop test off.
GameRecord play_game(std::uint64_t seed, std::uint64_t node_limit);

}  // namespace tarsimo::tuning

#endif
