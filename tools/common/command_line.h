/// What the command lines of all tools have in common: help, complaints, numbers, and the check
/// that what was printed has arrived. Every tool answers --help with its usage on standard output
/// and status 0; a command line that makes no sense is answered with the usage on standard error.
#ifndef TARSIMO_TOOLS_COMMON_COMMAND_LINE_H
#define TARSIMO_TOOLS_COMMON_COMMAND_LINE_H

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace tarsimo::tool {

/// Exit status of a tool that cannot do its work: misuse, unusable input, no place for its output.
constexpr int EXIT_IMPOSSIBLE = 2;

/// Print "NAME: message" to standard error and end the program with EXIT_IMPOSSIBLE.
[[noreturn]] inline void fail(const std::string& message) {
    std::fflush(stdout);
    std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, message.c_str());
    std::exit(EXIT_IMPOSSIBLE);
}

/// Flush standard output. Returns `status` when all that was printed has arrived; otherwise says
/// so and returns EXIT_IMPOSSIBLE. To be called last.
inline int finish_output(int status) {
    errno = 0;
    const bool lost_before = std::ferror(stdout) != 0;
    if (std::fflush(stdout) == 0 && !lost_before) return status;
    std::fprintf(stderr, "%s: cannot write the output%s%s\n", program_invocation_short_name,
                 errno != 0 ? ": " : "", errno != 0 ? std::strerror(errno) : "");
    return EXIT_IMPOSSIBLE;
}

/// Print the usage to standard error and end the program with EXIT_IMPOSSIBLE.
[[noreturn]] inline void reject_command_line(const char* usage) {
    std::fputs(usage, stderr);
    std::exit(EXIT_IMPOSSIBLE);
}

/// When --help or -h is among the arguments, print the usage to standard output and end the
/// program.
inline void answer_help(int argc, char** argv, const char* usage) {
    const std::vector<std::string_view> words(argv + std::min(argc, 1), argv + argc);
    const auto asks = [](std::string_view word) { return word == "--help" || word == "-h"; };
    if (std::none_of(words.begin(), words.end(), asks)) return;
    std::fputs(usage, stdout);
    std::exit(finish_output(EXIT_SUCCESS));
}

/// Read a whole text as a number from `least` to `most`. Returns false, with the number unchanged,
/// for any other text.
inline bool read_count(std::string_view text, int least, int most, int& number) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return false;
    if (value < least || value > most) return false;
    number = value;
    return true;
}

}  // namespace tarsimo::tool

#endif
