// The counters of one search and the block that reports them.
#include "search/search.h"

#include "eval/eval.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace tarsimo {

SearchStatistics statistics{};

namespace {

std::uint64_t percentage(std::uint64_t part, std::uint64_t whole) {
    return part * 100 / std::max<std::uint64_t>(whole, 1);
}

}  // namespace

void clear_statistics() {
    statistics = {};
    eval_lazy_count = 0;
    eval_hash_count = 0;
    eval_full_count = 0;
    nodes = 0;
}

void print_statistics(long elapsed_seconds) {
    const SearchStatistics& s = statistics;
    const auto divisor = static_cast<std::uint64_t>(std::max(elapsed_seconds, 1L));
    std::printf("\n\n  Razoring   %9" PRIu64 "    Nul_estatic %9" PRIu64 "\n", s.razoring,
                s.static_null);
    std::printf("  Futility   %9" PRIu64 "    LMR         %9" PRIu64 "   En prueba     %9" PRIu64
                "\n",
                s.futility, s.lmr, s.on_trial);
    std::printf("  Extensores %9" PRIu64 "    Ex_jaque    %9" PRIu64 " \n", s.extensions,
                s.check_extensions);
    std::printf("  Hash_prob  %9" PRIu64 "    Hash_exito  %9" PRIu64 "   %2" PRIu64 "%%\n",
                s.hash_probes, s.hash_hits, percentage(s.hash_hits, s.hash_probes));
    std::printf("  Nulos_prob %9" PRIu64 "    Nulos_exito %9" PRIu64 "   %2" PRIu64 "%%\n",
                s.null_tries, s.null_cuts, percentage(s.null_cuts, s.null_tries));
    std::printf("  Eval_hash  %9" PRIu64 "    Eval_lazy   %9" PRIu64 "   Eval_completa %9" PRIu64
                "\n",
                eval_hash_count, eval_lazy_count, eval_full_count);
    std::printf("\n  Crono = %ld seg, Pos/Seg = %" PRIu64 "\n", elapsed_seconds, nodes / divisor);
}

}  // namespace tarsimo
