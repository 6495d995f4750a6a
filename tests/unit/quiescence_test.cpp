// The quiescence search, rule by rule. Evaluations are planted, so that no weight matters; which
// captures were tried is seen from the nodes entered.
#include "node_log.h"

namespace tarsimo::test {

namespace {

class Quiescence : public Engine {
  protected:
    // Judge the position at the material balance plus `judged`, and search it with a window of one
    // that begins so far above the balance.
    static int search_above_balance(const char* fen, int judged, int alpha) {
        set_up(fen);
        set_evaluation(balance() + judged);
        return quiesce(balance() + alpha, balance() + alpha + 1, 0) - balance();
    }

    // The moves tried with an open window, in order.
    static std::string tried(const char* fen) {
        set_up(fen);
        NodeLog log;
        quiesce(-INF, INF, 0);
        std::string moves;
        for (const Node& node : log.of('Q', 1)) moves += node.move + " ";
        return moves;
    }
};

// Standing pat returns the score as it is, a capture that cuts returns beta.
TEST_F(Quiescence, SoftAndHardCuts) {
    constexpr const char* fen = "4k3/8/8/3p4/4P3/8/8/4K3 w - -";
    EXPECT_EQ(search_above_balance(fen, 10, 0), 10);
    EXPECT_EQ(search_above_balance(fen, 1, 0), 1) << "beta itself";
    EXPECT_EQ(nodes, 1U);
    const auto with_capture_worth = [](int worth) {
        set_up(fen);
        set_evaluation(0);
        after("e4d5", [worth] { set_evaluation(-worth); });
        return quiesce(10, 20, 0);
    };
    EXPECT_EQ(with_capture_worth(30), 20);
    EXPECT_EQ(with_capture_worth(15), 15);
    EXPECT_EQ(with_capture_worth(5), 5) << "the best, though below alpha";
    EXPECT_EQ(with_capture_worth(-5), 0) << "standing pat is better";
    EXPECT_EQ(nodes, 2U);
}

// Even a side that is mated may stand pat, and checks are not looked for.
TEST_F(Quiescence, NeitherMatesNorChecksAreSeen) {
    set_up("R5k1/5ppp/8/8/8/8/5PPP/6K1 b - -");
    set_evaluation(-444);
    EXPECT_EQ(quiesce(-INF, INF, 0), -444);
    EXPECT_EQ(nodes, 1U);
    EXPECT_EQ(tried("4k3/8/8/8/8/8/8/R3K3 w - -"), "");
    EXPECT_EQ(tried("4r1k1/8/8/3n4/4P3/8/8/4K3 w - -"), "") << "the pawn may not leave the file";
    // In check at any ply: a capture that leaves the king attacked is not searched.
    for (const int ply : {0, 5}) {
        set_up("4r1k1/8/8/3n4/2P5/8/8/4K3 w - -");
        begin_at_ply(ply);
        quiesce(-INF, INF, 0);
        EXPECT_EQ(nodes, 1U) << "ply " << ply;
    }
}

TEST_F(Quiescence, RepetitionsAtTheFirstNodeOnly) {
    play("g1f3 g8f6 f3g1 f6g8");
    reset_search();
    set_evaluation(55);
    EXPECT_EQ(quiesce(-INF, INF, 0), 0);
    EXPECT_EQ(nodes, 1U);
    EXPECT_EQ(quiesce(-INF, INF, -1), 55);

    set_up("4k3/8/8/3q4/4P3/8/8/4K3 w - -");
    NodeLog log;
    quiesce(-INF, INF, 0);
    EXPECT_EQ(log.nodes[1].depth, -1) << "a ply further on";
    EXPECT_EQ(deepest_ply, 1);
}

// Below the deepest ply the evaluation is all there is.
TEST_F(Quiescence, MaximumPly) {
    for (const int ply : {63, 64}) {
        set_up("4k3/8/8/3p4/4P3/8/8/4K3 w - -");
        set_evaluation(0);
        after("e4d5", [] { set_evaluation(-30); });
        begin_at_ply(ply);
        EXPECT_EQ(quiesce(-INF, INF, 0), ply == 63 ? 30 : 0);
    }
}

// A capture must be able to lift the best score to within 100 of alpha, while both sides have
// pieces and pawns.
TEST_F(Quiescence, DeltaPruning) {
    const auto is_tried = [](const char* fen, int alpha) {
        search_above_balance(fen, 0, alpha);
        return nodes > 1;
    };
    constexpr const char* pawn = "n3k3/7p/8/3p4/4P3/8/7P/N3K3 w - -";
    EXPECT_TRUE(is_tried(pawn, 199));
    EXPECT_FALSE(is_tried(pawn, 200));
    constexpr const char* knight = "n3k3/7p/8/3n4/4P3/8/7P/N3K3 w - -";
    EXPECT_TRUE(is_tried(knight, 419));
    EXPECT_FALSE(is_tried(knight, 420));
    EXPECT_TRUE(is_tried("n3k3/7p/8/3p4/4P3/8/7P/4K3 w - -", 200)) << "white has no piece";
    EXPECT_TRUE(is_tried("4k3/7p/8/3p4/4P3/8/7P/N3K3 w - -", 200)) << "black has no piece";
    EXPECT_TRUE(is_tried("n3k3/7p/8/3p4/8/2N5/8/4K3 w - -", 200)) << "white has no pawn";
    EXPECT_TRUE(is_tried("n3k3/8/8/3n4/4P3/8/7P/N3K3 w - -", 420)) << "black has no pawn";

    // What an earlier capture was worth counts for the next one.
    for (const int worth : {50, 51}) {
        set_up("n3k3/7p/8/1n1p4/P3P3/8/7P/N3K3 w - -");
        const int level = balance();
        set_evaluation(level);
        after("a4b5", [&] { set_evaluation(-level - worth); });
        NodeLog log;
        quiesce(level + 250, level + 251, 0);
        EXPECT_EQ(log.of('Q', 1).size(), worth == 51 ? 2U : 1U);
    }

    // Promotions, to a queen only, are tried however far alpha is.
    EXPECT_TRUE(is_tried("4k3/P6p/1n6/8/8/8/7P/N3K3 w - -", 5000));
    EXPECT_EQ(nodes, 2U);
    EXPECT_TRUE(is_tried("1n2k3/P6p/8/8/8/8/7P/N3K3 w - -", 5000));
    EXPECT_EQ(nodes, 3U);
}

// A capture by a more valuable piece must not lose the exchange.
TEST_F(Quiescence, LosingCaptures) {
    EXPECT_EQ(tried("4k3/8/4p3/3p4/8/8/8/3QK3 w - -"), "") << "guarded by a pawn";
    EXPECT_EQ(tried("4k3/8/2p5/3p4/8/8/8/3QK3 w - -"), "");
    EXPECT_EQ(tried("3qk3/8/8/8/3P4/2P5/8/4K3 b - -"), "");
    EXPECT_EQ(tried("3qk3/8/8/8/3P4/4P3/8/4K3 b - -"), "");
    EXPECT_EQ(tried("4k3/8/5n2/3p4/8/8/8/3RK3 w - -"), "") << "by a knight";
    EXPECT_EQ(tried("8/8/4k3/3p4/8/8/8/3RK3 w - -"), "") << "by the king";
    EXPECT_EQ(tried("4k3/8/8/3p4/8/8/8/3QK3 w - -"), "d1d5 ");
    EXPECT_EQ(tried("4k3/8/8/3p4/2p1p3/8/8/3QK3 w - -").substr(0, 5), "d1d5 ") << "from behind";
    EXPECT_EQ(tried("3rk3/8/8/3r4/8/8/3Q4/3RK3 w - -").substr(0, 5), "d2d5 ") << "an even trade";
    EXPECT_EQ(tried("4k3/8/4p3/3b4/8/2N5/8/4K3 w - -"), "c3d5 ") << "of equal value";
    EXPECT_EQ(tried("4k3/8/4p3/3n4/8/1B6/8/4K3 w - -"), "b3d5 ");
    EXPECT_EQ(tried("4k3/8/4p3/3r4/8/2N5/8/4K3 w - -"), "c3d5 ");
}

class ThreeCaptures : public Quiescence {
  protected:
    // The betas of the replies to three captures that are worth so much, standing pat being worth
    // nothing; in pv_table the variation.
    static std::vector<int> betas(const std::array<int, 3>& worth, int alpha, int beta, int best) {
        set_up("7k/7p/1n2n2p/P4P2/8/2n5/1P4K1/5NNN w - -");
        set_evaluation(0);
        after("b2c3", [&] { set_evaluation(-worth[0]); });
        after("a5b6", [&] { set_evaluation(-worth[1]); });
        after("f5e6", [&] { set_evaluation(-worth[2]); });
        pv_table[1][1].from = A1;  // left behind by an earlier search
        NodeLog log;
        EXPECT_EQ(quiesce(alpha, beta, 0), best);
        EXPECT_EQ(pv_table[0][1].from, 0);
        std::vector<int> found;
        for (const Node& node : log.of('Q', 1)) found.push_back(node.beta);
        return found;
    }
    using Betas = std::vector<int>;
};

// Alpha takes what was best before the improvement, even when that is below the alpha passed in.
TEST_F(ThreeCaptures, AlphaTrailsOneImprovementBehind) {
    EXPECT_EQ(betas({10, 20, 30}, -INF, INF, 30), (Betas{0, 0, -10}));
    EXPECT_EQ(pv_table[0][0].to, E6);
    EXPECT_EQ(betas({10, 20, 30}, 5, INF, 30), (Betas{-5, 0, -10}));
    EXPECT_EQ(betas({10, 20, 30}, 10, INF, 30), (Betas{-10, -10, -10}));
    EXPECT_EQ(betas({10, 20, 30}, 20, INF, 30), (Betas{-20, -20, -20}));
    EXPECT_EQ(betas({10, 20, 20}, -INF, INF, 20), (Betas{0, 0, -10}));
    EXPECT_EQ(pv_table[0][0].to, B6) << "the first of equals";
}

TEST_F(ThreeCaptures, BetaItselfCuts) {
    EXPECT_EQ(betas({10, 20, 30}, -INF, 10, 10), (Betas{0}));
    EXPECT_EQ(betas({10, 20, 30}, -INF, 11, 11), (Betas{0, 0}));
}

}  // namespace

}  // namespace tarsimo::test
