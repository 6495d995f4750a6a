// Stands in for control/system.cpp in the whole program under AFL++: seconds pass at every reading
// of the clock, so that no run thinks for long.
#include "control/system.h"

#include <cstdint>
#include <cstdlib>

namespace tarsimo {

int clock_ms() {
    static std::uint32_t now_ms = 0;
    static std::uint32_t step_ms = 1000;
    now_ms += step_ms;
    step_ms += step_ms / 4;
    if (step_ms > 1U << 25) step_ms = 1U << 25;
    return static_cast<int>(now_ms);
}

void end_program(int status) { std::exit(status); }

}  // namespace tarsimo
