// The referee's board: the engine's own board code, with the parts of the rules that an engine
// may neglect and a referee may not. The position keys of the search know nothing of castling
// rights and take every double step for an en-passant chance, so repetitions are counted here
// over whole positions; counters come from the FEN.
#include "board/attacks.h"
#include "board/make.h"
#include "board/move_list.h"
#include "board/position.h"
#include "tools/match/match.h"

#include "control/fen.h"
#include "control/fen_check.h"
#include "control/notation.h"
#include "tools/common/fen_writer.h"
#include "tools/common/legal_moves.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <sstream>

namespace tarsimo::match {

namespace {

constexpr int MAX_QUIET_HALF_MOVES = 100;
constexpr int LARGEST_COUNTER = 1000;

// The game's own state, set by begin_game_at() and play(). What it says of the present position
// holds for search_ply 0.
std::vector<std::string> positions;  // since the last capture or pawn move, the present one last
int quiet_plies = 0;                 // since the last capture or pawn move
int full_moves = 1;

std::string lower_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// The square of an en-passant capture that can be made, 0 for none.
int usable_ep_square(const std::vector<int>& legal) {
    for (const int i : legal) {
        if (move_at(i).ep_capture != 0) return ep_square;
    }
    return 0;
}

// The first four fields of a FEN: equal texts are the same position by the rules.
std::string position_text(const std::vector<int>& legal) {
    return tool::position_fields(usable_ep_square(legal));
}

// Neither side can mate by any moves: at most one minor piece, or bishops on one colour only.
bool is_bare_material() {
    int knights = 0;
    std::array<int, 2> bishops{};  // by colour of the square
    for (int sq = A1; sq <= H8; ++sq) {
        switch (type_on(sq)) {
            case PAWN:
            case ROOK:
            case QUEEN: return false;
            case KNIGHT: ++knights; break;
            case BISHOP: ++bishops[idx((sq / 10 + sq) % 2)]; break;
            default: break;
        }
    }
    if (knights > 0) return knights == 1 && bishops[0] + bishops[1] == 0;
    return bishops[0] == 0 || bishops[1] == 0;
}

Ending ending_of(const std::vector<int>& legal, int quiet, bool third_time) {
    if (legal.empty() && in_check()) return {true, -side, "checkmate"};
    if (legal.empty()) return {true, 0, "stalemate"};
    if (is_bare_material()) return {true, 0, "insufficient material"};
    if (third_time) return {true, 0, "threefold repetition"};
    if (quiet >= MAX_QUIET_HALF_MOVES) return {true, 0, "fifty-move rule"};
    return {false, 0, ""};
}

bool is_irreversible(const Move& move) {
    return move.captured != 0 || move.ep_capture != 0 || type_on(move.from) == PAWN;
}

// File, rank or both of the piece, as far as another of its kind could make the same move.
std::string distinction(const Move& move, const std::vector<int>& legal) {
    bool twin = false;
    bool same_file = false;
    bool same_rank = false;
    for (const int i : legal) {
        const Move& other = move_at(i);
        if (other.to != move.to || other.from == move.from) continue;
        if (type_on(other.from) != type_on(move.from)) continue;
        twin = true;
        same_file |= square_file[idx(other.from)] == square_file[idx(move.from)];
        same_rank |= square_rank[idx(other.from)] == square_rank[idx(move.from)];
    }
    const std::string name = square_name(move.from);
    if (!twin) return "";
    if (!same_file) return name.substr(0, 1);
    return same_rank ? name : name.substr(1);
}

// SAN of a legal move of the list, without + and #.
std::string bare_san(const Move& move, const std::vector<int>& legal) {
    if (move.castle != 0) return move.castle == 1 ? "O-O" : "O-O-O";
    const int type = type_on(move.from);
    const bool capture = move.captured != 0 || move.ep_capture != 0;
    std::string text;
    if (type != PAWN) text = SAN_LETTERS[type] + distinction(move, legal);
    else if (capture) text = square_name(move.from).substr(0, 1);
    if (capture) text += 'x';
    text += square_name(move.to);
    if (move.promotion != 0) text += std::string("=") + SAN_LETTERS[move.promotion];
    return text;
}

const char* check_mark(int index) {
    make_move(index);
    const char* mark = !in_check() ? "" : legal_moves().empty() ? "#" : "+";
    unmake_move();
    return mark;
}

// What is left of a move text when the marks are gone that engines write or leave out.
std::string without_marks(const std::string& text) {
    std::string bare;
    for (const char c : text) {
        if (std::string_view("+#!?=x-:").find(c) == std::string_view::npos) {
            bare += c == '0' ? 'O' : c;
        }
    }
    return bare;
}

// True for a pawn on the first or the last of eight ranks.
bool has_misplaced_pawn(const std::string& placement) {
    const std::string first = placement.substr(placement.rfind('/'));
    const std::string last = placement.substr(0, placement.find('/'));
    return (first + last).find_first_of("pP") != std::string::npos;
}

bool all_in(const std::string& text, std::string_view letters) {
    return text.find_first_not_of(letters) == std::string::npos;
}

// A counter field, or `absent` when an EPD operation or nothing stands in its place; nothing
// behind that is read either.
int read_counter(std::istringstream& fields, int absent) {
    std::string field;
    if (fields >> field && all_in(field, "0123456789") && field.size() <= 4) {
        return std::min(std::atoi(field.c_str()), LARGEST_COUNTER);
    }
    fields.setstate(std::ios::failbit);
    return absent;
}

}  // namespace

bool begin_game_at(const std::string& fen, std::string& why) {
    std::istringstream fields(fen);
    std::string placement, mover, castling, ep;
    fields >> placement >> mover >> castling >> ep;
    const std::string checked = checked_fen(fen, why);
    if (why.empty() && has_misplaced_pawn(placement))
        why = "a pawn stands on its first or last rank";
    if (!why.empty()) return false;

    quiet_plies = read_counter(fields, 0);
    full_moves = std::max(read_counter(fields, 1), 1);
    set_position_fen(checked);
    search_ply = 0;
    if (is_attacked(side == WHITE ? black_king_sq : white_king_sq, side)) {
        why = "the side that is not to move is in check";
        return false;
    }
    positions = {position_text(legal_moves())};
    return true;
}

std::string position_fen() {
    return positions.back() + " " + std::to_string(quiet_plies) + " " + std::to_string(full_moves);
}

int move_number() { return full_moves; }

LegalMove recognise_move(const std::string& text) {
    const std::string wanted = without_marks(text);
    const std::string wanted_squares = lower_case(wanted);
    const std::vector<int> legal = legal_moves();
    for (const int i : legal) {
        const std::string coordinates = coordinate_name(move_at(i));
        const std::string san = bare_san(move_at(i), legal);
        const std::string full = SAN_LETTERS[type_on(move_at(i).from)] + coordinates;
        if (wanted_squares != coordinates && wanted != without_marks(san) && wanted != full)
            continue;
        return {i, coordinates, san + check_mark(i)};
    }
    return {-1, "", ""};
}

void play(const LegalMove& move) {
    const bool irreversible = is_irreversible(move_at(move.list_index));
    if (side == BLACK) ++full_moves;
    make_move(move.list_index);
    note_game_length();
    search_ply = 0;
    quiet_plies = irreversible ? 0 : quiet_plies + 1;
    if (irreversible) positions.clear();
    positions.push_back(position_text(legal_moves()));
}

Ending game_ending() {
    const bool third_time = std::count(positions.begin(), positions.end(), positions.back()) >= 3;
    return ending_of(legal_moves(), quiet_plies, third_time);
}

bool claim_holds(int outcome) {
    const auto holds = [outcome](const Ending& end) { return end.over && end.outcome == outcome; };
    if (holds(game_ending())) return true;
    for (const int i : legal_moves()) {
        const bool irreversible = is_irreversible(move_at(i));
        make_move(i);
        const std::vector<int> replies = legal_moves();
        const bool third_time =
            std::count(positions.begin(), positions.end(), position_text(replies)) >= 2;
        const Ending end =
            ending_of(replies, irreversible ? 0 : quiet_plies + 1, !irreversible && third_time);
        unmake_move();
        if (holds(end)) return true;
    }
    return false;
}

}  // namespace tarsimo::match
