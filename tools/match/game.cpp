// One game: whose turn it is, what the clocks say, and what an engine's answer is worth.
#include "board/position.h"
#include "eval/score.h"
#include "tools/match/match.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace tarsimo::match {

namespace {

// A search to a fixed depth or number of nodes has no clock; an engine is taken for dead after
// this.
constexpr Micros DEPTH_PATIENCE = 600 * SECOND;

// The same for the first turn of a program that may be no engine at all.
constexpr Micros STRANGER_PATIENCE = 60 * SECOND;

// One side of a game in progress.
struct Player {
    Engine* engine = nullptr;
    SideRecord* record = nullptr;
    Micros left = 0;
    int moves = 0;            // of the game, the opening's included, as engines count them
    std::vector<int> scores;  // of those moves, White's view; NO_SCORE when it was silent
};

struct Game {
    const Settings& settings;
    GameRecord& record;
    std::array<Player, 2> players;
};

std::string number_text(const char* format, double number) {
    char text[32];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

// Ends the game as lost by a side that did what it must not.
GameEnd lose_by(Game& game, int colour, Fault fault, const std::string& reason) {
    game.players[index_of(colour)].record->fault = fault;
    game.record.outcome = -colour;
    game.record.reason = reason;
    return GameEnd::FINISHED;
}

GameEnd end_with(Game& game, int outcome, const std::string& reason) {
    game.record.outcome = outcome;
    game.record.reason = reason;
    return GameEnd::FINISHED;
}

// Adds a move to the PGN text; `comment` may be empty.
void record_move(GameRecord& record, const LegalMove& move, const std::string& comment) {
    std::string& text = record.moves;
    const bool first = text.empty();
    if (!first) text += ' ';
    if (side == WHITE) text += std::to_string(move_number()) + ". ";
    else if (first || text[text.size() - 2] == '}') text += std::to_string(move_number()) + "... ";
    text += move.san;
    if (!comment.empty()) text += " {" + comment + "}";
    ++record.plies;
}

std::string thought_comment(const Thought& thought, Micros used) {
    std::string seconds = number_text("%.2fs", static_cast<double>(used) / SECOND);
    if (!thought.seen) return seconds;
    return number_text("%+.2f", thought.score / 100.0) + "/" + std::to_string(thought.depth) + " " +
           seconds;
}

// True if the last `moves` scores of both sides, in White's view, all pass the test.
template <typename Test> bool all_agree(const Game& game, int moves, Test passes) {
    return std::all_of(game.players.begin(), game.players.end(), [&](const Player& player) {
        return std::ssize(player.scores) >= moves &&
               std::all_of(player.scores.end() - moves, player.scores.end(),
                           [&](int score) { return score != NO_SCORE && passes(score); });
    });
}

Ending adjudicate(const Game& game) {
    const Adjudication& resign = game.settings.resign;
    if (resign.moves > 0) {
        for (const int winner : {WHITE, BLACK}) {
            const auto lost = [&](int score) { return score * winner >= resign.centipawns; };
            if (all_agree(game, resign.moves, lost)) {
                return {true, winner, "adjudication: both scores agree"};
            }
        }
    }
    const Adjudication& draw = game.settings.draw;
    const auto level = [&](int score) { return std::abs(score) <= draw.centipawns; };
    if (draw.moves > 0 && move_number() > draw.from_move && all_agree(game, draw.moves, level)) {
        return {true, 0, "adjudication: both scores are level"};
    }
    if (game.record.plies >= game.settings.longest_plies) {
        return {true, 0, "adjudication: too long"};
    }
    return {false, 0, ""};
}

// Starts the engines as need be and brings both to the opening.
GameEnd prepare(Game& game, const Opening& opening, bool& ready) {
    ready = false;
    for (const int colour : {WHITE, BLACK}) {
        Engine& engine = *game.players[index_of(colour)].engine;
        std::string why;
        Fault fault = engine.running() ? Fault::NONE : engine.start(why);
        // Two first starts at once may meet in making a folder of their settings.
        if (fault != Fault::NONE && !engine.has_worked()) {
            engine.finish(now() + SECOND);
            fault = engine.start(why);
        }
        if (fault != Fault::NONE && !engine.has_worked()) {
            game.record.reason = engine.name() + ": " + why;
            return GameEnd::IMPOSSIBLE;
        }
        if (fault == Fault::NONE && opening.fen != INITIAL_FEN && !engine.can_set_up()) {
            game.record.reason =
                engine.name() + " cannot be given a position: use openings made of moves";
            return GameEnd::IMPOSSIBLE;
        }
        if (fault == Fault::NONE) fault = engine.begin_game(game.settings.control, opening, why);
        if (fault != Fault::NONE) return lose_by(game, colour, fault, "start refused: " + why);
    }
    ready = true;
    return GameEnd::FINISHED;
}

Micros turn_limit(const Settings& settings, const Player& player) {
    if (settings.control.depth > 0 || settings.control.nodes > 0) {
        return player.engine->has_spoken() ? DEPTH_PATIENCE : STRANGER_PATIENCE;
    }
    const Micros own = settings.control.per_move > 0 ? settings.control.per_move : player.left;
    return own + settings.margin;
}

// Counts a move on its clock and in the statistics.
void book_move(const TimeControl& control, Player& player, const Thought& thought, Micros used) {
    SideRecord& record = *player.record;
    const Micros allowed = control.per_move > 0 ? control.per_move : player.left;
    player.left = std::max<Micros>(allowed - used, 0);
    if (record.moves == 0 || player.left < record.least_left) record.least_left = player.left;
    ++record.moves;
    record.thinking += used;
    if (thought.seen) {
        ++record.depths;
        record.depth_sum += thought.depth;
    }
    player.scores.push_back(thought.seen ? thought.score * side : NO_SCORE);
    ++player.moves;
    player.left += control.increment;
    if (control.moves > 0 && player.moves % control.moves == 0) player.left += control.base;
}

GameEnd play_out(Game& game) {
    const Settings& settings = game.settings;
    const TimeControl& control = settings.control;
    LegalMove last = {-1, "", ""};
    for (Player& player : game.players) player.left = control.base;

    for (;;) {
        Ending ending = game_ending();
        if (!ending.over) ending = adjudicate(game);
        if (ending.over) return end_with(game, ending.outcome, ending.reason);

        const int mover = side;
        Player& player = game.players[index_of(mover)];
        player.engine->hand_turn(
            {last.coordinates.empty() ? nullptr : &last, control.base > 0, player.left,
             game.players[index_of(-mover)].left,
             control.moves > 0 ? control.moves - player.moves % control.moves : 0});
        const Micros began = now();
        const Micros limit = turn_limit(settings, player);
        const Answer answer = player.engine->await_answer(began + limit);
        if ((answer.kind == Answer::LATE || answer.kind == Answer::GONE) &&
            !player.engine->has_spoken()) {
            game.record.reason =
                player.engine->name() + " does not speak CECP: it answered neither protover nor go";
            return GameEnd::IMPOSSIBLE;
        }
        switch (answer.kind) {
            case Answer::MOVE: break;
            case Answer::STOPPED: return GameEnd::STOPPED;
            case Answer::LATE: return lose_by(game, mover, Fault::TIME, "time forfeit");
            case Answer::GONE:
                return lose_by(game, mover, Fault::CRASH,
                               "crash: " + player.engine->finish(now() + SECOND));
            case Answer::REFUSAL:
                return lose_by(game, mover, Fault::REFUSED_MOVE, "refused move: " + answer.text);
            case Answer::RESIGNATION: return end_with(game, -mover, "resignation");
            case Answer::CLAIM:
                if (answer.outcome == -mover) return end_with(game, -mover, "resignation");
                if (!claim_holds(answer.outcome)) {
                    return lose_by(game, mover, Fault::FALSE_CLAIM, "false claim: " + answer.text);
                }
                return end_with(game, answer.outcome, "claim: " + answer.text);
        }

        last = recognise_move(answer.text);
        if (last.list_index < 0) {
            return lose_by(game, mover, Fault::ILLEGAL_MOVE, "illegal move: " + answer.text);
        }
        player.engine->confirm_move(last);
        const Micros used = std::max<Micros>(answer.arrived - began, 0);
        const Thought& thought = player.engine->thought();
        book_move(control, player, thought, used);
        record_move(game.record, last, thought_comment(thought, used));
        play(last);
    }
}

}  // namespace

GameEnd play_game(std::array<Engine*, 2> engines, const Opening& opening, const Settings& settings,
                  GameRecord& record) {
    Game game = {settings, record, {}};
    for (std::size_t i = 0; i < engines.size(); ++i) {
        game.players[i].engine = engines[i];
        game.players[i].record = &record.sides[i];
    }
    record.fen = opening.fen;
    bool ready = false;
    const GameEnd end = prepare(game, opening, ready);

    std::string why;
    begin_game_at(opening.fen, why);
    for (const std::string& text : opening.moves) {
        const LegalMove move = recognise_move(text);
        record_move(record, move, "");
        ++game.players[index_of(side)].moves;
        play(move);
    }
    return ready ? play_out(game) : end;
}

}  // namespace tarsimo::match
