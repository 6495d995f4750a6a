// tarsimo-bench: the project's benchmark. Every position is searched by iterative deepening to
// its fixed depth from cleared tables. The total of nodes is the signature of the search tree:
// it is the same in every build, and changes only when the tree does.
#include "board/attacks.h"
#include "control/engine.h"
#include "control/fen.h"
#include "control/suite.h"
#include "control/think.h"
#include "search/hash_memory.h"
#include "search/search.h"
#include "search/table.h"
#include "tools/common/command_line.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

namespace {

using namespace tarsimo;

struct BenchPosition {
    const char* fen;
    int plies;
};

constexpr int MAX_PLIES = 60;

constexpr char USAGE[] = R"(usage: tarsimo-bench [PLIES]

Searches 33 positions to fixed depths from cleared tables, in about 10 s; with
PLIES no deeper than that. Prints a line per position, the signature of the
search tree (the total of nodes) and the speed.
)";

// Depths of the built-in suite's positions, chosen for like times.
constexpr std::array<int, SUITE_SIZE> suite_plies = {12, 10, 12, 18, 40, 16, 17,
                                                     16, 11, 22, 10, 14, 13};

// Every phase of the game, from the opening to pawn endings and bare mates.
constexpr std::array<BenchPosition, 20> more_positions = {{
    {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", 12},
    {"r1bqkb1r/pp3ppp/2np1n2/1N2p3/4P3/2N5/PPP2PPP/R1BQKB1R w KQkq -", 10},
    {"rnbq1rk1/pp2ppbp/3p1np1/2p5/2PPP3/2N2N2/PP2BPPP/R1BQK2R w KQ -", 12},
    {"r1bq1rk1/2p1bppp/p1np1n2/1p2p3/4P3/1BP2N1P/PP1P1PP1/RNBQR1K1 b - -", 11},
    {"r2q1rk1/pb1nbppp/1p2pn2/2pp4/3P1B2/2PBPN2/PP1N1PPP/R2Q1RK1 w - -", 9},
    {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -", 10},
    {"2rq1rk1/pp1bppbp/2np1np1/8/2BNP3/2N1BP2/PPPQ2PP/1K1R3R b - -", 13},
    {"r1b2rk1/ppq2ppp/2nbpn2/2pp4/8/1P1PPN2/PBPNBPPP/R2Q1RK1 w - -", 11},
    {"2r3k1/1q1nbppp/r3p3/3pP3/pPpP4/P1Q2N2/2RN1PPP/2R4K b - b3", 12},
    {"3r1rk1/p4ppp/1pq1pn2/2p5/2P5/1PQ1PN2/P4PPP/3R1RK1 w - -", 13},
    {"4rrk1/pp1n3p/3q2pQ/2p1pb2/2PP4/2P3N1/P2B2PP/4RRK1 b - -", 11},
    {"5rk1/1pp2ppp/p2p4/3Pr3/1PP5/P3R3/5PPP/4R1K1 w - -", 16},
    {"8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -", 15},
    {"8/5pk1/4p1p1/3pP2p/1r1P3P/1PR2PP1/5K2/8 w - -", 16},
    {"8/3b1pk1/p3p1p1/1p1pP2p/3P1P1P/1PP1K1P1/P2N4/8 w - -", 14},
    {"8/8/1p1k4/p1pPp3/P1P1P1p1/1P2K1P1/8/8 w - -", 16},
    {"8/pp3k2/2p2p2/4pPp1/2P1P1P1/1P6/P4K2/8 w - -", 15},
    {"8/8/4kpp1/3p1b2/p6P/2B5/6P1/6K1 b - -", 13},
    {"8/8/8/3k4/8/8/1K3Q2/4r3 w - -", 10},
    {"8/8/3k4/8/8/3K4/1B1N4/8 w - -", 9},
}};

class Bench {
  public:
    explicit Bench(int deepest) : deepest_(deepest) {}

    // Search in half-plies 2, 4, 6 ... as the think driver would, in one set of tables.
    void run(const BenchPosition& position) {
        set_position_fen(position.fen);
        reset_search();
        begin_generation();
        while (prefault_hash_tables()) {}
        const auto start = std::chrono::steady_clock::now();
        int score = 0;
        for (int plies = 1; plies <= std::min(position.plies, deepest_); ++plies) {
            score =
                search(-INFINITE_SCORE, INFINITE_SCORE, ONE_PLY * plies, NullMove::YES, in_check());
        }
        seconds_ += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        nodes_ += nodes;
        std::printf("%2d  plies %2d  score %6d  nodes %9" PRIu64 "  %s\n", ++count_,
                    std::min(position.plies, deepest_), score, nodes, position.fen);
        std::fflush(stdout);
    }

    void print_result() const {
        std::printf("signature %" PRIu64 "\n", nodes_);
        std::printf("speed %.0f nodes/s\n", static_cast<double>(nodes_) / std::max(seconds_, 1e-9));
    }

  private:
    int deepest_;
    int count_ = 0;
    std::uint64_t nodes_ = 0;
    double seconds_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
    tool::answer_help(argc, argv, USAGE);
    int deepest = MAX_PLIES;
    if (argc > 2 || (argc == 2 && !tool::read_count(argv[1], 1, MAX_PLIES, deepest))) {
        tool::reject_command_line(USAGE);
    }
    init_engine();
    stop_test_enabled = false;
    Bench bench(deepest);
    for (int i = 0; i < SUITE_SIZE; ++i) { bench.run({suite_position(i).fen, suite_plies[at(i)]}); }
    for (const BenchPosition& position : more_positions) bench.run(position);
    bench.print_result();
    return tool::finish_output(EXIT_SUCCESS);
}
