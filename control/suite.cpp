// The built-in suite of tactical and endgame positions, with the moves that are expected.
#include "control/suite.h"

#include "control/clock.h"
#include "control/display.h"
#include "control/engine.h"
#include "control/fen.h"
#include "control/output.h"
#include "control/think.h"
#include "search/hash_memory.h"

#include <array>

namespace tarsimo {

namespace {

constexpr int SUITE_BUDGET_MS = 35000;  // QUIRK: the help line says "60 s"
constexpr int SUITE_MAX_DEPTH = 64;     // every set-up brings it back to 60
constexpr int CLEARED_BEFORE_CAPTION = 10;

// QUIRK: two positions have the number 3. Trailing blanks are part of the texts.
constexpr std::array<SuitePosition, SUITE_SIZE> suite = {{
    {"\n\n LCT mov Cd5-f6+ ", "2b1r1k1/r4ppp/p7/2pNP3/4Q3/q6P/2P2PP1/3RR1K1 w - -"},
    {"\n\n LCT mov  Af4xh6 ", "rq2rbk1/6p1/p2p2Pp/1p1Rn3/4PB2/6Q1/PPP1B3/2K3R1 w - -"},
    {"\n\n TEST MODULAR 12, (Elio Marsan)   mov = Ab4!  ev > 1.0 ",
     "2r2r1k/1bb1q1pp/1np5/pp2n2P/5N1N/P7/1P3PP1/K1Q1BBRR w - - "},
    {"\n\n ULTRAFRONTERA 1 (JT Olmo.Prado) mov = Ab1-a2, para llevar el Rey a a6 ",
     "k7/B7/1P6/1P2np2/1P1p1p2/1Pp2p1p/2P4p/1BK4B w - - "},
    {"\n\n ULTRAFRONTERA 2 (JT Olmo.Prado)  mov = Rg8-f8, ev optima Mate ",
     "6k1/4p1p1/1p2P1P1/1P2p3/1p2P3/1P2p1p1/4P1P1/5BK1 b - - "},
    {"\n\n ULTRAFRONTERA 3 (JT Olmo.Prado)  mov = Dh2-h3 ",
     "4k3/8/p7/Pp3p1p/1Pp1pPpP/2PpP1P1/3P1KNQ/R3BNRB w - -  "},
    {"\n\n ULTRAFRONTERA 3 (JT Olmo.Prado)  Un mov de Rey, ev optima 0.0 ",
     "8/4kb1r/2p3p1/rpPp1pPp/pP1PpP1P/P3P3/2K5/8 w - - "},
    {"\n\n TEST MODULAR 6,(Elio Marsan) Mate en 11     mov Af1-b5!    ",
     "k7/Pp1p4/1K2p3/5p1p/6pP/8/8/5B2 w - - "},
    {"\n\n Fuente ??, mate-10 ,  mov = De2-h5+!! ",
     "2qbr1n1/3b1kp1/2pBpn1p/1p2PP2/p2P4/1BP5/P3Q1PP/4RRK1 w - -"},
    {"\n\n TEST MODULAR 8, (Elio Marsan) mov = Tf6-f8!!, ev mate en 7 ",
     "8/7r/5Rp1/6p1/5pPk/5P1p/5P1K/8 w - -"},
    {"\n\n TEST MODULAR 4, (Elio Marsan)    mov = De3-h6+!!, ev mate ",
     "r1b2r2/3pNpkp/3pn1p1/2pN3P/2PnP3/q3QP2/4BKP1/1R5R w - -"},
    {"\n\n COMPOSICION PROPIA, mov = Th2xh7, ev optima mate  ",
     "3r1bk1/6pp/3p1pP1/3pp3/8/1K1Pp3/PPP4R/5bR1 w - - "},
    {"\n\n LCT II-25-2,     mov = De1-h4+  ev > 2.0  ",
     "rnbq4/p1r2p1k/1p1p1Pp1/1BpPn3/P7/2P5/6PP/R1B1QRK1 w - - "},
}};

}  // namespace

const SuitePosition& suite_position(int index) { return suite[static_cast<std::size_t>(index)]; }

void run_suite() {
    test_mode = true;
    set_budget(SUITE_BUDGET_MS);
    max_depth = SUITE_MAX_DEPTH;
    for (int i = 0; i < SUITE_SIZE; ++i) {
        if (i == CLEARED_BEFORE_CAPTION) clear_hash_tables();  // once more than needed; harmless
        print_line(suite_position(i).caption);
        set_position_fen(suite_position(i).fen);
        print_board();
        clear_hash_tables();
        think();
    }
}

}  // namespace tarsimo
