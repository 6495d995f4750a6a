// Words and numbers in a line of text.
#include "control/text.h"

#include <algorithm>
#include <cstdlib>

namespace tarsimo {

namespace {

constexpr char BLANKS[] = " \t\n\v\f\r";

}  // namespace

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

std::string first_word(const std::string& line) { return Word(line).text; }

Word::Word(const std::string& line, std::size_t place)
    : begin(std::min(line.find_first_not_of(BLANKS, place), line.size())),
      end(std::min(line.find_first_of(BLANKS, begin), line.size())),
      text(line.substr(begin, end - begin)) {}

std::string text_behind(const std::string& line, const std::string& command) {
    return line.substr(line.find(command) + command.size());
}

int parse_number(const std::string& text, int limit) {
    const long number = std::strtol(text.c_str(), nullptr, 10);
    return static_cast<int>(std::clamp<long>(number, -limit, limit));
}

}  // namespace tarsimo
