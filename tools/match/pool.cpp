// The parent: hands out games, collects results, and sees to it that no process is left behind,
// whatever a worker or an engine does.
#include "tools/match/match.h"

#include "tools/common/command_line.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <set>
#include <thread>

namespace tarsimo::match {

namespace {

constexpr int EXIT_FAULTS = 1;
constexpr int EXIT_SIGNAL = 128;                // plus the number of the signal
constexpr int MAX_ATTEMPTS = 2;                 // of a game whose worker dies
constexpr Micros STOP_PATIENCE = 4 * SECOND;    // for workers to end their engines
constexpr Micros ORPHAN_PATIENCE = SECOND / 5;  // for processes that engines have left

struct Worker {
    int number = 0;
    pid_t pid = 0;
    int command_fd = -1;
    int report_fd = -1;
    std::string unread;
    int game = -1;            // being played, -1 for none
    std::set<pid_t> engines;  // process groups
};

struct Pool {
    explicit Pool(const Settings& given) : settings(given) {}
    const Settings& settings;
    int pgn_fd = -1;
    int unwritten_games = 0;
    std::vector<Worker> workers;
    std::deque<int> games;      // yet to be handed out
    std::vector<int> attempts;  // by game
    Standing standing;
    Micros began = 0;
    bool stopping = false;
    bool impossible = false;
};

volatile std::sig_atomic_t signal_seen = 0;

void record_signal(int number) { signal_seen = number; }

void close_worker(Worker& worker) {
    for (int* fd : {&worker.command_fd, &worker.report_fd}) {
        if (*fd >= 0) close(*fd);
        *fd = -1;
    }
}

// Buries a worker, and kills what engines it may have left running.
void end_worker(Worker& worker) {
    kill(worker.pid, SIGKILL);
    while (waitpid(worker.pid, nullptr, 0) < 0 && errno == EINTR) continue;
    for (const pid_t group : worker.engines) kill(-group, SIGKILL);
    close_worker(worker);
}

// Processes that this one has inherited from dead workers and engines.
std::vector<pid_t> children() {
    const std::string self = std::to_string(getpid());
    std::ifstream list("/proc/" + self + "/task/" + self + "/children");
    std::vector<pid_t> result;
    for (pid_t pid = 0; list >> pid;) result.push_back(pid);
    return result;
}

void end_inherited_processes() {
    const Micros deadline = now() + ORPHAN_PATIENCE;
    for (;;) {
        const pid_t pid = waitpid(-1, nullptr, WNOHANG);
        if (pid < 0) return;
        if (pid > 0) continue;
        if (now() > deadline) {
            for (const pid_t child : children()) kill(child, SIGKILL);
        }
        if (now() > deadline + SECOND) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

bool spawn(Pool& pool, int number) {
    std::array<int, 2> command{}, report{};
    if (pipe2(command.data(), O_CLOEXEC) != 0) return false;
    if (pipe2(report.data(), O_CLOEXEC) != 0) {
        for (const int fd : command) close(fd);
        return false;
    }
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        // A pipe ends when its last writer closes it: others' ends must not live on in here.
        for (Worker& other : pool.workers) close_worker(other);
        close(command[1]);
        close(report[0]);
        for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
            std::signal(signal_number, SIG_DFL);
        }
        run_worker(pool.settings, number, command[0], report[1]);
    }
    close(command[0]);
    close(report[1]);
    Worker worker;
    worker.number = number;
    worker.pid = pid;
    worker.command_fd = command[1];
    worker.report_fd = report[0];
    if (pid < 0) {
        close_worker(worker);
        return false;
    }
    pool.workers.push_back(worker);
    return true;
}

// Gives an idle worker its next game, or the order to end.
void hand_out(Pool& pool, Worker& worker) {
    worker.game = -1;
    if (pool.games.empty() || pool.stopping) {
        if (worker.command_fd >= 0) close(worker.command_fd);
        worker.command_fd = -1;
        return;
    }
    worker.game = pool.games.front();
    pool.games.pop_front();
    write_all(worker.command_fd, std::to_string(worker.game) + "\n");
}

void stop(Pool& pool) {
    pool.stopping = true;
    for (Worker& worker : pool.workers) {
        if (worker.command_fd >= 0) close(worker.command_fd);
        worker.command_fd = -1;
    }
}

void count_game(Pool& pool, const GameRecord& record) {
    const Settings& settings = pool.settings;
    add_game(pool.standing, record);
    if (!write_pgn(pool.pgn_fd, settings, record) && pool.unwritten_games++ == 0) {
        std::fprintf(stderr, "tarsimo-match: cannot write %s: %s\n", settings.pgn_path.c_str(),
                     std::strerror(errno));
    }
    print_progress(settings, pool.standing, record, now() - pool.began);
    if (settings.sequential && !pool.stopping) {
        const double ratio =
            log_likelihood_ratio(pool.standing.pairs, settings.elo0, settings.elo1);
        if (std::abs(ratio) >= sequential_bound()) stop(pool);
    }
}

void take_line(Pool& pool, Worker& worker, const std::string& line) {
    GameRecord record;
    if (line[0] == ENGINE_LINE) {
        const pid_t group = std::atoi(line.c_str() + 2);
        if (line[1] == '+') worker.engines.insert(group);
        else worker.engines.erase(group);
    } else if (line[0] == FATAL_LINE) {
        if (!pool.impossible) std::fprintf(stderr, "tarsimo-match: %s\n", line.c_str() + 1);
        pool.impossible = true;
        stop(pool);
    } else if (parse_record(line, record) && record.number == worker.game) {
        count_game(pool, record);
        hand_out(pool, worker);
    } else {
        kill(worker.pid, SIGKILL);  // its records are inconsistent: another one plays the game
    }
}

// Reads what a worker has sent. Returns false when the worker is gone.
bool read_worker(Pool& pool, Worker& worker) {
    std::array<char, 1 << 14> buffer;
    const ssize_t got = read(worker.report_fd, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) return true;
    if (got <= 0) return false;
    worker.unread.append(buffer.data(), static_cast<std::size_t>(got));
    for (;;) {
        const auto end = worker.unread.find('\n');
        if (end == std::string::npos) return true;
        const std::string line = worker.unread.substr(0, end);
        worker.unread.erase(0, end + 1);
        if (line.size() >= 2) take_line(pool, worker, line);
    }
}

// A worker has ended, whether it was to or not: its game is played again, once.
void replace(Pool& pool, std::size_t index) {
    Worker worker = pool.workers[index];
    pool.workers.erase(pool.workers.begin() + static_cast<std::ptrdiff_t>(index));
    end_worker(worker);
    if (worker.game < 0 || pool.stopping) return;

    const bool again = ++pool.attempts[idx(worker.game)] < MAX_ATTEMPTS;
    std::fprintf(stderr, "tarsimo-match: the worker of game %d has died; the game is %s\n",
                 worker.game + 1, again ? "played again" : "abandoned");
    if (again) pool.games.push_front(worker.game);
    if (pool.games.empty()) return;
    if (spawn(pool, worker.number)) hand_out(pool, pool.workers.back());
    else std::fprintf(stderr, "tarsimo-match: no new worker: %s\n", std::strerror(errno));
}

void serve_workers(Pool& pool, const sigset_t& waiting_signals) {
    Micros kill_at = 0;
    while (!pool.workers.empty()) {
        if (signal_seen != 0 && !pool.stopping) {
            std::printf("stopped\n");
            stop(pool);
        }
        if (pool.stopping && kill_at == 0) kill_at = now() + STOP_PATIENCE;
        if (kill_at != 0 && now() >= kill_at) {
            for (Worker& worker : pool.workers) end_worker(worker);
            pool.workers.clear();
            return;
        }
        std::vector<pollfd> waiting;
        for (const Worker& worker : pool.workers) waiting.push_back({worker.report_fd, POLLIN, 0});
        const timespec tick = {0, 200000000};
        if (ppoll(waiting.data(), waiting.size(), &tick, &waiting_signals) <= 0) continue;
        // From the last to the first: replace() moves those behind.
        for (std::size_t i = waiting.size(); i-- > 0;) {
            if (waiting[i].revents != 0 && !read_worker(pool, pool.workers[i])) replace(pool, i);
        }
    }
}

bool report_unwritable(const std::string& path) {
    std::fprintf(stderr, "tarsimo-match: cannot write %s: %s\n", path.c_str(),
                 std::strerror(errno));
    return false;
}

bool open_files(Pool& pool) {
    const Settings& settings = pool.settings;
    const std::string& folder = settings.log_folder;
    if (!folder.empty()) {
        mkdir(folder.c_str(), 0777);  // or it is there already
        const int log_folder = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (log_folder < 0 || faccessat(log_folder, ".", W_OK | X_OK, AT_EACCESS) != 0) {
            return report_unwritable(folder);
        }
        close(log_folder);
    }
    pool.pgn_fd = open(settings.pgn_path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    return pool.pgn_fd >= 0 || report_unwritable(settings.pgn_path);
}

// Signals arrive while the parent waits and at no other time. A hangup that whoever started the
// match wants to be ignored (nohup) stays so. Returns the signals to be blocked while waiting.
sigset_t catch_signals() {
    sigset_t blocked, waiting_signals;
    sigemptyset(&blocked);
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = record_signal;
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&blocked, signal_number);
        sigaction(signal_number, nullptr, &before);
        if (signal_number == SIGHUP && before.sa_handler == SIG_IGN) continue;
        sigaction(signal_number, &action, nullptr);
    }
    std::signal(SIGPIPE, SIG_IGN);
    sigprocmask(SIG_BLOCK, &blocked, &waiting_signals);
    return waiting_signals;
}

int exit_status(const Pool& pool) {
    if (signal_seen != 0) return EXIT_SIGNAL + signal_seen;
    if (pool.impossible || pool.unwritten_games > 0) return tool::EXIT_IMPOSSIBLE;
    return any_fault(pool.standing) || pool.standing.abandoned > 0 ? EXIT_FAULTS : EXIT_SUCCESS;
}

}  // namespace

