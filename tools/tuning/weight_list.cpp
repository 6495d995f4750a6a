#include "tools/tuning/weight_list.h"

#include <cmath>
#include <sstream>

namespace tarsimo::tuning {

namespace {

constexpr char GROUP_START[] = "WEIGHTS(";
constexpr char GROUP_END[] = "))";
constexpr std::size_t MAX_LINE = 100;  // characters; a longer group is written in rows
constexpr int ROW = 8;                 // weights

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
    for (const double value : values) whole.push_back(std::round(value));
    return whole;
}

}  // namespace tarsimo::tuning
