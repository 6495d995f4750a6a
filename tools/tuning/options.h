/// Command lines of the tuning tools.
#ifndef TARSIMO_TOOLS_TUNING_OPTIONS_H
#define TARSIMO_TOOLS_TUNING_OPTIONS_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <variant>
#include <vector>

namespace tarsimo::tuning {

/// Where the value of an option goes.
using OptionTarget = std::variant<std::uint64_t*, double*, std::string*>;

struct Option {
    const char* name;  ///< with its dashes
    OptionTarget target;
};

/// Read "--name value" pairs, each at most once and in any place, and the `files` file names,
/// which are returned. A command line that is not understood prints the usage and ends the
/// program with status 2.
std::vector<std::string> read_options(int argc, char** argv, std::size_t files, const char* usage,
                                      std::initializer_list<Option> options);

/// Print a message and end the program with status 2.
[[noreturn]] void fail(const std::string& message);

}  // namespace tarsimo::tuning

#endif
