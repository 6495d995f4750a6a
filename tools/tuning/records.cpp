#include "tools/tuning/records.h"

#include "board/make.h"
#include "board/move_list.h"
#include "board/position.h"
#include "control/fen.h"
#include "control/fen_check.h"
#include "control/notation.h"
#include "tools/common/fen_writer.h"

#include <charconv>
#include <cstdlib>
#include <string_view>

namespace tarsimo::tuning {

namespace {

bool read_score(std::string_view text, int& value) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() && value >= -MAX_SCORE &&
           value <= MAX_SCORE;
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

std::string position_fen() { return tool::position_fields(ep_square); }

int find_root_move(const std::vector<int>& legal, std::string_view name) {
    for (const int index : legal) {
        if (coordinate_name(move_at(index)) == name) return index;
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
    std::string why;
    const std::string start = checked_fen(std::string(fields[0]), why);
    if (!result || start.empty()) return std::nullopt;

    GameRecord game{start, {}, *result};
    if (fields[1].empty()) return game;
    for (const std::string_view word : split(fields[1], ' ')) {
        const auto slash = word.find('/');
        int score = 0;
        if (slash == std::string_view::npos || !read_score(word.substr(slash + 1), score)) {
            return std::nullopt;
        }
        game.moves.push_back({std::string(word.substr(0, slash)), score});
    }
    return game;
}

LabelledPosition labelled_position(double result) {
    const std::string fen = position_fen();
    const std::string rights = fen.substr(fen.find(' ') + 3, 4);
    const auto may_castle = [&rights](const char* letters) {
        return rights.substr(0, rights.find(' ')).find_first_of(letters) != std::string::npos;
    };
    return {fen,
            result,
            {white_castled == 0 && !may_castle("KQ"), black_castled == 0 && !may_castle("kq")},
            std::nullopt};
}

void set_up_position(const LabelledPosition& position) {
    set_position_fen(position.fen);
    if (position.uncastled[0]) white_castled = 0;
    if (position.uncastled[1]) black_castled = 0;
}

std::string format_position(const LabelledPosition& position) {
    std::string line = position.fen + ";" + result_text(position.result);
    if (position.uncastled[0] || position.uncastled[1]) line += ';';
    if (position.uncastled[0]) line += 'w';
    if (position.uncastled[1]) line += 'b';
    if (position.opinion) line += ";" + std::to_string(*position.opinion);
    return line;
}

std::optional<LabelledPosition> parse_position(const std::string& line) {
    const auto fields = split(line, ';');
    if (fields.size() < 2) return std::nullopt;
    const auto result = read_result(fields[1]);
    std::string why;
    const std::string fen = checked_fen(std::string(fields[0]), why);
    if (!result || fen.empty()) return std::nullopt;

    LabelledPosition position{fen, *result, {}, std::nullopt};
    std::size_t next = 2;
    if (next < fields.size() &&
        (fields[next] == "w" || fields[next] == "b" || fields[next] == "wb")) {
        position.uncastled = {fields[next].front() == 'w', fields[next].back() == 'b'};
        ++next;
    }
    if (next < fields.size()) {
        int opinion = 0;
        if (!read_score(fields[next], opinion)) return std::nullopt;
        position.opinion = opinion;
        ++next;
    }
    if (next < fields.size()) return std::nullopt;
    return position;
}

}  // namespace tarsimo::tuning
