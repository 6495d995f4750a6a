// Elo and the sequential test, from counts of game pairs.
//
// Sequential test: A. Wald, "Sequential tests of statistical hypotheses" (1945), with the
// likelihoods maximised under each hypothesis as in X. Li, J. Liu and Z. Ying, "Generalized
// sequential probability ratio test for separate families of hypotheses" (2014). The likeliest
// distribution with a given mean is that of A. Owen, "Empirical likelihood ratio confidence
// intervals for a single functional" (1988).
#include "tools/match/match.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace tarsimo::match {

namespace {

using Distribution = std::array<double, std::tuple_size_v<PairCounts>>;

constexpr double NORMAL_95 = 1.959963984540054;  // two-sided 95 % of the normal distribution
constexpr double TAIL = 0.025;
constexpr double ERROR_RATE = 0.05;  // of both kinds, in the sequential test

// Stands for a count of 0 in the sequential test: an outcome not yet seen is not impossible.
constexpr double UNSEEN = 1e-3;

constexpr double score_of(std::size_t outcome) { return static_cast<double>(outcome) / 4; }

double count_of(const PairCounts& pairs) { return std::accumulate(pairs.begin(), pairs.end(), 0); }

double mean_of(const Distribution& frequencies) {
    double mean = 0;
    for (std::size_t i = 0; i < frequencies.size(); ++i) mean += frequencies[i] * score_of(i);
    return mean;
}

// The distribution with mean `score` under which the observed frequencies are likeliest:
// f / (1 + x (s - score)), with x the root of a falling function, found by bisection.
Distribution likeliest_with_mean(const Distribution& frequencies, double score) {
    double low = -1 / (1 - score);
    double high = 1 / score;
    const auto excess = [&](double x) {
        double sum = 0;
        for (std::size_t i = 0; i < frequencies.size(); ++i) {
            const double distance = score_of(i) - score;
            sum += frequencies[i] * distance / (1 + x * distance);
        }
        return sum;
    };
    for (int step = 0; step < 200; ++step) {
        const double middle = (low + high) / 2;
        (excess(middle) > 0 ? low : high) = middle;
    }
    Distribution result{};
    for (std::size_t i = 0; i < result.size(); ++i) {
        result[i] = frequencies[i] / (1 + (low + high) / 2 * (score_of(i) - score));
    }
    return result;
}

}  // namespace

double elo_of_score(double score) {
    if (score <= 0) return -std::numeric_limits<double>::infinity();
    if (score >= 1) return std::numeric_limits<double>::infinity();
    return 400 * std::log10(score / (1 - score));
}

double score_of_elo(double elo) { return 1 / (1 + std::pow(10, -elo / 400)); }

EloEstimate estimate_elo(const PairCounts& pairs) {
    const double count = count_of(pairs);
    Distribution frequencies{};
    for (std::size_t i = 0; i < pairs.size(); ++i) frequencies[i] = pairs[i] / count;
    const double mean = mean_of(frequencies);

    double variance = 0;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        variance += frequencies[i] * (score_of(i) - mean) * (score_of(i) - mean);
    }
    if (variance < 1e-12) {
        // All pairs alike: some other outcome may still have a probability up to `unseen`
        // (the exact limit of Clopper and Pearson, 1934), at worst an outcome at the far end.
        const double unseen = 1 - std::pow(TAIL, 1 / count);
        const double chance = std::pow(0.5, count);
        const double superiority = mean > 0.5 ? 1 - chance : mean < 0.5 ? chance : 0.5;
        return {elo_of_score(mean), elo_of_score(mean * (1 - unseen)),
                elo_of_score(mean * (1 - unseen) + unseen), superiority};
    }
    // The unbiased variance of a sample; one pair alone has none and was caught above.
    const double error = std::sqrt(variance / (count - 1));
    return {elo_of_score(mean), elo_of_score(mean - NORMAL_95 * error),
            elo_of_score(mean + NORMAL_95 * error),
            0.5 * std::erfc((0.5 - mean) / (error * std::sqrt(2.0)))};
}

double log_likelihood_ratio(const PairCounts& pairs, double elo0, double elo1) {
    if (count_of(pairs) == 0) return 0;
    Distribution frequencies{};
    std::transform(pairs.begin(), pairs.end(), frequencies.begin(),
                   [](int count) { return std::max<double>(count, UNSEEN); });
    const double total = std::accumulate(frequencies.begin(), frequencies.end(), 0.0);
    for (double& frequency : frequencies) frequency /= total;

    const Distribution under0 = likeliest_with_mean(frequencies, score_of_elo(elo0));
    const Distribution under1 = likeliest_with_mean(frequencies, score_of_elo(elo1));
    double ratio = 0;
    for (std::size_t i = 0; i < frequencies.size(); ++i) {
        ratio += frequencies[i] * std::log(under1[i] / under0[i]);
    }
    return total * ratio;
}

double sequential_bound() { return std::log((1 - ERROR_RATE) / ERROR_RATE); }

}  // namespace tarsimo::match
