// tarsimo-selfplay: games of the engine against itself, for tuning.
//
// The games stand in the order of their numbers whatever the number of workers, and each game
// depends on seed and number alone. The position is program-wide, so the workers are processes;
// each sends its games through a pipe.
#include "control/engine.h"
#include "control/think.h"
#include "search/search.h"
#include "tools/common/text_file.h"
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

constexpr char USAGE[] = R"(usage: tarsimo-selfplay FILE [OPTION]...

Writes games of the engine against itself, one per line. A run that was stopped
goes on where its file ends.

  --games N     number of games (60000)
  --nodes N     a search begins no iteration after N nodes (1000)
  --seed N      starts and keys (1)
  --workers N   processes; all processors without it
)";

constexpr char HEADER_START[] = "# nodes ";

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
    return HEADER_START + std::to_string(settings.nodes) + " seed " + std::to_string(settings.seed);
}

// Ends the program unless the first line of a file is the header of these settings, or the start of
// it where the line was cut short.
void require_header(const std::string& path, const std::string& line, bool cut,
                    const Settings& settings) {
    const std::string header = header_of(settings);
    if (cut ? header.starts_with(line) : line == header) return;
    if (!line.starts_with(HEADER_START)) tool::fail(path + " is not a file of games");
    tool::fail(path + " was begun with other settings: " + tool::printable(line));
}

// Games already in the file; a last line that was cut short is removed. A new file gets its
// header. Ends the program when the file belongs to other settings or to somebody else.
std::uint64_t resume(const std::string& path, const Settings& settings) {
    std::uint64_t lines = 0;
    std::uint64_t whole = 0;
    std::error_code error;
    if (std::filesystem::exists(path, error)) {
        const std::uint64_t size = std::filesystem::file_size(path, error);
        if (error) tool::fail("cannot write " + path + ": " + error.message());
        tool::TextFile in(path);
        for (std::string line; in.next(line); ++lines) {
            const bool cut = whole + line.size() == size;
            if (lines == 0) require_header(path, line, cut, settings);
            if (cut) break;
            whole += line.size() + 1;
        }
        if (!in.fault().empty()) tool::fail(in.fault());
    }
    require_writable(path);
    if (lines > 0) {
        std::filesystem::resize_file(path, whole, error);
        if (error) tool::fail("cannot write " + path + ": " + error.message());
        return lines - 1;
    }
    std::ofstream out(path, std::ios::trunc);
    out << header_of(settings) << '\n';
    if (!out.flush()) tool::fail("cannot write " + path);
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

Worker start_worker(const Settings& settings, std::uint64_t first,
                    const std::vector<Worker>& others) {
    int ends[2];
    if (pipe(ends) != 0) tool::fail(std::string("cannot make a pipe: ") + std::strerror(errno));
    const pid_t process = fork();
    if (process < 0) { tool::fail(std::string("cannot start a worker: ") + std::strerror(errno)); }
    if (process == 0) {
        // A worker notices the end of its reader only if no other worker holds its pipe.
        for (const Worker& other : others) close(fileno(other.games));
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
        workers.push_back(start_worker(settings, done + i, workers));
    }

    std::ofstream out(path, std::ios::app);
    Progress progress("games", settings.games, done);
    std::uint64_t positions = 0;
    std::string line;
    for (std::uint64_t game = done; game < settings.games; ++game) {
        if (!read_game(workers[(game - done) % settings.workers].games, line)) {
            tool::fail("a worker ended early; start again to go on");
        }
        if (!(out << line).flush()) tool::fail("cannot write " + path);
        positions += static_cast<std::uint64_t>(std::count(line.begin(), line.end(), '/'));
        progress.update(game + 1, ", " + std::to_string(positions) + " moves");
    }
    progress.finish(settings.games, ", " + std::to_string(positions) + " moves");
    for (const Worker& worker : workers) waitpid(worker.process, nullptr, 0);
}

}  // namespace

int main(int argc, char** argv) {
    Settings settings;
    const auto files = read_options(argc, argv, 1, USAGE,
                                    {{"--games", &settings.games},
                                     {"--nodes", &settings.nodes},
                                     {"--seed", &settings.seed},
                                     {"--workers", &settings.workers}});
    settings.workers = std::clamp<std::uint64_t>(settings.workers, 1, 256);
    play(files[0], settings);
    return EXIT_SUCCESS;
}
