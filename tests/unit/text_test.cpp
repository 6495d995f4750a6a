// What a user or an interface reads and types: board, moves, reports, statistics, suite,
// the user's moves and the words of a line.
#include "support.h"

#include <climits>

namespace tarsimo::test {

namespace {

class Text : public Engine {
  protected:
    static std::string printed_move(const char* fen, const char* name) {
        set_position_fen(fen);
        generate_moves();
        const int index = find_move(name);
        EXPECT_GE(index, 0) << name;
        return output_of([&] { print_move(index); });
    }
    static std::string thinking(int elapsed, int depth, int score) {
        start_clock_ago(elapsed);
        return output_of([&] { print_thinking(depth, score); });
    }
};

TEST_F(Text, Board) {
    const std::string frame = "   +---+---+---+---+---+---+---+---+\n";
    const std::string empty = "|   |   |   |   |   |   |   |   |\n" + frame;
    const std::string diagram = "\n" + frame + " 8 |*T |*C |*A |*D |*R |*A |*C |*T |\n" + frame +
                                " 7 |*P |*P |*P |*P |*P |*P |*P |*P |\n" + frame + " 6 " + empty +
                                " 5 " + empty + " 4 " + empty + " 3 " + empty +
                                " 2 | P | P | P | P | P | P | P | P |\n" + frame +
                                " 1 | T | C | A | D | R | A | C | T |\n" + frame +
                                "     a   b   c   d   e   f   g   h \n\n";
    EXPECT_EQ(output_of(print_board), diagram + " BLANCAS JUEGAN \n");
    side = BLACK;
    EXPECT_EQ(output_of(print_board), diagram + " NEGRAS JUEGAN  \n");
    xboard_mode = true;
    EXPECT_EQ(output_of(print_board), diagram);
}

TEST_F(Text, MoveNotations) {
    struct Case {
        const char* fen;
        const char* move;
        const char* console;
        const char* cecp;
    };
    const std::array<Case, 6> cases = {{
        {START_FEN, "e2e4", "Pe2-e4", "move e2e4  \n"},
        {"4k3/8/8/8/8/5p2/8/4K1N1 w - -", "g1f3", "Cg1xf3", "move g1f3  \n"},
        {"8/4P3/8/8/8/k7/8/4K3 w - -", "e7e8q", "Pe7-e8D", "move e7e8q  \n"},
        {"3r4/4P3/8/8/8/k7/8/4K3 w - -", "e7d8n", "Pe7xd8C", "move e7d8n  \n"},
        {"4k3/8/8/3pP3/8/8/8/4K3 w - d6", "e5d6", "Pe5xd6", "move e5d6  \n"},
        {"r3k3/8/8/8/8/8/8/4K3 b q -", "e8c8", "Re8-c8", "move e8c8  \n"},
    }};
    for (const Case& c : cases) {
        xboard_mode = false;
        EXPECT_EQ(printed_move(c.fen, c.move), c.console);
        xboard_mode = true;
        EXPECT_EQ(printed_move(c.fen, c.move), c.cecp);
    }
    EXPECT_EQ(square_name(A1), "a1");
    EXPECT_EQ(square_name(H8), "h8");
    for (const int off : {0, 20, 29, 99, 120, -1, 5000}) EXPECT_EQ(square_name(off), "--");
}

TEST_F(Text, StatisticsBlock) {
    statistics = {1, 22, 333, 4444, 0, 55555, 6, 200, 51, 7, 2};
    eval_hash_count = 123456789;
    eval_lazy_count = 8;
    eval_full_count = 9;
    nodes = 1000;
    EXPECT_EQ(output_of([] { print_statistics(3); }),
              "\n\n  Razoring           1    Nul_estatic        22\n"
              "  Futility         333    LMR              4444   En prueba             0\n"
              "  Extensores     55555    Ex_jaque            6 \n"
              "  Hash_prob        200    Hash_exito         51   25%\n"
              "  Nulos_prob         7    Nulos_exito         2   28%\n"
              "  Eval_hash  123456789    Eval_lazy           8   Eval_completa         9\n"
              "\n  Crono = 3 seg, Pos/Seg = 333\n");
    clear_statistics();
    const std::string cleared = output_of([] { print_statistics(0); });
    EXPECT_NE(cleared.find("  Nulos_prob         0    Nulos_exito         0    0%\n"),
              std::string::npos);
    EXPECT_NE(cleared.find("Eval_completa         0\n\n  Crono = 0 seg, Pos/Seg = 0\n"),
              std::string::npos);
}

TEST_F(Text, ThinkingLines) {
    for (int i = 0; i < 20; ++i) {
        pv_table[0][at(i)] = {i % 2 == 0 ? G1 : D7, i % 2 == 0 ? F3 : D5,
                              static_cast<std::int8_t>(i == 2 ? 1 : 0),
                              static_cast<std::int8_t>(i % 2 == 0 ? KNIGHT : PAWN)};
    }
    nodes = 1853211;
    const std::string wipe = std::string(52, ' ') + "\r";
    const std::string line8 = "g1-f3 d7-d5 g1xf3 d7-d5 g1-f3 d7-d5 g1-f3 d7-d5 \n";
    EXPECT_EQ(thinking(2141, 6, -35), wipe + " 6)   0: 2  -0.35  926605 n/s  " + line8);
    EXPECT_EQ(thinking(300, 12, 5), wipe + "12)   0: 0   0.05       1 n/s  " + line8);
    EXPECT_EQ(thinking(60100, 9, 0), wipe + " 9)   0:60   0.00   30886 n/s  " + line8);
    EXPECT_EQ(thinking(75300, 10, 31990), wipe + "10)   1:15  319.90   24709 n/s  " + line8);
    nodes = 0;
    EXPECT_EQ(thinking(2300, 10, -12345), wipe + "10)   0: 2  -123.45       1 n/s  " + line8);

    // Centiseconds and the nodes; the last digit of the clock may move on.
    xboard_mode = true;
    nodes = 1853211;
    const std::string cecp = thinking(2141, 6, -35);
    EXPECT_EQ(cecp.substr(0, 11), "6    -35 21");
    EXPECT_EQ(cecp.substr(12),
              " 1853211    Ng1-f3  d7-d5 Ng1xf3  d7-d5 Ng1-f3  d7-d5 Ng1-f3  d7-d5 Ng1-f3  d7-d5 "
              "Ng1-f3  d7-d5 \n");
    pv_table[0][1].from = 0;
    const std::string one_move = thinking(2141, 6, -35);
    EXPECT_EQ(one_move.substr(12), " 1853211    Ng1-f3 \n");
    search_aborted = true;
    EXPECT_EQ(thinking(2141, 6, -35), "\n");
}

TEST_F(Text, UserMoves) {
    struct Case {
        const char* fen;
        const char* text;
        const char* upper;
        int to, piece;  // 0: refused
        const char* output;
    };
    constexpr char promotion[] = "8/4P3/8/8/8/k7/8/4K3 w - -";
    const std::array<Case, 21> cases = {{
        {START_FEN, "e2e4", "E2E4", E4, PAWN, ""},
        {START_FEN, "E2E4", "E2E4", E4, PAWN, ""},
        {START_FEN, "e2e4x and more", "E2E4X AND MORE", E4, PAWN, ""},
        {START_FEN, "e2e5", "E2E5", 0, 0, ""},
        {START_FEN, "e7e5", "E7E5", 0, 0, ""},
        {START_FEN, "i2i4", "I2I4", 0, 0, ""},
        {START_FEN, "e9e8", "E9E8", 0, 0, ""},
        {START_FEN, "e2e", "E2E", 0, 0, ""},
        {START_FEN, "", "", 0, 0, ""},
        {START_FEN, "hello\xff\x80", "HELLO\xff\x80", 0, 0, ""},
        {promotion, "e7e8", "E7E8", E8, QUEEN, ""},
        {promotion, "e7e8d", "E7E8D", E8, QUEEN, ""},
        {promotion, "e7e8t", "E7E8T", E8, ROOK, ""},
        {promotion, "e7e8R", "E7E8R", E8, ROOK, ""},
        {promotion, "e7e8a", "E7E8A", E8, BISHOP, ""},
        {promotion, "e7e8b", "E7E8B", E8, BISHOP, ""},
        {promotion, "e7e8c", "E7E8C", E8, KNIGHT, ""},
        {promotion, "e7e8n", "E7E8N", E8, KNIGHT, ""},
        {"4k3/8/8/8/8/8/r7/4K3 w - -", "e1e2", "E1E2", 0, 0, "\nRey blanco en e2 en jaque\n"},
        {"4k3/4r3/8/8/8/8/4R3/4K3 b - -", "e7a7", "E7A7", 0, 0, "\nRey negro en e8 en jaque\n"},
        {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq -", "e1c1", "E1C1", C1, KING, ""},
    }};
    for (const Case& c : cases) {
        set_position_fen(c.fen);
        const Snapshot before = snapshot();
        std::string text = c.text;
        bool made = false;
        EXPECT_EQ(output_of([&] { made = parse_user_move(text); }), c.output) << c.text;
        EXPECT_EQ(text, c.upper);
        EXPECT_EQ(made, c.to != 0) << c.text;
        if (c.to == 0) {
            EXPECT_TRUE(snapshot() == before) << c.text;
        } else {
            EXPECT_EQ(piece_on(c.to), before.side * c.piece) << c.text;
            EXPECT_EQ(game_ply, 1);
            EXPECT_TRUE(can_take_back(1));
        }
    }
    // After a take-back the ply is 1: the list is that ply's, the move is made from ply 0.
    init_engine();
    search_ply = 1;
    std::string text = "g1f3";
    EXPECT_TRUE(parse_user_move(text));
    EXPECT_EQ(search_ply, 1);
}

TEST_F(Text, WordsAndNumbers) {
    EXPECT_EQ(first_word("  level 40 5 0"), "level");
    EXPECT_EQ(first_word("go"), "go");
    EXPECT_EQ(first_word("   "), "");
    struct Case {
        const char* text;
        int limit, number;
    };
    const std::array<Case, 10> cases = {{
        {"12", 100, 12},
        {" -7 x", 100, -7},
        {"+5", 100, 5},
        {"", 100, 0},
        {"abc", 100, 0},
        {"101", 100, 100},
        {"-101", 100, -100},
        {"99999999999999999999999", INT_MAX, INT_MAX},
        {"-99999999999999999999999", INT_MAX, -INT_MAX},
        {"3.7", 100, 3},
    }};
    for (const Case& c : cases) EXPECT_EQ(parse_number(c.text, c.limit), c.number) << c.text;
}

TEST_F(Text, Suite) {
    EXPECT_STREQ(suite_position(0).caption, "\n\n LCT mov Cd5-f6+ ");
    EXPECT_STREQ(suite_position(5).fen, "4k3/8/p7/Pp3p1p/1Pp1pPpP/2PpP1P1/3P1KNQ/R3BNRB w - -  ");
    EXPECT_STREQ(suite_position(9).caption,
                 "\n\n TEST MODULAR 8, (Elio Marsan) mov = Tf6-f8!!, ev mate en 7 ");
    EXPECT_STREQ(suite_position(12).caption, "\n\n LCT II-25-2,     mov = De1-h4+  ev > 2.0  ");
    for (int i = 0; i < SUITE_SIZE; ++i) {
        const SuitePosition& position = suite_position(i);
        EXPECT_EQ(std::string(position.caption).substr(0, 2), "\n\n") << i;
        EXPECT_EQ(output_of([&] { set_position_fen(position.fen); }), "") << i;
        EXPECT_GT(legal_moves().size(), 0U) << i;
        EXPECT_EQ(side, i == 4 ? BLACK : WHITE) << i;
        EXPECT_EQ(max_depth, 60);
    }
}

}  // namespace

}  // namespace tarsimo::test
