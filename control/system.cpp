// What the program asks of its surroundings beside input and output: the time, and its own end.
// They stand apart so that a program of many sessions, with a time of its own, can put others in
// their place.
#include "control/control.h"

#include <sys/time.h>

#include <cstdlib>

namespace tarsimo {

int clock_ms() {
    timeval now{};
    gettimeofday(&now, nullptr);
    const std::int64_t ms = static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_usec / 1000;
    return static_cast<int>(static_cast<std::uint32_t>(ms));
}

void end_program(int status) { std::exit(status); }

}  // namespace tarsimo
