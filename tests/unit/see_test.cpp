// Static exchange evaluation by positions that can be worked out by hand.
#include "support.h"

namespace tarsimo::test {

namespace {

class See : public Engine {};

TEST_F(See, HandWorkedPositions) {
    struct Case {
        const char* fen;
        int from, to, expected;
        const char* reason;
    };
    const std::array<Case, 23> cases = {{
        {"4k3/8/8/3r4/8/8/8/3QK3 w - -", D1, D5, 600, "undefended rook"},
        {"4k3/8/4p3/3p4/4P3/8/8/4K3 w - -", E4, D5, 0, "pawn for pawn"},
        {"4k3/8/4p3/3p4/8/8/8/3QK3 w - -", D1, D5, -1100, "queen for pawn"},
        {"4k3/8/4p3/3n4/8/1B6/8/4K3 w - -", B3, D5, 0, "bishop for knight is even"},
        {"4k3/8/8/3p4/8/2N5/8/4K3 w - -", C3, D5, 100, "undefended pawn"},
        {"8/8/3k4/3p4/8/8/8/3RK3 w - -", D1, D5, -500, "the king retakes the rook"},
        {"8/8/3k4/3p4/8/2N5/8/3RK3 w - -", C3, D5, 100, "the king would be lost"},
        {"8/8/3k4/3p4/8/8/3Q4/3RK3 w - -", D2, D5, 100, "a king is worth 2001, more than a queen"},
        {"3rk3/8/8/3p4/8/8/3R4/3RK3 w - -", D2, D5, 100, "rook behind the first capturer"},
        {"3rk3/8/8/3p4/4P3/8/3R4/3RK3 w - -", E4, D5, 100, "two rooks follow the pawn"},
        {"3rk3/3r4/8/3p4/8/8/3R4/3RK3 w - -", D2, D5, 100,
         "a black rook behind a black rook is not seen"},
        {"3rk3/3r4/8/8/3P4/8/3R4/3RK3 b - -", D7, D4, -500,
         "white's rook behind a rook is, behind the first capturer both are"},
        {"3rk3/3r4/8/2pp4/3P4/8/3R4/3RK3 b - -", C5, D4, 0,
         "white retakes twice, black once for want of the second rook"},
        {"3qk3/3r4/8/3p4/8/8/3R4/3RK3 w - -", D2, D5, -500,
         "a black queen behind a black rook is seen"},
        {"4k3/8/8/2b5/3P4/8/1B6/B3K3 b - -", C5, D4, -300, "bishop for pawn, retaken"},
        {"4k3/8/1q6/2b5/3P4/4B3/8/4K3 b - -", C5, D4, 100,
         "queen behind the bishop makes it a trade and a pawn"},
        {"4k3/8/8/8/8/8/8/3QK3 w - -", D1, D7, -1200, "an empty square beside the king"},
        {"4k3/8/8/8/8/8/8/3QK3 w - -", D1, D5, 0, "an empty square nobody attacks"},
        {"4k3/8/4p3/8/8/2N5/8/4K3 w - -", C3, D5, -400, "an empty square guarded by a pawn"},
        {"4k3/8/4p3/8/8/1BN5/8/4K3 w - -", C3, D5, -300, "the same, with one pawn in return"},
        {"4k3/8/2p1p3/3p4/2P1P3/8/8/4K3 w - -", E4, D5, 0, "pawns alone"},
        {"1k1r4/1pp4p/p7/4p3/8/P5P1/1PP4P/2K1R3 w - -", E1, E5, 100, "undefended pawn, rook"},
        {"1k1r3q/1ppn3p/p4b2/4p3/8/P2N2P1/1PP1R1BP/2K1Q3 w - -", D3, E5, -300,
         "knight for pawn, long sequence"},
    }};
    for (const Case& c : cases) {
        set_position_fen(c.fen);
        const Snapshot before = snapshot();
        EXPECT_EQ(see(c.from, c.to), c.expected) << c.fen << " " << c.reason;
        EXPECT_TRUE(snapshot() == before) << c.fen;
    }
}

}  // namespace

}  // namespace tarsimo::test
