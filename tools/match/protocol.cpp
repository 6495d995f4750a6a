// What is said to an engine and what its lines mean, under CECP; uci.cpp has the other protocol.
// Real engines print boards, free text and
// thinking in many forms, answer a ping twice or answer commands that they do not know as if
// they were moves: only lines of a clear meaning count.
#include "tools/match/match.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <thread>

namespace tarsimo::match {

namespace {

constexpr Micros FEATURE_PATIENCE = 2 * SECOND;      // as the protocol has it
constexpr Micros SLOW_START_PATIENCE = 60 * SECOND;  // after "feature done=0"
constexpr Micros UCI_PATIENCE = SECOND;              // for the answer to "uci"
constexpr Micros NUDGE_INTERVAL = SECOND / 10;       // for engines that wait for more input
constexpr Micros START_PATIENCE = 20 * SECOND;       // for the first pong
constexpr Micros GAME_PATIENCE = 10 * SECOND;        // for the pong before each game
constexpr Micros PAUSE_WITHOUT_PING = 3 * SECOND / 10;

bool starts_with(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

std::string lower_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string word_at(std::string_view text, std::size_t start) {
    const auto begin = text.find_first_not_of(" \t:", start);
    if (begin == std::string_view::npos) return "";
    return std::string(text.substr(begin, text.find_first_of(" \t", begin) - begin));
}

// The move of a line that tells one, else an empty text.
std::string move_of(const std::string& line) {
    for (const std::string_view start : {"move ", "My move is"}) {
        if (starts_with(line, start)) return word_at(line, start.size());
    }
    return "";
}

bool is_claim(const std::string& line, int& outcome) {
    for (const int winner : {WHITE, BLACK, 0}) {
        const std::string_view result = result_text(winner);
        if (!starts_with(line, result)) continue;
        outcome = winner;
        return line.size() == result.size() || line[result.size()] == ' ' ||
               line[result.size()] == '{';
    }
    return false;
}

// A thinking line: depth, score, centiseconds, nodes and what follows; marks may stand behind
// the depth.
bool read_thought(const std::string& line, Thought& thought) {
    const char* rest = line.c_str();
    char* end = nullptr;
    const long depth = std::strtol(rest, &end, 10);
    if (end == rest || depth < 0 || depth > 1000) return false;
    while (*end != '\0' && std::isspace(static_cast<unsigned char>(*end)) == 0) ++end;
    long score = 0;
    for (int field = 0; field < 3; ++field) {
        rest = end;
        const long number = std::strtol(rest, &end, 10);
        if (end == rest) return false;
        if (field == 0) score = number;
    }
    thought = {true, static_cast<int>(depth),
               static_cast<int>(std::clamp(score, -1000000L, 1000000L))};
    return true;
}

// Seconds as short as they can be written.
std::string seconds_text(Micros time) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(time) / SECOND);
    return text;
}

std::string limits_of(const TimeControl& control) {
    if (control.depth > 0) return "level 0 60 0\nsd " + std::to_string(control.depth);
    if (control.per_move > 0) return "st " + seconds_text(control.per_move);
    // The base in whole seconds; the true clock follows with every move.
    const Micros seconds = std::max<Micros>((control.base + SECOND - 1) / SECOND, 1);
    char base[32];
    std::snprintf(base, sizeof base, "%ld:%02ld", static_cast<long>(seconds / 60),
                  static_cast<long>(seconds % 60));
    return "level " + std::to_string(control.moves) + " " + base + " " +
           seconds_text(control.increment);
}

}  // namespace

// "feature NAME=VALUE ...", values with blanks in quotes.
void Engine::read_features(const std::string& line) {
    std::size_t position = std::string_view("feature ").size();
    while ((position = line.find_first_not_of(" \t", position)) != std::string::npos) {
        const auto equals = line.find('=', position);
        if (equals == std::string::npos) return;
        const std::string name = line.substr(position, equals - position);
        const bool quoted = line.compare(equals + 1, 1, "\"") == 0;
        const auto begin = equals + (quoted ? 2 : 1);
        const auto end = std::min(line.find_first_of(quoted ? "\"" : " \t", begin), line.size());
        if (begin > line.size()) return;
        set_feature(name, line.substr(begin, end - begin));
        position = std::min(end + 1, line.size());
    }
}

