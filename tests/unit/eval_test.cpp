// The evaluation's frame: its exits and their counters, classes, cache, damping, special
// endings, opening terms and square tables.
#include "support.h"

namespace tarsimo::test {

namespace {

enum class Exit { NONE, LAZY, HASH, FULL };

class Evaluation : public Engine {
  protected:
    // The evaluation of the position as it stands, and the exit it took.
    static int evaluated(Exit expected, int alpha = -INF, int beta = INF) {
        const auto lazy = eval_lazy_count, hash = eval_hash_count, full = eval_full_count;
        const int score = evaluate(alpha, beta);
        EXPECT_EQ(eval_lazy_count - lazy, expected == Exit::LAZY ? 1U : 0U);
        EXPECT_EQ(eval_hash_count - hash, expected == Exit::HASH ? 1U : 0U);
        EXPECT_EQ(eval_full_count - full, expected == Exit::FULL ? 1U : 0U);
        return score;
    }
};

TEST_F(Evaluation, BareMinorsDrawWithoutATrace) {
    for (const char* men : {"8", "N7", "b7", "NN6", "nn6", "Nb6", "NNnn4", "Bb6", "NNb5"}) {
        for (const char* mover : {" w - -", " b - -"}) {
            set_up(std::string("4k3/8/8/8/") + men + "/8/8/4K3" + mover);
            EXPECT_EQ(evaluated(Exit::NONE), 0) << men;
            EXPECT_EQ(evaluated(Exit::NONE, 5000, 5001), 0) << men;
        }
    }
    // A pawn, two bishops, a bishop and a knight or a rook are more than that.
    for (const char* men : {"P7", "BB6", "bn6", "R7", "NNN5"}) {
        set_up(std::string("4k3/8/8/8/") + men + "/8/8/4K3 w - -");
        evaluated(Exit::FULL);
    }
}

TEST_F(Evaluation, BareKingEndings) {
    struct Case {
        const char* fen;
        int expected;  // for the strong side
    };
    const std::array<Case, 11> cases = {{
        {"8/8/8/4k3/8/8/8/4K2R w - -", 10000 - 12 * 4 - 99},
        {"8/8/8/4K3/8/8/8/4k2r b - -", 10000 - 12 * 4 - 99},
        {"8/k7/8/8/8/8/8/K6R w - -", 10000 - 12 * 6 - 8},
        {"8/7k/8/8/8/8/8/R6K w - -", 10000 - 12 * 6 - 4},
        {"k7/8/1K6/8/8/8/8/BB6 w - -", 10000 - 12 * 2 - 0},
        {"8/8/8/8/8/8/8/K1qk4 b - -", 10000 - 12 * 3 - 0},
        {"k7/8/8/8/8/8/8/K1B4N w - -", 990 - 12 * 7 - 200},
        {"8/8/1k6/8/8/8/8/K4B1N w - -", 990 - 12 * 5 - 60},
        {"8/8/8/k7/8/8/8/K4B1N w - -", 990 - 12 * 4 - 60},
        {"8/8/8/1k6/8/8/8/K4B1N w - -", 990 - 12 * 4 - 40},
        {"8/8/8/6bn/8/8/8/K1k5 b - -", 990 - 12 * 2 - 0},
    }};
    for (const Case& c : cases) {
        set_up(c.fen);
        fifty = 90;  // a mate is not faded away
        EXPECT_EQ(evaluated(Exit::FULL), c.expected) << c.fen;
        EXPECT_EQ(evaluated(Exit::HASH), c.expected) << c.fen;
        side = -side;
        EXPECT_EQ(evaluated(Exit::FULL), -c.expected) << c.fen;
    }
}

TEST_F(Evaluation, OnePieceEachIsStored) {
    set_up("4k3/8/8/8/8/2n5/8/R3K3 w - -");
    const int score = evaluated(Exit::FULL);
    EXPECT_EQ(evaluated(Exit::HASH), score);
}

TEST_F(Evaluation, ClassDecidesTheLazyMargin) {
    struct Case {
        const char* fen;
        int lead, margin;
        bool endgame;
    };
    const std::array<Case, 9> cases = {{
        {"qrbbk3/8/8/8/8/PPPP4/8/QRBBK3 w - -", 400, 350, false},  // 2170 each
        {"qrbnk3/8/8/8/8/PPPP4/8/QRBBK3 w - -", 410, 520, false},  // one side below it
        {"rrbbk3/8/8/8/8/PPPP4/8/RRBBK3 w - -", 400, 520, true},   // 1700 each
        {"qrnk4/8/8/8/8/PPPP4/8/RRBBK3 w - -", 270, 520, false},   // 1830
        {"r3k3/pp6/8/8/8/PP6/8/QN2K3 w - -", 790, 520, false},     // queen and knight
        {"qb2k3/pp6/8/8/8/PP6/8/R3K3 b - -", 800, 520, false},     // queen and bishop
        {"qb2k3/8/8/8/8/8/8/R3K3 b - -", 800, 520, false},         // no pawns either
        {"q3k3/pp6/8/8/8/PP6/8/R3K3 b - -", 470, 520, true},
        {"4k3/pp6/8/8/8/PPPP4/8/4K3 w - -", 200, 520, true},
    }};
    for (const Case& c : cases) {
        set_up(c.fen);
        // Exactly at the margin the lazy exit is not taken, on either side of the window.
        EXPECT_EQ(evaluated(Exit::LAZY, -50, c.lead - c.margin - 1), c.lead) << c.fen;
        EXPECT_EQ(endgame_flag, c.endgame) << c.fen;
        EXPECT_EQ(white_development + black_development, 0);
        evaluated(Exit::FULL, c.lead - c.margin - 100, c.lead - c.margin);
        EXPECT_EQ(endgame_flag, c.endgame) << c.fen;
        side = -side;
        EXPECT_EQ(evaluated(Exit::LAZY, c.margin - c.lead + 1, INF), -c.lead) << c.fen;
        evaluated(Exit::FULL, c.margin - c.lead, INF);
    }
}

TEST_F(Evaluation, CacheKnowsTheSideToMove) {
    set_up(START_FEN);
    const int score = evaluated(Exit::FULL);
    EXPECT_EQ(evaluated(Exit::HASH), score);
    EXPECT_EQ(white_development, 0) << "no outputs of another position";
    side = BLACK;
    evaluated(Exit::FULL);
    evaluated(Exit::HASH);
    side = WHITE;
    evaluated(Exit::FULL);

    // The stored score keeps the fading of its own count; NO_SCORE is an empty entry.
    fifty = 95;
    EXPECT_EQ(evaluated(Exit::HASH), score);
    eval_cache[hash_key % eval_cache_size].score = NO_SCORE;
    EXPECT_NE(evaluated(Exit::FULL), score);
}

TEST_F(Evaluation, ScoresFadeBeforeTheFiftyMoveDraw) {
    for (const char* fen : {"r3k3/pp6/8/8/8/1P6/8/R3K2N w - -", "r3k3/pp6/8/8/8/1P6/8/R3K2N b - -",
                            "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKB1R w KQkq -",
                            "q1r1k3/8/8/8/8/8/8/Q3K3 w - -"}) {
        set_up(fen);
        const int raw = evaluated(Exit::FULL);
        for (const int count : {80, 81, 82, 90, 99, 100}) {
            clear_hash_tables();
            fifty = count;
            const bool faded = count >= 81 && count <= 99;
            EXPECT_EQ(evaluated(Exit::FULL), faded ? raw * (101 - count) / 20 : raw)
                << fen << " " << count;
        }
    }
}

// Material of both sides from a rook to a rook and a bishop: a quarter of the lead is left.
TEST_F(Evaluation, DrawishPawnlessEndings) {
    struct Case {
        const char* fen;
        bool drawish;
    };
    const std::array<Case, 6> cases = {{
        {"r3k3/8/8/8/8/8/8/R3K2N w - -", true},
        {"r3k3/8/8/8/8/8/8/R3K2B w - -", true},
        {"bn2k3/8/8/8/8/8/8/R3K2B w - -", true},
        {"n3k3/8/8/8/8/8/8/R3K2B w - -", false},    // less than a rook
        {"r3k3/8/8/8/8/8/8/R3KBBN w - -", false},   // more than rook and bishop
        {"r3k3/p7/8/8/8/8/P7/R3K2N w - -", false},  // pawns
    }};
    for (const Case& c : cases) {
        set_up(c.fen);
        const int lead = white_material - black_material;
        const int score = evaluated(Exit::FULL);
        EXPECT_EQ(score < lead / 2, c.drawish) << c.fen << " " << score;
    }
}

TEST_F(Evaluation, OpeningTerms) {
    struct Case {
        const char* fen;
        int white, development;
    };
    const std::array<Case, 9> cases = {{
        {START_FEN, -65, 0},
        {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w kq -", 20 - 50, 1},
        {"rnbqkbnr/pppppppp/8/8/8/3B4/PPPPPPPP/RNBQK1NR w KQkq -", -20 - 50, 1},
        {"rnbqkbnr/pppppppp/8/8/8/3BB3/PPPPPPPP/RN1QK1NR w KQkq -", -40 - 35, 2},
        {"rnbqkbnr/pppppppp/8/8/3P4/2N5/PPP1PPPP/R1BQKBNR w KQkq -", -20 + 10 - 50, 1},
        {"rnbqkbnr/pppppppp/8/8/3PP3/8/PPP2PPP/RNBQKBNR w KQkq -", 10 - 65, 0},
        {"rnbqkbnr/pppppppp/8/8/8/8/1PPPPPPP/RNBQKBNR w KQkq -", -40 - 65, 0},
        {"rnbqkbnr/pppppppp/8/8/8/8/1PPPPPPP/RNBQKB1R w KQkq -", -50, 1},
        {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/R2QK2R w kq -", 20, 5},
    }};
    for (const Case& c : cases) {
        set_up(c.fen);
        EXPECT_EQ(opening_terms<WHITE>(), c.white) << c.fen;
        EXPECT_EQ(white_development, c.development) << c.fen;
        flip_colours();
        EXPECT_EQ(opening_terms<BLACK>(), c.white) << c.fen;
        EXPECT_EQ(black_development, c.development) << c.fen;
    }
    // With little left they are skipped and everybody counts as developed.
    set_up("1n2k1q1/pppppppp/8/8/8/8/PPPPPPPP/1N2K1Q1 w - -");
    evaluated(Exit::FULL);
    EXPECT_EQ(white_development, 6);
    EXPECT_EQ(black_development, 6);
}

TEST_F(Evaluation, SetUpOutputs) {
    set_up("4k3/p2p4/3p4/8/P2P4/3P4/7P/4K3 w - -");
    eval_setup();
    const auto squares_of = [](const PieceList& list) {
        return std::vector<int>(list.squares.begin(), list.squares.begin() + list.size);
    };
    EXPECT_EQ(squares_of(white_list), (std::vector<int>{E1, H2, D3, A4, D4}));
    EXPECT_EQ(squares_of(black_list), (std::vector<int>{D6, A7, D7, E8}));
    EXPECT_EQ(white_rear_pawn, (std::array<int, 10>{8, 4, 8, 8, 3, 8, 8, 8, 2, 8}));
    EXPECT_EQ(black_rear_pawn, (std::array<int, 10>{1, 7, 1, 1, 7, 1, 1, 1, 1, 1}));
}

TEST_F(Evaluation, SquareTables) {
    struct Case {
        const SquareTables& tables;
        int type, square, value;
    };
    const auto &wm = white_middlegame_tables, &bm = black_middlegame_tables;
    const auto &we = white_endgame_tables, &be = black_endgame_tables;
    const std::vector<Case> cases = {
        {wm, KNIGHT, A1, -40},  {wm, KNIGHT, A8, -140}, {bm, KNIGHT, A1, -140},
        {be, KNIGHT, A1, -140}, {wm, BISHOP, H4, -15},  {wm, BISHOP, A4, -10},
        {wm, BISHOP, G2, 10},   {bm, BISHOP, B7, 10},   {wm, ROOK, D5, 4},
        {wm, QUEEN, A4, -5},    {wm, QUEEN, D4, 0},     {wm, PAWN, E2, -20},
        {wm, PAWN, D4, 25},     {bm, PAWN, D5, 25},     {we, PAWN, D4, 0},
        {be, PAWN, D5, 0},      {wm, KING, G1, 50},     {wm, KING, B1, 40},
        {wm, KING, D1, 0},      {wm, KING, E1, 10},     {bm, KING, G8, 50},
        {bm, KING, E4, -60},    {we, KING, E4, 30},     {be, KING, A1, -30},
        {we, QUEEN, H8, 0},     {be, QUEEN, H1, 0},     {be, QUEEN, A1, -20},
        {we, QUEEN, G6, -10},   {we, QUEEN, H5, -8},    {we, QUEEN, A6, 0},
        {we, QUEEN, D3, 4},     {we, ROOK, H1, -5},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.tables.by_type[at(c.type)][at(c.square)], c.value)
            << c.type << " " << square_name(c.square);
    }
    for (int type = PAWN; type <= KING; ++type) {
        for (int sq = 0; sq < BOARD_SIZE; ++sq) {
            const auto mirrored = at(mirror_square[at(sq)]);
            ASSERT_EQ(wm.by_type[at(type)][at(sq)], bm.by_type[at(type)][mirrored]);
            ASSERT_EQ(we.by_type[at(type)][at(sq)], be.by_type[at(type)][mirrored]);
            const bool same_in_both = type != PAWN && type != QUEEN && type != KING;
            if (same_in_both) {
                ASSERT_EQ(wm.by_type[at(type)][at(sq)], we.by_type[at(type)][at(sq)]);
            }
        }
    }
    for (const int sq : {0, 10, 20, 29, 30, 99, 109, 110, 119}) EXPECT_FALSE(on_board(sq));
    EXPECT_EQ(mirror_square[A1], A8);
    EXPECT_EQ(mirror_square[H8], H1);
    EXPECT_EQ(mirror_square[0], 110);
    EXPECT_EQ(mirror_square[119], 9);
}

// A position and its twin with the colours exchanged have one score. The tables of the bare
// king endings are not symmetric, so positions without pawns are left out.
TEST_F(Evaluation, ColourFlippedTwinsAreEqual) {
    int compared = 0;
    visit_random_positions(60, 110, [&] {
        if (white_pawns + black_pawns == 0) return;
        const Snapshot before = snapshot();
        const int score = evaluate(-INF, INF);
        flip_colours();
        EXPECT_EQ(evaluate(-INF, INF), score) << game_ply;
        flip_colours();
        ASSERT_TRUE(snapshot() == before);
        ++compared;
    });
    EXPECT_GT(compared, 4000);
}

}  // namespace

}  // namespace tarsimo::test
