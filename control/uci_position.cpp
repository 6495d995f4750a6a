// The game that the interface tells, played through move by move.
#include "control/uci_position.h"

#include "board/attacks.h"
#include "board/generate.h"
#include "board/keys.h"
#include "board/make.h"
#include "board/position.h"
#include "control/fen.h"
#include "control/fen_check.h"
#include "control/notation.h"
#include "control/output.h"
#include "control/text.h"

#include <algorithm>
#include <sstream>
#include <string_view>

namespace tarsimo {

namespace {

constexpr char INITIAL_FEN[] = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -";
constexpr int MAX_TOLD_FIFTY = 100;
constexpr std::size_t MAX_QUOTED = 40;  // characters of somebody else's text in a message

// The last `position` command that was taken, as far as it was legal.
std::string game_line;
constexpr char INITIAL_GAME[] = "position startpos";
bool from_start = true;

// Index of the legal move of this name in the list of the root, -1 for none.
int find_legal_move(const std::string& name) {
    search_ply = 0;
    generate_moves();
    for (int i = 0; i < list_start(1); ++i) {
        if (coordinate_name(move_at(i)) != name) continue;
        make_move(i);
        const bool legal = king_left_safe();
        unmake_move();
        return legal ? i : -1;
    }
    return -1;
}

bool play(const std::string& name) {
    const int index = find_legal_move(name);
    if (index < 0) return false;
    make_move(index);
    search_ply = 0;
    note_game_length();
    return true;
}

bool pawn_on_last_rank() {
    const auto is_pawn = [](int sq) { return type_on(sq) == PAWN; };
    for (int file = 0; file < 8; ++file) {
        if (is_pawn(A1 + file) || is_pawn(A8 + file)) return true;
    }
    return false;
}

// Set up what a checked text says. Returns what is wrong with it, nothing when it is a position of
// the game.
std::string set_up_checked(const std::string& fen) {
    if (fen == INITIAL_FEN) {
        set_up_initial_game();
        return "";
    }
    from_start = false;
    if (!set_up_position(fen)) return "there is not one king of each colour";
    if (pawn_on_last_rank()) return "a pawn stands on a last rank";
    const int waiting_king = side == WHITE ? black_king_sq : white_king_sq;
    if (is_attacked(waiting_king, side)) return "the side that has moved is in check";
    return "";
}

// The fifth field counts half-moves towards the fifty-move rule; texts without it are not rare.
void read_fifty(const std::string& text) {
    std::istringstream fields(text);
    std::string field;
    for (int i = 0; i < 5; ++i) {
        if (!(fields >> field)) return;
    }
    if (field.find_first_not_of("0123456789") != std::string::npos) return;
    start_history(parse_number(field, MAX_TOLD_FIFTY));
}

std::string quoted(const std::string& text) {
    std::string result = text.substr(0, MAX_QUOTED);
    for (char& c : result) {
        if (c < ' ' || c > '~') c = '?';
    }
    return "'" + result + "'";
}

// Returns what is wrong with the start position, nothing when it has been set up.
std::string set_up_start(const std::string& start) {
    const std::string kind = first_word(start);
    if (kind == "startpos") {
        set_up_initial_game();
        return "";
    }
    if (kind != "fen") return "neither startpos nor fen";
    const std::string text = text_behind(start, kind);
    std::string why;
    const std::string fen = checked_fen(text, why);
    if (!why.empty()) return why;
    why = set_up_checked(fen);
    if (why.empty() && !from_start) read_fifty(text);
    return why;
}

constexpr std::string_view MOVES = "moves";

// Where the word "moves" begins, or the end of the line.
std::size_t find_moves(const std::string& line) {
    Word word(line);
    while (!word.text.empty() && word.text != MOVES) word = Word(line, word.end);
    return word.begin;
}

// Play the moves named from a place of the line on. Returns the end of the last that was legal.
std::size_t play_moves(const std::string& line, std::size_t place) {
    for (Word word(line, place); !word.text.empty(); word = Word(line, word.end)) {
        if (!play(word.text)) {
            print("info string illegal move %s: the game ends before it\n",
                  quoted(word.text).c_str());
            break;
        }
        place = word.end;
    }
    return place;
}

}  // namespace

void set_up_initial_game() {
    // QUIRK: as init_engine() does it, the key is computed before there is a side to move.
    side = 0;
    ep_square = 0;
    begin_initial_position();
    compute_hash_key();
    finish_initial_position();
    from_start = true;
    game_line = INITIAL_GAME;
}

void set_up_game(const std::string& line) {
    const std::size_t moves = find_moves(line);
    const std::string why = set_up_start(text_behind(line.substr(0, moves), first_word(line)));
    if (!why.empty()) {
        print("info string not a position: %s\n", why.c_str());
        set_up_game(std::string(game_line));
        return;
    }
    const std::size_t end = moves < line.size() ? play_moves(line, moves + MOVES.size()) : moves;
    game_line = line.substr(0, end);
}

bool game_is_from_start() { return from_start; }

std::optional<MoveRef> legal_move(const std::string& name) {
    const int index = find_legal_move(name);
    if (index < 0) return std::nullopt;
    return MoveRef{move_at(index).from, move_at(index).to, 0};
}

}  // namespace tarsimo
