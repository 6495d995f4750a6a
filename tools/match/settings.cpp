// Time controls and engines as the user writes them.
#include "tools/match/match.h"

#include <cctype>
#include <cmath>
#include <cstdlib>

namespace tarsimo::match {

namespace {

constexpr std::string_view UCI_MARK = "uci:";
constexpr double LONGEST_SECONDS = 100000;
constexpr int MAX_MOVES = 1000;
constexpr int DEEPEST = 60;
constexpr int MAX_NODES = 2000000000;

// Reads a number of seconds and moves `text` behind it.
bool read_seconds(const char*& text, Micros& time) {
    char* end = nullptr;
    const double seconds = std::strtod(text, &end);
    if (end == text || !(seconds >= 0 && seconds <= LONGEST_SECONDS)) return false;
    time = std::llround(seconds * SECOND);
    text = end;
    return true;
}

bool read_count(const char*& text, int most, int& count) {
    char* end = nullptr;
    const long number = std::strtol(text, &end, 10);
    if (end == text || number < 1 || number > most) return false;
    count = static_cast<int>(number);
    text = end;
    return true;
}

// Splits a command line as a shell would: blanks part words, quotes and backslashes keep them
// together.
std::vector<std::string> split_words(const std::string& line) {
    std::vector<std::string> words;
    bool open = false;
    char quote = '\0';
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        const bool blank = std::isspace(static_cast<unsigned char>(c)) != 0;
        if (quote == '\0' && blank) {
            open = false;
            continue;
        }
        if (!open) words.emplace_back();
        open = true;
        if (quote == '\0' && (c == '"' || c == '\'')) quote = c;
        else if (quote != '\0' && c == quote) quote = '\0';
        else if (c == '\\' && quote != '\'' && i + 1 < line.size()) words.back() += line[++i];
        else words.back() += c;
    }
    return words;
}

bool is_name_letter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
           std::string_view("_.+-").find(c) != std::string_view::npos;
}

}  // namespace

bool parse_time_control(const std::string& text, TimeControl& control) {
    control = {};
    control.text = text;
    const char* rest = text.c_str();
    if (text.rfind("sd=", 0) == 0) {
        rest += 3;
        return read_count(rest, DEEPEST, control.depth) && *rest == '\0';
    }
    if (text.rfind("st=", 0) == 0) {
        rest += 3;
        return read_seconds(rest, control.per_move) && control.per_move > 0 && *rest == '\0';
    }
    if (text.rfind("nodes=", 0) == 0) {
        rest += 6;
        return read_count(rest, MAX_NODES, control.nodes) && *rest == '\0';
    }
    if (text.find('/') != std::string::npos) {
        if (!read_count(rest, MAX_MOVES, control.moves) || *rest++ != '/') return false;
    }
    if (!read_seconds(rest, control.base) || control.base == 0) return false;
    if (*rest == '+' && !read_seconds(++rest, control.increment)) return false;
    return *rest == '\0';
}

bool parse_engine(const std::string& text, EngineCommand& command) {
    std::size_t equals = 0;
    while (equals < text.size() && is_name_letter(text[equals])) ++equals;
    const bool named = equals > 0 && equals < text.size() && text[equals] == '=';
    std::string line = named ? text.substr(equals + 1) : text;
    command.uci = line.rfind(UCI_MARK, 0) == 0;
    if (command.uci) line.erase(0, UCI_MARK.size());
    command.words = split_words(line);
    if (command.words.empty() || command.words[0].empty()) return false;
    if (named) {
        command.name = text.substr(0, equals);
        return true;
    }
    command.name = command.words[0].substr(command.words[0].rfind('/') + 1);
    for (char& c : command.name) c = is_name_letter(c) ? c : '_';
    return !command.name.empty();
}

}  // namespace tarsimo::match
