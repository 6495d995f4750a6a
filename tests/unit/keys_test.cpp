// Position keys and the generator of their numbers, which must never change.
#include "support.h"

#include <set>

namespace tarsimo::test {

namespace {

class Keys : public Engine {};

TEST_F(Keys, FirstNumbersAreFixed) {
    EXPECT_EQ(start_up.keys[0][0], 0x4890D6A4039B11BFULL);
    EXPECT_EQ(start_up.keys[13][E1], 0xF4C9918BC353391BULL);
    EXPECT_EQ(start_up.side_key, 0x5F82A58CCEAA4CA9ULL);
    // The side to move is not yet known when the first key of a program is computed.
    EXPECT_EQ(start_up.position_key, 0x329BE60A77EB008DULL);
    EXPECT_EQ(start_up.position_key ^ start_up.side_key, hash_key);
}

TEST_F(Keys, NumbersFollowTheLags) {
    std::vector<std::uint64_t> numbers;
    for (int i = 0; i < 400; ++i) numbers.push_back(random64());
    for (std::size_t i = 55; i < numbers.size(); ++i) {
        ASSERT_EQ(numbers[i], numbers[i - 55] + numbers[i - 24]) << i;
    }
}

TEST_F(Keys, EveryGameHasNewKeysAndNoTwoAreEqual) {
    const auto old_keys = zobrist;
    init_engine();
    std::set<std::uint64_t> seen = {0, side_key};
    for (std::size_t row = 0; row < zobrist.size(); ++row) {
        for (std::size_t sq = 0; sq <= 98; ++sq) {
            ASSERT_TRUE(seen.insert(zobrist[row][sq]).second) << row << " " << sq;
            ASSERT_NE(zobrist[row][sq], old_keys[row][sq]);
        }
        ASSERT_EQ(zobrist[row][99], 0U);
    }
    // The key of a new game takes side to move and en-passant square from the game before.
    play("e2e4");
    init_engine();
    EXPECT_EQ(hash_key, recounted().hash_key ^ side_key ^ zobrist[14][E3]);
    play("e2e4");
    init_engine();
    side = BLACK;
    ep_square = 0;
    init_engine();
    EXPECT_EQ(hash_key, recounted().hash_key ^ side_key);
}

TEST_F(Keys, CastlingRightsAreNotInTheKey) {
    set_position_fen("r3k2r/8/8/8/8/8/8/R3K2R w KQkq -");
    const std::uint64_t with_rights = hash_key;
    set_position_fen("r3k2r/8/8/8/8/8/8/R3K2R w - -");
    EXPECT_EQ(hash_key, with_rights);
    set_position_fen("r3k2r/8/8/8/8/8/8/R3K2R b - -");
    EXPECT_EQ(hash_key, with_rights ^ side_key);
    set_position_fen("r3k2r/8/8/8/8/8/8/R3K2R w - d6");
    EXPECT_EQ(hash_key, with_rights ^ zobrist[14][D6]);
}

TEST_F(Keys, KnightsHomeAgainGiveTheSameKey) {
    play("e2e4 e7e5");
    const std::uint64_t with_ep_square = hash_key;
    play("g1f3 b8c6 f3g1 c6b8");
    const std::uint64_t home = hash_key;
    EXPECT_EQ(with_ep_square ^ home, zobrist[14][E6]);
    play("g1f3 b8c6 f3g1 c6b8");
    EXPECT_EQ(hash_key, home);
}

}  // namespace

}  // namespace tarsimo::test
