// The counters of one search.
#include "search/statistics.h"

#include "eval/evaluate.h"
#include "search/search.h"

namespace tarsimo {

SearchStatistics statistics{};

void clear_statistics() {
    statistics = {};
    eval_lazy_count = 0;
    eval_hash_count = 0;
    eval_full_count = 0;
    nodes = 0;
    deepest_ply = 0;
}

}  // namespace tarsimo
