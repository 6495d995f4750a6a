// Fuzz target: a person's keyboard. The first byte chooses the clock, the rest is typed.
#include "control/console.h"
#include "control/display.h"
#include "session.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tarsimo::fuzz::run_timed_session(data, size, [] {
        tarsimo::print_board();
        tarsimo::run_console();
    });
    return 0;
}
