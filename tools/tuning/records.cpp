#include "tools/tuning/records.h"

#include "board/make.h"
#include "board/move_list.h"
#include "board/position.h"

#include "control/notation.h"

#include <charconv>
#include <string_view>

namespace tarsimo::tuning {

namespace {

char piece_letter(int piece) {
    const char letter = FEN_LETTERS[piece < 0 ? -piece : piece];
    return piece > 0 ? static_cast<char>(letter - 'a' + 'A') : letter;
}

std::string placement() {
    std::string text;
    for (int rank = A8; rank >= A1; rank -= 10) {
        int empty = 0;
        for (int sq = rank; sq < rank + 8; ++sq) {
            if (piece_on(sq) == EMPTY) {
                ++empty;
                continue;
            }
            if (empty > 0) text += std::to_string(empty);
            empty = 0;
            text += piece_letter(piece_on(sq));
        }
        if (empty > 0) text += std::to_string(empty);
        if (rank != A1) text += '/';
    }
    return text;
}

template <int Us> bool may_castle(int rook_home) {
    constexpr int king_home = Us == WHITE ? E1 : E8;
    return castled<Us>() == 0 && piece_on(king_home) == Us * KING &&
           piece_on(rook_home) == Us * ROOK && square_moves[at(king_home)] == 0 &&
           square_moves[at(rook_home)] == 0;
}

std::string castling_rights() {
    std::string text;
    if (may_castle<WHITE>(H1)) text += 'K';
    if (may_castle<WHITE>(A1)) text += 'Q';
    if (may_castle<BLACK>(H8)) text += 'k';
    if (may_castle<BLACK>(A8)) text += 'q';
    return text.empty() ? "-" : text;
}

bool read_integer(std::string_view text, int& value) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

std::optional<double> read_result(std::string_view text) {
    if (text == "1") return 1.0;
    if (text == "0.5") return 0.5;
    if (text == "0") return 0.0;
    return std::nullopt;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> fields;
    for (;;) {
        const auto end = text.find(separator);
        fields.push_back(text.substr(0, end));
        if (end == std::string_view::npos) return fields;
        text.remove_prefix(end + 1);
    }
}

}  // namespace

std::string position_fen() {
    const std::string passed = ep_square == 0 ? "-" : square_name(ep_square);
    return placement() + (side == WHITE ? " w " : " b ") + castling_rights() + " " + passed;
}

std::string move_name(const Move& move) {
    std::string name = square_name(move.from) + square_name(move.to);
    if (move.promotion != 0) name += FEN_LETTERS[move.promotion];
    return name;
}

int find_root_move(const std::vector<int>& legal, std::string_view name) {
    for (const int index : legal) {
        if (move_name(move_at(index)) == name) return index;
    }
    return -1;
}

void play_root_move(int index) {
    make_move(index);
    note_game_length();
    search_ply = 0;
}

std::string result_text(double result) {
    if (result > 0.75) return "1";
    return result < 0.25 ? "0" : "0.5";
}

std::string format_game(const GameRecord& game) {
    std::string line = game.start + ";";
    for (const PlayedMove& move : game.moves) {
        if (line.back() != ';') line += ' ';
        line += move.name + "/" + std::to_string(move.score);
    }
    return line + ";" + result_text(game.result);
}

std::optional<GameRecord> parse_game(const std::string& line) {
    const auto fields = split(line, ';');
    if (fields.size() != 3) return std::nullopt;
    const auto result = read_result(fields[2]);
    if (!result) return std::nullopt;

    GameRecord game{std::string(fields[0]), {}, *result};
    if (fields[1].empty()) return game;
    for (const std::string_view word : split(fields[1], ' ')) {
        const auto slash = word.find('/');
        int score = 0;
        if (slash == std::string_view::npos || !read_integer(word.substr(slash + 1), score)) {
            return std::nullopt;
        }
        game.moves.push_back({std::string(word.substr(0, slash)), score});
    }
    return game;
}

std::optional<LabelledPosition> parse_position(const std::string& line) {
    const auto fields = split(line, ';');
    if (fields.size() != 2 && fields.size() != 3) return std::nullopt;
    const auto result = read_result(fields[1]);
    if (!result) return std::nullopt;

    LabelledPosition position{std::string(fields[0]), *result, std::nullopt};
    if (fields.size() == 3) {
        int opinion = 0;
        if (!read_integer(fields[2], opinion)) return std::nullopt;
        position.opinion = opinion;
    }
    return position;
}

}  // namespace tarsimo::tuning
