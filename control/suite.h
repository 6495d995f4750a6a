/// The built-in suite of tactical and endgame positions.
#ifndef TARSIMO_CONTROL_SUITE_H
#define TARSIMO_CONTROL_SUITE_H

namespace tarsimo {

/// One position of the suite.
struct SuitePosition {
    const char* caption;  ///< printed before it, names the expected move
    const char* fen;
};

constexpr int SUITE_SIZE = 13;

/// Position 0..12 of the suite.
const SuitePosition& suite_position(int index);

/// Think about every position of the suite in turn and report.
void run_suite();

}  // namespace tarsimo

#endif
