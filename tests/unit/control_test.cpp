// What a user or an interface reads: reports, statistics, suite; and set-up from texts
// that are no data lines.
#include "support.h"

#include "control/input.h"
#include "control/uci.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <limits>

namespace tarsimo::test {

namespace {

class Control : public Engine {
  protected:
    static std::string thinking(int elapsed, int depth, int score) {
        start_clock_ago(elapsed);
        return output_of([&] { print_thinking(depth, score); });
    }
};

TEST_F(Control, FreshGameFromAPosition) {
    play("e2e4 e7e5");
    tt_generation = 5;
    max_depth = 7;
    search_ply = 3;
    set_position_fen("r3k2r/pppq4/8/8/4P3/8/8/R3K2R b KQkq e3 97 120");
    EXPECT_EQ(game_ply + search_ply + list_start(0) + tt_generation, 0);
    EXPECT_EQ(max_depth, 60);
    EXPECT_TRUE(test_mode);
    EXPECT_FALSE(can_take_back(1));

    // The usual start has the position of a new game.
    set_position_fen(START_FEN);
    Snapshot from_fen = snapshot();
    init_engine();
    from_fen.hash_key = hash_key;
    from_fen.fifty = 0;
    EXPECT_TRUE(from_fen == snapshot());

    // Neither a flood nor bytes that are no text do harm.
    for (const std::string& text : {std::string(100000, '8'), std::string("\xff\x80 w")}) {
        EXPECT_EQ(output_of([&] { set_position_fen(text); }), "tellusererror Illegal position\n");
        EXPECT_EQ(legal_moves().size(), 20U);
        std::string move = text;
        EXPECT_FALSE(parse_user_move(move));
    }
    set_up("QQQQkQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/QQQQKQQQ w");
    EXPECT_EQ(white_pieces, 62);
    search(-INF, INF, 4, NullMove::YES, false);
}

// A stream of lines must not keep a UCI search from looking at the clock: a stop test reads some of
// what waits.
TEST_F(Control, StopTestReadsABoundedNumberOfLines) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    const std::string lines(4000, '\n');
    ASSERT_EQ(write(ends[1], lines.data(), lines.size()), 4000);
    const int input = dup(STDIN_FILENO);
    dup2(ends[0], STDIN_FILENO);
    restart_input();
    accept_long_lines();
    int tests = 0;
    for (; line_waiting(); ++tests) EXPECT_FALSE(uci_stops_search());
    EXPECT_GE(tests, 4);
    restart_input();
    dup2(input, STDIN_FILENO);
    for (const int end : {ends[0], ends[1], input}) close(end);
}

TEST_F(Control, StatisticsBlock) {
    statistics = {1, 22, 333, 4444, 0, 55555, 6, 200, 51, 7, 2};
    eval_hash_count = 123456789;
    eval_lazy_count = 8;
    eval_full_count = 9;
    nodes = 1000;
    EXPECT_EQ(output_of([] { print_statistics(3); }),
              "\n\n  Razoring           1    Nul_estatic        22\n"
              "  Futility         333    LMR              4444   En prueba             0\n"
              "  Extensores     55555    Ex_jaque            6 \n"
              "  Hash_prob        200    Hash_exito         51   25%\n"
              "  Nulos_prob         7    Nulos_exito         2   28%\n"
              "  Eval_hash  123456789    Eval_lazy           8   Eval_completa         9\n"
              "\n  Crono = 3 seg, Pos/Seg = 333\n");
    clear_statistics();
    const std::string cleared = output_of([] { print_statistics(0); });
    EXPECT_NE(cleared.find("  Nulos_prob         0    Nulos_exito         0    0%\n"),
              cleared.npos);
    EXPECT_NE(cleared.find(" 0\n\n  Crono = 0 seg, Pos/Seg = 0\n"), cleared.npos);
}

TEST_F(Control, ThinkingLines) {
    for (std::size_t i = 0; i < 20; i += 2) {
        pv_table[0][i] = {G1, F3, static_cast<std::int8_t>(i == 2 ? PAWN : EMPTY), KNIGHT};
        pv_table[0][i + 1] = {D7, D5, 0, PAWN};
    }
    nodes = 1853211;
    const std::string wipe = std::string(52, ' ') + "\r";
    const std::string line8 = "g1-f3 d7-d5 g1xf3 d7-d5 g1-f3 d7-d5 g1-f3 d7-d5 \n";
    EXPECT_EQ(thinking(2141, 6, -35), wipe + " 6)   0: 2  -0.35  926605 n/s  " + line8);
    EXPECT_EQ(thinking(300, 12, 5), wipe + "12)   0: 0   0.05       1 n/s  " + line8);
    EXPECT_EQ(thinking(60100, 9, 0), wipe + " 9)   0:60   0.00   30886 n/s  " + line8);
    EXPECT_EQ(thinking(75300, 10, 31990), wipe + "10)   1:15  319.90   24709 n/s  " + line8);
    nodes = 0;
    EXPECT_EQ(thinking(2300, 10, -12345), wipe + "10)   0: 2  -123.45       1 n/s  " + line8);

    // Centiseconds and the nodes.
    xboard_mode = true;
    voice = &cecp_voice;
    nodes = 1853211;
    EXPECT_EQ(thinking(2149, 6, -35),
              "6    -35 214 1853211    Ng1-f3  d7-d5 Ng1xf3  d7-d5 Ng1-f3  d7-d5 Ng1-f3  d7-d5 "
              "Ng1-f3  d7-d5 Ng1-f3  d7-d5 \n");
    pv_table[0][1].from = 0;
    EXPECT_EQ(thinking(2149, 6, -35), "6    -35 214 1853211    Ng1-f3 \n");
    search_aborted = true;
    EXPECT_EQ(thinking(2141, 6, -35), "\n");
}

TEST_F(Control, Suite) {
    EXPECT_STREQ(suite_position(0).caption, "\n\n LCT mov Cd5-f6+ ");
    EXPECT_STREQ(suite_position(5).fen, "4k3/8/p7/Pp3p1p/1Pp1pPpP/2PpP1P1/3P1KNQ/R3BNRB w - -  ");
    EXPECT_STREQ(suite_position(12).caption, "\n\n LCT II-25-2,     mov = De1-h4+  ev > 2.0  ");
    for (int i = 0; i < SUITE_SIZE; ++i) {
        EXPECT_EQ(output_of([&] { set_position_fen(suite_position(i).fen); }), "") << i;
        EXPECT_EQ(side, i == 4 ? BLACK : WHITE) << i;
    }
}

TEST_F(Control, MemoryLimitsOfGroups) {
    namespace fs = std::filesystem;
    constexpr std::uint64_t none = std::numeric_limits<std::uint64_t>::max();
    const fs::path root = fs::path(testing::TempDir()) / "tarsimo-groups";
    fs::remove_all(root);
    fs::create_directories(root / "outer" / "inner");
    const auto limit = [&root](const std::string& group, const std::string& text) {
        std::ofstream(root / group / "memory.max") << text << '\n';
    };
    EXPECT_EQ(group_memory_limit(root, ""), none);
    EXPECT_EQ(group_memory_limit(root, "outer/inner"), none);
    limit("outer/inner", "max");
    EXPECT_EQ(group_memory_limit(root, "outer/inner"), none);
    limit("outer", "300000000");
    EXPECT_EQ(group_memory_limit(root, "outer/inner"), 300000000U) << "a parent's limit counts";
    limit("outer/inner", "100000000");
    EXPECT_EQ(group_memory_limit(root, "outer/inner"), 100000000U);
    EXPECT_EQ(group_memory_limit(root, "outer"), 300000000U);
    limit("", "200000000");
    EXPECT_EQ(group_memory_limit(root, ""), 200000000U) << "the only group that a container sees";
    EXPECT_EQ(group_memory_limit(root, "outer"), 200000000U);
    fs::remove_all(root);
}

}  // namespace

}  // namespace tarsimo::test
