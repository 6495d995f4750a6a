// Set-up from FEN: every field, what is refused, and texts that are no FEN at all.
#include "support.h"

namespace tarsimo::test {

namespace {

class Fen : public Engine {};

TEST_F(Fen, FreshGameFromAPosition) {
    play("e2e4 e7e5");
    evaluate(-INF, INF);
    tt_store(BOUND_EXACT, 4, 10, D2, D4);
    tt_generation = 5;
    max_depth = 7;
    search_ply = 3;
    set_position_fen("r3k2r/pppq4/8/8/4P3/8/8/R3K2R b KQkq e3 97 120");
    EXPECT_EQ(side, BLACK);
    EXPECT_EQ(ep_square, E3);
    EXPECT_EQ(fifty, 2) << "never taken from the text";
    EXPECT_EQ(game_ply, 0);
    EXPECT_EQ(search_ply, 0);
    EXPECT_EQ(list_start(0), 0);
    EXPECT_EQ(max_depth, 60);
    EXPECT_TRUE(test_mode);
    EXPECT_EQ(tt_generation, 0);
    EXPECT_FALSE(can_take_back(1));
    EXPECT_TRUE(snapshot() == recounted());
    EXPECT_EQ(black_material, 300 + 990 + 1040);
    EXPECT_EQ(piece_on(D7), -QUEEN);

    // The usual start has the position of a new game, with the true key.
    set_position_fen(START_FEN);
    Snapshot from_fen = snapshot();
    init_engine();
    Snapshot fresh = recounted();
    from_fen.hash_key = fresh.hash_key;
    from_fen.fifty = 0;
    EXPECT_TRUE(from_fen == fresh);
}

// The rights are exactly those that are named and whose king and rook stand at home.
TEST_F(Fen, CastlingRights) {
    struct Case {
        const char* placement;
        const char* field;
        const char* rights;
    };
    const std::array<Case, 10> cases = {{
        {"r3k2r/8/8/8/8/8/8/R3K2R", "KQkq", "KQkq"},
        {"r3k2r/8/8/8/8/8/8/R3K2R", "-", ""},
        {"r3k2r/8/8/8/8/8/8/R3K2R", "Kq", "Kq"},
        {"r3k2r/8/8/8/8/8/8/R3K2R", "Qk", "Qk"},
        {"r3k2r/8/8/8/8/8/8/R3K2R", "qkQK", "KQkq"},
        {"r3k2r/8/8/8/8/8/8/R3K2R", "K?Qkq", "K"},
        {"r3k3/8/8/8/8/8/8/R3K3", "KQkq", "Qq"},
        {"n3k2r/8/8/8/8/8/8/N3K2R", "KQkq", "Kk"},
        {"r2k3r/8/8/8/8/8/8/R2K3R", "KQkq", ""},
        {"r3k2r/8/8/8/8/8/8/R3K2R", "", ""},
    }};
    for (const Case& c : cases) {
        std::string rights;
        for (const int colour : {WHITE, BLACK}) {
            const char* mover = colour == WHITE ? " w " : " b ";
            set_position_fen(std::string(c.placement) + mover + c.field);
            generate_moves();
            const std::string home = colour == WHITE ? "e1" : "e8";
            for (const char file : {'g', 'c'}) {
                const int index = find_move(home + file + home[1]);
                if (index < 0 || move_at(index).castle == 0) continue;
                const char right = file == 'g' ? 'K' : 'Q';
                rights += colour == WHITE ? right : static_cast<char>(right + ('a' - 'A'));
            }
        }
        EXPECT_EQ(rights, c.rights) << c.placement << " " << c.field;
    }
}

TEST_F(Fen, EnPassantField) {
    struct Case {
        const char* field;
        int square;
    };
    const std::array<Case, 10> cases = {{
        {"e3", E3},
        {"a6", A6},
        {"h6", H6},
        {"-", 0},
        {"", 0},
        {"e4", 0},  // neither third nor sixth rank
        {"e", 0},
        {"3", 0},
        {"3e", 0},
        {"e99999999999999999999", 0},
    }};
    for (const Case& c : cases) {
        set_position_fen(std::string("4k3/8/8/8/8/8/8/4K3 b - ") + c.field);
        EXPECT_EQ(ep_square, c.square) << c.field;
        EXPECT_TRUE(snapshot() == recounted()) << c.field;
    }
}

TEST_F(Fen, SideIsKeptWhenItIsNotNamed) {
    set_position_fen("4k3/8/8/8/8/8/8/4K3 b - -");
    set_position_fen("4k3/8/8/8/8/8/8/4K3 x - -");
    EXPECT_EQ(side, BLACK);
    set_position_fen("4k3/8/8/8/8/8/8/4K3");
    EXPECT_EQ(side, BLACK);
    set_position_fen("4k3/8/8/8/8/8/8/4K3 w");
    EXPECT_EQ(side, WHITE);
}

// A refused position is reported on a line of its own; the initial one stands instead.
TEST_F(Fen, RefusedPositions) {
    const std::string squares(100000, '8');
    for (const std::string& text :
         {std::string("8/8/8/8/8/8/8/4K3 w - -"), std::string("4k3/8/8/8/8/8/8/8 w - -"),
          std::string("4k3/8/8/8/8/8/8/3KK3 w - -"), std::string("k3k3/8/8/8/8/8/8/4K3 w - -"),
          std::string(""), std::string(" "), std::string("hello"), std::string("/////////////4k3"),
          std::string("\xff\x80 w"), squares, std::string(100000, '/'),
          std::string("4k3/8/8/8/8/8/8/8/8/8/4K3 w - -")}) {
        set_position_fen("8/8/8/3k4/8/8/8/K6R b - -");
        time_budget_ms = 1;
        const std::string output = output_of([&] { set_position_fen(text); });
        EXPECT_EQ(output, "tellusererror Illegal position\n") << text.substr(0, 60);
        EXPECT_EQ(time_budget_ms, 20000);
        EXPECT_EQ(fifty, 2);
        EXPECT_TRUE(snapshot() == recounted());
        EXPECT_EQ(piece_on(E1), KING);
        EXPECT_EQ(white_material, 4130);
        EXPECT_EQ(legal_moves().size(), 20U);
    }
}

// Ranks may be of any length. What does not fit on the board is dropped, nothing is written
// beside it, and the search can cope with what stands there.
TEST_F(Fen, CarelessPlacements) {
    struct Case {
        const char* fen;
        int square, piece;
        int men;
    };
    const std::array<Case, 5> cases = {{
        {"4k3/8/8/4K3", E5, KING, 2},
        {"4k3/8/8/8/8/8/4K3/Q w - -", A1, QUEEN, 3},
        {"4k3/8/8/8/8/8/8/4K3qqqqqqqqqqqqqqqqqqqqqqqq w - -", B4, -QUEEN, 20},
        {"4k3/8/8/8/8/8/8/4K3/pppppppp/pppppppp/pppppppp w - -", A1, EMPTY, 2},
        {"QQQQkQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/QQQQKQQQ w - -", H1, QUEEN,
         64},
    }};
    for (const Case& c : cases) {
        EXPECT_EQ(output_of([&] { set_position_fen(c.fen); }), "") << c.fen;
        EXPECT_TRUE(snapshot() == recounted()) << c.fen;
        EXPECT_EQ(piece_on(c.square), c.piece) << c.fen;
        EXPECT_EQ(white_pieces + black_pieces + white_pawns + black_pawns + 2, c.men) << c.fen;
        generate_moves();
        EXPECT_LE(move_count, MAX_LIST_LENGTH);
        search(-INF, INF, 4, true, in_check());
    }
}

}  // namespace

}  // namespace tarsimo::test
