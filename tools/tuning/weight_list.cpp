#include "tools/tuning/weight_list.h"

#include "tools/common/command_line.h"
#include "tools/common/text_file.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace tarsimo::tuning {

namespace {

constexpr char GROUP_START[] = "WEIGHTS(";
constexpr char GROUP_END[] = "))";
constexpr std::size_t MAX_LINE = 100;  // characters; a longer group is written in rows
constexpr std::size_t ROW = 8;         // weights
constexpr double MAX_WEIGHT = 1000;    // centipawns; with more, sums might overflow

std::string kind_name(WeightKind kind) {
    return kind == WeightKind::TAPERED ? "TAPERED" : "SHELTER";
}

std::string head_of(const WeightGroup& group) {
    return GROUP_START + std::string(group.name) + ", " + kind_name(group.kind) + ", \"" +
           group.index + "\"";
}

std::vector<std::string> pairs_of(const WeightGroup& group, const Values& values) {
    std::vector<std::string> pairs;
    for (int weight = group.first; weight < group.first + group.size; ++weight) {
        pairs.push_back("S(" + std::to_string(std::lround(values[idx(2 * weight)])) + ", " +
                        std::to_string(std::lround(values[idx(2 * weight + 1)])) + ")");
    }
    return pairs;
}

// On one line where it fits; otherwise its weights stand below the head, a row of eight per line
// and in columns, so that a board looks like one.
std::string text_of(const WeightGroup& group, const Values& values) {
    const std::vector<std::string> pairs = pairs_of(group, values);
    std::string line = head_of(group);
    std::size_t width = 0;
    for (const std::string& pair : pairs) {
        line += ", " + pair;
        width = std::max(width, pair.size());
    }
    if (line.size() < MAX_LINE) return line + ")";

    std::string rows = head_of(group);
    std::size_t column = 0;  // characters missing to the next one
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        rows += i % ROW == 0 ? ",\n    " : ", " + std::string(column, ' ');
        rows += pairs[i];
        column = width - pairs[i].size();
    }
    return rows + ")";
}

}  // namespace

std::string read_list(const std::string& path) {
    tool::TextFile in(path);
    std::string text;
    for (std::string line; in.next(line);) text += line + "\n";
    if (!in.fault().empty()) tool::fail(in.fault());
    if (text.empty() || rewrite_list(text, built_in_values()) != text) {
        tool::fail(path + " is not the list that this program was built with");
    }
    return text;
}

const WeightGroup* find_group(const std::string& name) {
    const auto* const group = std::find_if(weight_groups.begin(), weight_groups.end(),
                                           [&](const WeightGroup& g) { return name == g.name; });
    return group == weight_groups.end() ? nullptr : group;
}

std::string rewrite_list(const std::string& list, const Values& values) {
    std::istringstream in(list);
    std::string text;
    std::string line;
    std::size_t group = 0;
    while (std::getline(in, line)) {
        if (line.starts_with(GROUP_START)) {
            if (group == weight_groups.size() || !line.starts_with(head_of(weight_groups[group]))) {
                return "";
            }
            while (!line.ends_with(GROUP_END)) {
                if (!std::getline(in, line)) return "";
            }
            line = text_of(weight_groups[group++], values);
        }
        text += line + "\n";
    }
    return group == weight_groups.size() ? text : "";
}

Values rounded(const Values& values) {
    Values whole;
    for (const double value : values) {
        whole.push_back(std::round(std::fmax(-MAX_WEIGHT, std::fmin(value, MAX_WEIGHT))));
    }
    return whole;
}

}  // namespace tarsimo::tuning
