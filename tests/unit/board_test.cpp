// Make and unmake, keys, and the records of the game.
#include "support.h"

#include "control/notation.h"

#include <set>
#include <sstream>

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
        ASSERT_TRUE(snapshot() == recounted()) << coordinate_name(move_at(i));
        ASSERT_EQ(history_entry(game_ply - 1).key, before.hash_key);
        unmake_move();
        ASSERT_TRUE(snapshot() == before) << coordinate_name(move_at(i));
    }
    const int ep_square_before = make_null_move();
    ASSERT_TRUE(snapshot() == recounted());
    ASSERT_EQ(side, -before.side);
    ASSERT_EQ(ep_square, 0);
    ASSERT_EQ(search_ply, before.search_ply);
    ASSERT_EQ(fifty, before.fifty + 1);
    const HistoryEntry& record = history_entry(game_ply - 1);
    ASSERT_EQ(record.key, before.hash_key);
    ASSERT_EQ(record.from + record.to + record.ep_capture + record.ep_square, 0);
    ASSERT_EQ(record.captured + record.promotion + record.castle, 0);
    unmake_null_move(ep_square_before);
    ASSERT_TRUE(snapshot() == before);
}

TEST_F(Make, RandomPlayRestoresEveryField) {
    EXPECT_GT(visit_random_positions(48, 120, check_moves_of_position), 4000);
}

// What the searches ask after a move, without looking in all directions, against a look in all.
TEST_F(Make, OpenedLinesTellOfEveryCheck) {
    int unsafe = 0;
    int checks = 0;
    visit_random_positions(96, 120, [&] {
        constexpr int INNER_PLY = 2;  // at the root all directions are looked at
        search_ply = INNER_PLY;
        list_start(INNER_PLY) = list_start(0);
        const bool was_in_check = in_check();
        generate_moves();
        for (int i = list_start(INNER_PLY); i < list_start(INNER_PLY + 1); ++i) {
            make_move(i);
            const bool safe = king_left_safe();
            ASSERT_EQ(king_left_safe(move_at(i), was_in_check), safe)
                << coordinate_name(move_at(i));
            if (safe) {
                ASSERT_EQ(move_gives_check(move_at(i)), in_check()) << coordinate_name(move_at(i));
            }
            unsafe += !safe && !was_in_check ? 1 : 0;
            checks += safe && in_check() ? 1 : 0;
            unmake_move();
        }
        search_ply = 0;
    });
    EXPECT_GT(unsafe, 1000);
    EXPECT_GT(checks, 2000);
}

// Knights out and home again in a game much longer than the ring of records: records older
// than the span are gone, all others lead back.
TEST_F(Make, LongGameKeepsRecentRecords) {
    constexpr std::array<const char*, 4> cycle = {"g1f3", "g8f6", "f3g1", "f6g8"};
    constexpr int length = 2 * HISTORY_SIZE + 1000;
    std::vector<Snapshot> games;
    for (int ply = 0; ply < length; ++ply) {
        games.push_back(snapshot());
        play(cycle[idx(ply % 4)]);
        ASSERT_EQ(is_repetition(), ply >= 3) << ply;
    }
    EXPECT_TRUE(can_take_back(HISTORY_SPAN));
    EXPECT_FALSE(can_take_back(HISTORY_SPAN + 1));
    for (int i = 1; i <= HISTORY_SPAN; ++i) {
        ASSERT_TRUE(can_take_back(1)) << i;
        unmake_move();
        search_ply = 0;
        ASSERT_TRUE(snapshot() == games[idx(length - i)]) << i;
    }
    EXPECT_FALSE(can_take_back(1));
    init_engine();
    EXPECT_FALSE(can_take_back(1));
}

