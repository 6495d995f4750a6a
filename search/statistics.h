/// How often each rule of the search fired during one think.
#ifndef TARSIMO_SEARCH_STATISTICS_H
#define TARSIMO_SEARCH_STATISTICS_H

#include <cstdint>

namespace tarsimo {

/// Events of one search.
struct SearchStatistics {
    std::uint64_t razoring;     ///< nodes left by razoring
    std::uint64_t static_null;  ///< nodes left by the static null move
    std::uint64_t futility;     ///< moves skipped by futility pruning
    std::uint64_t lmr;          ///< reduced searches begun
    std::uint64_t on_trial;     ///< QUIRK: printed, but counted by nothing
    std::uint64_t extensions;   ///< extended moves, checks included
    std::uint64_t check_extensions;
    std::uint64_t hash_probes;
    std::uint64_t hash_hits;  ///< probes that found sufficient depth
    std::uint64_t null_tries;
    std::uint64_t null_cuts;  ///< null moves that reached beta, before verification
};

/// Counted by the searches and the table, cleared by clear_statistics().
extern SearchStatistics statistics;

/// Clear the search's and the evaluation's counters, `nodes` and `deepest_ply`, before the search
/// of every move.
void clear_statistics();

}  // namespace tarsimo

#endif
