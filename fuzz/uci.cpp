// Fuzz target: a modern interface. The first byte chooses the clock, the rest is what it sends.
#include "control/uci.h"
#include "session.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tarsimo::fuzz::run_timed_session(data, size, tarsimo::run_uci);
    return 0;
}
