// tarsimo-tune: tunes all weights of the evaluation at once on labelled positions.
#include "control/engine.h"
#include "control/fen.h"
#include "control/think.h"
#include "tools/common/text_file.h"
#include "tools/tuning/optimizer.h"
#include "tools/tuning/options.h"
#include "tools/tuning/progress.h"
#include "tools/tuning/records.h"
#include "tools/tuning/weight_list.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>

namespace {

using namespace tarsimo;
using namespace tarsimo::tuning;

constexpr char USAGE[] = R"(usage: tarsimo-tune POSITIONS FOLDER [OPTION]...

Tunes all weights of the evaluation on labelled positions. The target of a
position is a share of its game's result and the rest of the second opinion,
where all positions have one. FOLDER, which must exist, receives

  weights.inc   the list with tuned values, to take the place of the old one
  weights.tsv   each weight: number of positions, its value before and after
  errors.tsv    error on training and held-out positions after each pass

  --list FILE          list that the program was built with (eval/weights.inc)
  --share X            of the game's result in the target (0.5)
  --passes N           over the training positions (60)
  --step X             of the first pass in centipawns (1)
  --pull N             a starting value counts as N positions (200)
  --hold-out PERCENT   positions not trained on (8)
  --freeze NAME,NAME   groups of weights that stay as they are
  --seed N             order of the positions (1)
  --threads N          all processors without it
)";

// The linear sum may differ from the evaluation by its roundings; more is a fault of the trace.
constexpr double ROUNDING = 4;  // centipawns

struct Settings {
    std::string list = "eval/weights.inc";
    double share = 0.5;
    double hold_out = 8;
    std::string freeze;
    std::uint64_t passes = 60;
    std::uint64_t threads = std::max(1U, std::thread::hardware_concurrency());
    TuningSettings tuning;
};

std::ofstream open_output(const std::string& path) {
    require_writable(path);
    return std::ofstream(path);
}

void require_written(std::ofstream& out, const std::string& path) {
    if (!out.flush()) tool::fail("cannot write " + path);
}

std::uint64_t count_lines(const std::string& path) {
    tool::TextFile in(path);
    std::uint64_t lines = 0;
    for (std::string line; in.next(line);) ++lines;
    if (!in.fault().empty()) tool::fail(in.fault());
    return lines;
}

// ---------------------------------------------------------------------------
// Input
// ---------------------------------------------------------------------------

Samples read_samples(const std::string& path) {
    const Values values = built_in_values();
    Samples samples;
    samples.have_opinions = true;
    Progress progress("positions read", count_lines(path));
    tool::TextFile in(path);
    std::uint64_t read = 0;
    std::uint64_t left_out = 0;
    double worst = 0;
    for (std::string line; in.next(line);) {
        const auto position = parse_position(line);
        if (!position) {
            tool::fail(in.place() + ": not a labelled position: " + tool::printable(line));
        }
        progress.update(++read);
        set_up_position(*position);
        int score = 0;
        if (!append_sample(samples, score)) {
            ++left_out;
            continue;
        }
        Sample& sample = samples.positions.back();
        sample.result = static_cast<float>(position->result);
        sample.opinion = static_cast<float>(position->opinion.value_or(0));
        samples.have_opinions = samples.have_opinions && position->opinion.has_value();
        worst = std::max(worst, std::abs(linear_score(samples, sample, values) - score));
        if (worst > ROUNDING) {
            tool::fail(in.place() + ": the trace does not explain the evaluation of " + line);
        }
    }
    if (!in.fault().empty()) tool::fail(in.fault());
    if (read > 0) progress.finish(read);
    if (samples.positions.empty()) tool::fail("no positions in " + path);
    std::printf("positions          %zu, and %" PRIu64 " left out that have a score of their own\n",
                samples.positions.size(), left_out);
    std::printf("terms a position   %.1f\n", static_cast<double>(samples.terms.size()) /
                                                 static_cast<double>(samples.positions.size()));
    std::printf("linear sum         within %.2f centipawns of the evaluation\n", worst);
    return samples;
}

std::vector<bool> frozen_values(const std::string& names) {
    std::vector<bool> frozen(2 * WEIGHT_COUNT, false);
    std::istringstream in(names);
    std::string name;
    while (std::getline(in, name, ',')) {
        const WeightGroup* const group = find_group(name);
        if (group == nullptr) tool::fail("no such group of weights: " + name);
        const auto first = frozen.begin() + 2 * group->first;
        std::fill(first, first + 2 * group->size, true);
    }
    return frozen;
}

// ---------------------------------------------------------------------------
// Targets
// ---------------------------------------------------------------------------

