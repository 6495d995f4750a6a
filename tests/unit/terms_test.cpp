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
        evaluate_traced();
        EXPECT_TRUE(eval_trace.linear) << line;
        const auto weight = idx(group->first + index);
        EXPECT_EQ(eval_trace.counts[0][weight], counts[0]) << line;
        EXPECT_EQ(eval_trace.counts[1][weight], counts[1]) << line;
        const int worth = middlegame_part(weights[weight]) + endgame_part(weights[weight]);
        if (sign == "+") EXPECT_GT(worth, 0) << line;
        else if (sign == "-") EXPECT_LT(worth, 0) << line;
        else EXPECT_EQ(sign, ".") << line;
    }
}

// Where the final score is a quarter of what the terms give, no other cut comes on top.
TEST_F(Terms, DrawishPawnlessEndingsAreCutOnce) {
    for (const char* fen : {"4k3/8/8/8/3r4/8/8/R3KN2 w - -", "4k3/8/8/8/3r4/8/8/R3KB2 b - -",
                            "4k3/8/8/8/3r4/8/8/2B1KN2 w - -", "2b1kr2/8/8/8/3R4/8/8/4K3 w - -"}) {
        set_up(fen);
        evaluate_traced();
        EXPECT_EQ(eval_trace.divisor, 4) << fen;
        EXPECT_EQ(eval_trace.scale, FULL_SCALE) << fen;
    }
    // Two rooks against a queen, beyond that band, are cut as a lead without pawns.
    set_up("3qk3/8/8/8/8/8/8/R3K2R w - -");
    evaluate_traced();
    EXPECT_EQ(eval_trace.divisor, 1);
    EXPECT_LT(eval_trace.scale, FULL_SCALE);
}

}  // namespace

}  // namespace tarsimo::test
