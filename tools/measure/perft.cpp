// tarsimo-perft: counts the legal move paths of a position, to prove the move generator.
#include "board/move_list.h"
#include "control/engine.h"
#include "control/fen.h"
#include "control/fen_check.h"
#include "control/notation.h"
#include "tools/common/command_line.h"
#include "tools/common/legal_moves.h"
#include "tools/common/text_file.h"

#include <unistd.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>

namespace {

using namespace tarsimo;

constexpr int MAX_DEPTH = 20;  // well above what any machine counts in a lifetime

constexpr char USAGE[] = R"(usage: tarsimo-perft "FEN" DEPTH
       tarsimo-perft FILE [DEPTH]

Counts the legal move paths of a position: a line per root move, the total, and
leaves per second. A FILE is a suite of lines "FEN ;D1 20 ;D2 400 ..." whose
counts up to DEPTH (default: all) are compared.

Exit status: 0, 1 when a count differs, 2 when nothing can be counted.
)";

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
        std::printf("%s %" PRIu64 "\n", coordinate_name(move).c_str(), leaves);
        std::fflush(stdout);
    });
    std::printf("total %" PRIu64 "\n", total);
    print_speed(total, seconds_since(start));
    return EXIT_SUCCESS;
}

struct SuiteLine {
    std::string fen;
    std::vector<std::pair<int, std::uint64_t>> counts;  // depth and leaves
};

// Ends the program when the line is none of a suite.
SuiteLine parse_line(const std::string& line, const tool::TextFile& file) {
    SuiteLine result;
    std::istringstream fields(line);
    std::string field, why;
    std::getline(fields, field, ';');
    result.fen = checked_fen(field, why);
    if (!why.empty()) tool::fail(file.place() + ": not a position: " + why);
    while (std::getline(fields, field, ';')) {
        int depth = 0;
        std::uint64_t leaves = 0;
        if (std::sscanf(field.c_str(), "D%d %" SCNu64, &depth, &leaves) != 2 || depth < 1) {
            tool::fail(file.place() + ": not a depth and its count: " + tool::printable(field));
        }
        result.counts.emplace_back(depth, leaves);
    }
    if (result.counts.empty()) tool::fail(file.place() + ": a position without counts");
    return result;
}

// Compares the counts of one suite line; returns the number of mismatches.
int check_line(const SuiteLine& line, int deepest, std::uint64_t& leaves) {
    int mismatches = 0;
    for (const auto& [depth, expected] : line.counts) {
        if (depth > deepest) continue;
        set_position_fen(line.fen);
        const std::uint64_t counted = perft(depth);
        leaves += counted;
        if (counted == expected) continue;
        ++mismatches;
        std::printf("%s depth %d: %" PRIu64 " instead of %" PRIu64 "\n", line.fen.c_str(), depth,
                    counted, expected);
    }
    return mismatches;
}

int check_suite(const std::string& path, int deepest) {
    const bool terminal = isatty(STDERR_FILENO) == 1;
    tool::TextFile suite(path);
    const auto start = std::chrono::steady_clock::now();
    std::uint64_t leaves = 0;
    int positions = 0;
    int mismatches = 0;
    std::string line;
    while (suite.next(line)) {
        if (line.empty() || line[0] == '#') continue;
        mismatches += check_line(parse_line(line, suite), deepest, leaves);
        ++positions;
        if (terminal)
            std::fprintf(stderr, "\r%d positions, %" PRIu64 " leaves ", positions, leaves);
    }
    if (terminal) std::fprintf(stderr, "\n");
    if (!suite.fault().empty()) tool::fail(suite.fault());
    if (positions == 0) tool::fail("no positions in " + path);
    std::printf("positions %d mismatches %d\n", positions, mismatches);
    std::printf("total %" PRIu64 "\n", leaves);
    print_speed(leaves, seconds_since(start));
    return mismatches == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    tool::answer_help(argc, argv, USAGE);
    if (argc < 2 || argc > 3) tool::reject_command_line(USAGE);
    int depth = MAX_DEPTH;
    if (argc == 3 && !tool::read_count(argv[2], 1, MAX_DEPTH, depth)) {
        tool::reject_command_line(USAGE);
    }

    init_engine();
    const std::string subject = argv[1];
    std::error_code unknown;
    if (std::filesystem::exists(subject, unknown)) {
        return tool::finish_output(check_suite(subject, depth));
    }
    std::string why;
    const std::string fen = checked_fen(subject, why);
    if (!why.empty()) {
        tool::fail("neither a file nor a position: " + tool::printable(subject) + ": " + why);
    }
    if (argc != 3) tool::reject_command_line(USAGE);
    return tool::finish_output(divide(fen, depth));
}
