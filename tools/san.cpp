// Moves between the notations, for scripts: reads lines of a FEN, a tab and moves in either
// notation, plays the moves one after the other, and answers each line with one of its own.
//
//     r3k2r/8/8/8/8/8/8/R3K2R w KQkq -<TAB>e1g1 Ra3
//     e1g1:O-O a8a3:Ra3
//
// A move that is not legal is answered "?" and ends the line; a position that is none is answered
// "!" and why, as is one without a legal move. A pawn that reaches the last rank without naming a
// piece becomes a queen.
#include "tools/match.h"

#include "control/engine.h"
#include "tools/legal_moves.h"

#include <algorithm>
#include <iostream>
#include <sstream>
#include <string>

namespace {

using namespace tarsimo;

match::LegalMove find_move(const std::string& word) {
    const match::LegalMove move = match::find_move(word);
    return move.list_index >= 0 ? move : match::find_move(word + "q");
}

std::string answer(const std::string& line) {
    const std::size_t tab = std::min(line.find('\t'), line.size());
    std::string why;
    if (!match::set_up(line.substr(0, tab), why)) return "! " + why;
    if (legal_moves().empty()) return "! the side to move has no move";

    std::istringstream words(line.substr(std::min(tab + 1, line.size())));
    std::string text;
    for (std::string word; words >> word;) {
        const match::LegalMove move = find_move(word);
        if (!text.empty()) text += ' ';
        if (move.list_index < 0) return text + "?";
        text += move.coordinates + ":" + move.san;
        match::play(move);
    }
    return text;
}

}  // namespace

int main(int argc, char**) {
    if (argc > 1) {
        std::cerr << "usage: tarsimo-san < LINES, each a FEN, a tab and moves\n";
        return 2;
    }
    init_engine();
    for (std::string line; std::getline(std::cin, line);) std::cout << answer(line) << std::endl;
}