int run_match(const Settings& settings) {
    Pool pool(settings);
    if (!open_files(pool)) return tool::EXIT_IMPOSSIBLE;

    const sigset_t waiting_signals = catch_signals();
    // Orphans of workers and engines become children of this process, which then can end them.
    prctl(PR_SET_CHILD_SUBREAPER, 1);

    pool.standing.points.assign(idx(settings.games), -1);
    pool.attempts.assign(idx(settings.games), 0);
    for (int game = 0; game < settings.games; ++game) pool.games.push_back(game);
    pool.began = now();
    for (int number = 0; number < std::min(settings.jobs, settings.games); ++number) {
        if (spawn(pool, number)) hand_out(pool, pool.workers.back());
    }
    if (pool.workers.empty()) {
        std::fprintf(stderr, "tarsimo-match: no worker: %s\n", std::strerror(errno));
        return tool::EXIT_IMPOSSIBLE;
    }
    serve_workers(pool, waiting_signals);
    end_inherited_processes();
    // What is left in a network file's cache may be refused only now.
    if (close(pool.pgn_fd) != 0 && pool.unwritten_games == 0) {
        report_unwritable(settings.pgn_path);
        pool.unwritten_games = pool.standing.played;
    }
    if (!pool.stopping) pool.standing.abandoned = settings.games - pool.standing.played;

    if (!pool.impossible || pool.standing.played > 0) {
        print_summary(settings, pool.standing, now() - pool.began);
    }
    if (pool.unwritten_games > 0) {
        std::fprintf(stderr, "tarsimo-match: %d of %d games are not in %s\n", pool.unwritten_games,
                     pool.standing.played, settings.pgn_path.c_str());
    }
    return tool::finish_output(exit_status(pool));
}

}  // namespace tarsimo::match
