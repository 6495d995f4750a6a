// The opening file. Every line is played out on the board, so that a match cannot stumble over
// one of them after hours.
#include "tools/match/match.h"

#include "tools/common/text_file.h"

#include <sstream>

namespace tarsimo::match {

namespace {

// A line with a slash in its first word is a position.
bool is_position(const std::string& line) {
    std::istringstream words(line);
    std::string first;
    words >> first;
    return first.find('/') != std::string::npos;
}

bool read_moves(const std::string& line, Opening& opening, std::string& why) {
    std::istringstream words(line);
    std::string word;
    begin_game_at(INITIAL_FEN, why);
    while (words >> word) {
        const LegalMove move = recognise_move(word);
        if (move.list_index < 0) {
            why = "not a legal move: " + tool::printable(word);
            return false;
        }
        play(move);
        opening.moves.push_back(move.coordinates);
    }
    opening.fen = INITIAL_FEN;
    return true;
}

bool read_opening(const std::string& line, Opening& opening, std::string& why) {
    if (is_position(line)) {
        if (!begin_game_at(line, why)) return false;
        opening.fen = position_fen();
    } else if (!read_moves(line, opening, why)) {
        return false;
    }
    const Ending ending = game_ending();
    why = std::string("the game is over: ") + ending.reason;
    return !ending.over;
}

}  // namespace

bool read_openings(const std::string& path, std::vector<Opening>& openings, std::string& why) {
    tool::TextFile file(path);
    for (std::string line; file.next(line);) {
        const auto start = line.find_first_not_of(" \t\r");
        if (start == std::string::npos || line[start] == '#') continue;
        Opening opening;
        if (!read_opening(line, opening, why)) {
            why = file.place() + ": " + why;
            return false;
        }
        openings.push_back(opening);
    }
    why = file.fault();
    if (why.empty() && openings.empty()) why = "no openings in " + path;
    return why.empty();
}

}  // namespace tarsimo::match
