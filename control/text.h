/// Words and numbers in a line of text.
#ifndef TARSIMO_CONTROL_TEXT_H
#define TARSIMO_CONTROL_TEXT_H

#include <cstdint>
#include <string>

namespace tarsimo {

/// Upper-case a text in place, ASCII letters only.
void to_upper(std::string& text);

/// Lower-case a text in place, ASCII letters only.
void to_lower(std::string& text);

/// The first blank-separated word of a line, empty when there is none.
std::string first_word(const std::string& line);

/// The text behind a command word, which the line contains.
std::string text_behind(const std::string& line, const std::string& command);

/// The whole number at the start of a text, clamped to -limit..limit; 0 when there is none.
/// Leading blanks and a sign are accepted.
int parse_number(const std::string& text, int limit);

}  // namespace tarsimo

#endif
