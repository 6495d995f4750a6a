// tarsimo-selfplay: games of the engine against itself, for tuning.
//
//   tarsimo-selfplay FILE [--games N] [--nodes N] [--seed N] [--workers N]
//
// One game a line, in the order of their numbers whatever the number of workers, and each game
// depends on seed and number alone. A run that was stopped goes on where its file ends. The
// position is program-wide, so the workers are processes; each sends its games through a pipe.
#include "control/engine.h"
#include "control/think.h"
#include "search/search.h"
#include "tools/tuning/options.h"
#include "tools/tuning/player.h"
#include "tools/tuning/progress.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace tarsimo;
using namespace tarsimo::tuning;

struct Settings {
    std::uint64_t games = 60000;
    std::uint64_t nodes = 1000;
    std::uint64_t seed = 1;
    std::uint64_t workers = std::max(1U, std::thread::hardware_concurrency());
};

struct Worker {
    pid_t process;
    std::FILE* games;
};

std::string header_of(const Settings& settings) {
    return "# nodes " + std::to_string(settings.nodes) + " seed " + std::to_string(settings.seed);
}

// Distinct well-mixed numbers for distinct games (the finaliser of SplitMix64, Steele, Lea and
// Flood 2014).
std::uint64_t seed_of_game(std::uint64_t seed, std::uint64_t game) {
    std::uint64_t z = (seed << 40) + game + 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return z ^ (z >> 31);
}

// Games already in the file; a last line that was cut short is removed. A new file gets its
// header. Ends the program when the file belongs to other settings.
std::uint64_t resume(const std::string& path, const Settings& settings) {
    std::uint64_t lines = 0;
    std::uint64_t whole = 0;
    std::string line;
    {
        std::ifstream in(path);
        while (std::getline(in, line) && !in.eof()) {
            if (lines == 0 && line != header_of(settings)) {
                fail(path + " was begun with other settings: " + line);
            }
            ++lines;
            whole += line.size() + 1;
        }
    }
    if (lines > 0) {
        std::filesystem::resize_file(path, whole);
        return lines - 1;
    }
    std::ofstream out(path, std::ios::trunc);
    out << header_of(settings) << '\n';
    if (!out.flush()) fail("cannot write " + path);
    return 0;
}

[[noreturn]] void run_worker(int pipe, const Settings& settings, std::uint64_t first) {
    init_engine();
    stop_test_enabled = false;
    std::FILE* out = fdopen(pipe, "w");
    for (std::uint64_t game = first; game < settings.games; game += settings.workers) {
        const GameRecord record = play_game(seed_of_game(settings.seed, game), settings.nodes);
        std::fprintf(out, "%s\n", format_game(record).c_str());
        if (std::fflush(out) != 0) break;  // nobody listens any more
    }
    std::_Exit(EXIT_SUCCESS);
}

Worker start_worker(const Settings& settings, std::uint64_t first) {
    int ends[2];
    if (pipe(ends) != 0) fail("cannot make a pipe");
    const pid_t process = fork();
    if (process < 0) fail("cannot start a worker");
    if (process == 0) {
        close(ends[0]);
        run_worker(ends[1], settings, first);
    }
    close(ends[1]);
    return {process, fdopen(ends[0], "r")};
}

bool read_game(std::FILE* in, std::string& line) {
    line.clear();
    for (int c = std::getc(in); c != EOF; c = std::getc(in)) {
        line += static_cast<char>(c);
        if (c == '\n') return true;
    }
    return false;
}

void play(const std::string& path, const Settings& settings) {
    const std::uint64_t done = resume(path, settings);
    std::vector<Worker> workers;
    for (std::uint64_t i = 0; i < settings.workers; ++i) {
        workers.push_back(start_worker(settings, done + i));
    }

    std::ofstream out(path, std::ios::app);
    Progress progress("games", settings.games, done);
    std::uint64_t positions = 0;
    std::string line;
    for (std::uint64_t game = done; game < settings.games; ++game) {
        if (!read_game(workers[(game - done) % settings.workers].games, line)) {
            fail("a worker ended early; start again to go on");
        }
        if (!(out << line).flush()) fail("cannot write " + path);
        positions += static_cast<std::uint64_t>(std::count(line.begin(), line.end(), '/'));
        progress.update(game + 1, ", " + std::to_string(positions) + " moves");
    }
    progress.finish(settings.games, ", " + std::to_string(positions) + " moves");
    for (const Worker& worker : workers) waitpid(worker.process, nullptr, 0);
}

}  // namespace

int main(int argc, char** argv) {
    Settings settings;
    const auto files = read_options(argc, argv, 1,
                                    "tarsimo-selfplay FILE [--games N] [--nodes N] [--seed N] "
                                    "[--workers N]",
                                    {{"--games", &settings.games},
                                     {"--nodes", &settings.nodes},
                                     {"--seed", &settings.seed},
                                     {"--workers", &settings.workers}});
    settings.workers = std::clamp<std::uint64_t>(settings.workers, 1, 256);
    play(files[0], settings);
}
