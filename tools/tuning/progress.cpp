#include "tools/tuning/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace tarsimo::tuning {

namespace {

constexpr double TERMINAL_INTERVAL = 0.5;  // seconds between reports
constexpr double FILE_INTERVAL = 20;

}  // namespace

Progress::Progress(const char* what, std::uint64_t total, std::uint64_t done)
    : what_(what), total_(total), first_(done), terminal_(isatty(STDERR_FILENO) == 1) {}

double Progress::seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

void Progress::update(std::uint64_t done, const std::string& note) {
    if (seconds() < next_report_) return;
    next_report_ = seconds() + (terminal_ ? TERMINAL_INTERVAL : FILE_INTERVAL);
    print(done, note);
    std::fprintf(stderr, terminal_ ? "\r" : "\n");
    std::fflush(stderr);
}

void Progress::finish(std::uint64_t done, const std::string& note) {
    print(done, note);
    std::fprintf(stderr, "\n");
}

void Progress::print(std::uint64_t done, const std::string& note) {
    const double elapsed = std::max(seconds(), 1e-6);
    const double rate = (static_cast<double>(done) - static_cast<double>(first_)) / elapsed;
    std::fprintf(stderr, "%" PRIu64 " of %" PRIu64 " %s, %.0f/s, %.0f s", done, total_, what_, rate,
                 elapsed);
    if (rate > 0 && done < total_) {
        std::fprintf(stderr, ", %.0f s left", static_cast<double>(total_ - done) / rate);
    }
    std::fprintf(stderr, "%s  ", note.c_str());
}

}  // namespace tarsimo::tuning