// A command may give the move to the other side between a move and its take-back. The pieces come
// back as they were, and the side to move changes as with every take-back.
TEST_F(Make, TakeBackKnowsWhoMovedAfterAChangeOfSide) {
    struct Case {
        const char* fen;
        const char* moves;
    };
    for (const auto& [fen, moves] : {
             Case{START_FEN, "e2e4 d7d5 e4d5"}, Case{START_FEN, "e2e4 e7e5 e1e2"},
             Case{"r3k2r/8/8/8/8/8/8/R3K2R b KQkq -", "e8c8"},
             Case{"r3k2r/8/8/8/8/8/8/R3K2R w KQkq -", "e1g1"},
             Case{"1n2k3/P7/8/8/8/8/8/4K3 w - -", "a7b8n"},
             Case{"4k3/8/8/3pP3/8/8/8/4K3 w - d6", "e5d6"},
             Case{"4k3/4R3/8/8/8/8/8/4K3 w - -", "e7e8"},  // takes the king
         }) {
        set_up(fen);
        Snapshot before = snapshot();
        std::istringstream names(moves);
        for (std::string name; names >> name;) {
            before = snapshot();
            play(name);
        }
        for (int takes = 0; takes < 2 && game_ply > 0; ++takes) {
            const int expected_side = side;
            side = -side;
            take_back_move();
            ASSERT_EQ(side, expected_side) << moves;
            ASSERT_TRUE(position_is_consistent()) << moves;
            if (takes == 0) {
                before.side = side;
                before.search_ply = search_ply;
                EXPECT_TRUE(snapshot() == before) << fen << " " << moves;
            }
        }
    }
}

// The recount that assertions rely on sees every kind of damage.
TEST_F(Make, ConsistencySeesDamage) {
    play("e2e4 d7d5");
    const auto damages = {
        +[] { board[A1] = EMPTY; },  +[] { board[E5] = PAWN; },
        +[] { board[D1] = -QUEEN; }, +[] { board[E2] = KING; },
        +[] { board[30] = EMPTY; },  +[] { board[E5] = 7; },
        +[] { white_king_sq = E2; }, +[] { black_king_sq = 0; },
        +[] { ++black_material; },   +[] { --white_pawns; },
        +[] { ++white_pieces; },     +[] { side = 0; },
        +[] { board[E8] = EMPTY; },  +[] { white_occupied ^= set_of(E5); },
        +[] { black_pawn_set = 0; },
    };
    const auto whole_board = board;
    EXPECT_TRUE(position_is_consistent());
    const std::uint64_t unexplained = unexplained_key();
    for (const auto& damage : damages) {
        damage();
        EXPECT_FALSE(position_is_consistent());
        set_up(START_FEN);
        EXPECT_TRUE(position_is_consistent());
        EXPECT_EQ(unexplained_key(), 0U);
    }
    board = whole_board;
    side = BLACK;
    EXPECT_NE(unexplained_key(), unexplained);
}

// Counts of reversible moves that reach behind the first record find nothing there.
TEST_F(Make, RepetitionNeedsTheSamePositionSinceTheLastIrreversibleMove) {
    play("g1f3 g8f6 f3g1");
    EXPECT_FALSE(is_repetition());
    play("f6g8");
    EXPECT_TRUE(is_repetition());
    play("e2e4 g8f6 g1f3 f6g8 f3g1");
    EXPECT_FALSE(is_repetition()) << "the en-passant square of the first time is gone";
    play("g8f6 g1f3 f6g8 f3g1");
    EXPECT_TRUE(is_repetition());

    set_position_fen("4k3/8/8/8/8/8/8/4K2R w - -");
    EXPECT_FALSE(is_repetition());
    play("h1h2 e8d8 h2h1 d8e8");
    EXPECT_TRUE(is_repetition());
    fifty = 3;
    EXPECT_FALSE(is_repetition());
}

TEST_F(Make, FirstKeysAreFixed) {
    EXPECT_EQ(start_up.keys[0][0], 0x4890D6A4039B11BFULL);
    EXPECT_EQ(start_up.keys[13][E1], 0xF4C9918BC353391BULL);
    EXPECT_EQ(start_up.side_key, 0x5F82A58CCEAA4CA9ULL);
    // The side to move is not yet known when the first key of a program is computed.
    EXPECT_EQ(start_up.position_key, 0x329BE60A77EB008DULL);
    EXPECT_EQ(start_up.position_key ^ start_up.side_key, hash_key);
}

TEST_F(Make, EveryGameHasNewKeysAndNoTwoAreEqual) {
    const auto old_keys = zobrist;
    init_engine();
    std::set<std::uint64_t> seen = {0, side_key};
    for (std::size_t row = 0; row < zobrist.size(); ++row) {
        for (std::size_t sq = 0; sq <= 98; ++sq) {
            ASSERT_TRUE(seen.insert(zobrist[row][sq]).second) << row << " " << sq;
            ASSERT_NE(zobrist[row][sq], old_keys[row][sq]);
        }
    }
    // The key of a new game takes side to move and en-passant square from the game before.
    play("e2e4");
    init_engine();
    EXPECT_EQ(hash_key, recounted().hash_key ^ side_key ^ zobrist[14][E3]);
}

}  // namespace

}  // namespace tarsimo::test
