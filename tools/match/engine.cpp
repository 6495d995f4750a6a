// One engine: its process and pipes. What is said through them is in protocol.cpp.
#include "tools/match/match.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace tarsimo::match {

namespace {

// How long an engine may leave its input pipe full.
constexpr Micros WRITE_PATIENCE = 2 * SECOND;

// A line longer than this is garbage, and is dropped.
constexpr std::size_t LONGEST_LINE = 1 << 16;

constexpr char GAMES_FOLDER[] = ":/usr/games";  // where Debian keeps chess programs

int milliseconds_until(Micros deadline) {
    const Micros left = std::clamp<Micros>(deadline - now(), 0, 3600 * SECOND);
    return static_cast<int>((left + 999) / 1000);
}

void close_pipe(int& fd) {
    if (fd >= 0) close(fd);
    fd = -1;
}

// In the child: become the engine. Whatever fails is told through `error_fd`, which closes by
// itself when the engine takes over.
[[noreturn]] void become(const std::vector<std::string>& words, int input, int output, int errors,
                         int error_fd, pid_t worker) {
    // A session is a process group too, and is scheduled as a group: whatever else runs on the
    // machine delays both engines alike.
    setsid();
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() == worker && dup2(input, STDIN_FILENO) >= 0 && dup2(output, STDOUT_FILENO) >= 0 &&
        dup2(errors, STDERR_FILENO) >= 0) {
        for (const int signal_number : {SIGPIPE, SIGINT, SIGTERM, SIGHUP}) {
            std::signal(signal_number, SIG_DFL);
        }
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        const char* path = std::getenv("PATH");
        setenv("PATH",
               (std::string(path == nullptr ? "/usr/bin:/bin" : path) + GAMES_FOLDER).c_str(), 1);
        std::vector<char*> arguments;
        arguments.reserve(words.size() + 1);
        for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        execvp(arguments[0], arguments.data());
    }
    const int error = errno;
    if (write(error_fd, &error, sizeof error) < 0) _exit(126);
    _exit(127);
}

}  // namespace

Micros now() {
    const auto time = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(time).count();
}

bool stop_requested(const Surroundings& around) {
    pollfd waiting = {around.stop_fd, POLLIN, 0};
    return poll(&waiting, 1, 0) > 0;
}

