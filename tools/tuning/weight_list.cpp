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
constexpr int ROW = 8;                 // weights
constexpr double MAX_WEIGHT = 1000;    // centipawns; with more, sums might overflow

std::string kind_name(WeightKind kind) {
    return kind == WeightKind::TAPERED ? "TAPERED" : "SHELTER";
}

std::string head_of(const WeightGroup& group) {
    return GROUP_START + std::string(group.name) + ", " + kind_name(group.kind) + ", \"" +
           group.index + "\"";
}

// On one line where it fits; otherwise its weights stand below the head, a row of eight per line.
std::string text_of(const WeightGroup& group, const Values& values) {
    std::string line = head_of(group);
    std::string rows = line;
    for (int i = 0; i < group.size; ++i) {
        const int weight = group.first + i;
        const std::string pair = "S(" + std::to_string(std::lround(values[idx(2 * weight)])) +
                                 ", " + std::to_string(std::lround(values[idx(2 * weight + 1)])) +
                                 ")";
        line += ", " + pair;
        rows += (i % ROW == 0 ? ",\n    " : ", ") + pair;
    }
    return (line.size() < MAX_LINE ? line : rows) + ")";
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
