// tarsimo-san: moves between the notations, for scripts.
#include "tools/match/match.h"

#include "control/engine.h"
#include "tools/common/command_line.h"
#include "tools/common/legal_moves.h"

#include <algorithm>
#include <iostream>
#include <sstream>
#include <string>

namespace {

using namespace tarsimo;

constexpr char USAGE[] = R"(usage: tarsimo-san < LINES

Turns moves from one notation into the other. Reads lines of a FEN, a tab and
moves in either notation, plays the moves one after the other, and answers each
line with one of its own:

    r3k2r/8/8/8/8/8/8/R3K2R w KQkq -<TAB>e1g1 Ra3
    e1g1:O-O a8a3:Ra3

An illegal move is answered "?" and ends the line; a FEN that is no position,
or one without a legal move, is answered "!" and the reason. A pawn that
reaches the last rank without naming a piece becomes a queen.
)";

match::LegalMove recognise_shortened(const std::string& word) {
    const match::LegalMove move = match::recognise_move(word);
    return move.list_index >= 0 ? move : match::recognise_move(word + "q");
}

std::string answer(const std::string& line) {
    const std::size_t tab = std::min(line.find('\t'), line.size());
    std::string why;
    if (!match::begin_game_at(line.substr(0, tab), why)) return "! " + why;
    if (legal_moves().empty()) return "! the side to move has no move";

    std::istringstream words(line.substr(std::min(tab + 1, line.size())));
    std::string text;
    for (std::string word; words >> word;) {
        const match::LegalMove move = recognise_shortened(word);
        if (!text.empty()) text += ' ';
        if (move.list_index < 0) return text + "?";
        text += move.coordinates + ":" + move.san;
        match::play(move);
    }
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    tool::answer_help(argc, argv, USAGE);
    if (argc > 1) tool::reject_command_line(USAGE);
    init_engine();
    for (std::string line; std::getline(std::cin, line);) {
        std::puts(answer(line).c_str());
        if (std::fflush(stdout) != 0) break;
    }
    if (std::ferror(stdin) != 0) tool::fail("cannot read the standard input");
    return tool::finish_output(EXIT_SUCCESS);
}