bool write_all(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

Engine::~Engine() {
    if (running()) finish(now());
    if (log_ != nullptr) std::fclose(log_);
}

bool Engine::launch(std::string& why) {
    if (log_ == nullptr && !around_.log_folder.empty()) {
        const std::string path = around_.log_folder + "/" + command_.name + "-" +
                                 std::to_string(around_.worker + 1) + ".log";
        log_ = std::fopen(path.c_str(), "ae");
        if (log_ != nullptr) std::setvbuf(log_, nullptr, _IOLBF, BUFSIZ);
    }
    std::array<int, 2> to_engine{}, from_engine{}, failure{};
    if (pipe2(to_engine.data(), O_CLOEXEC) != 0 || pipe2(from_engine.data(), O_CLOEXEC) != 0 ||
        pipe2(failure.data(), O_CLOEXEC) != 0) {
        why = std::string("no pipe: ") + std::strerror(errno);
        return false;
    }
    const int errors = log_ != nullptr ? fileno(log_) : open("/dev/null", O_WRONLY | O_CLOEXEC);
    const pid_t worker = getpid();
    pid_ = fork();
    if (pid_ == 0) become(command_.words, to_engine[0], from_engine[1], errors, failure[1], worker);
    const int fork_error = errno;
    for (const int fd : {to_engine[0], from_engine[1], failure[1]}) close(fd);
    if (log_ == nullptr) close(errors);
    input_ = to_engine[1];
    output_ = from_engine[0];
    if (pid_ < 0) {
        pid_ = 0;
        close(failure[0]);
        close_pipe(input_);
        close_pipe(output_);
        why = std::string("no process: ") + std::strerror(fork_error);
        return false;
    }
    write_all(around_.report_fd, std::string(1, ENGINE_LINE) + "+" + std::to_string(pid_) + "\n");
    fcntl(input_, F_SETFL, O_NONBLOCK);
    fcntl(output_, F_SETFL, O_NONBLOCK);

    int error = 0;
    const bool failed = read(failure[0], &error, sizeof error) > 0;
    close(failure[0]);
    if (failed) {
        why = std::string("cannot be run: ") + std::strerror(error);
        finish(now() + SECOND);
    }
    return !failed;
}

void Engine::send(const std::string& lines) {
    if (input_ < 0 || deaf_) return;
    log(">", lines);
    const std::string text = lines + "\n";
    std::size_t sent = 0;
    const Micros deadline = now() + WRITE_PATIENCE;
    while (sent < text.size()) {
        const ssize_t written = write(input_, text.data() + sent, text.size() - sent);
        if (written > 0) {
            sent += static_cast<std::size_t>(written);
        } else if (errno == EAGAIN && now() < deadline) {
            pollfd waiting = {input_, POLLOUT, 0};
            poll(&waiting, 1, milliseconds_until(deadline));
        } else if (errno != EINTR) {
            log("!", errno == EAGAIN ? "takes no more input" : std::strerror(errno));
            deaf_ = true;
            return;
        }
    }
}

// Waits for output. A deadline that has passed still takes what is there.
Engine::Input Engine::receive(Micros deadline) {
    std::array<pollfd, 2> waiting = {{{output_, POLLIN, 0}, {around_.stop_fd, POLLIN, 0}}};
    const int ready = poll(waiting.data(), waiting.size(), milliseconds_until(deadline));
    if (ready < 0 && errno != EINTR) return Input::GONE;
    if (ready > 0 && waiting[1].revents != 0) return Input::STOPPED;
    if (ready <= 0) return now() < deadline ? Input::SOME : Input::LATE;

    std::array<char, 1 << 14> buffer;
    const ssize_t got = read(output_, buffer.data(), buffer.size());
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) return Input::SOME;
    if (got <= 0) return Input::GONE;
    received_at_ = now();
    unread_.append(buffer.data(), static_cast<std::size_t>(got));
    return Input::SOME;
}

bool Engine::take_line(std::string& line) {
    const auto end = unread_.find('\n');
    if (end == std::string::npos) {
        if (unread_.size() > LONGEST_LINE) unread_.clear();
        return false;
    }
    line = unread_.substr(0, end);
    unread_.erase(0, end + 1);
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
    log("<", line);
    return true;
}

void Engine::ask_to_quit() {
    if (!running()) return;
    send("quit");
    close_pipe(input_);
}

std::string Engine::finish(Micros deadline) {
    if (!running()) return "is not running";
    close_pipe(input_);
    siginfo_t status = {};
    // The process is looked at without being taken away, so that its number stays its own until
    // the group has been killed.
    for (;;) {
        const int failed =
            waitid(P_PID, static_cast<id_t>(pid_), &status, WEXITED | WNOHANG | WNOWAIT);
        if (failed != 0 || status.si_pid == pid_ || now() >= deadline) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    kill(-pid_, SIGKILL);
    while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) continue;
    write_all(around_.report_fd, std::string(1, ENGINE_LINE) + "-" + std::to_string(pid_) + "\n");

    std::string how = "killed";
    if (status.si_pid == pid_) {
        how = (status.si_code == CLD_EXITED ? "exit status " : "signal ") +
              std::to_string(status.si_status);
    }
    log("!", how);
    pid_ = 0;
    close_pipe(output_);
    unread_.clear();
    features_ = {};
    deaf_ = false;
    return how;
}

void Engine::log(const char* direction, std::string_view line) {
    if (log_ == nullptr) return;
    const double seconds = static_cast<double>(now()) / static_cast<double>(SECOND);
    while (!line.empty()) {
        const auto end = std::min(line.find('\n'), line.size());
        std::fprintf(log_, "%12.3f %s %.*s\n", seconds, direction, static_cast<int>(end),
                     line.data());
        line.remove_prefix(std::min(end + 1, line.size()));
    }
}

}  // namespace tarsimo::match
