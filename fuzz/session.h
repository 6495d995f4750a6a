/// One run of the engine inside a fuzz target. Input comes through a real pipe on the standard
/// descriptor; the clock and the end of the program are the target's own, so that a session takes
/// milliseconds and the process outlives it.
#ifndef TARSIMO_FUZZ_SESSION_H
#define TARSIMO_FUZZ_SESSION_H

#include <cstdint>
#include <string_view>

namespace tarsimo::fuzz {

/// Longest input of a session in bytes; a pipe holds it whole.
constexpr std::size_t MAX_INPUT = 32768;

/// Parts the input: what stands behind it arrives while the engine thinks, or when it has read
/// everything else and waits.
constexpr char PACKET_END = '\x1e';

/// Run serve() as the whole program, from a fresh engine to the end of its input.
///   input    what arrives on the standard input, cut at MAX_INPUT
///   step_ms  first step of the clock; every reading of it takes a step, and steps double now and
///            then, so that any budget is spent after some hundred stop tests
void run_session(std::string_view input, std::uint32_t step_ms, void (*serve)());

/// run_session() with the step chosen by the first byte of a fuzz input: '0' for 1 ms to '7' for
/// minutes.
void run_timed_session(const std::uint8_t* data, std::size_t size, void (*serve)());

/// Report a broken promise of the engine, which ends the process.
void demand(bool kept, const char* promise);

}  // namespace tarsimo::fuzz

#endif
