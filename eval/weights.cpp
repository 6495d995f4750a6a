// The names of the weights, generated from the one list, and their trace.
#include "eval/weights.h"

#include "eval/evaluate.h"
#include "eval/score.h"

namespace tarsimo {

// clang-format off
#define S(middlegame, endgame) 0
const std::array<WeightGroup, WEIGHT_GROUP_COUNT> weight_groups = {{
#define WEIGHTS(name, kind, index, ...) \
    {#name, WeightKind::kind, index, name, detail::count_of(__VA_ARGS__)},
#include "eval/weights.inc"
#undef WEIGHTS
#undef S
}};
// clang-format on

#ifdef TARSIMO_EVAL_TRACE
EvalTrace eval_trace{};
bool caches_bypassed = false;

int evaluate_traced() {
    caches_bypassed = true;
    const int score = evaluate(-INFINITE_SCORE, INFINITE_SCORE);
    caches_bypassed = false;
    return score;
}
#endif

}  // namespace tarsimo
