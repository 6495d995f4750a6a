// The rules of search() for a node as a whole, one by one: early exits, rules on the static
// evaluation, null move, ProbCut and internal deepening. Each test looks at both sides of its rule.
#include "search_fixture.h"

namespace tarsimo::test {

namespace {

// ---------------------------------------------------------------------------
// Early exits
// ---------------------------------------------------------------------------

TEST_F(SearchRules, HorizonAndMaximumPly) {
    EXPECT_EQ(nodes_behind(MANY_PIECES, {.depth = 1}, 1), std::vector<std::string>{"Q  0! (-1,0)"});
    EXPECT_EQ(nodes_behind(MANY_PIECES, {.depth = 2, .above = -1}, 1)[0].substr(2, 4), "b1a3");

    set_up(START_FEN);
    begin_at_ply(64);
    set_evaluation(77);
    EXPECT_EQ(search(-INF, INF, 8, true, false), 77);
    EXPECT_EQ(quiesce(-INF, INF, 0), 77);
    EXPECT_EQ(statistics.hash_probes, 0U);
    begin_at_ply(63);
    list_start(63) = 1000;
    search(-INF, INF, 4, true, false);
    EXPECT_EQ(list_start(64), 1020) << "the deepest list";
}

TEST_F(SearchRules, Draws) {
    const auto is_draw_at_once = [] {
        clear_statistics();
        set_evaluation(500);
        return search(-INF, INF, 4, true, false) == 0 && statistics.hash_probes == 0;
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
        EXPECT_EQ(search(alpha, beta, 4, true, false), score);
        EXPECT_EQ(statistics.hash_probes, 0U) << alpha;
    }
    const auto first_window = [](int ply, int alpha, int beta) {
        set_up(START_FEN);
        begin_at_ply(ply);
        NodeLog log([ply](const Node& node) { return node.ply == ply + 1; });
        search(alpha, beta, 4, true, false);
        return std::pair(log.nodes.back().alpha, log.nodes.back().beta);
    };
    EXPECT_EQ(first_window(5, 31990, 31998), std::pair(-31995, -31990));
    EXPECT_EQ(first_window(5, -31998, -31990), std::pair(31990, 31995));
    EXPECT_EQ(first_window(5, 31993, 31995), std::pair(-31995, -31993));
    EXPECT_EQ(first_window(0, 32000, 32001), std::pair(-32001, -32000)) << "not at the root";

    // Mated and stalemated.
    set_up("R5k1/5ppp/8/8/8/8/5PPP/6K1 b - -");
    begin_at_ply(3);
    EXPECT_EQ(search(-INF, INF, 4, true, true), 3 - 31999);
    set_up("k7/2Q5/8/8/8/8/8/K7 b - -");
    EXPECT_EQ(search(-INF, INF, 4, true, false), 0);
}

// The stop test is asked every 8192 nodes, before anything that costs time.
TEST_F(SearchRules, StopTestEvery8192Nodes) {
    const auto is_stopped_at_once = [](std::uint64_t count, bool quiescence) {
        set_up(START_FEN);
        stop_test_enabled = true;
        time_budget_ms = 0;
        nodes = count;
        if (quiescence) quiesce(-INF, INF, 0);
        else search(-INF, INF, 2, true, false);
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

// ---------------------------------------------------------------------------
// Rules on the static evaluation
// ---------------------------------------------------------------------------

constexpr const char* PIECES_OF_BOTH = "4k1n1/7p/8/8/8/8/7P/4K1N1 w - -";
constexpr std::array<const char*, 2> PIECES_OF_ONE = {"4k1n1/7p/8/8/8/8/7P/4K3 w - -",
                                                      "4k3/7p/8/8/8/8/7P/4K1N1 w - -"};

TEST_F(SearchRules, Razoring) {
    constexpr int OVER = 345;  // keeps the quiescence search near the material balance
    const auto razored = [](const char* fen, const NodeSetup& setup,
                            const Step& prepare = NOTHING) {
        search_node(fen, setup, prepare);
        return statistics.razoring == 1;
    };
    for (const auto& [depth, margin] : {std::pair{2, 564}, {3, 596}, {4, 628}, {5, 660}}) {
        EXPECT_FALSE(razored(MANY_PIECES, {.depth = depth, .above = -margin, .over = OVER}))
            << depth;
        EXPECT_TRUE(razored(MANY_PIECES, {.depth = depth, .above = -margin - 1, .over = OVER}))
            << depth;
        EXPECT_EQ(nodes, 1U);
    }
    EXPECT_EQ(nodes_behind(MANY_PIECES, {.depth = 2, .above = -565, .over = OVER}, 1)[0],
              "Q  0! (-220,-219)");
    EXPECT_EQ(nodes_behind(MANY_PIECES, {.depth = 2, .above = -564, .over = OVER}, 1)[0][0], 'S')
        << "not even asked";
    EXPECT_FALSE(razored(MANY_PIECES, {.depth = 6, .above = -693, .over = OVER}));
    EXPECT_FALSE(razored(MANY_PIECES, {.depth = 2, .above = -565, .over = OVER, .width = 2}))
        << "PV node";
    EXPECT_FALSE(razored(MANY_PIECES, {.depth = 2, .above = -565, .over = OVER},
                         [] { set_hash_move("a2a3"); }));
    EXPECT_FALSE(razored(IN_CHECK, {.depth = 2, .above = -565, .over = OVER}));
    EXPECT_TRUE(razored(PIECES_OF_BOTH, {.depth = 2, .above = -565, .over = OVER}));
    for (const char* fen : PIECES_OF_ONE)
        EXPECT_FALSE(razored(fen, {.depth = 2, .above = -565, .over = OVER})) << fen;

    // A capture that brings the score back.
    constexpr const char* capture = "n3k3/7p/8/3p4/4P3/8/7P/N3K3 w - -";
    for (const int score : {-220, -219}) {
        const auto known = [score] { after("e4d5", [score] { set_evaluation(-score); }); };
        EXPECT_EQ(razored(capture, {.depth = 2, .above = -570, .over = OVER}, known),
                  score == -220);
    }
    EXPECT_EQ(search_node(capture, {.depth = 2, .above = -570, .over = OVER},
                          [] { after("e4d5", [] { set_evaluation(220); }); }),
              -220)
        << "what quiescence says";

    // A search that is stopped there has no score.
    {
        NodeLog log([](const Node& node) { return node.kind == 'Q'; });
        search_node("4k1n1/7p/8/8/8/8/7P/R3K1N1 w - -", {.depth = 2, .above = -565, .over = OVER});
        EXPECT_TRUE(search_aborted);
        EXPECT_EQ(statistics.razoring, 0U);
    }

    // The far end of the range of scores where the evaluation is trusted. The lazy exit answers.
    for (const int beta : {9999, 10000}) {
        set_up(START_FEN);
        search(beta - 1, beta, 2, true, false);
        EXPECT_EQ(statistics.razoring, beta == 9999 ? 1U : 0U);
    }
}

TEST_F(SearchRules, StaticNullMove) {
    const auto cut = [](const char* fen, const NodeSetup& setup) {
        search_node(fen, setup);
        return statistics.static_null == 1 && nodes == 0;
    };
    for (const auto& [depth, margin] :
         {std::pair{2, 150}, {3, 150}, {4, 300}, {5, 300}, {6, 450}}) {
        EXPECT_TRUE(cut(MANY_PIECES, {.depth = depth, .above = margin})) << depth;
        EXPECT_EQ(search_node(MANY_PIECES, {.depth = depth, .above = margin}), margin);
        EXPECT_FALSE(cut(MANY_PIECES, {.depth = depth, .above = margin - 1})) << depth;
    }
    EXPECT_FALSE(cut(MANY_PIECES, {.depth = 7, .above = 1000}));
    EXPECT_FALSE(cut(MANY_PIECES, {.depth = 2, .above = 150, .width = 2})) << "PV node";
    EXPECT_FALSE(cut(MANY_PIECES, {.depth = 2, .above = 150, .allow_null = false}))
        << "no null move allowed";
    EXPECT_FALSE(cut(IN_CHECK, {.depth = 2, .above = 150}));
    EXPECT_TRUE(cut(PIECES_OF_BOTH, {.depth = 2, .above = 150}));
    for (const char* fen : PIECES_OF_ONE) EXPECT_FALSE(cut(fen, {.depth = 2, .above = 150})) << fen;
    EXPECT_TRUE(cut(MANY_PIECES, {.depth = 2, .above = 9999}));
    EXPECT_FALSE(cut(MANY_PIECES, {.depth = 2, .above = 10000})) << "the score of a won ending";
    for (const int alpha : {-9999, -10000}) {
        set_up(START_FEN);
        search(alpha, alpha + 1, 2, true, false);
        EXPECT_EQ(statistics.static_null, alpha == -9999 ? 1U : 0U);
    }
}

// ---------------------------------------------------------------------------
// Null move
// ---------------------------------------------------------------------------

TEST_F(SearchRules, NullMoveReduction) {
    constexpr const char* three_each = "1nn1k1n1/p6p/8/8/8/8/P6P/1NN1K1N1 w - -";
    constexpr const char* two_white = "1nn1k1n1/p6p/8/8/8/8/P6P/1N2K1N1 w - -";
    constexpr const char* two_black = "1n2k1n1/p6p/8/8/8/8/P6P/1NN1K1N1 w - -";
    struct Case {
        const char* fen;
        int depth, above, null_depth;
    };
    for (const Case& c : {
             // Three plies; from depth 11 on an eighth of the depth more.
             Case{MANY_PIECES, 4, 0, -2},
             Case{MANY_PIECES, 8, 0, 2},
             Case{MANY_PIECES, 10, 0, 4},
             Case{MANY_PIECES, 11, 0, 3},
             Case{MANY_PIECES, 15, 0, 7},
             Case{MANY_PIECES, 16, 0, 6},
             // One ply more when far above beta.
             Case{MANY_PIECES, 8, 99, 2},
             Case{MANY_PIECES, 8, 100, 0},
             Case{MANY_PIECES, 16, 100, 4},
             // A twelfth of the depth and nothing else when one side has two pieces.
             Case{FEW_PIECES, 8, 100, 2},
             Case{FEW_PIECES, 11, 0, 5},
             Case{FEW_PIECES, 12, 0, 4},
             Case{FEW_PIECES, 23, 0, 15},
             Case{FEW_PIECES, 24, 0, 14},
             Case{two_white, 8, 100, 2},
             Case{two_black, 8, 100, 2},
             Case{three_each, 8, 100, 0},
         }) {
        const std::string node = nodes_behind(c.fen, {.depth = c.depth, .above = c.above}, 1)[0];
        const std::string expected = "S null " + std::to_string(c.null_depth) + "! ";
        EXPECT_EQ(node.substr(0, expected.size()), expected) << c.fen << c.depth << c.above;
    }
    EXPECT_EQ(nodes_behind(MANY_PIECES, {.depth = 8}, 1)[0], "S null 2! (0,1)");
}

TEST_F(SearchRules, NullMoveConditions) {
    const auto tried = [](const char* fen, const NodeSetup& setup) {
        const std::string node = nodes_behind(fen, setup, 1)[0];
        EXPECT_EQ(node.substr(0, 6) == "S null", statistics.null_tries == 1);
        return statistics.null_tries == 1;
    };
    EXPECT_TRUE(tried(MANY_PIECES, {.depth = 4}));
    EXPECT_FALSE(tried(MANY_PIECES, {.depth = 3}));
    EXPECT_FALSE(tried(MANY_PIECES, {.depth = 4, .above = -1})) << "below beta";
    EXPECT_FALSE(tried(MANY_PIECES, {.depth = 8, .width = 2})) << "PV node";
    EXPECT_FALSE(tried(MANY_PIECES, {.depth = 8, .allow_null = false})) << "not two in a row";
    EXPECT_FALSE(tried(IN_CHECK, {.depth = 8, .above = 400}));

    // More than a bishop's worth of pieces of the side to move.
    EXPECT_TRUE(tried("4kb2/pp6/8/8/8/8/PP6/4KR2 w - -", {.depth = 8}));
    EXPECT_FALSE(tried("4kb2/pp6/8/8/8/8/PP6/4KR2 b - -", {.depth = 8}));
    EXPECT_FALSE(tried("4kr2/pp6/8/8/8/8/PP6/4KB2 w - -", {.depth = 8}));
    EXPECT_TRUE(tried("4kr2/pp6/8/8/8/8/PP6/4KB2 b - -", {.depth = 8}));

    // The table: a stored upper bound below beta.
    for (const auto& [bound, score] : {std::pair{BOUND_UPPER, -1}, {BOUND_UPPER, 0}}) {
        search_node(MANY_PIECES, {.depth = 8}, [bound = bound, score = score] {
            let_every_move_fail();
            set_null_move_result(100);
            tt_store(bound, 7, score, 0, 0);
        });
        EXPECT_EQ(statistics.null_tries, score < 0 ? 0U : 1U);
    }
}

TEST_F(SearchRules, NullMoveResult) {
    const auto result = [](int depth, int opponents) {
        return search_node(MANY_PIECES, {.depth = depth},
                           [opponents] { set_null_move_result(opponents); });
    };
    EXPECT_EQ(result(10, -500), 500);
    EXPECT_EQ(nodes, 0U);
    EXPECT_EQ(result(10, 0), 0) << "beta is enough";
    EXPECT_EQ(nodes + statistics.null_cuts, 1U);
    EXPECT_EQ(result(10, -31899), 31899);
    EXPECT_EQ(result(10, -31900), 0) << "a mate behind a pass is not proven";
    search_node(MANY_PIECES, {.depth = 8}, [] {
        set_null_move_result(1);
        let_every_move_fail();
    });
    EXPECT_EQ(statistics.null_tries, 1U);
    EXPECT_EQ(statistics.null_cuts, 0U);
    EXPECT_EQ(nodes, 20U) << "the moves are searched";
}

// Above depth 11 a search of the node itself, to the depth of the null move, must confirm the cut.
TEST_F(SearchRules, NullMoveVerification) {
    using Texts = std::vector<std::string>;
    const auto cut = [] { set_null_move_result(-500); };
    EXPECT_EQ(nodes_behind(MANY_PIECES, {.depth = 11}, 9, cut), Texts{"S null 3! (0,1)"});
    EXPECT_EQ(nodes_behind(MANY_PIECES, {.depth = 12}, 2, cut),
              (Texts{"S null 4! (0,1)", "S  4! (-1,0)"}));
    for (const int verdict : {-1, 0}) {
        const Texts texts = nodes_behind(MANY_PIECES, {.depth = 12}, 3, [&] {
            cut();
            tt_store(BOUND_EXACT, 4, verdict, 0, 0);
        });
        EXPECT_EQ(texts.size(), verdict < 0 ? 3U : 2U) << "the node goes on when it fails";
        EXPECT_EQ(statistics.null_cuts, 1U);
    }
    // Stopped while it is confirmed.
    int entered = 0;
    NodeLog log([&entered](const Node&) { return ++entered == 3; });
    EXPECT_EQ(search_node(MANY_PIECES, {.depth = 12}, cut), 0);
    EXPECT_TRUE(search_aborted);
}

// ---------------------------------------------------------------------------
// ProbCut and internal deepening
// ---------------------------------------------------------------------------

TEST_F(SearchRules, ProbCutApplies) {
    const auto applies = [](const char* fen, const NodeSetup& setup) {
        return nodes_behind(fen, setup, 1)[0][0] == 'Q';
    };
    EXPECT_TRUE(applies(MANY_PIECES, {.depth = 10, .allow_null = false}));
    EXPECT_FALSE(applies(MANY_PIECES, {.depth = 9, .allow_null = false}));
    EXPECT_FALSE(applies(MANY_PIECES, {.depth = 10, .width = 2, .allow_null = false})) << "PV node";
    EXPECT_FALSE(applies(IN_CHECK, {.depth = 10, .allow_null = false}));

    // Beta within its limits, and the raised beta within its own.
    const auto first_window = [](int beta) {
        set_up(START_FEN);
        NodeLog log([](const Node& node) { return node.ply == 1; });
        search(beta - 1, beta, 10, false, false);
        const Node& node = log.nodes.back();
        return node.kind == 'Q' ? -node.alpha : 0;
    };
    EXPECT_EQ(first_window(-31871), -31621);
    EXPECT_EQ(first_window(-31872), 0);
    EXPECT_EQ(first_window(31872), 0);
    EXPECT_EQ(first_window(31871), 32016);
    EXPECT_EQ(first_window(31767), 32016);
    EXPECT_EQ(first_window(31766), 32016);
    EXPECT_EQ(first_window(31765), 32015);
}

// Less is asked of a side whose evaluation has not fallen since its last move.
TEST_F(SearchRules, ProbCutMargin) {
    const auto margin = [](int ply, int eval, int eval_two_plies_back) {
        set_up(START_FEN);
        begin_at_ply(ply);
        eval_stack.fill(-20);
        if (ply >= 2) eval_stack[at(ply - 2)] = eval_two_plies_back;
        set_evaluation(eval);
        NodeLog log([ply](const Node& node) { return node.ply == ply + 1; });
        search(-1, 0, 10, false, false);
        EXPECT_EQ(eval_stack[at(ply)], eval);
        return -log.nodes.back().alpha;
    };
    EXPECT_EQ(margin(2, 7, 7), 250);
    EXPECT_EQ(margin(2, 7, 8), 300);
    EXPECT_EQ(margin(1, 0, 0), 250) << "no earlier node counts as 0";
    EXPECT_EQ(margin(1, -1, 0), 300);
}

TEST_F(SearchRules, ProbCutTriesThreeMoves) {
    const auto kinds = [](const char* fen, int judged, int result) {
        NodeLog log;
        const int score = search_node(fen, {.depth = 10, .allow_null = false}, [&] {
            let_every_move_fail();
            let_every_move_be_judged(balance() + judged);
            killer1[0] = {E2, D3, 0};
            killer2[0] = {E2, C4, 0};
            if (result != 0) {
                after_every_move([result] { tt_store(BOUND_EXACT, 2, -balance() - result, 0, 0); });
            }
        });
        std::string text;
        for (std::size_t i = 1; i < log.nodes.size() && text.size() < 6; ++i) {
            text += log.nodes[i].kind;
        }
        return text + " " + std::to_string(score - balance());
    };
    EXPECT_EQ(kinds(MANY_PIECES, 249, 0).substr(0, 6), "QQQSSS");
    EXPECT_EQ(kinds(MANY_PIECES, 250, 0).substr(0, 6), "QSQSQS");
    EXPECT_EQ(kinds("4k3/8/8/8/4r3/8/4B3/4K2p w - -", 249, 0).substr(0, 4), "QQQS")
        << "illegal moves, here the killers, do not count";

    // The search that must agree, 8 half-plies shallower; what it says is returned.
    const auto texts = nodes_behind(MANY_PIECES, {.depth = 10, .allow_null = false}, 2,
                                    [] { let_every_move_be_judged(250); });
    EXPECT_EQ(texts[0], "Q b1a3 0! (-250,-249)");
    EXPECT_EQ(texts[1], "S b1a3 2! (-250,-249)");
    const auto score_when_search_says = [](int result) {
        return search_node(MANY_PIECES, {.depth = 10, .allow_null = false}, [result] {
            let_every_move_fail();
            let_every_move_be_judged(250);
            set_hash_move("a2a3");
            after("a2a3", [result] { set_result(-result); });
        });
    };
    EXPECT_EQ(score_when_search_says(250), 250);
    EXPECT_EQ(nodes, 1U);
    EXPECT_EQ(score_when_search_says(260), 260);
    score_when_search_says(249);
    EXPECT_GT(nodes, 1U);
}

TEST_F(SearchRules, InternalDeepening) {
    EXPECT_EQ(nodes_behind(MANY_PIECES, {.depth = 16, .width = 2}, 1)[0], "S  4! (-2,0)");
    EXPECT_EQ(nodes_behind(MANY_PIECES, {.depth = 15, .width = 2}, 1)[0], "S b1a3 13 (0,2)");
    EXPECT_EQ(
        nodes_behind(MANY_PIECES, {.depth = 16, .width = 2}, 1, [] { set_hash_move("a2a3"); })[0],
        "S a2a3 14 (0,2)");
    EXPECT_EQ(nodes_behind(MANY_PIECES, {.depth = 16, .allow_null = false}, 9,
                           [] { let_every_move_be_judged(0); })[3],
              "S  4! (-1,0)")
        << "not in PV nodes only";

    // What it finds, here the mate, becomes the table's move.
    set_up("6k1/5ppp/8/8/8/8/5PPP/R5K1 w - -");
    NodeLog log([](const Node& node) { return node.ply == 1 && node.depth >= 14; });
    search(-INF, INF, 16, true, false);
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
            let_every_move_be_judged(judged);
            set_null_move_result(5000);
            set_hash_move("h2h3");
        });
        std::string moves;
        for (const Node& node : log.nodes) moves += node.kind + node.move + " ";
        return moves;
    };
    EXPECT_EQ(nodes_when_judged(0), "S Snull Qh2h3 Qb1a3 Qb1c3 Sh2h3 ");
    EXPECT_EQ(nodes_when_judged(250), "S Snull Qh2h3 Sh2h3 Qb1a3 Sb1a3 Qb1c3 Sb1c3 Sh2h3 ");
}

}  // namespace

}  // namespace tarsimo::test