void Engine::set_feature(const std::string& name, const std::string& value) {
    const bool on = value == "1";
    features_.any = has_spoken_ = true;
    if (name == "setboard") features_.setboard = on;
    else if (name == "usermove") features_.usermove = on;
    else if (name == "san") features_.san = on;
    else if (name == "ping") features_.ping = on;
    else if (name == "time") features_.time = on;
    else if (name == "memory") features_.memory = on;
    else if (name == "smp") features_.smp = on;
    else if (name == "reuse") features_.reuse = on;
    else if (name == "done") features_.done = on, features_.waiting = !on;
    send("accepted " + name);
}

Fault Engine::await_features(std::string& why) {
    const Micros began = now();
    Micros nudge = began + NUDGE_INTERVAL;
    std::string line;
    while (!features_.done) {
        const Micros end = began + (features_.waiting ? SLOW_START_PATIENCE : FEATURE_PATIENCE);
        if (now() >= end) break;
        if (!features_.any && now() >= nudge) {
            send("ping " + std::to_string(++pings_));
            nudge = now() + NUDGE_INTERVAL;
        }
        const Input input = receive(features_.any ? end : std::min(end, nudge));
        if (input == Input::STOPPED) return Fault::SILENCE;
        if (input == Input::GONE) {
            why = finish(now() + SECOND);
            return Fault::CRASH;
        }
        while (take_line(line)) {
            if (starts_with(line, "pong ")) has_spoken_ = true;
            // A prompt may stand before the first features.
            const auto position = line.find("feature ");
            if (position != std::string::npos) read_features(line.substr(position));
        }
    }
    if (!features_.waiting) return Fault::NONE;
    why = "feature done=1 never came";
    return Fault::SILENCE;
}

// Whether a program that has kept silent so far answers the first question of the other protocol.
// An engine of CECP's version 1 calls it an error.
bool Engine::speaks_uci() {
    send("uci");
    const Micros deadline = now() + UCI_PATIENCE;
    std::string line;
    while (receive(deadline) == Input::SOME && now() < deadline) {
        while (take_line(line)) {
            if (line == "uciok") return true;
        }
    }
    return false;
}

Fault Engine::start(std::string& why) {
    if (!launch(why)) return Fault::CRASH;
    if (command_.uci) return start_uci(why);
    send("xboard\nprotover 2");
    Fault fault = await_features(why);
    if (fault == Fault::NONE && !has_spoken_ && speaks_uci()) {
        why = "does not speak CECP but UCI: write uci: before its command";
        return Fault::SILENCE;
    }
    if (fault == Fault::NONE) {
        if (features_.memory) send("memory " + std::to_string(around_.memory_mb));
        if (features_.smp) send("cores 1");
        fault = synchronise(START_PATIENCE, why);
    }
    if (fault == Fault::NONE) has_worked_ = true;
    if (fault == Fault::CRASH && !has_worked_) why = "ended before the first game, " + why;
    return fault;
}

// Waits until the engine has done all that it was told, as far as it can tell.
Fault Engine::synchronise(Micros patience, std::string& why) {
    const bool asked = command_.uci || features_.ping;
    const std::string number = std::to_string(++pings_);
    const std::string pong = command_.uci ? "readyok" : "pong " + number;
    if (asked) send(command_.uci ? "isready" : "ping " + number);
    const Micros deadline = now() + (asked ? patience : PAUSE_WITHOUT_PING);
    std::string line;
    for (;;) {
        while (take_line(line)) {
            if (line == pong) {
                has_spoken_ = true;
                return Fault::NONE;
            }
            if (command_.uci) continue;
            if (starts_with(line, "feature ")) read_features(line);
            if (is_refusal(line)) {
                why = line;
                return Fault::REFUSED_MOVE;
            }
        }
        if (received_at_ > deadline) break;
        const Input input = receive(deadline);
        if (input == Input::GONE) {
            why = finish(now() + SECOND);
            return Fault::CRASH;
        }
        if (input == Input::STOPPED) return Fault::SILENCE;
        if (input == Input::LATE) break;
    }
    // Features that came only now may include the ping.
    if (!asked) return features_.ping ? synchronise(patience, why) : Fault::NONE;
    why = "no " + pong;
    return Fault::SILENCE;
}

