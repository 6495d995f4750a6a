/// Command lines of the tuning tools: file names and options with a value.
#ifndef TARSIMO_TOOLS_TUNING_OPTIONS_H
#define TARSIMO_TOOLS_TUNING_OPTIONS_H

#include "tools/common/command_line.h"

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

/// Read "--name value" pairs in any place and the `files` file names, which are returned. --help
/// and a command line that is not understood end the program with the usage.
std::vector<std::string> read_options(int argc, char** argv, std::size_t files, const char* usage,
                                      std::initializer_list<Option> options);

/// End the program with a sentence unless a file can be written. It is created when there is none,
/// and keeps what is in it.
void require_writable(const std::string& path);

}  // namespace tarsimo::tuning

#endif
