// The budget of a move from the clocks, and the stop test's reading of the clock.
#include "support.h"

#include <climits>

namespace tarsimo::test {

namespace {

class Clock : public Engine {};

TEST_F(Clock, Allocation) {
    struct Case {
        int own, opponent, level, control, increment;
        int ply, engine;
        int budget, left_after, level_after;
        const char* reason;
    };
    constexpr int kept = 77;  // moves_left as it was
    const std::array<Case, 22> cases = {{
        {300000, 300000, 0, 0, 0, 0, BLACK, 15000, kept, 0, "sudden death"},
        {300000, 300001, 0, 0, 0, 0, BLACK, 10000, kept, 0, "behind on the clock"},
        {300000, 400000, 0, 0, 0, 0, BLACK, 10000, kept, 0, "further behind"},
        {120000, 100000, 0, 0, 12000, 0, BLACK, 12000, kept, 0, "increment, ahead"},
        {120000, 120000, 0, 0, 12000, 0, BLACK, 12000, kept, 0, "increment, level"},
        {120000, 120001, 0, 0, 12000, 0, BLACK, 10000, kept, 0, "increment, behind"},
        {300000, 0, 40, 40, 0, 0, BLACK, 10000, 40, 40, "forty moves, divided by thirty"},
        {300000, 0, 40, 40, 0, 0, WHITE, 10000, 39, 40, "white's own move counts"},
        {300000, 0, 40, 40, 5000, 20, BLACK, 10000, 30, 40, "an increment changes nothing"},
        {300000, 0, 40, 40, 0, 40, WHITE, 300000 / 19, 19, 40, "twenty moves made"},
        {300000, 0, 40, 40, 0, 41, BLACK, 15000, 20, 40, "half a move does not count"},
        {61000, 0, 40, 40, 0, 72, BLACK, 15250, 4, 40, "four left"},
        {61000, 0, 40, 40, 0, 74, BLACK, 20000, 3, 40, "three left: a second in reserve"},
        {61000, 0, 40, 40, 0, 78, BLACK, 60000, 1, 40, "the last one"},
        {500, 0, 40, 40, 0, 78, BLACK, -500, 1, 40, "less than the reserve"},
        {360000, 0, 40, 40, 0, 80, BLACK, 10000, 40, 80, "the control is reached"},
        {360000, 0, 40, 40, 0, 78, WHITE, 10000, 40, 80, "reached by white"},
        {60000, 0, 5, 5, 0, 10, BLACK, 12000, 5, 10, "a tenth of few moves is none"},
        {300000, 0, 40, 40, 0, 82, BLACK, 15000, kept, 40, "beyond the control: sudden death"},
        {300000, 0, 0, 0, -1000, 0, BLACK, 15000, kept, 0, "a negative increment"},
        {300000, 0, -3, -3, 0, 0, BLACK, 15000, kept, -3, "a negative level"},
        {INT_MAX, INT_MAX, 0, 0, INT_MAX, 0, BLACK, INT_MAX / 20 + INT_MAX / 2, kept, 0, "huge"},
    }};
    for (const Case& c : cases) {
        moves_left = kept;
        game_ply = c.ply;
        engine_side = c.engine;
        int level = c.level;
        EXPECT_EQ(allocate_time(c.own, c.opponent, level, c.control, c.increment), c.budget)
            << c.reason;
        EXPECT_EQ(moves_left, c.left_after) << c.reason;
        EXPECT_EQ(level, c.level_after) << c.reason;
    }
    game_ply = 0;
}

// The clock alone, once the budget is spent: neither keyboard nor interface is asked then.
TEST_F(Clock, StopTestInOvertime) {
    struct Case {
        int elapsed, budget, left;
        bool first_move, extended, stop;
        const char* reason;
    };
    const std::array<Case, 9> cases = {{
        {60000, 50000, 20, false, false, false, "a later root move may finish"},
        {100000, 50000, 20, false, false, true, "but not beyond two budgets"},
        {60000, 50000, 20, true, false, true, "the first root move is given up"},
        {60000, 50000, 20, true, true, false, "unless the best move was unstable"},
        {100000, 50000, 20, true, true, true, "for two budgets"},
        {60000, 50000, 4, false, true, true, "few moves to the control"},
        {60000, 50000, 5, false, true, false, "five are not few"},
        {0, 0, 20, false, false, true, "no budget at all"},
        {0, -500, 20, false, false, true, "a negative one"},
    }};
    for (const Case& c : cases) {
        stop_test_enabled = true;
        start_clock_ago(c.elapsed);
        time_budget_ms = c.budget;
        moves_left = c.left;
        first_root_move = c.first_move;
        time_extended = c.extended;
        EXPECT_EQ(input_pending(), c.stop) << c.reason;
        EXPECT_FALSE(stop_requested) << "nobody asked";
        stop_test_enabled = false;
        EXPECT_FALSE(input_pending());
    }
}

}  // namespace

}  // namespace tarsimo::test
