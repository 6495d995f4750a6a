#include "tools/tuning/directions.h"

#include "tools/common/command_line.h"
#include "tools/common/text_file.h"
#include "tools/tuning/weight_list.h"

#include <algorithm>
#include <optional>
#include <sstream>

namespace tarsimo::tuning {

namespace {

struct Change {
    const WeightGroup* group = nullptr;
    std::string part;
    std::string kind;
    double amount = 0;
    std::optional<int> member;
};

bool is_one_of(const std::string& word, std::initializer_list<const char*> words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

// The words of a line behind the direction's name; nothing when they make no change.
std::optional<Change> parse_change(std::istringstream& words) {
    Change change;
    std::string group;
    if (!(words >> group >> change.part >> change.kind >> change.amount)) return std::nullopt;
    change.group = find_group(group);
    int member = 0;
    if (words >> member) change.member = member;
    else if (!words.eof()) return std::nullopt;
    const bool valid =
        change.group != nullptr && is_one_of(change.part, {"middlegame", "endgame", "both"}) &&
        is_one_of(change.kind, {"add", "scale", "spread"}) && (words >> std::ws).eof() &&
        (!change.member || (change.kind == "spread" && member >= 0 && member < change.group->size));
    return valid ? std::optional<Change>(change) : std::nullopt;
}

// The value from which a "spread" counts.
double centre_of(const Change& change, const Values& start, std::size_t half) {
    const auto value = [&](int i) { return start[2 * idx(change.group->first + i) + half]; };
    if (change.member) return value(*change.member);
    double sum = 0;
    for (int i = 0; i < change.group->size; ++i) sum += value(i);
    return sum / change.group->size;
}

void add_change(const Change& change, const Values& start, Values& step) {
    for (const std::size_t half : {std::size_t{0}, std::size_t{1}}) {
        if (change.part == (half == 0 ? "endgame" : "middlegame")) continue;
        const double centre = change.kind == "spread" ? centre_of(change, start, half) : 0;
        for (int i = 0; i < change.group->size; ++i) {
            const std::size_t value = 2 * idx(change.group->first + i) + half;
            step[value] +=
                change.kind == "add" ? change.amount : change.amount * (start[value] - centre);
        }
    }
}

}  // namespace

std::vector<Direction> read_directions(const std::string& path, const Values& start) {
    std::vector<Direction> directions;
    tool::TextFile in(path);
    for (std::string line; in.next(line);) {
        std::istringstream words(line);
        std::string name;
        if (!(words >> name) || name[0] == '#') continue;
        const auto change = parse_change(words);
        if (!change) tool::fail(in.place() + ": not a change: " + tool::printable(line));
        if (directions.empty() || directions.back().name != name) {
            directions.push_back({name, Values(start.size())});
        }
        add_change(*change, start, directions.back().step);
    }
    if (!in.fault().empty()) tool::fail(in.fault());
    if (directions.empty()) tool::fail("no directions in " + path);
    return directions;
}

Values moved(const Values& start, const std::vector<Direction>& directions,
             const std::vector<double>& steps) {
    Values values = start;
    for (std::size_t d = 0; d < directions.size(); ++d) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            values[i] += steps[d] * directions[d].step[i];
        }
    }
    return rounded(values);
}

}  // namespace tarsimo::tuning
