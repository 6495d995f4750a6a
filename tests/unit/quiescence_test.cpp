// The quiescence search, apart from the captures that the list of rules has. Evaluations are
// planted, so that no weight matters; which captures were tried is seen from the nodes entered.
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

// Even a side that is mated may stand pat.
TEST_F(Quiescence, MatesAreNotSeen) {
    set_up("R5k1/5ppp/8/8/8/8/5PPP/6K1 b - -");
    set_evaluation(-444);
    EXPECT_EQ(quiesce(-INF, INF, 0), -444);
    EXPECT_EQ(nodes, 1U);
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

// What an earlier capture was worth counts for the next one.
TEST_F(Quiescence, DeltaPruningAfterACapture) {
    for (const int worth : {50, 51}) {
        set_up("n3k3/7p/8/1n1p4/P3P3/8/7P/N3K3 w - -");
        const int level = balance();
        set_evaluation(level);
        after("a4b5", [&] { set_evaluation(-level - worth); });
        NodeLog log;
        quiesce(level + 250, level + 251, 0);
        EXPECT_EQ(log.of('Q', 1).size(), worth == 51 ? 2U : 1U);
    }
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
