// tarsimo-perft: counts the legal move paths of a position, to prove the move generator.
//
//   tarsimo-perft "FEN" DEPTH    a line a root move, the total, and leaves a second
//   tarsimo-perft FILE [DEPTH]   a suite: lines "FEN ;D1 20 ;D2 400 ..."; each count up to
//                                DEPTH (default: all) is compared; exit status 1 on a mismatch
#include "board/move_list.h"
#include "control/engine.h"
#include "control/fen.h"
#include "control/notation.h"
#include "control/text.h"
#include "tools/legal_moves.h"

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

namespace {

using namespace tarsimo;

constexpr int DEEPEST = 20;  // well above what any machine counts in a lifetime

std::uint64_t perft(int depth) {
    if (depth == 0) return 1;
    std::uint64_t leaves = 0;
    for_each_legal_move([&](int) { leaves += perft(depth - 1); });
    return leaves;
}

double seconds_since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void print_speed(std::uint64_t leaves, double seconds) {
    std::printf("speed %.0f leaves/s\n", static_cast<double>(leaves) / std::max(seconds, 1e-9));
}

int divide(const std::string& fen, int depth) {
    set_position_fen(fen);
    const auto start = std::chrono::steady_clock::now();
    std::uint64_t total = 0;
    for_each_legal_move([&](int index) {
        const Move move = move_at(index);
        const std::uint64_t leaves = perft(depth - 1);
        total += leaves;
        std::printf("%s%s", square_name(move.from).c_str(), square_name(move.to).c_str());
        if (move.promotion != 0) std::printf("%c", FEN_LETTERS[move.promotion]);
        std::printf(" %" PRIu64 "\n", leaves);
        std::fflush(stdout);
    });
    std::printf("total %" PRIu64 "\n", total);
    print_speed(total, seconds_since(start));
    return EXIT_SUCCESS;
}

// Compares the counts of one suite line; returns the number of mismatches.
int check_line(const std::string& line, int deepest, std::uint64_t& leaves) {
    std::istringstream fields(line);
    std::string fen;
    std::getline(fields, fen, ';');
    int mismatches = 0;
    std::string field;
    while (std::getline(fields, field, ';')) {
        int depth = 0;
        std::uint64_t expected = 0;
        if (std::sscanf(field.c_str(), "D%d %" SCNu64, &depth, &expected) != 2) {
            std::printf("not understood: %s\n", field.c_str());
            ++mismatches;
            continue;
        }
        if (depth > deepest) continue;
        set_position_fen(fen);
        const std::uint64_t counted = perft(depth);
        leaves += counted;
        if (counted == expected) continue;
        ++mismatches;
        std::printf("%s depth %d: %" PRIu64 " instead of %" PRIu64 "\n", fen.c_str(), depth,
                    counted, expected);
    }
    return mismatches;
}

int check_suite(std::istream& suite, int deepest) {
    const auto start = std::chrono::steady_clock::now();
    std::uint64_t leaves = 0;
    int positions = 0;
    int mismatches = 0;
    std::string line;
    while (std::getline(suite, line)) {
        if (line.empty() || line[0] == '#') continue;
        mismatches += check_line(line, deepest, leaves);
        std::fprintf(stderr, "\r%d positions, %" PRIu64 " leaves ", ++positions, leaves);
    }
    std::fprintf(stderr, "\n");
    std::printf("positions %d mismatches %d\n", positions, mismatches);
    std::printf("total %" PRIu64 "\n", leaves);
    print_speed(leaves, seconds_since(start));
    return mismatches == 0 && positions > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

int usage() {
    std::fprintf(stderr, "usage: tarsimo-perft \"FEN\" DEPTH | tarsimo-perft FILE [DEPTH]\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) return usage();
    const int depth = argc == 3 ? tarsimo::parse_number(argv[2], DEEPEST) : DEEPEST;
    if (depth < 1) return usage();

    tarsimo::init_engine();
    std::ifstream suite(argv[1]);
    if (suite) return check_suite(suite, depth);
    if (argc != 3) return usage();
    return divide(argv[1], depth);
}
