// Fuzz target: a GUI. The first byte chooses the clock, the rest is what it sends after "xboard".
#include "control/cecp.h"
#include "control/engine.h"
#include "session.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tarsimo::fuzz::run_timed_session(data, size, [] {
        tarsimo::xboard_mode = true;
        tarsimo::run_cecp();
    });
    return 0;
}
