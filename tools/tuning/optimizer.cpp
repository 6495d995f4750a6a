#include "tools/tuning/optimizer.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <span>
#include <thread>

namespace tarsimo::tuning {

namespace {

constexpr std::size_t BATCH = 16384;
constexpr std::size_t SLICES = 16;  // parts of a batch, whatever the number of threads
constexpr std::size_t BLOCK = 1000;

// Adam's own constants, and the share of the first step that the last one has.
constexpr double MEAN_DECAY = 0.9;
constexpr double SQUARE_DECAY = 0.999;
constexpr double TINY = 1e-12;
constexpr double LAST_STEP_SHARE = 0.01;

using Indices = std::span<const std::uint32_t>;

Indices slice_of(Indices all, std::size_t slice) {
    const std::size_t begin = all.size() * slice / SLICES;
    return all.subspan(begin, all.size() * (slice + 1) / SLICES - begin);
}

// Call work(slice) for every slice, on several threads.
template <typename Work> void for_each_slice(unsigned threads, const Work& work) {
    std::vector<std::thread> pool;
    for (unsigned t = 0; t < threads; ++t) {
        pool.emplace_back([&work, t, threads] {
            for (std::size_t slice = t; slice < SLICES; slice += threads) work(slice);
        });
    }
    for (std::thread& thread : pool) thread.join();
}

// Add the gradient of the squared error of a slice.
void add_gradient(const Samples& samples, Indices which, const Values& values, double k,
                  Values& gradient) {
    for (const std::uint32_t index : which) {
        const Sample& sample = samples.positions[index];
        const double expected = expected_result(k, linear_score(samples, sample, values));
        const double slope =
            2 * (expected - sample.target) * expected * (1 - expected) * k * sample.factor;
        const double middlegame = slope * sample.mix;
        const double endgame = slope - middlegame;
        const Term* term = samples.terms.data() + sample.first_term;
        for (int i = 0; i < sample.tapered_terms; ++i, ++term) {
            const int count = term->white - term->black;
            gradient[2 * term->weight] += middlegame * count;
            gradient[2 * term->weight + 1] += endgame * count;
        }
        for (int i = 0; i < sample.shelter_terms; ++i, ++term) {
            gradient[2 * term->weight] +=
                slope * (term->white * sample.shelter[0] - term->black * sample.shelter[1]);
        }
    }
}

class Adam {
  public:
    explicit Adam(std::size_t size) : mean_(size), square_(size) {}

    void step(Values& values, const Values& gradient, double size,
              const std::vector<bool>& frozen) {
        mean_share_ *= MEAN_DECAY;
        square_share_ *= SQUARE_DECAY;
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (!frozen.empty() && frozen[i]) continue;
            mean_[i] = MEAN_DECAY * mean_[i] + (1 - MEAN_DECAY) * gradient[i];
            square_[i] = SQUARE_DECAY * square_[i] + (1 - SQUARE_DECAY) * gradient[i] * gradient[i];
            const double square = std::sqrt(square_[i] / (1 - square_share_));
            values[i] -= size * mean_[i] / (1 - mean_share_) / (square + TINY);
        }
    }

  private:
    Values mean_;
    Values square_;
    double mean_share_ = 1;
    double square_share_ = 1;
};

}  // namespace

double expected_result(double k, double score) { return 1 / (1 + std::exp(-k * score)); }

double fit_k(const std::vector<double>& scores, const std::vector<double>& results) {
    const auto error = [&](double k) {
        double sum = 0;
        for (std::size_t i = 0; i < scores.size(); ++i) {
            const double difference = expected_result(k, scores[i]) - results[i];
            sum += difference * difference;
        }
        return sum;
    };
    // Golden section (Kiefer 1953).
    const double ratio = (std::sqrt(5.0) - 1) / 2;
    double low = 0.0001;
    double high = 0.05;
    double left = high - ratio * (high - low);
    double right = low + ratio * (high - low);
    double left_error = error(left);
    double right_error = error(right);
    while (high - low > 1e-6) {
        if (left_error < right_error) {
            high = right;
            right = left;
            right_error = left_error;
            left = high - ratio * (high - low);
            left_error = error(left);
        } else {
            low = left;
            left = right;
            left_error = right_error;
            right = low + ratio * (high - low);
            right_error = error(right);
        }
    }
    return (low + high) / 2;
}

void set_targets(Samples& samples, double share, double opinion_k) {
    for (Sample& sample : samples.positions) {
        const double opinion = expected_result(opinion_k, sample.opinion);
        sample.target = static_cast<float>(share * sample.result + (1 - share) * opinion);
    }
}

Split split_samples(std::size_t size, double percent, std::uint64_t seed) {
    Split split;
    std::mt19937_64 random(seed);
    bool held_out = false;
    for (std::size_t i = 0; i < size; ++i) {
        if (i % BLOCK == 0) held_out = static_cast<double>(random() % 10000) < percent * 100;
        (held_out ? split.held_out : split.training).push_back(static_cast<std::uint32_t>(i));
    }
    return split;
}

double mean_error(const Samples& samples, const std::vector<std::uint32_t>& which,
                  const Values& values, double k, unsigned threads) {
    std::array<double, SLICES> sums{};
    for_each_slice(threads, [&](std::size_t slice) {
        for (const std::uint32_t index : slice_of(which, slice)) {
            const Sample& sample = samples.positions[index];
            const double difference =
                expected_result(k, linear_score(samples, sample, values)) - sample.target;
            sums[slice] += difference * difference;
        }
    });
    double sum = 0;
    for (const double part : sums) sum += part;
    return which.empty() ? 0 : sum / static_cast<double>(which.size());
}

void tune(const Samples& samples, std::vector<std::uint32_t> training, Values& values,
          const TuningSettings& settings, const PassReport& report) {
    const Values start = values;
    const std::size_t batches = (training.size() + BATCH - 1) / BATCH;
    const double last_step = static_cast<double>(batches) * settings.passes;
    // Half the curvature of the error at a balanced position.
    const double sensitivity = settings.k / 4 * settings.k / 4;
    const double pull = 2 * settings.pull * sensitivity / static_cast<double>(training.size());

    std::mt19937_64 random(settings.seed);
    Adam adam(values.size());
    std::vector<Values> parts(SLICES, Values(values.size()));
    Values gradient(values.size());
    double steps = 0;
    report(0, values);
    for (int pass = 1; pass <= settings.passes; ++pass) {
        std::shuffle(training.begin(), training.end(), random);
        for (std::size_t first = 0; first < training.size(); first += BATCH, ++steps) {
            const Indices batch =
                Indices(training).subspan(first, std::min(BATCH, training.size() - first));
            for_each_slice(settings.threads, [&](std::size_t slice) {
                std::fill(parts[slice].begin(), parts[slice].end(), 0.0);
                add_gradient(samples, slice_of(batch, slice), values, settings.k, parts[slice]);
            });
            for (std::size_t i = 0; i < values.size(); ++i) {
                double sum = 0;
                for (const Values& part : parts) sum += part[i];
                gradient[i] =
                    sum / static_cast<double>(batch.size()) + pull * (values[i] - start[i]);
            }
            const double step = settings.step * std::pow(LAST_STEP_SHARE, steps / last_step);
            adam.step(values, gradient, step, settings.frozen);
        }
        report(pass, values);
    }
}

}  // namespace tarsimo::tuning
