/// What the tests of search() share: a node whose evaluation is planted, and whose moves are worth
/// what the test says. No weight of the evaluation matters to any of them.
#ifndef TARSIMO_TESTS_UNIT_SEARCH_FIXTURE_H
#define TARSIMO_TESTS_UNIT_SEARCH_FIXTURE_H

#include "node_log.h"

namespace tarsimo::test {

// Nothing can be captured in this position within two plies.
inline constexpr const char* MANY_PIECES = START_FEN;

// A node to be searched. Its window ends `over` above the material balance and is `width` wide;
// its evaluation is `above` more than where the window ends, also where the window is open.
struct NodeSetup {
    int depth;
    int above = 0;
    int over = 0;
    int width = 1;
    bool allow_null = true;
    bool open = false;
    bool quiescence = false;
};

class SearchRules : public Engine {
  protected:
    // Prepared when the position is set up and its evaluation planted.
    static int search_node(const char* fen, const NodeSetup& setup,
                           const std::function<void()>& prepare) {
        set_up(fen);
        const int end = balance() + setup.over;
        set_evaluation(end + setup.above);
        prepare();
        const int alpha = setup.open ? -INF : end - setup.width;
        const int beta = setup.open ? INF : end;
        if (setup.quiescence) return quiesce(alpha, beta, 0);
        return search(alpha, beta, setup.depth, setup.allow_null ? NullMove::YES : NullMove::NO,
                      in_check());
    }

    // What table and evaluation then say of every move makes it fail low.
    static void let_every_move_fail() {
        after("all", [] {
            set_result(5000, BOUND_LOWER);
            set_evaluation(5000);
        });
    }
};

}  // namespace tarsimo::test

#endif