Fault Engine::begin_game(const TimeControl& control, const Opening& opening, std::string& why) {
    going_ = false;
    pending_ = {};
    told_.clear();
    if (command_.uci) {
        control_ = control;
        game_start_ = opening.fen == INITIAL_FEN ? "startpos" : "fen " + opening.fen;
        game_moves_ = opening.moves;
        send("ucinewgame");
        return synchronise(GAME_PATIENCE, why);
    }
    send("force\nnew\npost\neasy\nforce");
    begin_game_at(INITIAL_FEN, why);
    if (opening.fen != INITIAL_FEN) send("setboard " + opening.fen);
    for (const std::string& text : opening.moves) {
        const LegalMove move = recognise_move(text);
        send(move_line(move));
        play(move);
    }
    // The limits come last: engines may forget them with a new position.
    send(limits_of(control));
    return synchronise(GAME_PATIENCE, why);
}

std::string Engine::move_line(const LegalMove& move) {
    told_.push_back(features_.san ? move.san : move.coordinates);
    return (features_.usermove ? "usermove " : "") + told_.back();
}

void Engine::hand_turn(const Turn& turn) {
    drop_unread();
    told_.clear();
    thought_ = {};
    if (turn.move != nullptr) game_moves_.push_back(turn.move->coordinates);
    if (command_.uci) {
        send(go_line(turn));
        return;
    }
    std::string lines;
    const std::string move_text = turn.move == nullptr ? "" : move_line(*turn.move) + "\n";
    if (!going_) lines += move_text;
    if (turn.clocks && features_.time) {
        const auto centiseconds = [](Micros time) {
            return std::to_string(std::max<Micros>(time, 0) / (SECOND / 100));
        };
        lines += "time " + centiseconds(turn.own) + "\notim " + centiseconds(turn.other) + "\n";
    }
    lines += going_ ? move_text : "go\n";
    lines.pop_back();
    going_ = true;
    send(lines);
}

// Looks at what came since the engine's move. A claim or a resignation is kept for its turn; a
// move out of turn is none.
void Engine::drop_unread() {
    std::string line;
    const Micros deadline = now();
    do {
        while (take_line(line)) {
            Answer answer;
            if (interpret(line, answer) && answer.kind != Answer::MOVE) pending_ = answer;
        }
    } while (receive(deadline) == Input::SOME && received_at_ < deadline + SECOND);
}

Answer Engine::await_answer(Micros deadline) {
    if (pending_.kind != Answer::LATE) return std::exchange(pending_, {});
    std::string line;
    for (;;) {
        Answer answer;
        answer.arrived = received_at_;
        while (take_line(line)) {
            const bool ends_turn = interpret(line, answer);
            has_spoken_ = has_spoken_ || ends_turn || thought_.seen;
            if (!ends_turn) continue;
            if (received_at_ > deadline) answer.kind = Answer::LATE;
            return answer;
        }
        if (received_at_ > deadline) return answer;
        const Input input = receive(deadline);
        if (input == Input::SOME) continue;
        answer.kind = input == Input::GONE      ? Answer::GONE
                      : input == Input::STOPPED ? Answer::STOPPED
                                                : Answer::LATE;
        answer.arrived = now();
        return answer;
    }
}

// Takes in what a line tells. Returns true if it ends the turn.
bool Engine::interpret(const std::string& line, Answer& answer) {
    answer.text = line;
    if (command_.uci) return interpret_uci(line, answer, thought_);
    if (const std::string move = move_of(line); !move.empty()) {
        answer.kind = Answer::MOVE;
        answer.text = move;
        return true;
    }
    if (is_claim(line, answer.outcome)) {
        answer.kind = Answer::CLAIM;
        return true;
    }
    if (starts_with(line, "resign") || starts_with(line, "tellics resign")) {
        answer.kind = Answer::RESIGNATION;
        return true;
    }
    if (is_refusal(line)) {
        answer.kind = Answer::REFUSAL;
        return true;
    }
    if (starts_with(line, "feature ")) read_features(line);
    else read_thought(line, thought_);
    return false;
}

// Engines call commands that they do not know illegal moves as well, so the line has to name a
// move that was just sent.
bool Engine::is_refusal(const std::string& line) const {
    const std::string text = lower_case(line);
    if (starts_with(text, "tellusererror illegal position")) return true;
    if (!starts_with(text, "illegal move") && !starts_with(text, "error (")) return false;
    return std::any_of(told_.begin(), told_.end(), [&text](const std::string& move) {
        return text.find(lower_case(move)) != std::string::npos;
    });
}

void Engine::end_game(const std::string& result, const std::string& reason) {
    if (running() && !command_.uci) send("force\nresult " + result + " {" + reason + "}");
}

}  // namespace tarsimo::match