// Fits k for the evaluation and for the second opinion to the results, and sets the targets.
double scale_to_results(Samples& samples, double share, const Values& values) {
    std::vector<double> scores;
    std::vector<double> opinions;
    std::vector<double> results;
    for (const Sample& sample : samples.positions) {
        scores.push_back(linear_score(samples, sample, values));
        opinions.push_back(sample.opinion);
        results.push_back(sample.result);
    }
    if (!samples.have_opinions) share = 1;
    const double k = fit_k(scores, results);
    const double opinion_k = share < 1 ? fit_k(opinions, results) : k;
    std::printf("k                  %.6f a centipawn\n", k);
    if (share < 1) std::printf("k of opinions      %.6f a centipawn\n", opinion_k);
    std::printf("target             %.2f result, %.2f second opinion\n", share, 1 - share);
    set_targets(samples, share, opinion_k);
    return k;
}

// ---------------------------------------------------------------------------
// Output
// ---------------------------------------------------------------------------

std::vector<std::uint64_t> count_positions(const Samples& samples) {
    std::vector<std::uint64_t> counts(WEIGHT_COUNT, 0);
    for (const Term& term : samples.terms) ++counts[term.weight];
    return counts;
}

void write_report(const std::string& path, const Samples& samples, const Values& before,
                  const Values& after) {
    const auto counts = count_positions(samples);
    std::ofstream out = open_output(path);
    out << "weight\tpositions\tmiddlegame before\tafter\tendgame before\tafter\n";
    for (const WeightGroup& group : weight_groups) {
        for (int i = 0; i < group.size; ++i) {
            const auto weight = idx(group.first + i);
            out << group.name << '[' << i << "]\t" << counts[weight];
            for (const std::size_t value : {2 * weight, 2 * weight + 1}) {
                out << '\t' << before[value] << '\t' << after[value];
            }
            out << '\n';
        }
    }
    require_written(out, path);
}

Values tune_with_log(const Samples& samples, const Split& split, const Values& start,
                     const Settings& settings, const std::string& log_path) {
    std::ofstream log = open_output(log_path);
    log << "pass\ttraining\theld out\n";
    Progress progress("passes", settings.passes);
    Values values = start;
    const auto error_of = [&](const std::vector<std::uint32_t>& which, const Values& of) {
        return mean_error(samples, which, of, settings.tuning.k, settings.tuning.threads);
    };
    tune(samples, split.training, values, settings.tuning, [&](int pass, const Values& now) {
        const double training = error_of(split.training, now);
        const double held_out = error_of(split.held_out, now);
        log << pass << '\t' << training << '\t' << held_out << '\n';
        require_written(log, log_path);
        progress.update(static_cast<std::uint64_t>(pass),
                        ", training error " + std::to_string(training) + ", held out " +
                            std::to_string(held_out));
    });
    progress.finish(settings.passes);
    std::printf("error, start       training %.6f, held out %.6f\n",
                error_of(split.training, start), error_of(split.held_out, start));
    std::printf("error, tuned       training %.6f, held out %.6f\n",
                error_of(split.training, values), error_of(split.held_out, values));
    Values whole = rounded(values);
    std::printf("error, integers    training %.6f, held out %.6f\n",
                error_of(split.training, whole), error_of(split.held_out, whole));
    return whole;
}

void run(const std::string& positions, const std::string& folder, Settings& settings) {
    const std::string errors_path = folder + "/errors.tsv";
    const std::string report_path = folder + "/weights.tsv";
    const std::string list_path = folder + "/weights.inc";
    const Values start = built_in_values();
    const std::string list = read_list(settings.list);
    settings.tuning.frozen = frozen_values(settings.freeze);
    for (const std::string& path : {errors_path, report_path, list_path}) require_writable(path);
    init_engine();
    stop_test_enabled = false;

    Samples samples = read_samples(positions);
    settings.tuning.k = scale_to_results(samples, settings.share, start);
    const Split split =
        split_samples(samples.positions.size(), settings.hold_out, settings.tuning.seed);
    if (split.training.empty()) tool::fail("no positions are left to train on");
    std::printf("split              %zu to train on, %zu held out\n", split.training.size(),
                split.held_out.size());
    std::fflush(stdout);

    const Values tuned = tune_with_log(samples, split, start, settings, errors_path);
    write_report(report_path, samples, start, tuned);
    std::ofstream out = open_output(list_path);
    out << rewrite_list(list, tuned);
    require_written(out, list_path);
}

}  // namespace

int main(int argc, char** argv) {
    Settings settings;
    const auto names = read_options(argc, argv, 2, USAGE,
                                    {{"--list", &settings.list},
                                     {"--share", &settings.share},
                                     {"--passes", &settings.passes},
                                     {"--step", &settings.tuning.step},
                                     {"--pull", &settings.tuning.pull},
                                     {"--hold-out", &settings.hold_out},
                                     {"--freeze", &settings.freeze},
                                     {"--seed", &settings.tuning.seed},
                                     {"--threads", &settings.threads}});
    if (settings.share < 0 || settings.share > 1) tool::fail("--share lies between 0 and 1");
    settings.passes = std::min<std::uint64_t>(settings.passes, 100000);
    settings.tuning.passes = static_cast<int>(settings.passes);
    settings.tuning.threads =
        static_cast<unsigned>(std::clamp<std::uint64_t>(settings.threads, 1, 64));
    run(names[0], names[1], settings);
    return tool::finish_output(EXIT_SUCCESS);
}
