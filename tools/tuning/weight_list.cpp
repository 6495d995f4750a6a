#include "tools/tuning/weight_list.h"

#include <cmath>
#include <sstream>

namespace tarsimo::tuning {

namespace {

constexpr char LINE_START[] = "WEIGHTS(";

std::string kind_name(WeightKind kind) {
    return kind == WeightKind::TAPERED ? "TAPERED" : "SHELTER";
}

std::string head_of(const WeightGroup& group) {
    return LINE_START + std::string(group.name) + ", " + kind_name(group.kind) + ", \"" +
           group.index + "\"";
}

std::string line_of(const WeightGroup& group, const Values& values) {
    std::string line = head_of(group);
    for (int i = group.first; i < group.first + group.size; ++i) {
        line += ", S(" + std::to_string(std::lround(values[at(2 * i)])) + ", " +
                std::to_string(std::lround(values[at(2 * i + 1)])) + ")";
    }
    return line + ")";
}

}  // namespace

std::string rewrite_list(const std::string& list, const Values& values) {
    std::istringstream in(list);
    std::string text;
    std::string line;
    std::size_t group = 0;
    while (std::getline(in, line)) {
        if (line.starts_with(LINE_START)) {
            if (group == weight_groups.size() || !line.starts_with(head_of(weight_groups[group]))) {
                return "";
            }
            line = line_of(weight_groups[group++], values);
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
