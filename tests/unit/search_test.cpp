// The rules of the searches, one small position each, seen through a counter or a score.
#include "support.h"

namespace tarsimo::test {

namespace {

constexpr char MATE_IN_ONE[] = "6k1/5ppp/8/8/8/8/5PPP/R5K1 w - -";
constexpr char MATED[] = "R5k1/5ppp/8/8/8/8/5PPP/6K1 b - -";
constexpr char STALEMATED[] = "7k/5Q2/6K1/8/8/8/8/8 b - -";

class Search : public Engine {
  protected:
    static int searched(int alpha, int beta, int depth, bool allow_null = true) {
        return search(alpha, beta, depth, allow_null, in_check());
    }
    static int static_eval() {
        const int score = evaluate(-INF, INF);
        clear_hash_tables();
        clear_statistics();
        return score;
    }
};

TEST_F(Search, MatesAndStalemates) {
    set_up(MATE_IN_ONE);
    EXPECT_EQ(searched(-INF, INF, 4), 31998);
    EXPECT_EQ(name_of({pv_table[0][0].from, pv_table[0][0].to, 0, 0, 0, 0, 0}), "a1a8");
    set_up("7k/8/5K2/8/8/8/8/R7 w - -");
    EXPECT_EQ(searched(-INF, INF, 8), 31996) << "mate on the third half-move";

    for (const int ply : {0, 1, 3}) {
        set_up(MATED);
        search_ply = ply;
        EXPECT_EQ(searched(-INF, INF, 4), ply - 31999);
        EXPECT_EQ(search_replies(INF, 4), ply - 31999);
        set_up(STALEMATED);
        search_ply = ply;
        EXPECT_EQ(searched(-INF, INF, 4), 0);
        EXPECT_EQ(search_replies(INF, 4), 0);
        EXPECT_EQ(nodes, 0U);
    }
}

TEST_F(Search, MateDistanceBounds) {
    set_up(START_FEN);
    search_ply = 5;
    EXPECT_EQ(searched(31995, 31998, 4), 31995) << "no mate can be nearer than at ply 5";
    EXPECT_EQ(searched(31996, 31998, 4), 31996);
    EXPECT_EQ(searched(-31999, -31995, 4), -31995);
    EXPECT_EQ(searched(-31999, -31998, 4), -31998);
    EXPECT_EQ(statistics.hash_probes, 0U);
    searched(31994, 31996, 4);
    EXPECT_GT(statistics.hash_probes, 0U);
}

TEST_F(Search, Draws) {
    play("g1f3 g8f6 f3g1");
    EXPECT_NE(searched(-INF, INF, 2), 0);
    play("f6g8");
    reset_search();
    EXPECT_EQ(searched(-INF, INF, 4), 0);
    EXPECT_EQ(searched(50, 51, 4), 0);
    EXPECT_EQ(statistics.hash_probes, 0U);

    set_up("4k3/8/8/8/8/8/8/4K2R w - -");
    fifty = 100;
    EXPECT_EQ(searched(-INF, INF, 4), 0);
    EXPECT_EQ(statistics.hash_probes, 0U);
    fifty = 99;
    EXPECT_EQ(searched(-INF, INF, 4), 0) << "every quiet move draws, but the node is searched";
    EXPECT_GT(statistics.hash_probes, 0U);
    fifty = 97;
    EXPECT_GT(searched(-INF, INF, 2), 9000);
}

TEST_F(Search, TableCutsNodes) {
    struct Case {
        int bound, depth, score, alpha, beta;
        bool cut;
    };
    const std::array<Case, 10> cases = {{
        {BOUND_EXACT, 4, 77, 300, 301, true},   // a zero-width node takes any exact score
        {BOUND_EXACT, 4, 77, 300, 302, false},  // a PV node none
        {BOUND_EXACT, 4, 77, -INF, INF, false},
        {BOUND_EXACT, 3, 77, 300, 301, false},
        {BOUND_UPPER, 4, 77, 77, 78, true},
        {BOUND_UPPER, 4, 77, 77, 300, true},  // bounds that settle the window cut there too
        {BOUND_UPPER, 4, 77, 76, 77, false},
        {BOUND_LOWER, 4, 77, 76, 77, true},
        {BOUND_LOWER, 4, 77, -300, 77, true},
        {BOUND_LOWER, 4, 77, 77, 78, false},
    }};
    for (const Case& c : cases) {
        set_up("rnbqk2r/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQK2R w KQkq -");
        tt_store(c.bound, c.depth, c.score, D2, D4);
        const int score = searched(c.alpha, c.beta, 4, false);
        EXPECT_EQ(nodes == 0, c.cut) << c.bound << " " << c.alpha << " " << c.beta;
        EXPECT_EQ(score == c.score, c.cut || score == c.score);
        if (c.cut) { EXPECT_EQ(score, c.score); }
    }
}

// Hopelessly low and without captures: one quiescence node settles it.
TEST_F(Search, Razoring) {
    constexpr char fen[] = "4k3/pp6/8/3q4/8/8/PP6/N3K3 w - -";
    constexpr int balance = -670;  // what the lazy evaluation says
    const auto razored = [](const char* position, int beta, int width, int depth) {
        set_up(position);
        searched(beta - width, beta, depth);
        return statistics.razoring == 1 && nodes == 1;
    };
    set_up(fen);
    ASSERT_LT(static_eval(), balance);
    struct Case {
        int depth, margin;
    };
    for (const auto& [depth, margin] :
         std::array<Case, 4>{{{2, 564}, {3, 596}, {4, 628}, {5, 660}}}) {
        const int beta = balance + margin + 1;
        EXPECT_TRUE(razored(fen, beta, 1, depth)) << depth;
        EXPECT_FALSE(razored(fen, beta - 1, 1, depth)) << depth;
        EXPECT_FALSE(razored(fen, beta, 2, depth)) << "PV";
    }
    EXPECT_FALSE(razored(fen, 1000, 1, 6));
    EXPECT_FALSE(razored("4k3/pppppppp/8/8/8/8/8/N3K3 w - -", 1000, 1, 2))
        << "one side has no pieces";

    set_up(fen);
    tt_store(BOUND_LOWER, 1, -5000, A1, B3);
    searched(1000, 1001, 2);
    EXPECT_EQ(statistics.razoring, 0U) << "there is a hash move";
}

TEST_F(Search, StaticNullMove) {
    const auto left = [](int beta, int width, int depth, bool allow_null = true) {
        set_up(START_FEN);
        searched(beta - width, beta, depth, allow_null);
        return statistics.static_null == 1 && nodes == 0;
    };
    set_up(START_FEN);
    const int eval = static_eval();
    struct Case {
        int depth, eval, margin;
    };
    // So far below the balance, the lazy evaluation at depth 6 says 0.
    for (const auto& [depth, e, margin] : std::array<Case, 5>{
             {{2, eval, 150}, {3, eval, 150}, {4, eval, 300}, {5, eval, 300}, {6, 0, 450}}}) {
        const int beta = e - margin;
        EXPECT_TRUE(left(beta, 1, depth)) << depth;
        EXPECT_FALSE(left(beta + 1, 1, depth)) << depth;
        EXPECT_FALSE(left(beta, 2, depth)) << "PV";
        EXPECT_FALSE(left(beta, 1, depth, false)) << "after a null move";
    }
    EXPECT_FALSE(left(-9998, 1, 7));
    set_up(START_FEN);
    EXPECT_EQ(searched(eval - 151, eval - 150, 2), eval) << "the evaluation itself is returned";
    set_up("4k3/pppp4/8/8/8/8/8/QQ2K3 w - -");
    searched(-1001, -1000, 2);
    EXPECT_EQ(statistics.static_null, 0U) << "only one side has pieces";
}

// Depth 4 and 5: only the root can try a null move.
TEST_F(Search, NullMoveConditions) {
    struct Case {
        const char* fen;
        int beta_above_eval, depth, width;
        bool tried;
    };
    const std::array<Case, 9> cases = {{
        {START_FEN, 0, 4, 1, true},
        {START_FEN, 0, 5, 1, true},
        {START_FEN, 0, 3, 1, false},
        {START_FEN, 1, 4, 1, false},                                // evaluation below beta
        {START_FEN, 0, 4, 2, false},                                // PV
        {"4k1nn/pppp4/8/8/8/8/PPPP4/2B1K3 w - -", 0, 4, 1, false},  // 330 is not enough
        {"4k1nn/pppp4/8/8/8/8/PPPP4/2R1K3 w - -", 0, 4, 1, true},
        {"4k1nn/pppp4/8/8/8/8/PPPP4/2B1K3 b - -", 0, 4, 1, true},
        {"4k3/pppp4/8/8/8/8/PPPP4/4K3 w - -", 0, 4, 1, false},
    }};
    for (const Case& c : cases) {
        set_up(c.fen);
        const int beta = static_eval() + c.beta_above_eval;
        set_up(c.fen);
        searched(beta - c.width, beta, c.depth);
        EXPECT_EQ(statistics.null_tries, c.tried ? 1U : 0U) << c.fen << " " << c.depth;
    }
    // Nor after a null move, in check, or when the table speaks against it.
    set_up(START_FEN);
    const int eval = static_eval();
    searched(eval - 1, eval, 4, false);
    EXPECT_EQ(statistics.null_tries, 0U);
    set_up(START_FEN);
    tt_store(BOUND_UPPER, 2, eval - 10, 0, 0);
    searched(eval - 1, eval, 4);
    EXPECT_EQ(statistics.null_tries, 0U);
    set_up("4k3/pppp4/8/8/7b/8/PPPP4/QQ2K3 w - -");
    searched(-1, 0, 4);
    EXPECT_EQ(statistics.null_tries, 0U);
}

// The result of the null move's search is put into the table for it to find.
TEST_F(Search, NullMoveScores) {
    const auto result = [](int opponent_score, int beta, int depth) {
        set_up(START_FEN);
        make_null_move();
        tt_store(BOUND_EXACT, 20, opponent_score, 0, 0);
        unmake_null_move();
        const Snapshot before = snapshot();
        const int score = searched(beta - 1, beta, depth);
        EXPECT_TRUE(snapshot() == before);
        return score;
    };
    EXPECT_EQ(result(-500, 0, 10), 500);
    EXPECT_EQ(statistics.null_cuts, 1U);
    EXPECT_EQ(nodes, 0U);
    EXPECT_EQ(result(-31899, 0, 10), 31899);
    EXPECT_EQ(result(-31900, 0, 10), 0) << "a mate behind a pass is not proven";
    EXPECT_EQ(result(-31990, 0, 11), 0);
    EXPECT_EQ(nodes, 0U);
    result(-500, 0, 12);
    EXPECT_GT(nodes, 0U) << "deep cuts are verified";
    EXPECT_NE(result(500, 0, 10), -500) << "a null move that fails says nothing";
    EXPECT_GT(nodes, 0U);
}

// Quiet moves beyond the first are skipped when a margin does not lift them to alpha, once a
// move has any history at all.
TEST_F(Search, Futility) {
    const auto skipped = [](int alpha_above_eval, int best_history) {
        set_up(START_FEN);
        const int alpha = static_eval() + alpha_above_eval;
        history_max = best_history;
        const int score = searched(alpha, alpha + 1, 2);
        if (statistics.futility > 0) { EXPECT_EQ(score, alpha - alpha_above_eval + 150); }
        return statistics.futility;
    };
    EXPECT_EQ(skipped(151, 1), 19U) << "all but the first";
    EXPECT_EQ(skipped(150, 1), 0U) << "strictly below alpha";
    EXPECT_EQ(skipped(151, 0), 0U) << "no history yet: no move is below its maximum";

    // Castling and a pawn to the seventh rank are extended, not skipped.
    for (const char* fen : {"4k1n1/p7/8/8/8/8/7P/4K2R w K -", "4k1n1/7p/1P6/8/8/8/7P/4K2R w - -"}) {
        set_up(fen);
        const int alpha = static_eval() + 151;
        const auto legal = legal_moves().size();
        history_max = 1;
        searched(alpha, alpha + 1, 2);
        EXPECT_EQ(statistics.extensions, 1U) << fen;
        EXPECT_EQ(statistics.futility, legal - 2) << fen;
    }
}

// Late moves and losing quiet moves are skipped without a counter: the nodes tell.
TEST_F(Search, MoveCountAndExchangePruning) {
    const auto nodes_of = [](const char* fen, int best_history) {
        set_up(fen);
        const int alpha = static_eval() + 100;
        history_max = best_history;
        searched(alpha, alpha + 1, 2);
        return nodes;
    };
    EXPECT_EQ(nodes_of(START_FEN, 0), 40U) << "twenty moves and an evaluation each";
    EXPECT_EQ(nodes_of(START_FEN, 9), 40U) << "a tenth of the best history is still 0";
    EXPECT_EQ(nodes_of(START_FEN, 10), 26U) << "six moves searched";

    // Ten moves; two of the knight's six squares are guarded by pawns.
    constexpr char guarded[] = "4k3/8/1p1p4/8/8/1N6/7P/7K w - -";
    EXPECT_GE(nodes_of(guarded, 0), 20U);
    EXPECT_EQ(nodes_of(guarded, 9), 18U);
}

TEST_F(Search, LateMoveReductions) {
    const auto reduced = [](const char* fen, int depth) {
        set_up(fen);
        searched(-INF, INF, depth);
        return statistics.lmr;
    };
    constexpr char quiet[] = "1n2k1n1/p6p/8/8/8/8/P6P/1N2K1N1 w - -";
    EXPECT_EQ(reduced(quiet, 5), 0U);
    EXPECT_GT(reduced(quiet, 6), 0U);
    EXPECT_EQ(reduced("4k3/p6p/8/8/8/8/P6P/4K3 w - -", 8), 0U) << "no pieces";
    EXPECT_EQ(reduced("4k3/8/8/8/8/8/8/Q3K3 w - -", 6), 0U) << "one side has but a king";
}

TEST_F(Search, CheckExtensions) {
    struct Case {
        const char* fen;
        unsigned extended;
        const char* reason;
    };
    const std::array<Case, 9> cases = {{
        {"k7/8/8/8/8/8/P5PP/4R2K w - -", 1, "quiet, on a safe square"},
        {"k6r/8/8/8/8/8/P5PP/4R2K w - -", 0, "quiet, loses the rook"},
        {"k3b3/8/8/8/8/8/P5PP/4R2K w - -", 1, "captures a lesser man and wins it"},
        {"k3b2r/8/8/8/8/8/P5PP/4R2K w - -", 0, "captures a lesser man and loses the rook"},
        {"k3r2r/8/8/8/8/8/P5PP/4R2K w - -", 1, "captures an equal man"},
        {"k7/8/8/8/K7/8/8/R7 w - -", 3, "by the king, discovered"},
        {"8/8/8/k2P3R/8/8/7P/7K w - -", 1, "by a pawn, discovered"},
        {"8/8/k7/8/PP6/8/7P/7K w - -", 1, "by a pawn, guarded"},
        {"8/8/k7/8/1P6/8/7P/7K w - -", 0, "by a pawn that is lost"},
    }};
    for (const Case& c : cases) {
        set_up(c.fen);
        searched(-INF, INF, 2);
        EXPECT_EQ(statistics.check_extensions, c.extended) << c.reason;
        EXPECT_GE(statistics.extensions, c.extended);
    }
}

TEST_F(Search, OtherExtensions) {
    struct Case {
        const char* fen;
        unsigned extended;
        const char* reason;
    };
    const std::array<Case, 5> cases = {{
        {"7k/8/8/8/8/8/p7/4K2R w K -", 1, "castling"},
        {"7k/8/P7/8/8/8/8/K7 w - -", 1, "pawn to the seventh rank"},
        {"K7/8/8/8/8/p7/8/7k b - -", 1, "pawn to the second rank"},
        {"7k/p7/8/8/8/8/6n1/7K w - -", 1, "the last piece is taken"},
        {"7k/p7/8/8/8/8/6p1/7K w - -", 0, "the last pawn"},
    }};
    for (const Case& c : cases) {
        set_up(c.fen);
        searched(-INF, INF, 2);
        EXPECT_EQ(statistics.extensions - statistics.check_extensions, c.extended) << c.reason;
    }
}

TEST_F(Search, KillersAndHistory) {
    const auto killers = [] {
        std::string text;
        for (const MoveRef& k : {killer1[2], killer2[2], killer3[2]}) {
            text += square_name(k.from) + square_name(k.to) + ":" + std::to_string(k.extra) + " ";
        }
        return text;
    };
    search_ply = 2;
    killer2[2].extra = 7;
    killer3[2].extra = 8;
    update_killers({G1, F3, 0, 0, 0, 0, 0}, 50);
    EXPECT_EQ(killers(), "----:0 g1f3:7 ----:7 ");
    update_killers({B1, C3, 0, 0, 0, 0, 0}, 31900);
    EXPECT_EQ(killers(), "----:0 b1c3:7 g1f3:7 ");
    update_killers({B1, C3, 0, 0, 0, 0, 0}, 50);
    EXPECT_EQ(killers(), "----:0 b1c3:7 g1f3:7 ") << "the same move again";
    update_killers({A7, A8, 0, QUEEN, 0, 0, 0}, 50);
    update_killers({D4, E5, PAWN, 0, 0, 0, 0}, 50);
    EXPECT_EQ(killers(), "----:0 b1c3:7 g1f3:7 ") << "queen promotion, capture";
    update_killers({A7, A8, 0, ROOK, 0, 0, 0}, 50);
    EXPECT_EQ(killers(), "----:0 a7a8:7 b1c3:7 ");
    update_killers({D4, E5, PAWN, 0, 0, 0, 0}, 31901);
    EXPECT_EQ(killers(), "d4e5:0 a7a8:7 b1c3:7 ");

    // The credit of an only move: the square of the depth, the depth itself in the reply search.
    const auto credit = [](bool replies) {
        set_up("k7/8/K7/8/8/7p/7P/8 b - -");
        if (replies) search_replies(INF, 4);
        else searched(-INF, INF, 4);
        EXPECT_EQ(history[2][A8][B8], 0);
        return history[0][A8][B8];
    };
    EXPECT_EQ(credit(false), 4);
    EXPECT_EQ(credit(true), 2);
}

TEST_F(Search, HistoryAges) {
    history[2][A1][H8] = 100;
    history[0][H8][A1] = 7;
    history[2][E2][E4] = 1799999;
    history_max = 1799999;
    credit_history({E2, E4, 0, 0, 0, 0, 0}, 1);
    age_history();
    EXPECT_EQ(history[2][E2][E4], 1800000) << "not yet";
    credit_history({E2, E4, 0, 0, 0, 0, 0}, 4);
    age_history();
    EXPECT_EQ(history[2][E2][E4], 450001);
    EXPECT_EQ(history_max, 450001);
    EXPECT_EQ(history[2][A1][H8], 25);
    EXPECT_EQ(history[0][H8][A1], 1);
}

TEST_F(Search, ExemptPawnMoves) {
    set_up("4k3/8/2p5/8/8/6P1/8/4K3 w - -");
    EXPECT_TRUE(is_exempt_pawn_move(PAWN, WHITE, A7));
    EXPECT_FALSE(is_exempt_pawn_move(PAWN, WHITE, A2));
    EXPECT_TRUE(is_exempt_pawn_move(PAWN, BLACK, A2));
    EXPECT_FALSE(is_exempt_pawn_move(KNIGHT, WHITE, A7));
    EXPECT_TRUE(is_exempt_pawn_move(PAWN, BLACK, E3));
    EXPECT_FALSE(is_exempt_pawn_move(PAWN, WHITE, A5));
    for (const int pawn : {C7, D7, E7}) {
        set_up("4k3/8/8/8/8/8/8/4K3 w - -");
        EXPECT_TRUE(is_exempt_pawn_move(PAWN, WHITE, D6));
        board[at(pawn)] = -PAWN;
        EXPECT_FALSE(is_exempt_pawn_move(PAWN, WHITE, D6));
        board[at(pawn)] = PAWN;
        EXPECT_TRUE(is_exempt_pawn_move(PAWN, WHITE, D6)) << "own pawns are no hindrance";
    }
}

TEST_F(Search, ReductionTable) {
    for (std::size_t row = 0; row < 32; ++row) {
        EXPECT_EQ(lmr_table[row][0], 0);
        EXPECT_EQ(lmr_table[row][1], row == 0 ? 0 : 1);
        for (std::size_t column = 1; column < 64; ++column) {
            ASSERT_LE(lmr_table[row][column - 1], lmr_table[row][column]);
        }
    }
    EXPECT_EQ(lmr_table[0][63], 0);
    EXPECT_EQ(lmr_table[3][63], 1);
    EXPECT_EQ(lmr_table[4][27], 1);
    EXPECT_EQ(lmr_table[4][28], 2);
    EXPECT_EQ(lmr_table[8][56], 4);
    EXPECT_EQ(lmr_table[13][56], 4);
    EXPECT_EQ(lmr_table[13][57], 5);
    EXPECT_EQ(lmr_table[20][62], 6);
    EXPECT_EQ(lmr_table[31][38], 5);
    EXPECT_EQ(lmr_table[31][39], 6);
    EXPECT_EQ(late_move_reduction(9, 28), 2) << "row 4";
    EXPECT_EQ(late_move_reduction(200, 500), 6) << "both capped";
}

TEST_F(Search, Quiescence) {
    // Soft when standing pat, hard when a capture cuts.
    constexpr char hanging[] = "4k3/8/8/3q4/4P3/8/8/4K3 w - -";
    set_up(hanging);
    const int stand_pat = static_eval();
    EXPECT_EQ(quiesce(stand_pat - 300, stand_pat - 200, 0), stand_pat);
    EXPECT_EQ(nodes, 1U);
    set_up(hanging);
    EXPECT_EQ(quiesce(stand_pat, stand_pat + 1, 0), stand_pat + 1);
    set_up(hanging);
    EXPECT_GT(quiesce(-INF, INF, 0), stand_pat + 800);
    EXPECT_EQ(pv_table[0][0].to, D5);

    // Losing captures are not tried: guarded by a pawn, or by the exchange.
    for (const char* fen : {"4k3/8/4p3/3p4/8/8/8/3QK3 w - -", "4k3/8/5n2/3p4/8/8/8/3RK3 w - -",
                            "8/8/4k3/3p4/8/8/8/3RK3 w - -"}) {
        set_up(fen);
        const int eval = static_eval();
        EXPECT_EQ(quiesce(-INF, INF, 0), eval) << fen;
        EXPECT_EQ(nodes, 1U) << fen;
    }

    // Captures that cannot lift alpha are skipped, with pieces and pawns on both sides only.
    const auto nodes_with_alpha = [](const char* fen, int above_eval) {
        set_up(fen);
        const int alpha = static_eval() + above_eval;
        quiesce(alpha, alpha + 1, 0);
        return nodes;
    };
    constexpr char delta[] = "n3k3/7p/8/3p4/4P3/8/7P/N3K3 w - -";
    EXPECT_EQ(nodes_with_alpha(delta, 200), 1U) << "a pawn and 100";
    EXPECT_EQ(nodes_with_alpha(delta, 199), 2U);
    EXPECT_EQ(nodes_with_alpha("4k3/7p/8/3p4/4P3/8/7P/N3K3 w - -", 300), 2U);
    EXPECT_EQ(nodes_with_alpha("n3k3/8/8/3n4/4P3/8/8/N3K3 w - -", 500), 2U);
    EXPECT_EQ(nodes_with_alpha("n3k3/P6p/8/8/8/8/7P/N3K3 b - -", 0), 1U);
    EXPECT_EQ(nodes_with_alpha("4k3/P6p/1n6/8/8/8/7P/N3K3 w - -", 5000), 2U)
        << "a promotion is always searched";

    // Mates and checks are not seen; a repetition at the first node only.
    set_up(MATED);
    EXPECT_GT(quiesce(-INF, INF, 0), -2000);
    init_engine();
    play("g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8 e2e4 g8f6 g1f3 f6g8 f3g1 g8f6 g1f3 f6g8 f3g1");
    EXPECT_EQ(quiesce(-INF, INF, 0), 0);
    EXPECT_NE(quiesce(-INF, INF, -1), 0);
    EXPECT_NE(quiesce(-INF, INF, -5), 0);
}

TEST_F(Search, ReplySearchReturnsTheCuttingScore) {
    set_up("4k3/8/8/3q4/4P3/8/8/4K3 w - -");
    const int score = search_replies(50, 4);
    EXPECT_GT(score, 50);
    bool null_ok = true;
    int stored = 0;
    EXPECT_EQ(tt_probe(4, stored, 0, null_ok), BOUND_LOWER);
    EXPECT_EQ(stored, score);
    EXPECT_EQ(hash_move.to, D5);
    EXPECT_EQ(history[2][E4][D5], 2) << "half the depth, not squared; captures gain it too";
    EXPECT_EQ(killer2[0].from, 0);

    int best_reply = 0;
    reset_search();
    EXPECT_EQ(search_root_replies(INF, 4, best_reply), best_reply);
}

// Deepest nodes: the evaluation answers, and nothing is written behind the tables.
TEST_F(Search, MaximumPly) {
    set_up(START_FEN);
    search_ply = 64;
    const int eval = static_eval();
    EXPECT_EQ(searched(-INF, INF, 8), eval);
    EXPECT_EQ(quiesce(-INF, INF, 0), eval);
    search_ply = 63;
    list_start(63) = 1000;
    searched(-INF, INF, 4);
    EXPECT_EQ(list_start(64), 1020);
}

// A stop in the middle: the position is as before, and no node above has stored anything.
TEST_F(Search, StopLeavesNoTrace) {
    for (const bool replies : {false, true}) {
        set_up("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -");
        const Snapshot before = snapshot();
        stop_test_enabled = true;
        time_budget_ms = 0;
        moves_left = 1;
        nodes = STOP_TEST_INTERVAL - 3000;
        const int score = replies ? search_replies(INF, 20) : searched(-INF, INF, 20);
        EXPECT_TRUE(search_aborted);
        EXPECT_EQ(score, replies ? INF : 0);
        EXPECT_EQ(nodes, static_cast<std::uint64_t>(STOP_TEST_INTERVAL));
        EXPECT_TRUE(snapshot() == before);
        read_hash_move();
        EXPECT_EQ(hash_move.from, 0);
        stop_test_enabled = false;
    }
}

}  // namespace

}  // namespace tarsimo::test
