// tarsimo-spsa: weights by games, with simultaneous perturbation (SPSA: Spall 1992). Two programs
// whose weights lie a step to either side along every direction, at random, play a pair of games
// from one start; all weights move a little towards the winner's.
//
// The outcome is the same for any number of workers: a pair depends on seed and number alone, and
// the weights move only between batches. The position is program-wide, so the workers are
// processes.
#include "board/keys.h"
#include "board/position.h"

#include "control/engine.h"
#include "control/think.h"
#include "eval/pawns.h"
#include "eval/weights.h"
#include "tools/common/text_file.h"
#include "tools/tuning/directions.h"
#include "tools/tuning/options.h"
#include "tools/tuning/player.h"
#include "tools/tuning/progress.h"
#include "tools/tuning/weight_list.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace tarsimo;
using namespace tarsimo::tuning;

constexpr char USAGE[] = R"(usage: tarsimo-spsa DIRECTIONS FOLDER [OPTION]...

Moves the weights of the evaluation along directions, by games of the engine
against itself. FOLDER, which must exist, receives the list in use as start.inc,
and after each batch of 16 pairs

  steps.tsv     pairs played, and the steps gone along each direction
  weights.inc   the list with the weights there

A run that was stopped goes on from steps.tsv.

  --pairs N      pairs of games (20000)
  --nodes N      a search begins no iteration after N nodes (1500)
  --gain X       steps for a game won by one side of a pair (0.004)
  --reach X      steps from the weights to either side (1)
  --seed N       starts, keys and sides (1)
  --list FILE    list that the program was built with (eval/weights.inc)
  --workers N    processes; all processors without it
)";

constexpr std::uint64_t BATCH = 16;

struct Settings {
    std::uint64_t pairs = 20000;
    std::uint64_t nodes = 1500;
    double gain = 0.004;
    double reach = 1;
    std::uint64_t seed = 1;
    std::string list = "eval/weights.inc";
    std::uint64_t workers = std::max(1U, std::thread::hardware_concurrency());
};

using Steps = std::vector<double>;

// ---------------------------------------------------------------------------
// A pair of games
// ---------------------------------------------------------------------------

struct Contender {
    std::array<ScorePair, WEIGHT_COUNT> weights;
    std::uint64_t salt;  // of its keys: neither finds in the tables what the other has left there
};

std::array<ScorePair, WEIGHT_COUNT> weights_of(const Values& values) {
    std::array<ScorePair, WEIGHT_COUNT> result;
    for (std::size_t i = 0; i < result.size(); ++i) {
        result[i] =
            score_pair(static_cast<int>(values[2 * i]), static_cast<int>(values[2 * i + 1]));
    }
    return result;
}

// Keys of the position and of all before it in its game.
void change_keys(std::uint64_t difference) {
    hash_key ^= difference;
    for (int ply = 0; ply < game_ply; ++ply) history_entry(ply).key ^= difference;
}

// White's points.
double play(const std::string& start, const Contender& white, const Contender& black,
            std::uint64_t node_limit) {
    std::uint64_t salt = 0;
    const auto take_over = [&] {
        const Contender& mover = side == WHITE ? white : black;
        weights = mover.weights;
        clear_pawn_cache();
        change_keys(salt ^ mover.salt);
        salt = mover.salt;
    };
    return play_game_from(start, node_limit, take_over).result;
}

// To which side of the weights a pair's first contender stands along each direction.
std::vector<int> sides_of_pair(const Settings& settings, std::uint64_t pair,
                               std::size_t directions) {
    std::mt19937_64 random(seed_of_game(settings.seed, pair));
    std::vector<int> sides;
    for (std::size_t i = 0; i < directions; ++i)
        sides.push_back((random() >> 40 & 1) != 0 ? 1 : -1);
    return sides;
}

// Half points that the first contender is ahead after both games, -2 to 2.
int play_pair(const Settings& settings, std::uint64_t pair, const Values& start,
              const std::vector<Direction>& directions, const Steps& steps) {
    const std::vector<int> sides = sides_of_pair(settings, pair, directions.size());
    const auto weights_beside = [&](int sign) {
        Steps own = steps;
        for (std::size_t i = 0; i < own.size(); ++i) own[i] += sign * sides[i] * settings.reach;
        return weights_of(moved(start, directions, own));
    };
    Contender first{weights_beside(1), 0};
    Contender second{weights_beside(-1), 0};
    std::mt19937_64 random(~seed_of_game(settings.seed, pair));
    weights = weights_of(start);
    clear_pawn_cache();
    const std::string opening = draw_opening(random());
    double points = 0;
    for (const bool first_is_white : {true, false}) {
        first.salt = random();
        second.salt = random();
        points += first_is_white ? play(opening, first, second, settings.nodes)
                                 : 1 - play(opening, second, first, settings.nodes);
    }
    return static_cast<int>(2 * points) - 2;
}

// ---------------------------------------------------------------------------
// Workers
// ---------------------------------------------------------------------------

struct Worker {
    pid_t process;
    int tasks;    // number of a pair and the steps, as they are in memory
    int results;  // of the pairs, in the order of the tasks
};

