// The terminal layer: lines and keys from standard input, output that reaches its reader at
// once. Input is read character by character, never ahead of the line in hand, so that a
// poll of the descriptor sees every line that has not been taken.
#include "control/control.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace tarsimo {

namespace {

constexpr int INPUT = STDIN_FILENO;

// The line being gathered. A line may arrive in pieces, some of them during a search.
std::string gathered;
bool gathered_complete = false;
bool end_of_input = false;

// Take one character of the line; the newline completes it.
void gather(char c) {
    if (c == '\n') gathered_complete = true;
    else if (gathered.size() < MAX_LINE) gathered += c;
}

// Read one character, waiting for it if need be. An error other than an interruption, or one
// that O_NONBLOCK left by somebody else causes, ends the input.
void read_character() {
    char c = 0;
    ssize_t got = 0;
    do got = read(INPUT, &c, 1);
    while (got < 0 && errno == EINTR);
    if (got == 1) {
        gather(c);
    } else if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
        fd_set set;
        FD_ZERO(&set);
        FD_SET(INPUT, &set);
        select(INPUT + 1, &set, nullptr, nullptr, nullptr);
    } else {
        end_of_input = true;
    }
}

bool character_waiting() {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(INPUT, &set);
    timeval at_once = {0, 0};
    const int ready = select(INPUT + 1, &set, nullptr, nullptr, &at_once);
    if (ready < 0 && errno == EBADF) end_of_input = true;
    return ready > 0;
}

// Read one character that is there already; false when there is none.
bool read_key(char& key) {
    const int flags = fcntl(INPUT, F_GETFL);
    if (flags == -1) return false;
    fcntl(INPUT, F_SETFL, flags | O_NONBLOCK);
    const ssize_t got = read(INPUT, &key, 1);
    fcntl(INPUT, F_SETFL, flags);
    return got == 1;
}

// Signals that stop or end the program wait while the terminal is in key mode, or they would
// leave it there.
class SignalsHeld {
  public:
    SignalsHeld() {
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : {SIGINT, SIGTERM, SIGQUIT, SIGHUP, SIGTSTP})
            sigaddset(&held, signal);
        sigprocmask(SIG_BLOCK, &held, &before_);
    }
    ~SignalsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

  private:
    sigset_t before_{};
};

}  // namespace

bool read_line(std::string& line) {
    while (!gathered_complete && !end_of_input) read_character();
    if (!gathered_complete && gathered.empty()) return false;
    line = gathered.substr(0, gathered.find('\0'));
    gathered.clear();
    gathered_complete = false;
    return true;
}

bool line_waiting() {
    while (!gathered_complete && !end_of_input && character_waiting()) read_character();
    return gathered_complete || end_of_input;
}

bool input_ended() { return end_of_input && !gathered_complete && gathered.empty(); }

void restart_input() {
    gathered.clear();
    gathered_complete = false;
    end_of_input = false;
}

bool key_pressed() {
    if (gathered_complete || !gathered.empty()) return true;
    if (end_of_input) return false;

    const SignalsHeld held;
    char key = 0;
    bool pressed = false;
    termios before{};
    if (tcgetattr(INPUT, &before) == 0) {
        termios keys = before;
        keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        tcsetattr(INPUT, TCSANOW, &keys);
        pressed = read_key(key);
        tcsetattr(INPUT, TCSANOW, &before);
    } else {
        pressed = read_key(key);
    }
    if (pressed) gather(key);
    return pressed;
}

void flush_output() {
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) leave_program();
}

bool output_has_reader() {
    pollfd output = {STDOUT_FILENO, POLLOUT, 0};
    return poll(&output, 1, 0) <= 0 || (output.revents & (POLLERR | POLLHUP | POLLNVAL)) == 0;
}

void to_upper(std::string& text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
}

std::string first_word(const std::string& line) {
    constexpr char blanks[] = " \t\n\v\f\r";
    const auto begin = line.find_first_not_of(blanks);
    if (begin == std::string::npos) return "";
    return line.substr(begin, line.find_first_of(blanks, begin) - begin);
}

int parse_number(const std::string& text, int limit) {
    const long number = std::strtol(text.c_str(), nullptr, 10);
    if (number > limit) return limit;
    if (number < -limit) return -limit;
    return static_cast<int>(number);
}

}  // namespace tarsimo
