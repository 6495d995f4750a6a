// What is said to an engine and what its lines mean, under UCI.
#include "board/position.h"
#include "tools/match/match.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace tarsimo::match {

namespace {

constexpr Micros UCIOK_PATIENCE = 5 * SECOND;   // of each of two tries
constexpr Micros START_PATIENCE = 20 * SECOND;  // for the first readyok
constexpr int MATE_SCORE = 100000;  // plus the moves to the mate, as the other protocol has it

// "option name NAME type TYPE ..." as NAME and what follows; names may hold blanks.
bool split_option(const std::string& line, std::string& name, std::string& rest) {
    constexpr std::string_view START = "option name ", TYPE = " type ";
    const auto type = line.find(TYPE);
    if (line.rfind(START, 0) != 0 || type == std::string::npos || type < START.size()) return false;
    name = line.substr(START.size(), type - START.size());
    rest = line.substr(type);
    return true;
}

// The number behind a word of a line, or `absent`.
int number_behind(const std::string& line, const std::string& word, int absent) {
    std::istringstream words(line);
    for (std::string text; words >> text;) {
        int number = 0;
        if (text == word) return words >> number ? number : absent;
    }
    return absent;
}

std::string setoption(const std::string& name, const std::string& value) {
    return "setoption name " + name + (value.empty() ? "" : " value " + value);
}

std::string milliseconds(Micros time) {
    return std::to_string(std::max<Micros>(time / (SECOND / 1000), 1));
}

// An info line of the best variation with a depth and an exact score.
void read_info(const std::string& line, Thought& thought) {
    std::istringstream words(line);
    Thought read;
    for (std::string word; words >> word && word != "pv" && word != "string";) {
        int number = 0;
        if (word == "lowerbound" || word == "upperbound") return;
        if (word == "multipv" && words >> number && number != 1) return;
        if (word == "depth") {
            words >> read.depth;
        } else if (word == "score") {
            words >> word >> number;
            if (word == "cp") read.score = std::clamp(number, -MATE_SCORE, MATE_SCORE);
            else if (word == "mate") {
                // "mate 0" is said by the side that has been mated.
                number = std::clamp(number, -1000, 1000);
                read.score = number > 0 ? MATE_SCORE + number : number - MATE_SCORE;
            }
            read.seen = !words.fail() && (word == "cp" || word == "mate");
        }
        if (words.fail()) return;
    }
    if (read.seen && read.depth >= 0 && read.depth <= 1000) thought = read;
}

}  // namespace

Fault Engine::start_uci(std::string& why) {
    features_.setboard = true;
    option_lines_.clear();
    send("uci");
    const Micros deadline = now() + UCIOK_PATIENCE;
    std::string line;
    bool answered = false;
    while (!answered) {
        const Input input = receive(deadline);
        if (input == Input::GONE) {
            why = finish(now() + SECOND);
            if (!has_worked_) why = "ended before the first game, " + why;
            return Fault::CRASH;
        }
        if (input != Input::SOME || now() > deadline) {
            why = "does not speak UCI: no uciok";
            return Fault::SILENCE;
        }
        while (!answered && take_line(line)) {
            answered = line == "uciok";
            if (line.rfind("option ", 0) == 0) option_lines_.push_back(line);
        }
    }
    has_spoken_ = true;
    if (!set_options(why)) return Fault::SILENCE;
    const Fault fault = synchronise(START_PATIENCE, why);
    if (fault == Fault::NONE) has_worked_ = true;
    return fault;
}

// The memory and one thread for engines that have such options, then what the user wants.
bool Engine::set_options(std::string& why) {
    std::vector<std::string> names;
    for (const std::string& line : option_lines_) {
        std::string name, rest;
        if (!split_option(line, name, rest)) continue;
        names.push_back(name);
        if (name == "Hash") {
            const int least = number_behind(rest, "min", 1);
            const int most = std::max(number_behind(rest, "max", around_.memory_mb), least);
            send(setoption(name, std::to_string(std::clamp(around_.memory_mb, least, most))));
        }
        if (name == "Threads") send(setoption(name, "1"));
    }
    for (const auto& [name, value] : command_.options) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            why = "has no option " + name;
            return false;
        }
        send(setoption(name, value));
    }
    return true;
}

std::string Engine::go_line(const Turn& turn) const {
    std::string lines = "position " + game_start_ + (game_moves_.empty() ? "" : " moves");
    for (const std::string& move : game_moves_) lines += " " + move;
    lines += "\ngo";
    if (control_.depth > 0) return lines + " depth " + std::to_string(control_.depth);
    if (control_.nodes > 0) return lines + " nodes " + std::to_string(control_.nodes);
    if (control_.per_move > 0) return lines + " movetime " + milliseconds(control_.per_move);
    const bool white = side == WHITE;
    lines += " wtime " + milliseconds(white ? turn.own : turn.other);
    lines += " btime " + milliseconds(white ? turn.other : turn.own);
    if (control_.increment > 0) {
        const std::string increment = milliseconds(control_.increment);
        lines += " winc " + increment + " binc " + increment;
    }
    if (turn.moves_to_go > 0) lines += " movestogo " + std::to_string(turn.moves_to_go);
    return lines;
}

// A bestmove without a move is as good as an illegal one, and is called so.
bool Engine::interpret_uci(const std::string& line, Answer& answer, Thought& thought) {
    std::istringstream words(line);
    std::string first, move;
    words >> first;
    if (first == "info") read_info(line, thought);
    if (first != "bestmove") return false;
    words >> move;
    answer.kind = Answer::MOVE;
    answer.text = move.empty() ? "none" : move;
    return true;
}

}  // namespace tarsimo::match
