// The system's clock and the end of the process.
#include "control/system.h"

#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace tarsimo {

int clock_ms() {
    // Not the time of day, which somebody may set while the engine thinks.
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const std::int64_t ms = static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
    return static_cast<int>(static_cast<std::uint32_t>(ms));
}

void end_program(int status) { std::exit(status); }

}  // namespace tarsimo
