// The transposition table, and the rules of the searches that need a state of their own:
// repetitions, plies below the root, table, killers and history. What a fresh search shows is
// pinned as data.
#include "support.h"

namespace tarsimo::test {

namespace {

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

TEST_F(Search, MateDistance) {
    set_up("R5k1/5ppp/8/8/8/8/5PPP/6K1 b - -");
    search_ply = 3;
    EXPECT_EQ(searched(-INF, INF, 4), 3 - 31999);
    EXPECT_EQ(search_replies(INF, 4), 3 - 31999);

    set_up(START_FEN);
    search_ply = 5;
    EXPECT_EQ(searched(31995, 31998, 4), 31995) << "no mate can be nearer than at ply 5";
    EXPECT_EQ(searched(31996, 31998, 4), 31996);
    EXPECT_EQ(searched(-31999, -31995, 4), -31995);
    EXPECT_EQ(searched(-31999, -31998, 4), -31998);
    EXPECT_EQ(statistics.hash_probes, 0U);
    searched(31994, 31996, 4);
    searched(-31996, -31994, 4);
    EXPECT_GE(statistics.hash_probes, 2U);
}

TEST_F(Search, Draws) {
    play("g1f3 g8f6 f3g1");
    EXPECT_NE(searched(-INF, INF, 2), 0);
    play("f6g8");
    reset_search();
    EXPECT_EQ(searched(50, 51, 4), 0);
    EXPECT_EQ(quiesce(-INF, INF, 0), 0);
    EXPECT_NE(quiesce(-INF, INF, -1), 0) << "looked for at the first node only";
    EXPECT_EQ(statistics.hash_probes, 0U);

    set_up("4k3/8/8/8/8/8/8/4K2R w - -");
    fifty = 100;
    EXPECT_EQ(searched(-INF, INF, 4), 0);
    EXPECT_EQ(statistics.hash_probes, 0U);
    fifty = 99;
    EXPECT_EQ(searched(-INF, INF, 4), 0) << "every quiet move draws, but the node is searched";
    EXPECT_GT(statistics.hash_probes, 0U);
}

TEST_F(Search, TableReplacesByGenerationAndDepth) {
    const TTEntry& slot = tt_table[hash_key % tt_size];
    tt_generation = 3;
    tt_store(BOUND_EXACT, 8, 1, A2, A3);
    tt_store(BOUND_EXACT, 7, 2, B2, B3);
    EXPECT_EQ(slot.score, 1) << "shallower, same search";
    tt_store(BOUND_LOWER, 8, 3, C2, C3);
    EXPECT_EQ(slot.score, 3) << "equal depth";
    const std::uint64_t key = hash_key;
    hash_key += tt_size;
    read_hash_move();
    EXPECT_EQ(hash_move.from, 0) << "keys are compared whole";
    tt_store(BOUND_UPPER, 7, 4, D2, D3);
    EXPECT_EQ(slot.key, key) << "whosever entry it is";
    tt_generation = 4;
    tt_store(BOUND_UPPER, 2, 6, E2, E3);
    EXPECT_EQ(slot.score, 6) << "older search";
    EXPECT_EQ(slot.generation, 4);
    clear_hash_tables();
    EXPECT_EQ(tt_generation + slot.score, 0);
}

TEST_F(Search, TableSpeaksAgainstRules) {
    // A hash move speaks against razoring, an upper bound against the null move.
    set_up("4k3/pp6/8/3q4/8/8/PP6/N3K3 w - -");
    tt_store(BOUND_LOWER, 1, -5000, A1, B3);
    searched(1000, 1001, 2);
    EXPECT_EQ(statistics.razoring, 0U);
    set_up(START_FEN);
    const int eval = static_eval();
    tt_store(BOUND_UPPER, 2, eval - 10, 0, 0);
    searched(eval - 1, eval, 4);
    EXPECT_EQ(statistics.null_tries, 0U);
}

// The result of the null move's search is put into the table for it to find.
TEST_F(Search, NullMoveScores) {
    const auto result = [](int opponent_score, int depth, bool allow_null = true) {
        set_up(START_FEN);
        const int ep_square_before = make_null_move();
        tt_store(BOUND_EXACT, 20, opponent_score, 0, 0);
        unmake_null_move(ep_square_before);
        return searched(-1, 0, depth, allow_null);
    };
    EXPECT_EQ(result(-500, 10), 500);
    EXPECT_EQ(nodes, 0U);
    EXPECT_EQ(result(-31899, 10), 31899);
    EXPECT_EQ(result(-31900, 11), 0) << "a mate behind a pass is not proven";
    EXPECT_EQ(nodes, 0U);
    result(-500, 12);
    EXPECT_GT(nodes, 0U) << "deep cuts are verified";
    result(-500, 10, false);
    EXPECT_GT(nodes, 0U) << "never two in a row";
}

TEST_F(Search, ExemptPawnMoves) {
    for (const int pawn : {C7, D7, E7}) {
        set_up("4k3/8/8/8/8/8/8/4K3 w - -");
        EXPECT_TRUE(is_exempt_pawn_move(PAWN, WHITE, D6));
        EXPECT_TRUE(is_exempt_pawn_move(PAWN, BLACK, A2));
        EXPECT_FALSE(is_exempt_pawn_move(KNIGHT, WHITE, A7));
        EXPECT_FALSE(is_exempt_pawn_move(PAWN, WHITE, A5));
        board[at(pawn)] = -PAWN;
        EXPECT_FALSE(is_exempt_pawn_move(PAWN, WHITE, D6));
    }
}

TEST_F(Search, Killers) {
    struct Case {
        Move move;
        int score;
        const char* killers;
    };
    const std::array<Case, 6> cases = {{
        {{G1, F3, 0, 0, 0, 0, 0}, 50, "----:0 g1f3:7 ----:7 "},
        {{B1, C3, 0, 0, 0, 0, 0}, 31900, "----:0 b1c3:7 g1f3:7 "},
        {{B1, C3, 0, 0, 0, 0, 0}, 50, "----:0 b1c3:7 g1f3:7 "},
        {{A7, A8, 0, QUEEN, 0, 0, 0}, 50, "----:0 b1c3:7 g1f3:7 "},
        {{A7, A8, 0, ROOK, 0, 0, 0}, 50, "----:0 a7a8:7 b1c3:7 "},
        {{D4, E5, PAWN, 0, 0, 0, 0}, 31901, "d4e5:0 a7a8:7 b1c3:7 "},
    }};
    search_ply = 2;
    killer2[2].extra = 7;
    for (const Case& c : cases) {
        update_killers({D4, E5, PAWN, 0, 0, 0, 0}, 50);
        update_killers(c.move, c.score);
        std::string text;
        for (const MoveRef& k : {killer1[2], killer2[2], killer3[2]}) {
            text += square_name(k.from) + square_name(k.to) + ":" + std::to_string(k.extra) + " ";
        }
        EXPECT_EQ(text, c.killers);
    }
}

TEST_F(Search, HistoryAges) {
    history[0][H8][A1] = 7;
    history[2][E2][E4] = history_max = 1799999;
    credit_history({E2, E4, 0, 0, 0, 0, 0}, 1);
    age_history();
    EXPECT_EQ(history[2][E2][E4], 1800000) << "not yet";
    credit_history({E2, E4, 0, 0, 0, 0, 0}, 4);
    age_history();
    EXPECT_EQ(history[2][E2][E4], 450001);
    EXPECT_EQ(history_max, 450001);
    EXPECT_EQ(history[0][H8][A1], 1);
}

TEST_F(Search, ReplySearchReturnsTheCuttingScore) {
    set_up("4k3/8/8/3q4/4P3/8/4P3/4K3 w - -");
    const int score = search_replies(50, 4);
    EXPECT_GT(score, 50);
    bool null_ok = true;
    int stored = 0;
    EXPECT_EQ(tt_probe(4, stored, 0, null_ok), BOUND_LOWER);
    EXPECT_EQ(stored, score);
    EXPECT_EQ(hash_move.to, D5);
    EXPECT_EQ(history[2][E4][D5], 2) << "half the depth, not squared; captures gain it too";
    EXPECT_EQ(killer2[0].from, 0);
    reset_search();
    const RootReplies replies = search_root_replies(INF, 4);
    EXPECT_EQ(replies.best, replies.score);
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
        nodes = STOP_TEST_INTERVAL - 3000;
        const int score = replies ? search_replies(INF, 14) : searched(-INF, INF, 14);
        EXPECT_TRUE(search_aborted);
        EXPECT_EQ(score, replies ? INF : 0);
        EXPECT_EQ(nodes % STOP_TEST_INTERVAL, 0U);
        EXPECT_TRUE(snapshot() == before);
        read_hash_move();
        EXPECT_EQ(hash_move.from, 0);
    }
}

}  // namespace

}  // namespace tarsimo::test
