// Move lists: their order, their ordering scores, and the principal variation.
#include "support.h"

namespace tarsimo::test {

namespace {

class Moves : public Engine {
  protected:
    // The score that one of the add operations gives in the current position.
    template <typename Add> static int score_of(Add add, int from, int to, int stale = 0) {
        move_count = 0;
        move_at(0).score = stale;
        add(from, to);
        return move_at(0).score;
    }
};

// White's list is scanned from a1, black's from h8; steps, rays and castling in their order.
TEST_F(Moves, GeneratorOrder) {
    struct Case {
        const char* fen;
        const char* names;
    };
    const std::array<Case, 6> cases = {{
        {START_FEN,
         "b1a3 b1c3 g1f3 g1h3 a2a3 a2a4 b2b3 b2b4 c2c3 c2c4 d2d3 d2d4 e2e3 e2e4 f2f3 f2f4 "
         "g2g3 g2g4 h2h3 h2h4"},
        {"4k3/8/8/8/8/8/8/R3K2R w KQ -",
         "a1b1 a1c1 a1d1 a1a2 a1a3 a1a4 a1a5 a1a6 a1a7 a1a8 e1f1 e1d1 e1d2 e1e2 e1f2 e1g1 e1c1 "
         "h1g1 h1f1 h1h2 h1h3 h1h4 h1h5 h1h6 h1h7 h1h8"},
        {"r3k3/8/8/8/8/8/8/4K3 b q -",
         "e8f8 e8d8 e8f7 e8e7 e8d7 e8c8 a8b8 a8c8 a8d8 a8a7 a8a6 a8a5 a8a4 a8a3 a8a2 a8a1"},
        {"7k/8/8/8/1q6/P1p5/1Q6/K7 w - -",
         "a1b1 a1a2 b2c1 b2c3 b2c2 b2d2 b2e2 b2f2 b2g2 b2h2 b2a2 b2b3 b2b4 b2b1 a3a4 a3b4"},
        {"2r1n2k/3P4/8/8/8/8/8/K7 w - -",
         "a1b1 a1a2 a1b2 d7d8q d7d8r d7d8b d7d8n d7e8q d7e8r d7e8b d7e8n d7c8q d7c8r d7c8b d7c8n"},
        {"4k3/8/8/1PpPP3/8/8/8/4K3 w - c6",
         "e1f1 e1d1 e1d2 e1e2 e1f2 b5b6 d5c6 b5c6 d5d6 d5c6 b5c6 e5e6 d5c6 b5c6"},
    }};
    for (const Case& c : cases) {
        set_up(c.fen);
        generate_moves();
        EXPECT_EQ(list_names(), c.names) << c.fen;
        EXPECT_EQ(list_start(1), move_count);
    }
}

// En passant scores as an equal capture whatever killers and hash move say, and is listed
// after each own pawn.
TEST_F(Moves, EnPassantRepeats) {
    set_up("4k3/8/8/1PpPP3/7P/8/8/4K3 w - c6");
    hash_move = killer1[0] = {D5, C6, 0};
    generate_moves();
    int found = 0;
    for (int i = 0; i < move_count; ++i) {
        const Move& move = move_at(i);
        if (move.to != C6) continue;
        ++found;
        EXPECT_EQ(move.score, 1840000);
        EXPECT_EQ(move.captured, PAWN);
        EXPECT_EQ(move.ep_capture, C5);
    }
    EXPECT_EQ(found, 8);

    // Nothing to capture after a change of side, or on a careless set-up.
    set_up("4k3/8/8/1P1P4/8/8/8/4K3 w - c6");
    generate_moves();
    EXPECT_EQ(find_move("b5c6"), -1);
    set_up("4k3/8/2n5/1PpP4/8/8/8/4K3 w - c6");
    generate_moves();
    EXPECT_EQ(move_at(find_move("b5c6")).ep_capture, 0);
}

// Captures by pieces and pawns, promotions to a queen, no quiet move; a pawn's capture
// towards the h-file first, its step last.
TEST_F(Moves, CaptureLists) {
    struct Case {
        const char* fen;
        const char* list;
    };
    const std::array<Case, 4> cases = {{
        {"2r1n2k/3P4/8/8/8/8/8/K7 w - -", "d7e8q:1870020 d7c8q:1873220 d7d8q:1850000"},
        {"k7/8/8/2p1q3/3P4/8/3R4/K7 w - -", "d4e5:19100 d4c5:1500"},
        {"k7/8/8/1PpP4/8/8/8/K7 w - c6", "d5c6:1840000 b5c6:1840000 d5c6:1840000 b5c6:1840000"},
        {"k3r3/8/5b2/8/4R3/2P5/3p4/K3Q3 b - -", "e8e4:9000 f6c3:1200 d2e1q:1880740 d2d1q:1850000"},
    }};
    for (const Case& c : cases) {
        set_up(c.fen);
        generate_captures();
        EXPECT_EQ(list_names(true), c.list) << c.fen;
    }
}

TEST_F(Moves, CastlingConditions) {
    struct Case {
        const char* fen;
        bool king_side, queen_side;
    };
    const std::array<Case, 8> cases = {{
        {"4k3/8/8/8/8/8/8/R3K2R w KQ -", true, true},
        {"4k3/8/8/8/8/8/8/R3K2R w K -", true, false},
        {"4k3/8/8/8/8/8/8/RN2K1NR w KQ -", false, false},
        {"1r2k3/8/8/8/8/8/8/R3K2R w KQ -", true, true},
        {"3rk3/8/8/8/8/8/8/R3K2R w KQ -", true, false},
        {"4kr2/8/8/8/8/8/8/R3K2R w KQ -", false, true},
        {"4k3/4r3/8/8/8/8/8/R3K2R w KQ -", false, false},
        {"2r1k1r1/8/8/8/8/8/8/R3K2R w KQ -", true, true},  // into check: left to the caller
    }};
    for (const Case& c : cases) {
        set_position_fen(c.fen);
        generate_moves();
        const int king_side = find_move("e1g1");
        const int queen_side = find_move("e1c1");
        EXPECT_EQ(king_side >= 0, c.king_side) << c.fen;
        EXPECT_EQ(queen_side >= 0, c.queen_side) << c.fen;
        EXPECT_EQ(king_side < 0 ? 1 : move_at(king_side).castle, 1);
        EXPECT_EQ(queen_side < 0 ? 2 : move_at(queen_side).castle, 2);
    }
}

TEST_F(Moves, QuietScores) {
    const auto score = [](int from, int to) { return score_of(add_quiet_move, from, to, 77); };
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

TEST_F(Moves, ExchangeScores) {
    struct Case {
        const char* fen;
        int from, to, expected;
    };
    constexpr int winning = 1850000, equal = 1840000, losing = 1809000;
    const std::array<Case, 17> cases = {{
        {"4k3/8/8/3q4/4P3/8/8/4K3 w - -", E4, D5, winning + 16 * 990 - 100},
        {"4k3/8/8/3r4/1n2P3/2N5/8/4K3 w - -", C3, D5, winning + 16 * 520 - 320},
        {"4k3/8/4p3/3p4/4P3/8/8/4K3 w - -", E4, D5, equal + 16 * 100 - 100},
        {"4k3/8/4p3/3n4/8/1B6/8/4K3 w - -", B3, D5, equal + 16 * 320 - 330},
        {"4k3/8/4p3/3b4/8/2N5/8/4K3 w - -", C3, D5, equal + 16 * 330 - 320},
        {"4k3/8/4p3/3Pp3/4K3/8/8/8 w - -", E4, E5, equal + 16 * 100 - 2000},
        // The guard of a lesser man, by kind.
        {"4k3/8/8/3p4/8/2N5/8/4K3 w - -", C3, D5, equal + 16 * 100 - 320},
        {"4k3/8/4p3/3p4/8/2N5/8/4K3 w - -", C3, D5, losing + 16 * 100 - 320},
        {"4k3/8/2p5/3p4/8/2N5/8/4K3 w - -", C3, D5, losing + 16 * 100 - 320},
        {"4k3/8/8/3p4/1n6/2N5/8/4K3 w - -", C3, D5, losing + 16 * 100 - 320},
        {"b3k3/8/8/3p4/8/2N5/8/4K3 w - -", C3, D5, losing + 16 * 100 - 320},
        {"3rk3/8/8/3p4/8/2N5/8/4K3 w - -", C3, D5, losing + 16 * 100 - 320},
        {"3qk3/8/8/3p4/8/2N5/8/4K3 w - -", C3, D5, equal + 16 * 100 - 320},
        {"8/8/3k4/3p4/8/2N5/8/4K3 w - -", C3, D5, equal + 16 * 100 - 320},
        {"3rk3/3q4/8/3p4/8/2N5/8/4K3 w - -", C3, D5, equal + 16 * 100 - 320},
        {"4k3/8/2n5/8/3P4/4P3/8/4K3 b - -", C6, D4, losing + 16 * 100 - 320},
        {"4k3/8/2n5/8/3P4/4p3/8/4K3 b - -", C6, D4, equal + 16 * 100 - 320},
    }};
    for (const Case& c : cases) {
        set_up(c.fen);
        EXPECT_EQ(score_of(add_scored_capture, c.from, c.to, 77), c.expected) << c.fen;
        EXPECT_EQ(move_at(0).captured, type_on(c.to));
    }
}

// Hash move and first killer come before the exchange; the killer, like the capture of the
// principal variation in quiescence lists, adds what the slot held.
TEST_F(Moves, StaleSlotScores) {
    set_up("4k3/8/8/3q4/4P3/8/8/4K3 w - -");
    killer2[0] = killer3[0] = {E4, D5, 0};
    EXPECT_EQ(score_of(add_scored_capture, E4, D5, 77), 1850000 + 16 * 990 - 100);
    killer1[0] = {E4, D5, 0};
    EXPECT_EQ(score_of(add_scored_capture, E4, D5, 77), 1860077);
    EXPECT_EQ(score_of(add_scored_capture, E4, D5, NO_SCORE), 1828000);
    EXPECT_EQ(score_of(add_scored_capture, E4, D5, 2147483647), wrapping_sum(2147483647, 1860000));
    hash_move = {E4, D5, 0};
    EXPECT_EQ(score_of(add_scored_capture, E4, D5, 77), 1900000);

    EXPECT_EQ(score_of(add_capture, E4, D5, 77), 19100);
    search_ply = 2;
    pv_table[0][2] = {E4, D5, QUEEN, PAWN};
    EXPECT_EQ(score_of(add_capture, E4, D5, 77), 1880077);
    EXPECT_EQ(score_of(add_capture, E4, D5, NO_SCORE), 1848000);
}

TEST_F(Moves, PromotionScores) {
    const auto scores = [](int from, int to) {
        move_count = 0;
        for (int i = 0; i < 4; ++i) move_at(i).score = 0;
        add_promotions(from, to);
        EXPECT_EQ(move_count, 4);
        std::string text;
        for (int i = 0; i < 4; ++i) {
            text += FEN_LETTERS[move_at(i).promotion];
            text += std::to_string(move_at(i).score) + " ";
        }
        return text;
    };
    set_up("4k2r/6P1/8/8/8/8/8/4K3 w - -");
    EXPECT_EQ(scores(G7, G8), "q1850000 r0 b0 n1820000 ");
    EXPECT_EQ(scores(G7, H8), "q1868220 r1858220 b1858220 n1863220 ");
    history[2][G7][G8] = 40;
    EXPECT_EQ(scores(G7, G8), "q1850000 r40 b40 n1820000 ");
    killer2[0] = {G7, G8, 0};
    EXPECT_EQ(scores(G7, G8), "q1850000 r1830000 b1830000 n1830000 ");
    killer1[0] = {G7, H8, 0};
    EXPECT_EQ(scores(G7, H8), "q1870000 r1860000 b1860000 n1865000 ");
    hash_move = {G7, G8, 0};
    EXPECT_EQ(scores(G7, G8), "q1900000 r1900000 b1900000 n1900000 ");
}

// The highest score first, the earliest among equals, until all are marked as picked.
TEST_F(Moves, PickingAndDiscardedLists) {
    set_up(START_FEN);
    history[2][G2][G3] = 7;
    history[2][B1][C3] = 7;
    generate_moves();
    std::string picked;
    for (int index = pick_move(); index >= 0; index = pick_move()) {
        EXPECT_EQ(current_move_score, picked.size() < 10 ? 7 : 0);
        picked += name_of(move_at(index)) + " ";
        EXPECT_EQ(move_at(index).score, NO_SCORE);
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

TEST_F(Moves, PrincipalVariationIsCopiedUp) {
    set_up(START_FEN);
    generate_moves();
    search_ply = 62;
    list_start(62) = 0;
    pv_table[63][63] = {E7, E5, 0, PAWN};
    pv_table[63][64].from = 0;
    pv_table[62][64].from = A1;
    update_pv(0);
    EXPECT_EQ(pv_table[62][62].from, B1);
    EXPECT_EQ(pv_table[62][62].piece, KNIGHT);
    EXPECT_EQ(pv_table[62][63].to, E5);
    EXPECT_EQ(pv_table[62][64].from, 0);
    search_ply = 63;
    pv_table[64][64].from = 0;
    update_pv(1);
    EXPECT_EQ(pv_table[63][63].to, C3);
    EXPECT_EQ(pv_table[63][64].from, 0);
    clear_pv_line();
    EXPECT_EQ(pv_table[63][63].from, 0);
}

}  // namespace

}  // namespace tarsimo::test
