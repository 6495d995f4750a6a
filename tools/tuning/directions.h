/// Directions in which the weights are moved together, as tarsimo-spsa reads them from a file.
#ifndef TARSIMO_TOOLS_TUNING_DIRECTIONS_H
#define TARSIMO_TOOLS_TUNING_DIRECTIONS_H

#include "tools/tuning/coefficients.h"

#include <string>
#include <vector>

namespace tarsimo::tuning {

/// One direction: what a step along it adds to each value.
struct Direction {
    std::string name;
    Values step;
};

/// Read a file of directions, whose form tools/tuning/directions.txt explains; shares are those of
/// `start`. Ends the program with a sentence when the file is none.
std::vector<Direction> read_directions(const std::string& path, const Values& start);

/// The values so many steps along each direction from `start`, rounded.
Values moved(const Values& start, const std::vector<Direction>& directions,
             const std::vector<double>& steps);

}  // namespace tarsimo::tuning

#endif
