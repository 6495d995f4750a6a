// Pinned trees: score, nodes, every counter, the digest of all nodes entered, and the
// variation. They change exactly when the tree changes, and must not when it should not.
#include "support.h"

#include "tools/tree_commands.h"

namespace tarsimo::test {

namespace {

class Trees : public Engine {};

TEST_F(Trees, FiguresArePinned) {
    const auto lines = data_lines("trees.txt");
    ASSERT_GT(lines.size(), 40U);
    for (const std::string& line : lines) {
        const auto arrow = line.find(" => ");
        ASSERT_NE(arrow, std::string::npos) << line;
        const std::string command = line.substr(0, arrow);
        std::string figures;
        ASSERT_TRUE(tree::execute(command, figures)) << command;
        EXPECT_EQ(figures, line.substr(arrow + 4)) << command;
    }
}

// Neither what was searched before nor the keys of the game shape a tree.
TEST_F(Trees, RepeatedSearchesAreEqual) {
    const std::string command =
        "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - ; 8 ; -30 ; 30";
    std::string first, second, other;
    ASSERT_TRUE(tree::execute(command, first));
    ASSERT_TRUE(tree::execute("replies 8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - ; 100 ; 8", other));
    ASSERT_TRUE(tree::execute(command, second));
    EXPECT_EQ(first, second);
    EXPECT_NE(first, other);
}

}  // namespace

}  // namespace tarsimo::test
