// The rules of search() for a single move, one by one: pruning, extensions, reductions, windows,
// and what is remembered of the best move. Each test looks at both sides of its rule.
#include "search_fixture.h"

#include <set>

namespace tarsimo::test {

namespace {

// ---------------------------------------------------------------------------
// Pruning of moves
// ---------------------------------------------------------------------------

TEST_F(SearchRules, FutilityMargins) {
    struct Row {
        const char* fen;
        std::array<int, 9> margins;  // from depth 2
    };
    const Row many = {MANY_PIECES, {150, 150, 150, 150, 400, 400, 400, 500, 500}};
    const Row few = {FEW_PIECES, {150, 200, 200, 400, 400, 400, 400, 600, 600}};
    constexpr const char* five = "1n2k1n1/p6p/8/8/8/8/P6P/1NN1K1N1 w - -";
    for (const Row& row : {many, few, Row{five, many.margins}}) {
        set_up(row.fen);
        const std::size_t moves = legal_moves().size();
        for (int depth = 2; depth <= 10; ++depth) {
            // Beta is one more than alpha, which the margin must miss. The evaluation is lifted
            // towards the material balance, or the lazy exit would answer.
            const int margin = row.margins[at(depth - 2)];
            for (const int missing : {0, 1}) {
                const auto prepare = [] {
                    let_every_move_fail();
                    history_max = 1;
                };
                const NodeSetup setup = {.depth = depth,
                                         .above = -1 - margin - missing,
                                         .over = 330,
                                         .allow_null = false};
                const int score = search_node(row.fen, setup, prepare);
                EXPECT_EQ(statistics.futility, missing * (moves - 1)) << row.fen << depth;
                EXPECT_EQ(score, missing == 1 ? balance() + 328 : -5000)
                    << "what could be hoped for";
            }
        }
    }
    const auto skipped = [](const NodeSetup& setup, const Step& prepare) {
        search_node(MANY_PIECES, setup, [&prepare] {
            let_every_move_fail();
            history_max = 1;
            prepare();
        });
        return statistics.futility;
    };
    EXPECT_EQ(skipped({.depth = 11, .above = -1000, .over = 330, .allow_null = false}, NOTHING), 0U)
        << "too deep";
    EXPECT_EQ(skipped({.depth = 10, .above = -1000, .over = 330, .width = 2, .allow_null = false},
                      NOTHING),
              0U)
        << "PV node";
    EXPECT_EQ(skipped({.depth = 6, .above = -1000, .over = 330, .allow_null = false}, NOTHING),
              19U);
    search_node(IN_CHECK, {.depth = 6, .above = -1000, .over = 330, .allow_null = false}, [] {
        let_every_move_fail();
        history_max = 1;
    });
    EXPECT_EQ(statistics.futility, 0U) << "in check";

    // A first move that is better than what could be hoped for stays the best.
    const int score =
        search_node(MANY_PIECES, {.depth = 6, .above = -500, .over = 330, .allow_null = false}, [] {
            let_every_move_fail();
            history_max = 1;
            after("b1a3", [] { set_result(-329); });
        });
    EXPECT_EQ(score, 329);
}

// Which moves escape, seen in a node where futility prunes all it may.
TEST_F(SearchRules, MovesThatAreNotPruned) {
    const auto escape = [](const char* fen, const Step& prepare = NOTHING, int depth = 6) {
        std::string moves;
        for (const auto& [move, depths] :
             depths_by_move(fen, {.depth = depth, .above = -1000, .over = 330, .allow_null = false},
                            [&prepare] {
                                history_max = 10;
                                prepare();
                            })) {
            for (std::size_t i = 0; i < depths.size(); ++i) moves += move + " ";
        }
        return moves;
    };
    EXPECT_EQ(escape(MANY_PIECES), "b1a3 ") << "the first move";
    EXPECT_EQ(escape(MANY_PIECES, [] { history_max = 0; }).size(), 20U * 5) << "no history yet";
    EXPECT_EQ(escape(MANY_PIECES,
                     [] {
                         history[2][E2][E4] = 10;
                         history[2][D2][D4] = history_max - 1;
                         history[2][A2][A3] = 11;
                     }),
              "a2a3 e2e4 ");
    EXPECT_EQ(escape(MANY_PIECES,
                     [] {
                         killer3[0] = {H2, H3, 0};
                         set_hash_move("a2a3");
                     }),
              "a2a3 h2h3 ");
    // After being mated at once is all that was found; the table's figure counts from its node.
    EXPECT_EQ(escape(MANY_PIECES, [] { after("b1a3", [] { set_result(31999); }); }), "b1a3 ");
    EXPECT_EQ(escape(MANY_PIECES, [] { after("b1a3", [] { set_result(32000); }); }), "b1a3 b1c3 ");
    EXPECT_EQ(escape("n6k/P6p/8/8/8/8/7P/N3K3 w - -"), "a1c2 ") << "no promotion";
    EXPECT_EQ(escape("1n5k/P6p/8/8/8/8/7P/N3K3 w - -",
                     [] {
                         killer1[0] = {A1, C2, 0};
                     }),
              "a1c2 a7a8 a7a8 a7a8 a7a8 a7b8 a7b8 a7b8 a7b8 ");
    EXPECT_EQ(escape("n6k/7p/8/8/8/8/7P/N3K2R w K -"), "a1c2 e1g1 ") << "castling";
    EXPECT_EQ(escape("n6k/7p/8/P7/8/8/7P/N3K3 w - -"), "a1c2 a5a6 ") << "nothing stops the pawn";
    EXPECT_EQ(escape("n6k/1p5p/8/P7/8/8/7P/N3K3 w - -"), "a1c2 ");
    EXPECT_EQ(escape("n3k3/7p/8/8/P7/8/7P/N6K w - -"), "a1c2 ") << "fourth to fifth rank";
    EXPECT_EQ(escape("k6n/7p/8/8/7p/8/8/N6K b - -"), "h4h3 h8f7 ");
    EXPECT_EQ(escape("n6k/7p/8/8/8/8/6RP/N3K3 w - -"), "a1c2 g2g8 ") << "a check that loses a rook";

    // Captures are no exception when even they score below the history's best. Their victim is
    // then not counted: the knight is lost for nothing.
    constexpr const char* equal_capture = "7k/7p/2p5/3n4/8/2N5/7P/7K w - -";
    for (const int excess : {0, 1}) {
        set_up(equal_capture);
        killer1[0] = {H2, H3, 0};
        const int capture_score = move_at(find_move("c3d5")).score;
        const auto depths = depths_by_move(equal_capture, {.depth = 4, .allow_null = false}, [&] {
            killer1[0] = {H2, H3, 0};
            history_max = capture_score + excess;
        });
        EXPECT_EQ(depths.count("c3d5"), excess == 0 ? 1U : 0U);
    }
}

TEST_F(SearchRules, LateMovePruning) {
    constexpr std::array<std::size_t, 13> limits = {6,  6,  10, 14, 18, 22, 26,  // from depth 2
                                                    30, 34, 38, 42, 46, 50};
    set_up(MANY_MOVES);
    const std::size_t all = legal_moves().size();
    ASSERT_GT(all, limits.back());
    const auto searched = [](int depth, const Step& prepare = NOTHING, int width = 1,
                             bool allow_null = false) {
        return moves_searched(
            MANY_MOVES, {.depth = depth, .width = width, .allow_null = allow_null}, [&prepare] {
                history_max = 10;
                set_null_move_result(5000);
                prepare();
            });
    };
    for (int depth = 2; depth <= 14; ++depth) {
        EXPECT_EQ(searched(depth), limits[at(depth - 2)]) << depth;
    }
    EXPECT_EQ(searched(15), all);
    EXPECT_EQ(searched(8, NOTHING, 2), all) << "PV node";
    EXPECT_EQ(searched(8, NOTHING, 1, true), all) << "a null move has failed";

    // A tenth of the history's best is not poor.
    for (const int history_value : {1, 2}) {
        EXPECT_EQ(searched(8,
                           [history_value] {
                               history_max = 29;
                               for (auto& row : history[2]) row.fill(history_value);
                           }),
                  history_value == 2 ? all : limits[6]);
    }
}

// Moves that lose their piece by exchange.
TEST_F(SearchRules, LosingMovesArePruned) {
    constexpr const char* white = "4k3/7p/1p1p4/8/8/1N6/7P/6NK w - -";
    constexpr const char* black = "6nk/7p/1n6/8/8/1P1P4/7P/4K3 b - -";
    using Moves = std::set<std::string>;
    const auto pruned = [](const char* fen, const NodeSetup& setup, const Step& prepare = NOTHING) {
        Moves moves;
        const auto searched = depths_by_move(fen, setup, [&prepare] {
            history_max = 10;
            prepare();
        });
        set_up(fen);
        for_each_legal_move([&](int index) {
            const std::string name = name_of(move_at(index));
            if (!searched.contains(name)) moves.insert(name);
        });
        return moves;
    };
    EXPECT_EQ(pruned(white, {.depth = 8, .allow_null = false}), (Moves{"b3a5", "b3c5"}));
    EXPECT_EQ(pruned(black, {.depth = 8, .allow_null = false}), (Moves{"b6a4", "b6c4"}));
    EXPECT_EQ(pruned(white, {.depth = 12, .allow_null = false}), (Moves{"b3a5", "b3c5"}));
    EXPECT_EQ(pruned(white, {.depth = 13, .allow_null = false}), Moves{})
        << "more than 10 half-plies remain";
    EXPECT_EQ(pruned(white, {.depth = 8, .width = 2, .allow_null = false}), Moves{}) << "PV node";

    // Not in check, and not where passing would let the opponent mate.
    EXPECT_EQ(pruned("6k1/8/3p4/8/8/5N2/7P/4K3 w - -", {.depth = 8, .allow_null = false}),
              Moves{"f3e5"});
    EXPECT_EQ(pruned("4r1k1/8/3p4/8/8/5N2/7P/4K3 w - -", {.depth = 8, .allow_null = false}),
              Moves{});
    EXPECT_EQ(pruned(white, {.depth = 8}, [] { set_null_move_result(31900); }),
              (Moves{"b3a5", "b3c5"}));
    EXPECT_EQ(pruned(white, {.depth = 8}, [] { set_null_move_result(31901); }), Moves{});
}

// ---------------------------------------------------------------------------
// Extensions and reductions
// ---------------------------------------------------------------------------

TEST_F(SearchRules, Extensions) {
    struct Case {
        const char* fen;
        const char* move;
        std::array<std::uint64_t, 2> counted;  // extensions, those by check
        NodeSetup setup = {.depth = 4, .allow_null = false};
    };
    constexpr NodeSetup deep = {.depth = 18, .allow_null = false};
    constexpr NodeSetup deeper = {.depth = 19, .allow_null = false};
    constexpr NodeSetup deeper_pv = {.depth = 19, .width = 2, .allow_null = false};
    constexpr const char* castling = "4k3/8/8/8/8/8/8/R3K2R w KQ -";
    for (const Case& c : {
             // Checks: safe, losing, by discovery of a pawn that is lost, by a pawn that is lost.
             Case{"4k3/8/8/8/8/8/8/R3K3 w - -", "a1a8", {1, 1}},
             Case{"4k3/8/8/8/8/8/8/R3K3 w - -", "a1a8", {1, 1}, deeper},
             Case{"4k3/8/8/8/8/8/8/3RK3 w - -", "d1d8", {0, 0}},
             Case{"7k/3p4/8/4P3/8/8/1B6/4K3 w - -", "e5e6", {1, 1}},
             Case{"4k3/1b6/8/8/4p3/8/3P4/7K b - -", "e4e3", {1, 1}},
             Case{"6k1/8/5P2/8/8/8/8/4K3 w - -", "f6f7", {0, 0}},
             Case{"4k3/8/5P2/8/8/8/8/4K3 w - -", "f6f7", {0, 0}},
             Case{"4k3/8/8/8/8/5p2/8/6K1 b - -", "f3f2", {0, 0}},
             Case{"6k1/8/8/8/8/5p2/8/4K3 b - -", "f3f2", {0, 0}},
             Case{"6k1/8/4KP2/8/8/8/8/8 w - -", "f6f7", {1, 1}},
             // A capture that checks: by exchange.
             Case{"4k3/3p4/5n2/8/4N3/8/8/4K3 w - -", "e4f6", {1, 1}},
             Case{"4k3/4p3/5p2/8/4N3/8/8/4K3 w - -", "e4f6", {0, 0}},
             // Castling.
             Case{castling, "e1g1", {1, 0}},
             Case{castling, "e1c1", {1, 0}},
             Case{castling, "e1g1", {1, 0}, deep},
             Case{castling, "e1g1", {0, 0}, deeper},
             Case{castling, "e1g1", {1, 0}, deeper_pv},
             Case{castling, "e1f1", {0, 0}},
             // Pawns to the seventh rank of either colour.
             Case{"7k/8/P7/8/8/8/8/4K3 w - -", "a6a7", {1, 0}},
             Case{"7k/8/8/P7/8/8/8/4K3 w - -", "a5a6", {0, 0}},
             Case{"7k/8/8/8/8/p7/8/4K3 b - -", "a3a2", {1, 0}},
             Case{"7k/8/8/8/p7/8/8/4K3 b - -", "a4a3", {0, 0}},
             Case{"7k/8/8/8/8/8/8/P3K3 w - -", "a1a2", {1, 0}},
             Case{"7k/8/R7/8/8/8/8/4K3 w - -", "a6a7", {0, 0}},
             // The capture of the last piece.
             Case{"7k/8/8/8/8/8/3n4/4K3 w - -", "e1d2", {1, 0}},
             Case{"7k/8/8/8/8/8/3p4/4K3 w - -", "e1d2", {0, 0}},
             Case{"n6k/8/8/8/8/8/3n4/4K3 w - -", "e1d2", {0, 0}},
             Case{"7k/8/8/8/8/8/3n4/N3K3 w - -", "e1d2", {0, 0}},
         }) {
        const Node node = first_move_searched(c.fen, c.setup, [&c] { set_hash_move(c.move); });
        EXPECT_EQ(node.move, c.move) << c.fen;
        EXPECT_EQ(node.depth, c.setup.depth - (c.counted[0] == 1 ? 0 : 2)) << c.fen << c.move;
        // ProbCut has none of its own: the counters are those of this move.
        EXPECT_EQ(statistics.extensions, c.counted[0]) << c.fen;
        EXPECT_EQ(statistics.check_extensions, c.counted[1]) << c.fen;
    }
}

TEST_F(SearchRules, Reductions) {
    using Depths = std::vector<int>;
    const auto depths = [](const char* fen, int depth, const char* move,
                           const Step& prepare = NOTHING) {
        auto by_move = depths_by_move(fen, {.depth = depth, .allow_null = false}, prepare);
        return by_move[move];
    };
    // By number: the first two moves in full.
    NodeLog log;
    search_node(MANY_PIECES, {.depth = 6, .allow_null = false}, let_every_move_fail);
    Depths expected(20, 2);
    expected[0] = expected[1] = 4;
    EXPECT_EQ(log.move_depths(), expected);
    EXPECT_EQ(statistics.lmr, 18U);
    EXPECT_EQ(text_of(log.of('S', 1)[2]), "S g1f3 2 (0,1)");
    EXPECT_EQ(depths(MANY_PIECES, 5, "h2h4"), Depths{3});
    // The twentieth move is reduced by two plies at depth 10.
    EXPECT_EQ(depths(MANY_PIECES, 10, "h2h3"), Depths{8 - 2});
    EXPECT_EQ(depths(MANY_PIECES, 10, "h2h4"), Depths{8 - 4});

    struct Case {
        const char* fen;
        int depth;
        const char* move;
        Depths depths;
    };
    for (const Case& c : {
             Case{"4k1n1/7p/8/8/8/8/7P/3RK1N1 w - -", 6, "d1d8", {4}},  // a check that loses
             Case{IN_CHECK, 6, "e1f1", {2}},
             // Queen and knight come first; the promotions are not exempt by themselves.
             Case{"7k/P6p/8/8/8/8/n6P/N3K3 w - -", 6, "a7a8", {6, 4, 6, 2}},
             // Castling, from its extended depth.
             Case{"4k1n1/p7/8/8/8/8/P6P/4K2R w K -", 6, "e1g1", {4}},
             // Pawns about to become dangerous; depth 20 does not extend to the seventh rank.
             Case{"n3k3/8/8/P7/8/8/7P/N3K3 w - -", 6, "a5a6", {4}},
             Case{"n3k3/1p6/8/P7/8/8/7P/N3K3 w - -", 6, "a5a6", {2}},
             Case{"n3k3/8/P7/8/8/8/7P/N3K3 w - -", 20, "a6a7", {18}},
             Case{"n3k3/8/P7/8/8/8/7P/N3K3 w - -", 20, "h2h4", {16}},
             // Pawns alone on both sides; a side with nothing but its king.
             Case{"4k3/p6p/8/8/8/8/P6P/4K3 w - -", 6, "h2h4", {4}},
             Case{"4k1n1/7p/8/8/8/8/8/4K3 w - -", 6, "e1f2", {4}},
             Case{"4k1n1/7p/8/8/8/8/P7/4K3 w - -", 6, "e1f2", {2}},
             Case{"4k3/8/8/8/8/8/P7/4K1N1 w - -", 6, "e1f2", {4}},
             Case{"4k3/7p/8/8/8/8/P7/4K1N1 w - -", 6, "e1f2", {2}},
             Case{"4k1n1/7p/8/8/8/8/8/4K1N1 w - -", 6, "e1f2", {2}},
             Case{"4k1n1/8/8/8/8/8/7P/4K1N1 w - -", 6, "e1f2", {2}},
         }) {
        const bool deep = c.depth > 10;
        EXPECT_EQ(depths(c.fen, c.depth, c.move,
                         [deep] {
                             if (deep) set_hash_move("a1c2");
                         }),
                  c.depths)
            << c.fen << c.move;
    }
    // A late capture is not reduced.
    EXPECT_EQ(depths("7k/4p3/3p4/8/4N3/8/7P/4K3 w - -", 6, "e4d6",
                     [] {
                         set_hash_move("h2h3");
                         killer2[0] = {H2, H4, 0};
                     }),
              Depths{4});
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
        EXPECT_EQ(sum, row == 0 ? 0 : row < 4 ? 1 : growth[at(row - 4)]) << row;
    }
}

// ---------------------------------------------------------------------------
// Windows, results, and what is remembered
// ---------------------------------------------------------------------------

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
        let_every_move_be_judged(-40);
        after("g1f3", [] { set_evaluation(-20); });
        after("d2d4", [] { set_evaluation(-10); });
        after("e2e4", [] { set_evaluation(-30); });
        after("h2h4", [] { set_evaluation(-30); });
        return search(alpha, beta, 2, false, false);
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

TEST_F(SearchResults, ExactScore) {
    EXPECT_EQ(search_scored_moves(-INF, INF), 30);
    expect_stored(BOUND_EXACT, 30, E4);
    EXPECT_EQ(credited(), "10101") << "whatever raised alpha";
    EXPECT_EQ(history_max, 1);
    EXPECT_EQ(pv_table[0][0].to, E4);
    EXPECT_EQ(pv_table[0][1].from, 0);
    EXPECT_EQ(killer2[0].from, 0);
}

TEST_F(SearchResults, FailLow) {
    EXPECT_EQ(search_scored_moves(30, 90), 30);
    expect_stored(BOUND_UPPER, 30, E4);
    EXPECT_EQ(credited(), "00000");
    EXPECT_EQ(pv_table[0][0].from, 0);
}

TEST_F(SearchResults, FailHigh) {
    EXPECT_EQ(search_scored_moves(-50, 15), 20) << "more than beta";
    expect_stored(BOUND_LOWER, 20, F3);
    EXPECT_EQ(credited(), "10100");
    EXPECT_EQ(killer2[0].to, F3);
    EXPECT_EQ(nodes, 6U) << "three moves, three nodes of quiescence";
}

// The square of the depth in plies, for captures too; past the limit everything is divided by 4.
TEST_F(SearchResults, HistoryCredit) {
    const auto credit = [](int depth) {
        search_node(MANY_PIECES, {.depth = depth, .allow_null = false},
                    [] { after("b1a3", [] { set_result(0); }); });
        return history[2][B1][A3];
    };
    EXPECT_EQ(credit(6), 9);
    EXPECT_EQ(credit(7), 9);
    EXPECT_EQ(credit(8), 16);
    search_node("4k3/8/8/3p4/4P3/8/8/4K3 w - -", {.depth = 4, .allow_null = false},
                [] { after("e4d5", [] { set_result(0); }); });
    EXPECT_EQ(history[2][E4][D5], 4);
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
        const int score = replies ? search_replies(beta, DEPTH)
                                  : search(alpha, beta, DEPTH, kind == Kind::SEARCH, false);
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
