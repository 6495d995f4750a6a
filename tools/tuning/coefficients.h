/// The evaluation as a linear function of its weights: what a position contributes to each, read
/// off the trace of evaluate(). Needs the library with the trace.
///
///   score for white = base + factor * sum over the terms of count * weight
///
/// where a tapered weight is mix * middlegame + (1 - mix) * endgame, and a shelter weight is its
/// middlegame value times the shelter of the colour that counts it.
#ifndef TARSIMO_TOOLS_TUNING_COEFFICIENTS_H
#define TARSIMO_TOOLS_TUNING_COEFFICIENTS_H

#include "eval/weights.h"

#include <array>
#include <cstdint>
#include <vector>

namespace tarsimo::tuning {

/// Values of all weights while they are tuned: middlegame and endgame value of weight i stand
/// at 2 * i and 2 * i + 1.
using Values = std::vector<double>;

/// The values that the engine was built with.
Values built_in_values();

/// How often a weight was counted by each colour, where that makes a difference.
struct Term {
    std::uint16_t weight;
    std::int16_t white;
    std::int16_t black;
};

/// One position. Six bytes a term and 40 bytes beside them.
struct Sample {
    float base;                    ///< what does not depend on the weights, centipawns for white
    float factor;                  ///< scale of drawish material, divisor and damping in one
    float mix;                     ///< 1 with all pieces on the board, 0 without
    std::array<float, 2> shelter;  ///< by colour
    std::uint32_t first_term;
    std::uint16_t tapered_terms;  ///< they come first
    std::uint16_t shelter_terms;
    float result;   ///< of the game, for white
    float opinion;  ///< centipawns for white
    float target;   ///< expected result that the tuner aims at; set by it
};

struct Samples {
    std::vector<Sample> positions;
    std::vector<Term> terms;
    bool have_opinions = false;
};

/// Score of a sample in centipawns for white.
double linear_score(const Samples& samples, const Sample& sample, const Values& values);

/// Evaluate the current position and append what it contributes; result, opinion and target
/// are left at 0. Returns false, with nothing appended, when the score is not a sum of weights:
/// draws by rule and special endings. `score` receives evaluate()'s answer for white.
bool append_sample(Samples& samples, int& score);

}  // namespace tarsimo::tuning

#endif
