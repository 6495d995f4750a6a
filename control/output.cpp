// The output. Standard streams drop text when a write would block, so it is gathered here.
#include "control/output.h"

#include "control/engine.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace tarsimo {

namespace {

constexpr int OUTPUT = STDOUT_FILENO;
constexpr int WITHOUT_LIMIT = -1;
constexpr std::size_t MAX_GATHERED = 1 << 16;  // bytes; more are sent without being asked

std::string gathered;

// Wait until a write would not block. False when the reader has gone.
bool wait_for_room() {
    pollfd output = {OUTPUT, POLLOUT, 0};
    const int ready = poll(&output, 1, WITHOUT_LIMIT);
    if (ready < 0) return errno == EINTR;
    return (output.revents & (POLLERR | POLLHUP | POLLNVAL)) == 0;
}

// False when the text cannot reach anybody.
bool send(const std::string& text) {
    for (std::size_t sent = 0; sent < text.size();) {
        const ssize_t written = write(OUTPUT, text.data() + sent, text.size() - sent);
        if (written >= 0) {
            sent += static_cast<std::size_t>(written);
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            if (!wait_for_room()) return false;
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

}  // namespace

void print(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    if (length > 0) {
        const std::size_t before = gathered.size();
        gathered.resize(before + static_cast<std::size_t>(length) + 1);
        std::vsnprintf(gathered.data() + before, static_cast<std::size_t>(length) + 1, format,
                       again);
        gathered.pop_back();
    }
    va_end(again);
    if (gathered.size() > MAX_GATHERED) flush_output();
}

void print_line(const char* text) { print("%s\n", text); }

void flush_output() {
    if (gathered.empty()) return;
    std::string text;
    text.swap(gathered);
    if (!send(text)) leave_program();
}

bool output_has_reader() {
    pollfd output = {OUTPUT, POLLOUT, 0};
    return poll(&output, 1, 0) <= 0 || (output.revents & (POLLERR | POLLHUP | POLLNVAL)) == 0;
}

}  // namespace tarsimo
