// Words and numbers in a line of text.
#include "control/text.h"

#include <algorithm>
#include <cstdlib>

namespace tarsimo {

void to_upper(std::string& text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
}

void to_lower(std::string& text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
}

std::string first_word(const std::string& line) {
    constexpr char blanks[] = " \t\n\v\f\r";
    const auto begin = line.find_first_not_of(blanks);
    if (begin == std::string::npos) return "";
    return line.substr(begin, line.find_first_of(blanks, begin) - begin);
}

std::string text_behind(const std::string& line, const std::string& command) {
    return line.substr(line.find(command) + command.size());
}

int parse_number(const std::string& text, int limit) {
    const long number = std::strtol(text.c_str(), nullptr, 10);
    return static_cast<int>(std::clamp<long>(number, -limit, limit));
}

}  // namespace tarsimo
