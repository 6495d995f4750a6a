// The names of the weights, generated from the one list, and their trace.
#include "eval/weights.h"

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
#endif

}  // namespace tarsimo
