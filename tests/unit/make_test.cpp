// Make and unmake: all that is kept move by move equals a recount, and all of it comes back.
#include "support.h"

namespace tarsimo::test {

namespace {

class Make : public Engine {};

// Every move of a list made and unmade, and the null move between.
void check_moves_of_position() {
    const Snapshot before = snapshot();
    ASSERT_TRUE(before == recounted()) << "ply " << game_ply;
    generate_moves();
    for (int i = list_start(search_ply); i < list_start(search_ply + 1); ++i) {
        make_move(i);
        ASSERT_TRUE(snapshot() == recounted()) << name_of(move_at(i));
        ASSERT_EQ(history_entry(game_ply - 1).key, before.hash_key);
        unmake_move();
        ASSERT_TRUE(snapshot() == before) << name_of(move_at(i));
    }
    make_null_move();
    ASSERT_TRUE(snapshot() == recounted());
    ASSERT_EQ(side, -before.side);
    ASSERT_EQ(search_ply, before.search_ply);
    ASSERT_EQ(fifty, before.fifty + 1);
    const HistoryEntry& record = history_entry(game_ply - 1);
    ASSERT_EQ(record.key, before.hash_key);
    ASSERT_EQ(record.from + record.to + record.captured + record.promotion + record.castle, 0);
    unmake_null_move();
    ASSERT_TRUE(snapshot() == before);
}

TEST_F(Make, RandomPlayRestoresEveryField) {
    int positions = 0;
    visit_random_positions(48, 120, [&] {
        check_moves_of_position();
        ++positions;
    });
    EXPECT_GT(positions, 4000);
}

// A move leads to the position that its picture shows.
TEST_F(Make, SpecialMoves) {
    struct Case {
        const char* before;
        const char* move;
        const char* after;
        int fifty;
    };
    const std::array<Case, 16> cases = {{
        {START_FEN, "e2e4", "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3", 0},
        {"4k3/p7/8/8/8/8/8/4K3 b - -", "a7a5", "4k3/8/8/p7/8/8/8/4K3 w - a6", 0},
        {"4k3/8/8/8/p7/8/8/4KN2 w - a6", "f1g3", "4k3/8/8/8/p7/6N1/8/4K3 b - -", 3},
        {"4k3/8/8/3pP3/8/8/8/4K3 w - d6", "e5d6", "4k3/8/3P4/8/8/8/8/4K3 b - -", 0},
        {"4k3/8/8/8/3Pp3/8/8/4K3 b - d3", "e4d3", "4k3/8/8/8/8/3p4/8/4K3 w - -", 0},
        {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq -", "e1g1", "r3k2r/8/8/8/8/8/8/R4RK1 b - -", 3},
        {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq -", "e1c1", "r3k2r/8/8/8/8/8/8/2KR3R b - -", 3},
        {"r3k2r/8/8/8/8/8/8/R3K2R b KQkq -", "e8g8", "r4rk1/8/8/8/8/8/8/R3K2R w - -", 3},
        {"r3k2r/8/8/8/8/8/8/R3K2R b KQkq -", "e8c8", "2kr3r/8/8/8/8/8/8/R3K2R w - -", 3},
        {"4k3/P7/8/8/8/8/8/4K3 w - -", "a7a8q", "Q3k3/8/8/8/8/8/8/4K3 b - -", 0},
        {"4k3/P7/8/8/8/8/8/4K3 w - -", "a7a8n", "N3k3/8/8/8/8/8/8/4K3 b - -", 0},
        {"r3k3/1P6/8/8/8/8/8/4K3 w - -", "b7a8q", "Q3k3/8/8/8/8/8/8/4K3 b - -", 0},
        {"4k3/8/8/8/8/8/6p1/4K2R b - -", "g2h1b", "4k3/8/8/8/8/8/8/4K2b w - -", 0},
        {"4k3/8/8/8/8/8/6p1/4K3 b - -", "g2g1r", "4k3/8/8/8/8/8/8/4K1r1 w - -", 0},
        {"4k3/8/8/8/8/5q2/4K3/8 w - -", "e2f3", "4k3/8/8/8/8/5K2/8/8 b - -", 0},
        {"4k3/4R3/8/8/8/8/8/4K3 b - -", "e8e7", "8/4k3/8/8/8/8/8/4K3 w - -", 0},
    }};
    for (const Case& c : cases) {
        set_position_fen(c.before);
        const Snapshot before = snapshot();
        generate_moves();
        const int index = find_move(c.move);
        ASSERT_GE(index, 0) << c.move;
        make_move(index);
        const Snapshot made = snapshot();
        EXPECT_EQ(fifty, c.fifty) << c.move;
        EXPECT_EQ(
            made.white_castled + made.black_castled,
            before.white_castled + before.black_castled + (move_at(index).castle != 0 ? 1 : 0))
            << c.move;
        unmake_move();
        EXPECT_TRUE(snapshot() == before) << c.move;

        set_position_fen(c.after);
        Snapshot expected = snapshot();
        expected.square_moves = made.square_moves;
        expected.white_castled = made.white_castled;
        expected.black_castled = made.black_castled;
        expected.fifty = made.fifty;
        expected.game_ply = expected.search_ply = 1;
        EXPECT_TRUE(made == expected) << c.move;
    }
}

// Castling rights live in the counts of moves from and to the home squares.
TEST_F(Make, CastlingStateFollowsSquareMoves) {
    set_position_fen("r3k2r/1b6/8/8/8/8/8/R3K2R w KQkq -");
    play("e1f1 e8d8 f1e1 d8e8");
    EXPECT_EQ(square_moves[E1], 2);
    generate_moves();
    EXPECT_EQ(find_move("e1g1"), -1);
    EXPECT_EQ(find_move("e1c1"), -1);
    for (int i = 0; i < 4; ++i) unmake_move();
    search_ply = 0;
    EXPECT_EQ(square_moves[E1], 0);
    generate_moves();
    EXPECT_GE(find_move("e1g1"), 0);
    EXPECT_GE(find_move("e1c1"), 0);

    // A rook taken on its home square takes the right with it, one that has been away too.
    play("a1b1 b7h1 b1a1 a8b8");
    EXPECT_EQ(square_moves[H1], 1);
    EXPECT_EQ(square_moves[A1], 2);
    generate_moves();
    EXPECT_EQ(find_move("e1g1"), -1);
    EXPECT_EQ(find_move("e1c1"), -1);
    play("e1e2");
    generate_moves();
    EXPECT_GE(find_move("e8g8"), 0);
    EXPECT_EQ(find_move("e8c8"), -1);
}

// Knights out and home again in a game much longer than the ring of records: records older
// than the span are gone, all others lead back.
TEST_F(Make, LongGameKeepsRecentRecords) {
    constexpr std::array<const char*, 4> cycle = {"g1f3", "g8f6", "f3g1", "f6g8"};
    constexpr int length = 2 * HISTORY_SIZE + 1000;
    std::vector<Snapshot> games;
    for (int ply = 0; ply < length; ++ply) {
        games.push_back(snapshot());
        play(cycle[at(ply % 4)]);
        ASSERT_EQ(is_repetition(), ply >= 3) << ply;
    }
    EXPECT_EQ(game_ply, length);
    EXPECT_EQ(fifty, length);
    EXPECT_TRUE(can_take_back(1));
    EXPECT_TRUE(can_take_back(HISTORY_SPAN));
    EXPECT_FALSE(can_take_back(HISTORY_SPAN + 1));

    for (int i = 1; i <= HISTORY_SPAN; ++i) {
        ASSERT_TRUE(can_take_back(1)) << i;
        unmake_move();
        search_ply = 0;
        ASSERT_TRUE(snapshot() == games[at(length - i)]) << i;
    }
    EXPECT_FALSE(can_take_back(1));
    EXPECT_EQ(game_ply, length - HISTORY_SPAN);

    init_engine();
    EXPECT_FALSE(can_take_back(1));
    play("e2e4");
    EXPECT_TRUE(can_take_back(1));
    EXPECT_FALSE(can_take_back(2));
}

// Counts of reversible moves that reach behind the first record find nothing there.
TEST_F(Make, RepetitionNeedsTheSamePositionSinceTheLastIrreversibleMove) {
    EXPECT_FALSE(is_repetition());
    play("g1f3 g8f6 f3g1");
    EXPECT_FALSE(is_repetition());
    play("f6g8");
    EXPECT_TRUE(is_repetition());
    play("e2e4");
    EXPECT_FALSE(is_repetition());
    play("g8f6 g1f3 f6g8 f3g1");
    EXPECT_FALSE(is_repetition()) << "the en-passant square of the first time is gone";
    play("g8f6 g1f3 f6g8 f3g1");
    EXPECT_TRUE(is_repetition());

    set_position_fen("4k3/8/8/8/8/8/8/4K2R w - -");
    EXPECT_EQ(fifty, 2);
    EXPECT_FALSE(is_repetition());
    play("h1h2 e8d8 h2h1 d8e8");
    EXPECT_TRUE(is_repetition());
    fifty = 3;
    EXPECT_FALSE(is_repetition());
}

}  // namespace

}  // namespace tarsimo::test
