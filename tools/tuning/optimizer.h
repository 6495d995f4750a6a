/// Logistic regression of game results on the evaluation (Texel's method: Österlund 2014) by
/// the Adam rule (Kingma and Ba 2014). Knows samples and values only; needs no engine.
#ifndef TARSIMO_TOOLS_TUNING_OPTIMIZER_H
#define TARSIMO_TOOLS_TUNING_OPTIMIZER_H

#include "tools/tuning/coefficients.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace tarsimo::tuning {

/// Expected result of a score in centipawns: 1 / (1 + exp(-k * score)).
double expected_result(double k, double score);

/// The k for which expected_result() of these scores has the least squared error against the
/// results; scores and results by the same index.
double fit_k(const std::vector<double>& scores, const std::vector<double>& results);

/// Set every target to share * result + (1 - share) * expected_result(opinion_k, opinion).
void set_targets(Samples& samples, double share, double opinion_k);

/// Indices of samples by what they are for.
struct Split {
    std::vector<std::uint32_t> training;
    std::vector<std::uint32_t> held_out;
};

/// Hold out about `percent` of the samples, in whole blocks of neighbours, since neighbours come
/// from the same games.
Split split_samples(std::size_t size, double percent, std::uint64_t seed);

/// Mean squared error against the targets.
double mean_error(const Samples& samples, const std::vector<std::uint32_t>& which,
                  const Values& values, double k, unsigned threads);

struct TuningSettings {
    double k = 0.004;
    int passes = 60;         ///< over all training samples
    double step = 1;         ///< of Adam in centipawns at first; falls to a hundredth
    double pull = 200;       ///< a starting value weighs as much as so many balanced positions
    std::uint64_t seed = 1;  ///< of the order of the samples
    unsigned threads = 2;
    std::vector<bool> frozen;  ///< by position in Values; empty for none
};

/// Called after each pass, and before the first as pass 0.
using PassReport = std::function<void(int pass, const Values& values)>;

/// Tune the values on the training samples. The outcome does not depend on `threads`.
void tune(const Samples& samples, std::vector<std::uint32_t> training, Values& values,
          const TuningSettings& settings, const PassReport& report);

}  // namespace tarsimo::tuning

#endif
