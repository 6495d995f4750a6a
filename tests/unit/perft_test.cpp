// Legal paths of well-known positions: generator, attack tests, make and unmake together.
#include "support.h"

#include <cinttypes>
#include <sstream>

namespace tarsimo::test {

namespace {

// Deeper counts of the suite are left to the perft tool.
constexpr std::uint64_t MOST_LEAVES = 450000;

class Perft : public Engine {};

TEST_F(Perft, SuiteCounts) {
    const auto lines = data_lines("perft.epd");
    ASSERT_GT(lines.size(), 20U);
    for (const std::string& line : lines) {
        std::istringstream fields(line);
        std::string fen, field;
        std::getline(fields, fen, ';');
        set_position_fen(fen);
        const Snapshot before = snapshot();
        int counted = 0;
        while (std::getline(fields, field, ';')) {
            int depth = 0;
            std::uint64_t expected = 0;
            ASSERT_EQ(std::sscanf(field.c_str(), "D%d %" SCNu64, &depth, &expected), 2) << line;
            if (expected > MOST_LEAVES) break;
            EXPECT_EQ(perft(depth), expected) << fen << " depth " << depth;
            ++counted;
        }
        EXPECT_GT(counted, 0) << line;
        EXPECT_TRUE(snapshot() == before) << fen;
    }
}

}  // namespace

}  // namespace tarsimo::test
