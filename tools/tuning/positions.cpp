// tarsimo-positions: quiet positions with their labels out of the games of tarsimo-selfplay.
//
//   tarsimo-positions GAMES FILE [--per-game N] [--seed N]
#include "control/engine.h"
#include "control/think.h"
#include "tools/tuning/extract.h"
#include "tools/tuning/options.h"
#include "tools/tuning/progress.h"

#include <cstdio>
#include <fstream>
#include <string>

namespace {

using namespace tarsimo;
using namespace tarsimo::tuning;

std::uint64_t count_games(const std::string& path) {
    std::ifstream in(path);
    if (!in) fail("cannot read " + path);
    std::uint64_t games = 0;
    std::string line;
    while (std::getline(in, line)) games += line.empty() || line[0] == '#' ? 0 : 1;
    return games;
}

}  // namespace

int main(int argc, char** argv) {
    std::uint64_t per_game = 24;
    std::uint64_t seed = 1;
    const auto files =
        read_options(argc, argv, 2, "tarsimo-positions GAMES FILE [--per-game N] [--seed N]",
                     {{"--per-game", &per_game}, {"--seed", &seed}});
    Progress progress("games", count_games(files[0]));
    init_engine();
    stop_test_enabled = false;

    std::ifstream in(files[0]);
    std::ofstream out(files[1]);
    Extractor extractor(per_game, seed);
    std::uint64_t games = 0;
    std::uint64_t written = 0;
    std::uint64_t bad_games = 0;
    std::string line;
    const auto note = [&written] { return ", " + std::to_string(written) + " positions"; };
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        bool legal = false;
        if (const auto game = parse_game(line)) {
            for (const LabelledPosition& position : extractor.extract(*game, legal)) {
                out << position.fen << ';' << result_text(position.result) << '\n';
                ++written;
            }
        }
        if (!legal) ++bad_games;
        progress.update(++games, note());
    }
    progress.finish(games, note());
    if (bad_games > 0) {
        std::fprintf(stderr, "games not understood and left out: %llu\n",
                     static_cast<unsigned long long>(bad_games));
    }
    if (!out.flush()) fail("cannot write " + files[1]);
}
