// The surroundings of a session: clock, end, input in packets, and a fresh engine each time.
#include "session.h"

#include "board/keys.h"
#include "control/clock.h"
#include "control/engine.h"
#include "control/input.h"
#include "control/system.h"
#include "control/think.h"
#include "search/root.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

extern "C" ssize_t __real_read(int descriptor, void* buffer, std::size_t size);
extern "C" ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size);

namespace tarsimo {

namespace {

constexpr int STEPS_BEFORE_DOUBLING = 16;
constexpr std::uint32_t LONGEST_STEP_MS = 1U << 25;
constexpr int READINGS_A_PACKET = 24;

// A session that is still thinking then, by a budget of weeks, is cut off.
constexpr int MAX_READINGS = 1000;

// Of the time that passes, what counts as used and not as skipped.
constexpr std::uint32_t LONGEST_COUNTED_STEP_MS = 60000;

struct SessionEnd {};

std::uint32_t now_ms = 0;
std::uint32_t step_ms = 1;
int readings = 0;

// Over all sessions.
std::uint64_t passed_ms = 0;
std::uint64_t passed_in_counted_steps_ms = 0;

std::string_view unsent;
std::size_t unread = 0;
int input_end = -1;  // where a session's input is written, -1 when it has ended

void end_input() {
    if (input_end >= 0) close(input_end);
    input_end = -1;
}

void send_packet() {
    if (input_end < 0) return;
    const std::string_view packet = unsent.substr(0, unsent.find(fuzz::PACKET_END));
    unsent.remove_prefix(std::min(packet.size() + 1, unsent.size()));
    const ssize_t written = write(input_end, packet.data(), packet.size());
    fuzz::demand(written == static_cast<ssize_t>(packet.size()), "the pipe takes the input");
    unread += packet.size();
    if (unsent.empty()) end_input();
}

void open_input(std::string_view input) {
    std::array<int, 2> ends{};
    fuzz::demand(pipe(ends.data()) == 0, "there is a pipe");
    dup2(ends[0], STDIN_FILENO);
    close(ends[0]);
    input_end = ends[1];
    unsent = input;
    unread = 0;
    send_packet();
    restart_input();
}

// The keys of a program's first game, so that a session is the same whatever ran before it.
void restore_keys() {
    static const auto first_keys = zobrist;
    static const std::uint64_t first_side_key = side_key;
    zobrist = first_keys;
    side_key = first_side_key;
    compute_hash_key();
}

void print_virtual_time() {
    constexpr double MS_PER_HOUR = 3600000.0;
    std::fprintf(stderr, "stat::virtual_hours: %.2f, %.2f of them in steps of a minute at most\n",
                 static_cast<double>(passed_ms) / MS_PER_HOUR,
                 static_cast<double>(passed_in_counted_steps_ms) / MS_PER_HOUR);
}

void start_engine() {
    xboard_mode = false;
    stop_requested = pondering = time_extended = false;
    root = {};
    init_engine();
    restore_keys();
    reset_search();
}

}  // namespace

int clock_ms() {
    if (++readings > MAX_READINGS) throw SessionEnd{};
    if (readings % STEPS_BEFORE_DOUBLING == 0) step_ms = std::min(2 * step_ms, LONGEST_STEP_MS);
    if (readings % READINGS_A_PACKET == 0) send_packet();
    now_ms += step_ms;
    passed_ms += step_ms;
    if (step_ms <= LONGEST_COUNTED_STEP_MS) passed_in_counted_steps_ms += step_ms;
    return static_cast<int>(now_ms);
}

void end_program(int) { throw SessionEnd{}; }

namespace fuzz {

void demand(bool kept, const char* promise) {
    if (kept) return;
    std::fprintf(stderr, "broken: %s\n", promise);
    std::abort();
}

void run_session(std::string_view input, std::uint32_t first_step_ms, void (*serve)()) {
    now_ms = 0x7FFFFF00;  // the reading wraps around in every session
    step_ms = first_step_ms;
    readings = 0;
    open_input(input.substr(0, MAX_INPUT));
    try {
        start_engine();
        serve();
    } catch (const SessionEnd&) {}
    end_input();
}

void run_timed_session(const std::uint8_t* data, std::size_t size, void (*serve)()) {
    constexpr std::array<std::uint32_t, 8> steps = {1, 6, 40, 200, 1000, 5000, 30000, 200000};
    if (size == 0) return;
    run_session({reinterpret_cast<const char*>(data) + 1, size - 1}, steps[data[0] % 8], serve);
}

}  // namespace fuzz

}  // namespace tarsimo

// A read that would wait for input lets the next packet arrive.
ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size) {
    using namespace tarsimo;
    if (descriptor != STDIN_FILENO) return __real_read(descriptor, buffer, size);
    const bool waits = (fcntl(descriptor, F_GETFL) & O_NONBLOCK) == 0;
    while (waits && unread == 0 && input_end >= 0) send_packet();
    const ssize_t got = __real_read(descriptor, buffer, size);
    if (got > 0) unread -= static_cast<std::size_t>(got);
    return got;
}

// What the engine prints is dropped; the fuzzer's own reports go to standard error, and so does how
// long the engine believes that it has thought.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
int LLVMFuzzerInitialize(int*, char***) {
    std::atexit(tarsimo::print_virtual_time);
    return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}
