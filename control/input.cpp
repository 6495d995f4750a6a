// Lines and keys from standard input.
#include "control/input.h"

#include "control/terminal.h"

#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace tarsimo {

namespace {

constexpr int INPUT = STDIN_FILENO;
constexpr std::size_t LINE_LIMIT = 255;
constexpr std::size_t LONG_LINE_LIMIT = 1000000;
constexpr std::size_t PIECE_SIZE = 4096;  // bytes read at a time, where not one by one
constexpr int MAX_READS_PER_POLL = 512;   // enough for any line, a few hundred microseconds

// The line being gathered. A line may arrive in pieces, some of them during a search.
std::string gathered;
bool gathered_complete = false;
bool end_of_input = false;

// What a read of a piece has brought beyond the end of the line.
std::string read_ahead;

std::size_t line_limit = LINE_LIMIT;

// Take characters of the line up to its newline, which completes it; what is left is kept.
void gather(const char* text, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        if (text[i] == '\n') {
            gathered_complete = true;
            read_ahead.assign(text + i + 1, size - i - 1);
            return;
        }
        if (gathered.size() < line_limit) gathered += text[i];
    }
}

bool ready_to_read(timeval* timeout) {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(INPUT, &set);
    const int ready = select(INPUT + 1, &set, nullptr, nullptr, timeout);
    if (ready < 0 && errno == EBADF) end_of_input = true;
    return ready > 0;
}

// Read a character of the line, or a piece of what will be dropped, waiting for it if need be. An
// error other than an interruption, or one that O_NONBLOCK left by somebody else causes, ends the
// input.
void read_some() {
    if (!read_ahead.empty()) {
        std::string text;
        text.swap(read_ahead);
        gather(text.data(), text.size());
        return;
    }
    std::array<char, PIECE_SIZE> piece;
    const bool by_character = line_limit == LINE_LIMIT && gathered.size() < LINE_LIMIT;
    const std::size_t wanted = by_character ? 1 : piece.size();
    ssize_t got = 0;
    do got = read(INPUT, piece.data(), wanted);
    while (got < 0 && errno == EINTR);
    if (got > 0) {
        gather(piece.data(), static_cast<std::size_t>(got));
    } else if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
        ready_to_read(nullptr);
    } else {
        end_of_input = true;
    }
}

bool something_waiting() {
    timeval at_once = {0, 0};
    return !read_ahead.empty() || ready_to_read(&at_once);
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

}  // namespace

bool read_line(std::string& line, IdleWork work) {
    restore_terminal();
    while (!gathered_complete && !end_of_input) {
        while (work != nullptr && !something_waiting() && work()) {}
        read_some();
    }
    if (!gathered_complete && gathered.empty()) return false;
    line = waiting_line();
    gathered.clear();
    gathered_complete = false;
    return true;
}

bool line_waiting() {
    for (int reads = 0; reads < MAX_READS_PER_POLL; ++reads) {
        if (gathered_complete || end_of_input || !something_waiting()) break;
        read_some();
    }
    return gathered_complete || end_of_input;
}

std::string waiting_line() { return gathered.substr(0, gathered.find('\0')); }

bool input_ended() { return end_of_input && !gathered_complete && gathered.empty(); }

bool key_pressed() {
    if (gathered_complete || !gathered.empty() || !read_ahead.empty()) return true;
    if (end_of_input || !may_use_terminal()) return false;

    char key = 0;
    const KeyMode key_mode;
    const bool pressed = read_key(key);
    if (pressed) gather(&key, 1);
    return pressed;
}

void accept_long_lines() { line_limit = LONG_LINE_LIMIT; }

void restart_input() {
    gathered.clear();
    gathered_complete = false;
    end_of_input = false;
    read_ahead.clear();
    line_limit = LINE_LIMIT;
}

}  // namespace tarsimo