bool read_whole(int from, void* to, std::size_t size) {
    auto* bytes = static_cast<char*>(to);
    while (size > 0) {
        const ssize_t got = read(from, bytes, size);
        if (got <= 0) return false;
        bytes += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

bool write_whole(int to, const void* from, std::size_t size) {
    const auto* bytes = static_cast<const char*>(from);
    while (size > 0) {
        const ssize_t done = write(to, bytes, size);
        if (done <= 0) return false;
        bytes += done;
        size -= static_cast<std::size_t>(done);
    }
    return true;
}

[[noreturn]] void run_worker(const Worker& self, const Settings& settings, const Values& start,
                             const std::vector<Direction>& directions) {
    init_engine();
    stop_test_enabled = false;
    std::uint64_t pair = 0;
    Steps steps(directions.size());
    while (read_whole(self.tasks, &pair, sizeof pair) &&
           read_whole(self.tasks, steps.data(), steps.size() * sizeof(double))) {
        const int lead = play_pair(settings, pair, start, directions, steps);
        if (!write_whole(self.results, &lead, sizeof lead)) break;
    }
    std::_Exit(EXIT_SUCCESS);
}

Worker start_worker(const Settings& settings, const Values& start,
                    const std::vector<Direction>& directions, const std::vector<Worker>& others) {
    int tasks[2];
    int results[2];
    if (pipe(tasks) != 0 || pipe(results) != 0) {
        tool::fail(std::string("cannot make a pipe: ") + std::strerror(errno));
    }
    const pid_t process = fork();
    if (process < 0) tool::fail(std::string("cannot start a worker: ") + std::strerror(errno));
    if (process == 0) {
        for (const Worker& other : others) {
            close(other.tasks);
            close(other.results);
        }
        close(tasks[1]);
        close(results[0]);
        run_worker({0, tasks[0], results[1]}, settings, start, directions);
    }
    close(tasks[0]);
    close(results[1]);
    return {process, tasks[1], results[0]};
}

// ---------------------------------------------------------------------------
// State
// ---------------------------------------------------------------------------

// Stopped while it writes, a run leaves the old file or the new one.
void replace_file(const std::string& path, const std::string& text) {
    std::ofstream out(path + ".new", std::ios::trunc);
    out << text;
    std::error_code error;
    if (out.flush()) std::filesystem::rename(path + ".new", path, error);
    if (!out || error) tool::fail("cannot write " + path);
}

// What a run works on, and how far it has come.
struct Run {
    std::string folder;
    std::string list;
    Values start;
    std::vector<Direction> directions;
    Steps steps;
    std::uint64_t pairs = 0;

    std::string steps_path() const { return folder + "/steps.tsv"; }
    std::string start_path() const { return folder + "/start.inc"; }

    // The steps count from the list that the run began with.
    void resume() {
        std::error_code error;
        if (!std::filesystem::exists(steps_path(), error)) {
            replace_file(start_path(), list);
            return;
        }
        std::ifstream begun(start_path());
        if (std::string(std::istreambuf_iterator<char>(begun), {}) != list) {
            tool::fail(start_path() + " is not the list in use");
        }
        std::ifstream in(steps_path());
        std::string name;
        bool good = in >> name >> pairs && name == "pairs" && pairs % BATCH == 0;
        for (std::size_t i = 0; good && i < steps.size(); ++i) {
            good = in >> name >> steps[i] && name == directions[i].name;
        }
        if (!good || in >> name) tool::fail(steps_path() + " is not of these directions");
    }

    void save() const {
        std::ostringstream text;
        text.precision(17);
        text << "pairs\t" << pairs << '\n';
        for (std::size_t i = 0; i < steps.size(); ++i) {
            text << directions[i].name << '\t' << steps[i] << '\n';
        }
        replace_file(folder + "/weights.inc", rewrite_list(list, moved(start, directions, steps)));
        replace_file(steps_path(), text.str());
    }
};

void run(Run& state, const Settings& settings) {
    state.resume();
    state.save();
    std::vector<Worker> workers;
    for (std::uint64_t i = 0; i < settings.workers; ++i) {
        workers.push_back(start_worker(settings, state.start, state.directions, workers));
    }
    Progress progress("pairs", settings.pairs, state.pairs);
    while (state.pairs < settings.pairs) {
        const auto worker_of = [&](std::uint64_t i) { return workers[i % workers.size()]; };
        for (std::uint64_t i = 0; i < BATCH; ++i) {
            const std::uint64_t pair = state.pairs + i;
            write_whole(worker_of(i).tasks, &pair, sizeof pair);
            write_whole(worker_of(i).tasks, state.steps.data(),
                        state.steps.size() * sizeof(double));
        }
        Steps change(state.steps.size());
        for (std::uint64_t i = 0; i < BATCH; ++i) {
            int lead = 0;
            if (!read_whole(worker_of(i).results, &lead, sizeof lead)) {
                tool::fail("a worker ended early; start again to go on");
            }
            const auto sides = sides_of_pair(settings, state.pairs + i, change.size());
            for (std::size_t d = 0; d < change.size(); ++d) {
                change[d] += settings.gain * lead * sides[d];
            }
        }
        for (std::size_t d = 0; d < change.size(); ++d) state.steps[d] += change[d];
        state.pairs += BATCH;
        state.save();
        progress.update(state.pairs);
    }
    progress.finish(state.pairs);
    for (const Worker& worker : workers) {
        close(worker.tasks);
        waitpid(worker.process, nullptr, 0);
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);  // a worker that has ended shows when its result is read
    Settings settings;
    const auto names = read_options(argc, argv, 2, USAGE,
                                    {{"--pairs", &settings.pairs},
                                     {"--nodes", &settings.nodes},
                                     {"--gain", &settings.gain},
                                     {"--reach", &settings.reach},
                                     {"--seed", &settings.seed},
                                     {"--list", &settings.list},
                                     {"--workers", &settings.workers}});
    settings.workers = std::clamp<std::uint64_t>(settings.workers, 1, BATCH);
    Run state;
    state.folder = names[1];
    state.start = built_in_values();
    state.list = read_list(settings.list);
    state.directions = read_directions(names[0], state.start);
    state.steps.resize(state.directions.size());
    run(state, settings);
    return EXIT_SUCCESS;
}
