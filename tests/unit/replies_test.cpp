// The replies to a root move: the reply search and the root's own rule of reductions, move by move.
#include "node_log.h"

#include <map>

namespace tarsimo::test {

namespace {

using Search = int (*)(int beta, int depth);

int root_replies(int beta, int depth) {
    const RootReplies replies = search_root_replies(-INF, beta, depth);
    EXPECT_EQ(replies.score, replies.best) << "the same unless it was stopped";
    return replies.score;
}

constexpr Search REPLIES = search_replies;
constexpr Search ROOT = root_replies;

class Replies : public Engine {
  protected:
    // Texts of the searches of each reply. Quiet replies draw by the fifty-move rule, others lose:
    // unless the first is of the others, all that follow fail.
    static std::map<std::string, std::vector<std::string>> searches(
        Search search, const char* fen, int depth, const std::function<void()>& prepare = [] {}) {
        set_up(fen);
        fifty = 100;
        history_max = 1;
        after("all", [] { set_result(5000, BOUND_LOWER); });
        prepare();
        NodeLog log;
        search(INF, depth);
        std::map<std::string, std::vector<std::string>> texts;
        for (const Node& node : log.of('S', 1)) texts[node.move].push_back(text_of(node).substr(7));
        return texts;
    }
};

TEST_F(Replies, WindowsAndReductions) {
    for (const Search search : {REPLIES, ROOT}) {
        const auto deep = searches(search, START_FEN, 6);
        using Texts = std::vector<std::string>;
        EXPECT_EQ(deep.at("b1a3"), Texts{"4 (-32000,32000)"}) << "the first, bounds open";
        EXPECT_EQ(deep.at("b1c3"), Texts{"4 (-1,0)"});
        EXPECT_EQ(deep.at("g1f3"), Texts{"4 (-1,0)"});
        EXPECT_EQ(deep.at("g1h3"), Texts{"2 (-1,0)"}) << "from the fourth on";
        EXPECT_EQ(statistics.lmr, 17U);
        EXPECT_EQ(searches(search, START_FEN, 10).at("h2h4"), Texts{"4 (-1,0)"})
            << "the twentieth by two plies";
        EXPECT_EQ(searches(search, START_FEN, 5).at("h2h4"), Texts{"3 (-1,0)"});

        // A reduced reply that surprises is searched again, in full when it lies between.
        const auto surprise =
            searches(search, START_FEN, 6, [] { after("h2h4", [] { set_result(-10); }); });
        EXPECT_EQ(surprise.at("h2h4"), (Texts{"2 (-1,0)", "4 (-1,0)", "4 (-32000,0)"}));
    }
}

TEST_F(Replies, WhichAreReduced) {
    struct Case {
        const char* fen;
        const char* move;
        std::array<const char*, 2> depth;  // in the reply search, at the root
        std::function<void()> prepare;
    };
    const auto killer_is_fourth = [] {
        history_max = 1810000;  // the third killer's score
        set_hash_move("g1f3");
        killer1[0] = {G1, E2, 0};
        killer2[0] = {G1, H3, 0};
        killer3[0] = {H2, H3, 0};
    };
    const auto capture_is_fourth = [] {
        history_max = 2000000;
        set_hash_move("e4g5");
        killer1[0] = {E4, C5, 0};
        killer2[0] = {E4, F2, 0};
    };
    const auto nothing = [] {};
    for (const Case& c : {
             Case{"4k3/7p/8/8/8/8/7P/3RK1N1 w - -", "h2h3", {"2 ", "2 "}, nothing},
             Case{"4k3/7p/8/8/8/8/7P/3RK1N1 w - -", "h2h3", {"4 ", "2 "}, killer_is_fourth},
             Case{"4r1k1/7p/8/8/8/8/7P/3RK1N1 w - -", "g1e2", {"4 ", "4 "}, nothing},  // in check
             Case{"4k3/7p/8/8/8/8/7P/3RK1N1 w - -", "d1d8", {"6+", "4+"}, nothing},  // gives check
             Case{"4k3/7p/8/8/8/8/7P/4K2R w K -", "e1g1", {"4 ", "2 "}, nothing},
             Case{"n3k3/8/8/P7/8/8/7P/N3K3 w - -", "a5a6", {"4 ", "4 "}, nothing},
             Case{"n3k3/1p6/8/P7/8/8/7P/N3K3 w - -", "a5a6", {"2 ", "2 "}, nothing},
             Case{"k6n/7p/8/8/p7/8/8/4K2N b - -", "a4a3", {"4 ", "4 "}, nothing},
             // A capture, when its score is below the history's best.
             Case{"7k/4p3/3p4/8/4N3/8/7P/4K3 w - -", "e4d6", {"2 ", "4 "}, capture_is_fourth},
             // All four promotions.
             Case{"7k/P6p/8/8/8/8/n6P/N3K3 w - -", "a7a8", {"6+4 6+4 ", "6+4 6+4 "}, nothing},
         }) {
        for (const bool root : {false, true}) {
            std::string depths;
            auto by_move = searches(root ? ROOT : REPLIES, c.fen, 6, c.prepare);
            for (const std::string& text : by_move[c.move]) depths += text.substr(0, 2);
            EXPECT_EQ(depths, c.depth[root]) << c.fen << c.move << root;
        }
    }
}

// At depth 2 the evaluation of the replies are their scores: the second is worth 20, the third
// and the last 30.
TEST_F(Replies, Results) {
    const auto search_scored = [](Search search, int beta) {
        set_up(START_FEN);
        history_max = 1800000;
        after("all", [] { set_evaluation(40); });
        after("b1c3", [] { set_evaluation(-20); });
        after("g1f3", [] { set_evaluation(-30); });
        after("h2h4", [] { set_evaluation(-30); });
        return search(beta, 2);
    };
    for (const Search search : {REPLIES, ROOT}) {
        const TTEntry& slot = tt_table[hash_key % tt_size];
        EXPECT_EQ(search_scored(search, INF), 30);
        EXPECT_EQ(slot.bound, BOUND_EXACT);
        EXPECT_EQ(slot.to, F3);
        EXPECT_EQ(pv_table[0][0].to, F3);
        EXPECT_EQ(killer2[0].from, 0);

        EXPECT_EQ(search_scored(search, 20), 20);
        EXPECT_EQ(slot.bound, BOUND_LOWER);
        EXPECT_EQ(slot.score, 20);
        EXPECT_EQ(slot.depth, 2);
        EXPECT_EQ(slot.to, C3);
        EXPECT_EQ(killer2[0].to, C3);
        EXPECT_EQ(pv_table[0][0].to, A3) << "a cut leaves the line";
        EXPECT_EQ(nodes, 4U);

        EXPECT_EQ(search_scored(search, 10), 20) << "the cutting score";
    }
}

// Half the depth for every reply that raises alpha, captures included, and no ageing.
TEST_F(Replies, HistoryCredit) {
    set_up(START_FEN);
    fifty = 100;
    history_max = history[2][B1][A3] = 1799998;
    search_replies(0, 7);
    EXPECT_EQ(history[2][B1][A3], 1800001);
    EXPECT_EQ(history_max, 1800001);

    set_up("4k3/8/8/3p4/4P3/8/8/4K3 w - -");
    after("e4d5", [] { set_result(0, BOUND_UPPER); });
    search_replies(0, 4);
    EXPECT_EQ(history[2][E4][D5], 2);
    EXPECT_EQ(nodes, 1U);
}

TEST_F(Replies, MatedAndStalemated) {
    for (const Search search : {REPLIES, ROOT}) {
        set_up("R5k1/5ppp/8/8/8/8/5PPP/6K1 b - -");
        begin_at_ply(3);
        pv_table[3][3].from = A1;
        EXPECT_EQ(search(INF, 4), 3 - 31999);
        EXPECT_EQ(pv_table[3][3].from, 0) << "without a variation";
        set_up("k7/2Q5/8/8/8/8/8/K7 b - -");
        EXPECT_EQ(search(INF, 4), 0);
    }
}

TEST_F(Replies, TableGivesTheFirstMoveAndNothingElse) {
    for (const Search search : {REPLIES, ROOT}) {
        set_up(START_FEN);
        set_result(77);
        set_hash_move("h2h4");
        NodeLog log;
        EXPECT_NE(search(INF, 2), 77);
        EXPECT_EQ(log.nodes[1].move, "h2h4");
        EXPECT_EQ(statistics.hash_probes, 1U);
    }
}

// The stop's score of 0 beats an alpha below it, and is no reason to search a reply again.
TEST_F(Replies, StopInAReducedReply) {
    for (const Search search : {search_replies, +[](int beta, int depth) {
                                    return search_root_replies(-INF, beta, depth).score;
                                }}) {
        set_up("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNB1KBNR w KQkq -");
        history_max = 1;
        NodeLog log([](const Node& node) { return node.ply == 1 && node.depth == 2; });
        EXPECT_EQ(search(77, 6), 77);
        EXPECT_GT(log.nodes.back().alpha, 0);
        EXPECT_EQ(log.entered_after_abort, 0);
    }
}

// What the replies searched to their end leave of a root move.
TEST_F(Replies, PartialScore) {
    // Only replies by a pawn are searched, the others draw at once.
    for (const bool pawn_first : {false, true}) {
        set_up(START_FEN);
        fifty = 100;
        if (pawn_first) set_hash_move("h2h3");
        NodeLog log([](const Node& node) { return node.ply == 1; });
        const RootReplies replies = search_root_replies(-INF, 77, 8);
        EXPECT_EQ(replies.score, 77);
        EXPECT_EQ(replies.best, pawn_first ? std::nullopt : std::optional<int>(0));
        EXPECT_EQ(log.entered_after_abort, 0);
    }
}

}  // namespace

}  // namespace tarsimo::test
