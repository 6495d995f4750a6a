// A worker process: two engines and one board, from game to game.
#include "tools/match/match.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <memory>

namespace tarsimo::match {

namespace {

constexpr Micros QUIT_PATIENCE = SECOND;

struct Worker {
    const Settings& settings;
    const Surroundings around;
    std::array<std::unique_ptr<Engine>, 2> engines;
};

// The next game's number, -1 when there is none.
int next_game(int command_fd) {
    std::string text;
    char c = 0;
    for (;;) {
        const ssize_t got = read(command_fd, &c, 1);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return -1;
        if (c == '\n') return std::atoi(text.c_str());
        text += c;
    }
}

// Ends the engines for which `leaves` holds, both at a time.
template <typename Test> void end_engines(Worker& worker, Test leaves) {
    std::array<bool, 2> leaving{};
    for (std::size_t i = 0; i < leaving.size(); ++i) {
        leaving[i] = worker.engines[i]->running() && leaves(i);
        if (leaving[i]) worker.engines[i]->ask_to_quit();
    }
    const Micros deadline = now() + QUIT_PATIENCE;
    for (std::size_t i = 0; i < leaving.size(); ++i) {
        if (leaving[i]) worker.engines[i]->finish(deadline);
    }
}

// Plays a game and reports it. Returns false when there are to be no more.
bool serve(Worker& worker, int number) {
    const Settings& settings = worker.settings;
    const std::size_t white = white_engine(number);
    const std::size_t opening = idx(number / 2) % settings.openings.size();
    GameRecord record;
    record.number = number;
    const GameEnd end = play_game({worker.engines[white].get(), worker.engines[1 - white].get()},
                                  settings.openings[opening], settings, record);
    // A fault may stem from the order to end, and then is none.
    if (end == GameEnd::STOPPED || stop_requested(worker.around)) return false;
    if (end == GameEnd::IMPOSSIBLE) {
        write_all(worker.around.report_fd, FATAL_LINE + record.reason + "\n");
        return false;
    }
    for (auto& engine : worker.engines) {
        engine->end_game(result_text(record.outcome), record.reason);
    }
    // An engine with a fault starts afresh. The report comes last: who has it knows that
    // engines which play one game only are gone.
    end_engines(worker, [&](std::size_t i) {
        const bool at_fault = record.sides[i == white ? 0 : 1].fault != Fault::NONE;
        return at_fault || settings.restart || !worker.engines[i]->reusable();
    });
    return write_all(worker.around.report_fd, record_line(record) + "\n");
}

}  // namespace

void run_worker(const Settings& settings, int worker_number, int command_fd, int report_fd) {
    setsid();  // keys at the terminal are the parent's
    std::signal(SIGPIPE, SIG_IGN);
    Worker worker = {
        settings,
        {command_fd, report_fd, worker_number, settings.log_folder, settings.memory_mb},
        {}};
    for (std::size_t i = 0; i < worker.engines.size(); ++i) {
        worker.engines[i] = std::make_unique<Engine>(settings.engines[i], worker.around);
    }
    for (int number = next_game(command_fd); number >= 0; number = next_game(command_fd)) {
        if (!serve(worker, number)) break;
    }
    end_engines(worker, [](std::size_t) { return true; });
    _exit(EXIT_SUCCESS);
}

}  // namespace tarsimo::match
