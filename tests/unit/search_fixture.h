/// What the tests of search() share: a node whose evaluation is planted, and whose moves are worth
/// what the test says. No weight of the evaluation matters to any of them.
#ifndef TARSIMO_TESTS_UNIT_SEARCH_FIXTURE_H
#define TARSIMO_TESTS_UNIT_SEARCH_FIXTURE_H

#include "node_log.h"

#include <map>

namespace tarsimo::test {

// Nothing can be captured in these positions within two plies.
inline constexpr const char* MANY_PIECES = START_FEN;
inline constexpr const char* FEW_PIECES = "1n2k1n1/p6p/8/8/8/8/P6P/1N2K1N1 w - -";
inline constexpr const char* IN_CHECK = "1n2k1n1/p6p/8/8/8/8/P3r2P/1N2K1N1 w - -";

// 58 quiet moves; no square that they lead to is attacked, no check is possible.
inline constexpr const char* MANY_MOVES = "K7/8/1R6/R7/2R5/3R4/5ppp/6bk w - -";

// A node to be searched. Its window ends `over` above the material balance and is `width` wide;
// its evaluation is `above` more than where the window ends.
struct NodeSetup {
    int depth;
    int above = 0;
    int over = 0;
    int width = 1;
    bool allow_null = true;
};

inline constexpr auto NOTHING = [] {};

class SearchRules : public Engine {
  protected:
    using Step = std::function<void()>;

    static int search_node(const char* fen, const NodeSetup& setup, const Step& prepare) {
        set_up(fen);
        const int beta = balance() + setup.over;
        set_evaluation(beta + setup.above);
        prepare();
        return search(beta - setup.width, beta, setup.depth, setup.allow_null, in_check());
    }
    static int search_node(const char* fen, const NodeSetup& setup) {
        return search_node(fen, setup, NOTHING);
    }

    // The first nodes that such a search enters after its own; it is stopped in the last of them.
    static std::vector<std::string> nodes_behind(const char* fen, const NodeSetup& setup,
                                                 std::size_t count, const Step& prepare = NOTHING) {
        NodeLog log([&count](const Node&) { return count-- == 0; });
        search_node(fen, setup, prepare);
        std::vector<std::string> texts;
        for (const Node& node : log.nodes) texts.push_back(text_of(node));
        texts.erase(texts.begin());
        return texts;
    }

    // The first move that is searched as a move of the node; the search is stopped there.
    static Node first_move_searched(const char* fen, const NodeSetup& setup,
                                    const Step& prepare = NOTHING) {
        NodeLog log([](const Node& node) {
            return node.kind == 'S' && node.ply == 1 && node.allow_null && node.move != "null";
        });
        search_node(fen, setup, [&prepare] {
            let_every_move_fail();
            prepare();
        });
        return log.nodes.back();
    }

    // Depths at which each move is searched, with the moves' results given.
    static std::map<std::string, std::vector<int>> depths_by_move(const char* fen,
                                                                  const NodeSetup& setup,
                                                                  const Step& prepare = NOTHING) {
        NodeLog log;
        search_node(fen, setup, [&prepare] {
            let_every_move_fail();
            prepare();
        });
        std::map<std::string, std::vector<int>> depths;
        for (const Node& node : log.of('S', 1)) {
            if (node.allow_null) depths[node.move].push_back(node.depth);
        }
        return depths;
    }
    static std::size_t moves_searched(const char* fen, const NodeSetup& setup,
                                      const Step& prepare = NOTHING) {
        return depths_by_move(fen, setup, prepare).size();
    }

    // What table and evaluation then say of every move makes it fail low.
    static void let_every_move_fail() {
        after_every_move([] {
            set_result(5000, BOUND_LOWER);
            set_evaluation(5000);
        });
    }

    // Every move is judged to be worth so much.
    static void let_every_move_be_judged(int score) {
        after_every_move([score] { set_evaluation(-score); });
    }

    // What the table then says of the position after a pass, for the side that may move there.
    static void set_null_move_result(int score) {
        const int ep_square_before = make_null_move();
        set_result(score);
        unmake_null_move(ep_square_before);
    }
};

}  // namespace tarsimo::test

#endif
