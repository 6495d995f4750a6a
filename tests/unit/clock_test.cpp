// Time: the budget of a move from the clocks, and the test that stops a search.
#include "control/input.h"
#include "control/uci.h"
#include "support.h"

#include <unistd.h>

#include <algorithm>
#include <limits>
#include <random>
#include <sstream>
#include <string_view>

namespace tarsimo::test {

namespace {

class Clock : public Engine {};

TEST_F(Clock, BudgetsAreAsListed) {
    const auto lines = data_lines("clocks.txt");
    ASSERT_GT(lines.size(), 20U);
    for (const std::string& line : lines) {
        std::istringstream words(line.substr(0, line.find(" =>")));
        GameClock clock{};
        int half_moves = 0;
        std::string colour;
        words >> clock.own_time_ms >> clock.opponent_time_ms >> clock.level_moves >>
            clock.control_moves >> clock.level_increment_ms >> half_moves >> colour;
        constexpr int UNTOUCHED = 77;
        int left = UNTOUCHED;
        const int budget = allocate_time(clock, left, half_moves, colour == "white");
        EXPECT_EQ(words.str() + " => " + std::to_string(budget) + " " +
                      (left == UNTOUCHED ? "-" : std::to_string(left)) + " " +
                      std::to_string(clock.level_moves),
                  fields_of(line)[0]);
    }
}

TEST_F(Clock, Defaults) {
    time_limit_ms = 1;
    set_default_times();
    EXPECT_EQ(time_budget_ms, 20000);
    EXPECT_EQ(time_limit_ms, NO_TIME_LIMIT);
    EXPECT_EQ(moves_left, 20);
}

TEST_F(Clock, ReserveForTheWayToTheGui) {
    EXPECT_EQ(clock_limit(100000), 99900);
    EXPECT_EQ(clock_limit(400), 300);
    EXPECT_EQ(clock_limit(399), 300);
    EXPECT_EQ(clock_limit(40), 30);
    EXPECT_EQ(clock_limit(0), 0);
}

// Games under every kind of control, each move taking all that the stop test can allow: the clock
// never runs out, as long as a move reaches the interface within the reserve.
TEST_F(Clock, NeverRunsOut) {
    std::mt19937 random(20);
    const auto pick = [&random](int low, int high) {
        return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
    };
    for (int round = 0; round < 1000; ++round) {
        const int control_moves = round % 3 == 2 ? pick(1, 60) : 0;
        const int increment = round % 3 == 0 ? 0 : pick(0, 1) * pick(1, 60) * 1000;
        const int base = 100 * (1 << pick(0, 16)) + pick(0, 99);
        GameClock clock{control_moves, control_moves, increment, base, pick(0, 2 * base)};
        const bool is_white = pick(0, 1) == 0;
        moves_left = 20;
        for (int ply = is_white ? 0 : 1; ply < 400; ply += 2) {
            set_budget_by_clock(clock, ply, is_white);
            const int overtime = moves_left < 5 ? 1 : 2;
            const int spent = std::clamp(overtime * time_budget_ms, 0, time_limit_ms);
            const auto lag = std::min<std::int64_t>(100, clock.own_time_ms / 4);
            ASSERT_LE(spent + lag, clock.own_time_ms) << "round " << round << " ply " << ply;
            clock.own_time_ms += increment - spent - lag;
            const int opponent = static_cast<int>(clock.opponent_time_ms);
            clock.opponent_time_ms = std::max(0, opponent + pick(-opponent / 10, increment));
            if (control_moves > 0 && (ply / 2 + 1) % control_moves == 0) clock.own_time_ms += base;
            ASSERT_LT(clock.own_time_ms, 2000000000);
        }
    }
}

// Whatever an interface sends, in numbers of 32 bits as they are read: the sanitizers see whether
// anything overflows on the way.
TEST_F(Clock, AnyNumbers) {
    constexpr int most = std::numeric_limits<int>::max();
    std::mt19937 random(7);
    const auto any = [&random] {
        constexpr std::array<int, 12> special = {0,  1,   2,    3,     4,    -1,
                                                 -2, 100, 6000, -6000, most, -most};
        const auto bits = random();
        if (bits % 3 != 0) return special[bits / 3 % special.size()];
        return static_cast<int>(random() >> (random() % 32)) * (bits % 2 == 0 ? 1 : -1);
    };
    for (int round = 0; round < 200000; ++round) {
        const int moves = any();
        GameClock clock{moves, round % 2 == 0 ? moves : any(), any() * std::int64_t{1000},
                        any() * std::int64_t{10}, any() * std::int64_t{10}};
        set_budget_by_clock(clock, std::abs(any()), round % 4 < 2);
        ASSERT_GT(moves_left, 0);
        ASSERT_LE(time_budget_ms, time_limit_ms);
        ASSERT_LE(time_limit_ms, std::max<std::int64_t>(clock.own_time_ms, 0));
    }
}

// Standard input from a pipe, as long as it lives.
class Input {
  public:
    Input() : saved_(dup(STDIN_FILENO)) {
        EXPECT_EQ(pipe(ends_.data()), 0);
        dup2(ends_[0], STDIN_FILENO);
        restart_input();
    }
    ~Input() {
        end();
        close(ends_[0]);
        dup2(saved_, STDIN_FILENO);
        close(saved_);
        restart_input();
    }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    void send(std::string_view text) const {
        EXPECT_EQ(write(ends_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void end() {
        if (ends_[1] >= 0) close(ends_[1]);
        ends_[1] = -1;
    }

  private:
    int saved_;
    std::array<int, 2> ends_{};
};

class StopTest : public Engine {
  protected:
    Input input;

    void SetUp() override {
        Engine::SetUp();
        stop_test_enabled = true;
        time_budget_ms = 50000;
        time_limit_ms = NO_TIME_LIMIT;
        moves_left = 20;
    }
    static bool stops_at(int elapsed) {
        start_clock_ago(elapsed);
        return input_pending();
    }
};

TEST_F(StopTest, ElapsedTimeAcrossTheWrapOfTheClock) {
    now_ms = -2147483648 + 500;
    search_start_ms = 2147483647 - 499;
    EXPECT_EQ(elapsed_ms(), 1000);
    now_ms = 0;
    start_clock_ago(-5);
    EXPECT_EQ(elapsed_ms(), -5) << "not yet begun";
}

// A root move past the first may take two budgets, the first one only when the best move was
// unstable; and never more than the clock has.
TEST_F(StopTest, Overtime) {
    EXPECT_FALSE(stops_at(50000));
    EXPECT_FALSE(stops_at(99999));
    EXPECT_TRUE(stops_at(100000));
    root.first_root_move = true;
    EXPECT_FALSE(stops_at(49999));
    EXPECT_TRUE(stops_at(50000));
    time_extended = true;
    EXPECT_FALSE(stops_at(99999));
    EXPECT_TRUE(stops_at(100000));
    moves_left = 5;
    EXPECT_FALSE(stops_at(50000));
    moves_left = 4;
    EXPECT_FALSE(stops_at(49999));
    EXPECT_TRUE(stops_at(50000)) << "few moves to the control, none too many";

    moves_left = 20;
    time_limit_ms = 55000;
    EXPECT_FALSE(stops_at(54999));
    EXPECT_TRUE(stops_at(55000));
    for (const int budget : {0, -500}) {
        time_budget_ms = budget;
        EXPECT_TRUE(stops_at(0));
    }
    stop_test_enabled = false;
    EXPECT_FALSE(stops_at(1000000));
}

// Before the budget is spent the GUI is heard, afterwards the clock alone decides.
TEST_F(StopTest, GuiIsHeard) {
    voice = &cecp_voice;
    EXPECT_FALSE(stops_at(0));
    EXPECT_FALSE(stop_requested);
    for (const char* line : {"?\n", "exit\n", " ? now\n"}) {
        input.send(line);
        EXPECT_TRUE(stops_at(0)) << line;
        EXPECT_TRUE(stop_requested);
        EXPECT_FALSE(line_waiting()) << "taken";
    }
    input.send("time 100\n");
    EXPECT_FALSE(stops_at(0));
    EXPECT_FALSE(stop_requested);
    EXPECT_FALSE(line_waiting()) << "dropped";
    input.send("?\n");
    EXPECT_FALSE(stops_at(50000));
    EXPECT_TRUE(line_waiting()) << "not looked at";
    EXPECT_TRUE(stops_at(0));

    // A search that owes a move goes on after the end of the input, analysis does not.
    input.end();
    EXPECT_FALSE(stops_at(0));
    analyze_mode = true;
    EXPECT_TRUE(stops_at(0));
}

// What comes by UCI is heard and answered also when the budget is spent.
TEST_F(StopTest, UciIsHeardInOvertime) {
    voice = &uci_voice;
    for (const int elapsed : {0, 60000}) {
        input.send("isready\n");
        EXPECT_EQ(output_of([=] { EXPECT_FALSE(stops_at(elapsed)); }), "readyok\n") << elapsed;
        EXPECT_FALSE(stop_requested);
        input.send("stop\n");
        EXPECT_TRUE(stops_at(elapsed));
        EXPECT_TRUE(stop_requested);
    }
}

// While pondering any line ends the search, and is left for the command loop; the clock does only
// after three budgets.
TEST_F(StopTest, Pondering) {
    voice = &cecp_voice;
    pondering = true;
    root.first_root_move = true;
    moves_left = 3;
    EXPECT_FALSE(stops_at(149999));
    EXPECT_FALSE(stop_requested);
    EXPECT_TRUE(stops_at(150000));
    EXPECT_FALSE(stop_requested);
    input.send("time 100\n");
    EXPECT_TRUE(stops_at(0));
    EXPECT_TRUE(stop_requested);
    std::string line;
    EXPECT_TRUE(read_line(line));
    EXPECT_EQ(line, "time 100");
    input.end();
    EXPECT_TRUE(stops_at(0));
}

// At the console any key stops; it begins the next line.
TEST_F(StopTest, KeyAtTheConsole) {
    EXPECT_FALSE(stops_at(0));
    input.send("d\n");
    EXPECT_TRUE(stops_at(0));
    EXPECT_TRUE(stop_requested);
    std::string line;
    EXPECT_TRUE(read_line(line));
    EXPECT_EQ(line, "d");
    input.end();
    EXPECT_FALSE(stops_at(0)) << "the end of the input is no key";
}

}  // namespace

}  // namespace tarsimo::test
