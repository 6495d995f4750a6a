#include "tools/tuning/coefficients.h"

#include "board/position.h"

namespace tarsimo::tuning {

namespace {

constexpr float FULL_MATERIAL = 6660;  // of both sides, where the mix is all middlegame
constexpr float SIDE_MATERIAL = 3330;
constexpr float SCALE_UNIT = 64;
constexpr float DAMPING_UNIT = 20;

void append_terms(Samples& samples, Sample& sample, WeightKind kind) {
    for (const WeightGroup& group : weight_groups) {
        if (group.kind != kind) continue;
        for (int i = group.first; i < group.first + group.size; ++i) {
            const int white = eval_trace.counts[0][idx(i)];
            const int black = eval_trace.counts[1][idx(i)];
            const bool cancels = kind == WeightKind::TAPERED && white == black;
            if (cancels || (white == 0 && black == 0)) continue;
            samples.terms.push_back({static_cast<std::uint16_t>(i),
                                     static_cast<std::int16_t>(white),
                                     static_cast<std::int16_t>(black)});
            ++(kind == WeightKind::TAPERED ? sample.tapered_terms : sample.shelter_terms);
        }
    }
}

int lead_of(const ColourPair& pair) { return pair[0] - pair[1]; }

}  // namespace

Values built_in_values() {
    Values values;
    for (const ScorePair weight : listed_weights) {
        values.push_back(middlegame_part(weight));
        values.push_back(endgame_part(weight));
    }
    return values;
}

double linear_score(const Samples& samples, const Sample& sample, const Values& values) {
    double middlegame = 0;
    double endgame = 0;
    const Term* term = samples.terms.data() + sample.first_term;
    for (int i = 0; i < sample.tapered_terms; ++i, ++term) {
        const int count = term->white - term->black;
        middlegame += count * values[2 * term->weight];
        endgame += count * values[2 * term->weight + 1];
    }
    double sum = sample.mix * middlegame + (1 - sample.mix) * endgame;
    for (int i = 0; i < sample.shelter_terms; ++i, ++term) {
        const auto count = static_cast<double>(static_cast<float>(term->white) * sample.shelter[0] -
                                               static_cast<float>(term->black) * sample.shelter[1]);
        sum += count * values[2 * term->weight];
    }
    return sample.base + sample.factor * sum;
}

bool append_sample(Samples& samples, int& score) {
    score = side * evaluate_traced();
    const EvalTrace& trace = eval_trace;
    if (!trace.linear) return false;

    Sample sample{};
    const int fixed_lead = lead_of(trace.material) + lead_of(trace.opening) +
                           lead_of(trace.squares) + lead_of(trace.king_attack) +
                           lead_of(trace.trade_down) + lead_of(trace.pawn_ending);
    const float outer =
        static_cast<float>(trace.damping) / DAMPING_UNIT / static_cast<float>(trace.divisor);
    sample.factor = static_cast<float>(trace.scale) / SCALE_UNIT * outer;
    sample.base = sample.factor * static_cast<float>(fixed_lead) +
                  outer * static_cast<float>(side * trace.tempo);
    sample.mix = static_cast<float>(trace.mix) / FULL_MATERIAL;
    sample.shelter = {static_cast<float>(trace.shelter_material[0]) / SIDE_MATERIAL,
                      static_cast<float>(trace.shelter_material[1]) / SIDE_MATERIAL};
    sample.first_term = static_cast<std::uint32_t>(samples.terms.size());
    append_terms(samples, sample, WeightKind::TAPERED);
    if (sample.shelter[0] > 0 || sample.shelter[1] > 0) {
        append_terms(samples, sample, WeightKind::SHELTER);
    }
    samples.positions.push_back(sample);
    return true;
}

}  // namespace tarsimo::tuning
