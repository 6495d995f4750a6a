/// eval/weights.inc as text: the list is rewritten with other values, and all else in it stays.
#ifndef TARSIMO_TOOLS_TUNING_WEIGHT_LIST_H
#define TARSIMO_TOOLS_TUNING_WEIGHT_LIST_H

#include "tools/tuning/coefficients.h"

#include <string>

namespace tarsimo::tuning {

/// The list in a file. Ends the program with a sentence when it is not the one that the program was
/// built with.
std::string read_list(const std::string& path);

/// The group of this name, null when there is none.
const WeightGroup* find_group(const std::string& name);

/// The text of a list with these values, rounded, in place of its own. Empty when the list's
/// groups are not those that the program was built with.
std::string rewrite_list(const std::string& list, const Values& values);

/// Every value rounded to a whole number, within 1000 centipawns either way.
Values rounded(const Values& values);

}  // namespace tarsimo::tuning

#endif
