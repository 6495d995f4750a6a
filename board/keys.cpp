// Position keys (Zobrist, "A new hashing method with application for game playing", 1970)
// and the generator that makes them.
#include "board/keys.h"

#include "board/position.h"

#include <cstdlib>

namespace tarsimo {

std::array<std::array<std::uint64_t, SQUARE_LIMIT>, 15> zobrist{};
std::uint64_t side_key = 0;

namespace {

constexpr int LAG = 55;
constexpr int EP_ROW = 14;
constexpr int KEYED_SQUARES = 99;
constexpr std::uint64_t FIRST_NUMBER = 0x1039B11BF;

// clang-format off
constexpr std::array<std::uint64_t, LAG> seed = {
    0x5414D5F4, 0xB3935330, 0xD0773E27, 0xAC62A182, 0x5DB20C92,
    0xC1E618AC, 0xD003926A, 0x171FA3B3, 0x9AD12101, 0x762172C1,
    0xBC5D9DC3, 0x07B72A70, 0x6E5AC890, 0xF7BE54D1, 0x0D6332FA,
    0x56BA8FBE, 0xEBA585EC, 0x571421C5, 0x96B3C079, 0x12EB9B92,
    0xC07C0978, 0x0700C5BD, 0x31A43513, 0x74EBA4AA, 0x4EC55DB5,
    0x2C91C2E9, 0x208771F6, 0x304EE204, 0x1E004673, 0xF3AC22F9,
    0xA8561FEB, 0xDED13435, 0xD03E7513, 0xDAE66BC2, 0x01C20BE1,
    0x46638997, 0xFB26CE62, 0x01F87FC3, 0xC0016099, 0x44429270,
    0xB04F4481, 0xF31B8AD7, 0x86DD7A46, 0x03E72091, 0x96A22589,
    0x74DCB7D4, 0x12D0FC03, 0x474A16E8, 0x2FF5717C, 0x54BDED92,
    0x783A9487, 0xE767978C, 0x3052D5CD, 0x16ECA191, 0x8EAF6D15,
};
// clang-format on

// Generator state: the last 55 numbers and the two lags. Seeded by the first call of the
// program's life and never again, so each new game has new keys.
struct Generator {
    std::array<std::uint64_t, LAG> state = seed;
    int j = 22;
    int k = 53;
    bool first_call = true;
};

Generator generator;

int step_back(int index) { return index == 0 ? LAG - 1 : index - 1; }

// Next number of an additive lagged generator (Mitchell and Moore 1958, in Knuth, TAOCP vol. 2,
// 3.2.2); the sequence is the same in every run of the program.
std::uint64_t random64() {
    if (generator.first_call) {
        generator.first_call = false;
        generator.state[LAG - 1] = FIRST_NUMBER;  // the last seed value is never used
        return FIRST_NUMBER;
    }
    auto& sum = generator.state[idx(generator.k)];
    sum += generator.state[idx(generator.j)];
    generator.j = step_back(generator.j);
    generator.k = step_back(generator.k);
    return sum;
}

// Two numbers make a key: the low half of the first, then the low half of the second.
std::uint64_t next_key() {
    const std::uint64_t low = random64() & 0xFFFFFFFF;
    const std::uint64_t high = random64() & 0xFFFFFFFF;
    return high << 32 | low;
}

}  // namespace

void init_keys() {
    std::srand(0);  // a fixed state for anybody who draws from it; nothing here does
    for (std::size_t row = 0; row < EP_ROW; ++row) {
        for (std::size_t sq = 0; sq < KEYED_SQUARES; ++sq) zobrist[row][sq] = next_key();
    }
    side_key = next_key();
    for (std::size_t sq = 0; sq < KEYED_SQUARES; ++sq) zobrist[EP_ROW][sq] = next_key();
    compute_hash_key();
}

void compute_hash_key() {
    hash_key = 0;
    for (int sq = A1; sq <= H8; ++sq) {
        const int piece = piece_on(sq);
        if (piece != EMPTY && piece != OFFBOARD) hash_key ^= piece_key(piece, sq);
    }
    if (side == WHITE) hash_key ^= side_key;
    if (ep_square != 0) hash_key ^= ep_key(ep_square);
}

}  // namespace tarsimo
