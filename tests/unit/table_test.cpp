// Transposition table: probe, store, replacement, mate distances.
#include "support.h"

namespace tarsimo::test {

namespace {

class Table : public Engine {
  protected:
    struct Answer {
        int bound, score;
        bool null_ok;
        bool operator==(const Answer&) const = default;
    };
    static Answer probe(int depth, int beta = 0) {
        Answer answer{0, 12345, true};
        answer.bound = tt_probe(depth, answer.score, beta, answer.null_ok);
        return answer;
    }
    static TTEntry& slot() { return tt_table[hash_key % tt_size]; }
};

TEST_F(Table, ProbeGivesWhatWasStored) {
    hash_move = {E2, E4, 5};
    EXPECT_EQ(probe(4), (Answer{NO_ENTRY, 12345, true}));
    EXPECT_EQ(hash_move.from + hash_move.to + hash_move.extra, 0);

    tt_store(BOUND_LOWER, 6, 50, D2, D4);
    EXPECT_EQ(probe(6), (Answer{BOUND_LOWER, 50, true}));
    EXPECT_EQ(probe(2), (Answer{BOUND_LOWER, 50, true}));
    EXPECT_EQ(hash_move.from, D2);
    EXPECT_EQ(hash_move.to, D4);
    hash_move = {};
    EXPECT_EQ(probe(7), (Answer{NO_ENTRY, 50, true})) << "too shallow, but move and score count";
    EXPECT_EQ(hash_move.to, D4);
    EXPECT_EQ(statistics.hash_probes, 4U);
    EXPECT_EQ(statistics.hash_hits, 2U);

    hash_move = {};
    read_hash_move();
    EXPECT_EQ(hash_move.from, D2);
    EXPECT_EQ(statistics.hash_probes, 4U);
    hash_key ^= 1ULL << 40;
    read_hash_move();
    EXPECT_EQ(hash_move.from, 0);
}

// The key is compared whole: another position in the same slot is no hit.
TEST_F(Table, KeyIsComparedWhole) {
    tt_store(BOUND_EXACT, 6, 50, D2, D4);
    hash_key += tt_size;
    EXPECT_EQ(probe(2).bound, NO_ENTRY);
    EXPECT_EQ(hash_move.from, 0);
}

TEST_F(Table, UpperBoundSpeaksAgainstTheNullMove) {
    struct Case {
        int bound, stored_depth, score, probe_depth, beta;
        bool null_ok;
    };
    const std::array<Case, 7> cases = {{
        {BOUND_UPPER, 4, 10, 4, 11, false},
        {BOUND_UPPER, 4, 10, 12, 11, false},  // up to 8 half-plies shallower
        {BOUND_UPPER, 4, 10, 13, 11, true},
        {BOUND_UPPER, 4, 11, 4, 11, true},  // not below beta
        {BOUND_LOWER, 4, 10, 4, 11, true},
        {BOUND_EXACT, 4, 10, 4, 11, true},
        {BOUND_UPPER, 9, -31950, 4, 11, false},
    }};
    for (const Case& c : cases) {
        clear_hash_tables();
        tt_store(c.bound, c.stored_depth, c.score, D2, D4);
        EXPECT_EQ(probe(c.probe_depth, c.beta).null_ok, c.null_ok)
            << c.bound << " " << c.score << " " << c.probe_depth;
    }
}

TEST_F(Table, ReplacementByGenerationAndDepth) {
    tt_generation = 3;
    tt_store(BOUND_EXACT, 8, 1, A2, A3);
    tt_store(BOUND_EXACT, 7, 2, B2, B3);
    EXPECT_EQ(slot().score, 1) << "shallower, same search";
    tt_store(BOUND_LOWER, 8, 3, C2, C3);
    EXPECT_EQ(slot().score, 3) << "equal depth";

    // The rule does not look at whose entry it is.
    const std::uint64_t key = hash_key;
    hash_key += tt_size;
    tt_store(BOUND_UPPER, 7, 4, D2, D3);
    EXPECT_EQ(slot().key, key);
    tt_store(BOUND_UPPER, 9, 5, D2, D3);
    EXPECT_EQ(slot().key, key + tt_size);

    tt_generation = 4;
    tt_store(BOUND_UPPER, 2, 6, E2, E3);
    EXPECT_EQ(slot().score, 6) << "older search";
    EXPECT_EQ(slot().generation, 4);
    EXPECT_EQ(slot().move_extra, 0);
}

TEST_F(Table, MateScoresCountFromTheStoredNode) {
    struct Case {
        int score, store_ply, stored, probe_ply, probed;
    };
    const std::array<Case, 6> cases = {{
        {31991, 3, 31994, 5, 31989},
        {-31991, 3, -31994, 5, -31989},
        {31990, 0, 31990, 4, 31986},
        {31900, 3, 31900, 5, 31900},  // not above the threshold
        {-31900, 3, -31900, 5, -31900},
        {-31901, 2, -31903, 0, -31903},
    }};
    for (const Case& c : cases) {
        clear_hash_tables();
        search_ply = c.store_ply;
        tt_store(BOUND_EXACT, 4, c.score, D2, D4);
        EXPECT_EQ(slot().score, c.stored);
        search_ply = c.probe_ply;
        EXPECT_EQ(probe(4).score, c.probed) << c.score;
        EXPECT_EQ(probe(5).score, c.stored) << "as stored while the depth does not suffice";
    }
}

TEST_F(Table, ClearEmptiesBothTables) {
    tt_generation = 9;
    tt_store(BOUND_EXACT, 4, 10, D2, D4);
    evaluate(-INF, INF);
    clear_hash_tables();
    EXPECT_EQ(tt_generation, 0);
    EXPECT_EQ(slot().key, 0U);
    EXPECT_EQ(probe(0).bound, NO_ENTRY);
    clear_statistics();
    evaluate(-INF, INF);
    EXPECT_EQ(eval_hash_count, 0U);
    EXPECT_EQ(eval_full_count, 1U);

    // Released tables may be released again, and the next set-up allocates them.
    free_hash_tables();
    free_hash_tables();
    EXPECT_EQ(tt_table, nullptr);
    EXPECT_EQ(eval_cache, nullptr);
    allocate_hash_tables();
    EXPECT_EQ(probe(0).bound, NO_ENTRY);
}

}  // namespace

}  // namespace tarsimo::test
