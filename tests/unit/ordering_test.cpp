// Move ordering: the scores of new moves, picking, the principal variation, killers and history.
#include "support.h"

#include "control/notation.h"

#include <algorithm>
#include <random>

namespace tarsimo::test {

namespace {

class Ordering : public Engine {
  protected:
    // The scores that one of the add operations gives in the current position, in slots that
    // held `stale`.
    template <typename Add>
    static std::vector<int> scores_of(Add add, int from, int to, int stale) {
        for (int i = 0; i < 4; ++i) move_at(i).score = stale;
        move_count = 0;
        add(from, to);
        std::vector<int> scores;
        for (int i = 0; i < move_count; ++i) scores.push_back(move_at(i).score);
        return scores;
    }
    using Scores = std::vector<int>;
};

TEST_F(Ordering, QuietScores) {
    const auto score = [](int from, int to) { return scores_of(add_quiet_move, from, to, 77)[0]; };
    history[2][E2][E4] = 5;
    history[0][E2][E4] = 9;
    killer3[0] = {E2, E4, 0};
    EXPECT_EQ(score(E2, E4), 1810000);
    EXPECT_EQ(score(E2, E3), 0);
    killer2[0] = {E2, E4, 0};
    EXPECT_EQ(score(E2, E4), 1830000);
    killer1[0] = {E2, E4, 0};
    EXPECT_EQ(score(E2, E4), 1860000);
    hash_move = {E2, E4, 0};
    EXPECT_EQ(score(E2, E4), 1900000);

    // Killers of another ply are no killers, history is the mover's own.
    hash_move = {};
    search_ply = 1;
    EXPECT_EQ(score(E2, E4), 5);
    side = BLACK;
    EXPECT_EQ(score(E2, E4), 9);
}

// Hash move and first killer come before the exchange; the killer, like the capture of the
// principal variation in quiescence lists, adds what the slot held.
TEST_F(Ordering, CaptureScores) {
    const auto score = [](int stale) { return scores_of(add_scored_capture, E4, D5, stale)[0]; };
    set_up("4k3/8/8/3q4/4P3/8/8/4K3 w - -");
    killer2[0] = killer3[0] = {E4, D5, 0};
    EXPECT_EQ(score(77), 1850000 + 16 * 990 - 100);
    killer1[0] = {E4, D5, 0};
    EXPECT_EQ(score(77), 1860077);
    EXPECT_EQ(score(PICKED), 1828000);
    EXPECT_EQ(score(2147483647), wrapping_sum(2147483647, 1860000));
    hash_move = {E4, D5, 0};
    EXPECT_EQ(score(77), 1900000);

    EXPECT_EQ(scores_of(add_capture, E4, D5, 77), Scores{19100});
    search_ply = 2;
    pv_table[0][2] = {E4, D5, QUEEN, PAWN};
    EXPECT_EQ(scores_of(add_capture, E4, D5, 77), Scores{1880077});
    EXPECT_EQ(scores_of(add_capture, E4, D5, PICKED), Scores{1848000});

    // Whatever guards the square, the king's captures count as equal.
    set_up("4k3/8/8/4p3/3p4/4K3/8/8 w - -");
    EXPECT_EQ(scores_of(add_scored_capture, E3, D4, 0), Scores{1840000 + 16 * 100 - 2000});

    // En passant scores as an equal capture whatever killers and hash move say.
    set_up("4k3/8/8/2pP4/8/8/8/4K3 w - c6");
    hash_move = killer1[0] = {D5, C6, 0};
    EXPECT_EQ(move_at(index_of_move("d5c6")).score, 1840000);
}

// A less valuable piece that a pawn, knight, bishop or rook guards comes behind the third killer.
TEST_F(Ordering, CapturesByExchange) {
    constexpr int EQUAL = 1840000;
    constexpr int LOSING = 1809000;
    constexpr int PAWN_BY_KNIGHT = 16 * 100 - 320;
    struct Case {
        const char* fen;
        const char* move;
        int score;
    };
    for (const auto& [fen, move, score] : {
             Case{"4k3/8/8/3p4/8/2N5/8/4K3 w - -", "c3d5", EQUAL + PAWN_BY_KNIGHT},
             Case{"3qk3/8/8/3p4/8/2N5/8/4K3 w - -", "c3d5", EQUAL + PAWN_BY_KNIGHT},
             Case{"4k3/8/4p3/3p4/8/2N5/8/4K3 w - -", "c3d5", LOSING + PAWN_BY_KNIGHT},
             Case{"4k3/8/5n2/3p4/8/2N5/8/4K3 w - -", "c3d5", LOSING + PAWN_BY_KNIGHT},
             Case{"b3k3/8/8/3p4/8/2N5/8/4K3 w - -", "c3d5", LOSING + PAWN_BY_KNIGHT},
             Case{"3rk3/8/8/3p4/8/2N5/8/4K3 w - -", "c3d5", LOSING + PAWN_BY_KNIGHT},
             Case{"4k3/8/2n5/8/3P4/4P3/8/4K3 b - -", "c6d4", LOSING + PAWN_BY_KNIGHT},
             Case{"4k3/8/2n5/8/3P4/8/8/4K3 b - -", "c6d4", EQUAL + PAWN_BY_KNIGHT},
             Case{"4k3/8/4p3/3b4/8/2N5/8/4K3 w - -", "c3d5", EQUAL + 16 * 330 - 320},
         }) {
        set_up(fen);
        EXPECT_EQ(move_at(index_of_move(move)).score, score) << fen;
    }
}

// Queen, rook, bishop, knight.
TEST_F(Ordering, PromotionScores) {
    const auto scores = [](int to) { return scores_of(add_promotions, G7, to, 0); };
    set_up("4k2r/6P1/8/8/8/8/8/4K3 w - -");
    EXPECT_EQ(scores(G8), (Scores{1850000, 0, 0, 1820000}));
    EXPECT_EQ(scores(H8), (Scores{1868220, 1858220, 1858220, 1863220}));
    history[2][G7][G8] = 40;
    EXPECT_EQ(scores(G8), (Scores{1850000, 40, 40, 1820000}));
    killer2[0] = {G7, G8, 0};
    EXPECT_EQ(scores(G8), (Scores{1850000, 1830000, 1830000, 1830000}));
    killer1[0] = {G7, H8, 0};
    EXPECT_EQ(scores(H8), (Scores{1870000, 1860000, 1860000, 1865000}));
    hash_move = {G7, G8, 0};
    EXPECT_EQ(scores(G8), (Scores{1900000, 1900000, 1900000, 1900000}));
}

// Also behind the first few, where the order is found in another way.
TEST_F(Ordering, PicksAreSortedStably) {
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        set_up(START_FEN);
        generate_moves();
        std::vector<int> order;
        for (int i = 0; i < list_start(1); ++i) {
            move_at(i).score = static_cast<int>(random() % 9) * (PICKED / -4) + PICKED * 3 / 2;
            if (move_at(i).score > PICKED) order.push_back(i);
        }
        std::stable_sort(order.begin(), order.end(),
                         [](int a, int b) { return move_at(a).score > move_at(b).score; });
        std::vector<int> picked;
        MovePicker picker;
        for (int i = picker.next(); i >= 0; i = picker.next()) picked.push_back(i);
        ASSERT_EQ(picked, order);
        ASSERT_EQ(picker.next(), -1);
    }
}

// The highest score first, the earliest among equals, until all are marked as picked.
TEST_F(Ordering, PickingAndDiscardedLists) {
    set_up(START_FEN);
    history[2][G2][G3] = history[2][B1][C3] = 7;
    generate_moves();
    std::string picked;
    MovePicker picker;
    for (int index = picker.next(); index >= 0; index = picker.next()) {
        EXPECT_EQ(current_move_score, picked.size() < 10 ? 7 : 0);
        picked += coordinate_name(move_at(index)) + " ";
        EXPECT_EQ(move_at(index).score, PICKED);
    }
    EXPECT_EQ(picked.substr(0, 25), "b1c3 g2g3 b1a3 g1f3 g1h3 ");
    EXPECT_EQ(picked.size(), 20U * 5);

    // A list generated anew at a lower ply discards those above it.
    search_ply = 3;
    list_start(3) = 100;
    list_start(5) = 300;
    generate_moves();
    EXPECT_EQ(list_start(4), 120);
    EXPECT_EQ(move_count, 120);
}

TEST_F(Ordering, PrincipalVariationIsCopiedUp) {
    set_up(START_FEN);
    generate_moves();
    search_ply = 62;
    pv_table[63][63] = {E7, E5, 0, PAWN};
    pv_table[62][64].from = A1;
    update_pv(0);
    EXPECT_EQ(pv_table[62][62].from, B1);
    EXPECT_EQ(pv_table[62][62].piece, KNIGHT);
    EXPECT_EQ(pv_table[62][63].to, E5);
    EXPECT_EQ(pv_table[62][64].from, 0);
    move_at(0).promotion = ROOK;
    search_ply = 10;
    pv_table[11][11] = {E7, E5, 0, PAWN};
    pv_table[10][13].from = A1;
    update_pv(0);
    EXPECT_EQ(pv_table[10][10].promotion, ROOK);
    EXPECT_EQ(pv_table[10][12].from, 0);
    EXPECT_EQ(pv_table[10][13].from, A1) << "behind the end of the line";
    search_ply = 63;
    update_pv(1);
    EXPECT_EQ(pv_table[63][63].to, C3);
    clear_pv_line();
    EXPECT_EQ(pv_table[63][63].from, 0);
}

TEST_F(Ordering, Killers) {
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

TEST_F(Ordering, HistoryAges) {
    history[0][H8][A1] = 7;
    history[2][A1][H8] = 8;
    history[2][E2][E4] = history_max = 1799999;
    credit_history({E2, E4, 0, 0, 0, 0, 0}, 1);
    age_history();
    EXPECT_EQ(history[2][E2][E4], 1800000) << "not yet";
    credit_history({E2, E4, 0, 0, 0, 0, 0}, 4);
    age_history();
    EXPECT_EQ(history[2][E2][E4], 450001);
    EXPECT_EQ(history_max, 450001);
    EXPECT_EQ(history[0][H8][A1], 1);
    EXPECT_EQ(history[2][A1][H8], 2);
}

}  // namespace

}  // namespace tarsimo::test
