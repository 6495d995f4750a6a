// search() apart from the rules in the list: early exits, margins by depth, the table of
// reductions, windows and results, and how a search is stopped.
#include "search_fixture.h"

#include <set>

namespace tarsimo::test {

namespace {

TEST_F(SearchRules, HorizonAndMaximumPly) {
    set_up(START_FEN);
    begin_at_ply(64);
    set_evaluation(77);
    EXPECT_EQ(search(-INF, INF, 8, NullMove::YES, false), 77);
    EXPECT_EQ(quiesce(-INF, INF, 0), 77);
    EXPECT_EQ(statistics.hash_probes, 0U);
    begin_at_ply(63);
    list_start(63) = 1000;
    search(-INF, INF, 4, NullMove::YES, false);
    EXPECT_EQ(list_start(64), 1020) << "the deepest list";
}

TEST_F(SearchRules, Draws) {
    const auto is_draw_at_once = [] {
        clear_statistics();
        set_evaluation(500);
        return search(-INF, INF, 4, NullMove::YES, false) == 0 && statistics.hash_probes == 0;
    };
    play("g1f3 g8f6 f3g1");
    EXPECT_FALSE(is_draw_at_once());
    play("f6g8");
    EXPECT_TRUE(is_draw_at_once()) << "repeated once";

    set_up("4k3/8/8/8/8/8/8/4K2R w - -");
    fifty = 99;
    EXPECT_FALSE(is_draw_at_once());
    fifty = 100;
    pv_table[0][0].from = A1;
    EXPECT_TRUE(is_draw_at_once());
    EXPECT_EQ(pv_table[0][0].from, 0) << "and has no variation";
}

TEST_F(SearchRules, MateDistance) {
    // At ply 5 the best score is a mate there, the worst to be mated there.
    struct Case {
        int alpha, beta, score;
    };
    for (const auto& [alpha, beta, score] :
         {Case{31995, 31998, 31995}, Case{31996, 31998, 31996}, Case{-31999, -31995, -31995},
          Case{-31999, -31998, -31998}}) {
        set_up(START_FEN);
        begin_at_ply(5);
        EXPECT_EQ(search(alpha, beta, 4, NullMove::YES, false), score);
        EXPECT_EQ(statistics.hash_probes, 0U) << alpha;
    }
    const auto first_window = [](int ply, int alpha, int beta) {
        set_up(START_FEN);
        begin_at_ply(ply);
        NodeLog log([ply](const Node& node) { return node.ply == ply + 1; });
        search(alpha, beta, 4, NullMove::YES, false);
        return std::pair(log.nodes.back().alpha, log.nodes.back().beta);
    };
    EXPECT_EQ(first_window(5, 31990, 31998), std::pair(-31995, -31990));
    EXPECT_EQ(first_window(5, -31998, -31990), std::pair(31990, 31995));
    EXPECT_EQ(first_window(5, 31993, 31995), std::pair(-31995, -31993));
    EXPECT_EQ(first_window(0, 32000, 32001), std::pair(-32001, -32000)) << "not at the root";

    // Mated and stalemated.
    set_up("R5k1/5ppp/8/8/8/8/5PPP/6K1 b - -");
    begin_at_ply(3);
    EXPECT_EQ(search(-INF, INF, 4, NullMove::YES, true), 3 - 31999);
    set_up("k7/2Q5/8/8/8/8/8/K7 b - -");
    EXPECT_EQ(search(-INF, INF, 4, NullMove::YES, false), 0);
}

// The stop test is asked every 8192 nodes, before anything that costs time.
TEST_F(SearchRules, StopTestEvery8192Nodes) {
    const auto is_stopped_at_once = [](std::uint64_t count, bool quiescence) {
        set_up(START_FEN);
        stop_test_enabled = true;
        time_budget_ms = 0;
        nodes = count;
        if (quiescence) quiesce(-INF, INF, 0);
        else search(-INF, INF, 2, NullMove::YES, false);
        stop_test_enabled = false;
        return search_aborted && statistics.hash_probes + eval_full_count == 0;
    };
    for (const std::uint64_t count : {0, 8192, 3 * 8192}) {
        EXPECT_TRUE(is_stopped_at_once(count, false)) << count;
        EXPECT_FALSE(is_stopped_at_once(count, true)) << count;
        EXPECT_TRUE(is_stopped_at_once(count - 1, true)) << "counts itself first";
        EXPECT_FALSE(is_stopped_at_once(count + 4096, false)) << count;
        EXPECT_FALSE(is_stopped_at_once(count + 4095, true)) << count;
    }
}

// Less is asked of a side whose evaluation has not fallen since its last move.
TEST_F(SearchRules, ProbCutMargin) {
    const auto margin = [](int ply, int eval, int eval_two_plies_back) {
        set_up(START_FEN);
        begin_at_ply(ply);
        eval_stack.fill(-20);
        if (ply >= 2) eval_stack[idx(ply - 2)] = eval_two_plies_back;
        set_evaluation(eval);
        NodeLog log([ply](const Node& node) { return node.ply == ply + 1; });
        search(-1, 0, 10, NullMove::NO, false);
        EXPECT_EQ(eval_stack[idx(ply)], eval);
        return -log.nodes.back().alpha;
    };
    EXPECT_EQ(margin(2, 7, 7), 250);
    EXPECT_EQ(margin(2, 7, 8), 300);
    EXPECT_EQ(margin(1, 0, 0), 250) << "no earlier node counts as 0";
    EXPECT_EQ(margin(1, -1, 0), 300);
}

// What internal deepening finds, here the mate, becomes the table's move.
TEST_F(SearchRules, InternalDeepening) {
    set_up("6k1/5ppp/8/8/8/8/5PPP/R5K1 w - -");
    NodeLog log([](const Node& node) { return node.ply == 1 && node.depth >= 14; });
    search(-INF, INF, 16, NullMove::YES, false);
    EXPECT_EQ(log.nodes.back().move, "a1a8");
    EXPECT_EQ(log.nodes.back().move_score, 1900000);
}

// Null move, ProbCut and internal deepening probe the table for other nodes; the node's own move
// stays first.
TEST_F(SearchRules, TableMoveOutlivesOtherProbes) {
    const auto nodes_when_judged = [](int judged) {
        NodeLog log([](const Node& node) { return node.ply == 1 && node.depth >= 8; });
        search_node(MANY_PIECES, {.depth = 10}, [judged] {
            let_every_move_fail();
            after("all", [judged] { set_evaluation(-judged); });
            after("pass", [] { set_result(5000); });
            set_hash_move("h2h3");
        });
        std::string moves;
        for (const Node& node : log.nodes) moves += node.kind + node.move + " ";
        return moves;
    };
    EXPECT_EQ(nodes_when_judged(0), "S Snull Qh2h3 Qb1a3 Qb1c3 Sh2h3 ");
    EXPECT_EQ(nodes_when_judged(250), "S Snull Qh2h3 Sh2h3 Qb1a3 Sb1a3 Qb1c3 Sb1c3 Sh2h3 ");
}

// A move is skipped that the margin of its depth cannot lift above alpha.
TEST_F(SearchRules, FutilityMargins) {
    using Margins = std::array<int, 9>;  // from depth 2
    constexpr Margins many = {150, 150, 150, 150, 400, 400, 400, 500, 500};
    constexpr Margins few = {150, 200, 200, 400, 400, 400, 400, 600, 600};
    for (const auto& [fen, margins] : {std::pair{MANY_PIECES, many},
                                       {"1n2k1n1/p6p/8/8/8/8/P6P/1NN1K1N1 w - -", many},
                                       {"1n2k1n1/p6p/8/8/8/8/P6P/1N2K1N1 w - -", few}}) {
        set_up(fen);
        const std::size_t moves = legal_moves().size();
        for (int depth = 2; depth <= 10; ++depth) {
            for (const int missing : {0, 1}) {
                // Beta is one more than alpha, which the margin must miss. The evaluation is
                // lifted towards the material balance, or the lazy exit would answer.
                const int above = -1 - margins[idx(depth - 2)] - missing;
                const int score = search_node(
                    fen, {.depth = depth, .above = above, .over = 330, .allow_null = false}, [] {
                        let_every_move_fail();
                        history_max = 1;
                    });
                EXPECT_EQ(statistics.futility, missing * (moves - 1)) << fen << depth;
                EXPECT_EQ(score, missing == 1 ? balance() + 328 : -5000)
                    << "what could be hoped for";
            }
        }
    }
}

TEST_F(SearchRules, ReductionTable) {
    struct Case {
        int depth, number, plies;
    };
    for (const auto& [depth, number, plies] :
         {Case{1, 63, 0}, Case{2, 0, 0}, Case{2, 1, 1}, Case{7, 63, 1}, Case{9, 27, 1},
          Case{9, 28, 2}, Case{26, 56, 4}, Case{26, 57, 5}, Case{40, 61, 5}, Case{40, 62, 6},
          Case{62, 38, 5}, Case{62, 39, 6}, Case{63, 0, 0}, Case{200, 500, 6}}) {
        EXPECT_EQ(late_move_reduction(depth, number), plies) << depth << " " << number;
    }
    // Row by row, from the fourth: the columns at which the reduction grows, summed up.
    constexpr std::array<int, 28> growth = {29,  21,  56,  45,  95, 81, 72,  64,  57,  110,
                                            102, 95,  89,  82,  81, 74, 132, 125, 120, 117,
                                            112, 109, 104, 102, 98, 95, 93,  91};
    for (int row = 0; row < 32; ++row) {
        int sum = 0;
        for (int number = 1; number < 64; ++number) {
            const int step =
                late_move_reduction(2 * row, number) - late_move_reduction(2 * row, number - 1);
            EXPECT_GE(step, 0);
            sum += step * number;
        }
        EXPECT_EQ(sum, row == 0 ? 0 : row < 4 ? 1 : growth[idx(row - 4)]) << row;
    }
}

TEST_F(SearchRules, ZeroWindowsAndSecondSearches) {
    // The third move is known to be worth so much to a zero window.
    const auto searches_of_third_move = [](int worth) {
        NodeLog log([](const Node& node) { return node.move == "g1f3" && node.alpha == -50; });
        search_node(MANY_PIECES,
                    {.depth = 6, .above = -50, .over = 50, .width = 100, .allow_null = false},
                    [worth] {
                        let_every_move_fail();
                        after("g1f3", [worth] { set_result(-worth); });
                    });
        const auto all = log.of('S', 1);
        EXPECT_EQ(text_of(all[0]), "S b1a3 4 (-50,50)");
        EXPECT_EQ(text_of(all[1]), "S b1c3 4 (49,50)");
        std::string texts;
        for (const Node& node : all) {
            if (node.move == "g1f3") texts += text_of(node).substr(7) + " ";
        }
        return texts;
    };
    EXPECT_EQ(searches_of_third_move(-50), "2 (49,50) ");
    EXPECT_EQ(searches_of_third_move(-49), "2 (49,50) 4 (49,50) 4 (-50,50) ");
    EXPECT_EQ(searches_of_third_move(49), "2 (49,50) 4 (49,50) 4 (-50,50) ");
    EXPECT_EQ(searches_of_third_move(50), "2 (49,50) 4 (49,50) ");
}

// At depth 2 the evaluations of the moves are their scores. b1a3 comes first, h2h4 last.
class SearchResults : public SearchRules {
  protected:
    static int search_scored_moves(int alpha, int beta) {
        set_up(START_FEN);
        set_evaluation(0);
        after("all", [] { set_evaluation(40); });
        after("g1f3", [] { set_evaluation(-20); });
        after("d2d4", [] { set_evaluation(-10); });
        after("e2e4", [] { set_evaluation(-30); });
        after("h2h4", [] { set_evaluation(-30); });
        return search(alpha, beta, 2, NullMove::NO, false);
    }
    static void expect_stored(int bound, int score, int to) {
        const TTEntry& slot = tt_table[hash_key % tt_size];
        EXPECT_EQ(slot.bound, bound);
        EXPECT_EQ(slot.depth, 2);
        EXPECT_EQ(slot.score, score);
        EXPECT_EQ(slot.to, to);
    }
    static std::string credited() {
        std::string text;
        for (const auto& [from, to] : {std::pair{B1, A3}, {B1, C3}, {G1, F3}, {D2, D4}, {E2, E4}}) {
            text += std::to_string(history_of(from, to));
        }
        return text;
    }
};

TEST_F(SearchResults, WhatIsReturnedAndRemembered) {
    EXPECT_EQ(search_scored_moves(-INF, INF), 30);
    expect_stored(BOUND_EXACT, 30, E4);
    EXPECT_EQ(credited(), "10101") << "whatever raised alpha";
    EXPECT_EQ(history_max, 1);
    EXPECT_EQ(pv_table[0][0].to, E4);
    EXPECT_EQ(pv_table[0][1].from, 0);
    EXPECT_EQ(killer2[0].from, 0);

    EXPECT_EQ(search_scored_moves(30, 90), 30) << "fails low";
    expect_stored(BOUND_UPPER, 30, E4);
    EXPECT_EQ(credited(), "00000");
    EXPECT_EQ(pv_table[0][0].from, 0);

    for (const int beta : {15, 20}) {
        EXPECT_EQ(search_scored_moves(-50, beta), 20) << "beta itself, or more";
        expect_stored(BOUND_LOWER, 20, F3);
        EXPECT_EQ(credited(), "10100");
        EXPECT_EQ(killer2[0].to, F3);
        EXPECT_EQ(nodes, 6U) << "three moves, three nodes of quiescence";
    }
}

// The square of the depth in plies, for captures too; past the limit everything is divided by 4.
TEST_F(SearchResults, HistoryCredit) {
    const auto credit = [](const char* fen, int depth, const char* move, int from, int to) {
        search_node(fen, {.depth = depth, .allow_null = false},
                    [move] { after(move, [] { set_result(0); }); });
        return history[2][idx(from)][idx(to)];
    };
    EXPECT_EQ(credit(START_FEN, 6, "b1a3", B1, A3), 9);
    EXPECT_EQ(credit(START_FEN, 7, "b1a3", B1, A3), 9);
    EXPECT_EQ(credit(START_FEN, 8, "b1a3", B1, A3), 16);
    EXPECT_EQ(credit("4k3/8/8/3p4/4P3/8/8/4K3 w - -", 4, "e4d5", E4, D5), 4);
    EXPECT_EQ(killer2[0].from, 0) << "but a capture is no killer";
    search_node(MANY_PIECES, {.depth = 4, .allow_null = false}, [] {
        after("b1a3", [] { set_result(0); });
        history_max = history[2][B1][A3] = 1799997;
    });
    EXPECT_EQ(history_max, 450000);
}

// Wherever the search is stopped, it ends there: no further node is entered, no move is made, and
// no node above has stored anything.
TEST_F(SearchRules, StopLeavesNoTrace) {
    constexpr const char* busy = "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -";
    constexpr int DEPTH = 18;
    enum class Kind { SEARCH, NO_NULL_MOVE, REPLY_SEARCH };
    const auto stop_after = [](int count, int alpha, int beta, Kind kind) {
        set_up(busy);
        const Snapshot before = snapshot();
        NodeLog log([&count](const Node&) { return --count == 0; });
        const bool replies = kind == Kind::REPLY_SEARCH;
        const int score = replies
                              ? search_replies(beta, DEPTH)
                              : search(alpha, beta, DEPTH,
                                       kind == Kind::SEARCH ? NullMove::YES : NullMove::NO, false);
        if (count > 0) return ' ';  // the search ended before
        EXPECT_TRUE(search_aborted);
        EXPECT_EQ(score, replies ? beta : 0);
        EXPECT_EQ(log.entered_after_abort, 0);
        EXPECT_EQ(tarsimo::nodes % STOP_TEST_INTERVAL, 0U);
        EXPECT_TRUE(snapshot() == before);
        const TTEntry& slot = tt_table[hash_key % tt_size];
        EXPECT_TRUE(slot.key != hash_key || slot.depth < DEPTH);
        return log.nodes.back().kind;
    };
    // A stopped node's 0 would be within, above and below these windows.
    for (const auto& [alpha, beta] :
         {std::pair{-1, 0}, {-401, -400}, {400, 401}, {-50, 50}, {-INF, INF}}) {
        std::set<char> kinds;
        for (int count = 1; count < 1000; count += 1 + count / 5) {
            for (const Kind kind : {Kind::SEARCH, Kind::NO_NULL_MOVE, Kind::REPLY_SEARCH}) {
                kinds.insert(stop_after(count, alpha, beta, kind));
            }
            if (HasFailure()) FAIL() << count << " nodes of " << alpha << " " << beta;
        }
        for (const char kind : {'R', 'S', 'Q'}) EXPECT_TRUE(kinds.contains(kind)) << kind;
    }
}

}  // namespace

}  // namespace tarsimo::test
