// tarsimo-positions: quiet positions with their labels out of the games of tarsimo-selfplay.
#include "control/engine.h"
#include "control/think.h"
#include "tools/common/text_file.h"
#include "tools/tuning/extract.h"
#include "tools/tuning/options.h"
#include "tools/tuning/progress.h"

#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

using namespace tarsimo;
using namespace tarsimo::tuning;

constexpr char USAGE[] = R"(usage: tarsimo-positions GAMES FILE [OPTION]...

Writes quiet positions, each with the result of its game, out of the games of
tarsimo-selfplay.

  --per-game N   positions of a game at most (24)
  --seed N       which of them (1)
)";

bool is_game_line(const std::string& line) { return !line.empty() && line[0] != '#'; }

std::uint64_t count_games(const std::string& path) {
    tool::TextFile in(path);
    std::uint64_t games = 0;
    for (std::string line; in.next(line);) games += is_game_line(line) ? 1 : 0;
    if (!in.fault().empty()) tool::fail(in.fault());
    if (games == 0) tool::fail("no games in " + path);
    return games;
}

// The open output. It must not be the input, which opening it would empty.
std::ofstream open_output(const std::string& path, const std::string& input) {
    std::error_code none;
    if (std::filesystem::equivalent(path, input, none)) {
        tool::fail(path + " is the file of games itself");
    }
    require_writable(path);
    return std::ofstream(path);
}

}  // namespace

int main(int argc, char** argv) {
    std::uint64_t per_game = 24;
    std::uint64_t seed = 1;
    const auto files =
        read_options(argc, argv, 2, USAGE, {{"--per-game", &per_game}, {"--seed", &seed}});
    const std::uint64_t total = count_games(files[0]);
    std::ofstream out = open_output(files[1], files[0]);
    Progress progress("games", total);
    init_engine();
    stop_test_enabled = false;

    tool::TextFile in(files[0]);
    Extractor extractor(per_game, seed);
    std::uint64_t games = 0;
    std::uint64_t written = 0;
    std::uint64_t bad_games = 0;
    const auto note = [&written] { return ", " + std::to_string(written) + " positions"; };
    for (std::string line; in.next(line);) {
        if (!is_game_line(line)) continue;
        bool legal = false;
        if (const auto game = parse_game(line)) {
            for (const LabelledPosition& position : extractor.extract(*game, legal)) {
                out << format_position(position) << '\n';
                ++written;
            }
        }
        if (!legal) ++bad_games;
        progress.update(++games, note());
        if (!out) break;
    }
    if (!out.flush()) tool::fail("cannot write " + files[1]);
    if (!in.fault().empty()) tool::fail(in.fault());
    progress.finish(games, note());
    if (bad_games == games) tool::fail("no line of " + files[0] + " is a game");
    if (bad_games > 0) {
        std::fprintf(stderr, "games not understood and left out: %" PRIu64 "\n", bad_games);
    }
}
