// The terms of the evaluation one by one, from a list: what is counted where, and the sign of its
// weight. Read off the trace.
#include "support.h"

#include <sstream>

namespace tarsimo::test {

namespace {

class Terms : public Engine {};

const WeightGroup* group_named(const std::string& name) {
    for (const WeightGroup& group : weight_groups) {
        if (name == group.name) return &group;
    }
    return nullptr;
}

TEST_F(Terms, AreCountedAsListed) {
    const auto lines = data_lines("terms.txt");
    ASSERT_GT(lines.size(), 60U);
    for (const std::string& line : lines) {
        std::istringstream fields(line.substr(0, line.find(';')));
        std::string name;
        std::string sign;
        int index = -1;
        std::array<int, 2> counts{};
        fields >> name >> index >> counts[0] >> counts[1] >> sign;
        const WeightGroup* group = group_named(name);
        ASSERT_TRUE(group != nullptr && index >= 0 && index < group->size) << line;

        const std::size_t fen = line.find(';') + 2;
        set_up(line.substr(fen, line.find(';', fen) - fen - 1));
        evaluate(-INF, INF);
        EXPECT_TRUE(eval_trace.linear) << line;
        const auto weight = at(group->first + index);
        EXPECT_EQ(eval_trace.counts[0][weight], counts[0]) << line;
        EXPECT_EQ(eval_trace.counts[1][weight], counts[1]) << line;
        const int worth = middlegame_part(weights[weight]) + endgame_part(weights[weight]);
        if (sign == "+") EXPECT_GT(worth, 0) << line;
        else if (sign == "-") EXPECT_LT(worth, 0) << line;
        else EXPECT_EQ(sign, ".") << line;
    }
}

}  // namespace

}  // namespace tarsimo::test
