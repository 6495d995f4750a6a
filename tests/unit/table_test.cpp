// The transposition table: what a probe finds, what it means to a node, and what replaces what.
#include "support.h"

namespace tarsimo::test {

namespace {

class Table : public Engine {
  protected:
    void SetUp() override {
        Engine::SetUp();
        set_up(START_FEN);
    }
    static void store_at_ply(int ply, int bound, int depth, int score) {
        search_ply = ply;
        tt_store(bound, depth, score, D2, D4);
        search_ply = 0;
    }
};

// A probe's answer and the score that it writes.
struct Probe {
    int answer;
    int score = 12345;  // so that a score not written shows
    bool null_ok = true;
    bool operator==(const Probe&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Probe& probe) {
    return out << probe.answer << " score " << probe.score << " null " << probe.null_ok;
}

Probe probe_at_ply(int ply, int depth, int beta) {
    search_ply = ply;
    Probe probe;
    probe.answer = tt_probe(depth, probe.score, beta, probe.null_ok);
    search_ply = 0;
    return probe;
}

TEST_F(Table, EmptySlotsAndOtherPositions) {
    hash_move = {E2, E4, 0};
    EXPECT_EQ(probe_at_ply(0, 0, 0), (Probe{NO_ENTRY}));
    EXPECT_EQ(hash_move.from, 0);
    store_at_ply(0, BOUND_EXACT, 6, 50);
    hash_key += tt_size;
    hash_move = {E2, E4, 0};
    EXPECT_EQ(probe_at_ply(0, 0, 0), (Probe{NO_ENTRY})) << "keys are compared whole";
    EXPECT_EQ(hash_move.from, 0);
    hash_move = {E2, E4, 0};
    read_hash_move();
    EXPECT_EQ(hash_move.from, 0);
    hash_key -= tt_size;
    read_hash_move();
    EXPECT_EQ(hash_move.from, D2);
    EXPECT_EQ(hash_move.to, D4);
}

TEST_F(Table, Depth) {
    store_at_ply(0, BOUND_LOWER, 6, 50);
    EXPECT_EQ(probe_at_ply(0, 6, 0), (Probe{BOUND_LOWER, 50}));
    EXPECT_EQ(probe_at_ply(0, 2, 0), (Probe{BOUND_LOWER, 50}));
    EXPECT_EQ(statistics.hash_hits, 2U);
    EXPECT_EQ(probe_at_ply(0, 7, 0), (Probe{NO_ENTRY, 50}))
        << "too shallow, the score all the same";
    EXPECT_EQ(hash_move.to, D4);
    EXPECT_EQ(statistics.hash_hits, 2U);
    EXPECT_EQ(statistics.hash_probes, 3U);
}

// An upper bound below beta, from a search at most 8 half-plies shallower.
TEST_F(Table, SpeaksAgainstTheNullMove) {
    const auto speaks_against = [](int bound, int depth, int score) {
        clear_hash_tables();
        store_at_ply(0, bound, 4, score);
        return !probe_at_ply(0, depth, 11).null_ok;
    };
    EXPECT_TRUE(speaks_against(BOUND_UPPER, 4, 10));
    EXPECT_TRUE(speaks_against(BOUND_UPPER, 12, 10));
    EXPECT_FALSE(speaks_against(BOUND_UPPER, 13, 10));
    EXPECT_FALSE(speaks_against(BOUND_UPPER, 4, 11));
    EXPECT_FALSE(speaks_against(BOUND_LOWER, 4, 10));
    EXPECT_FALSE(speaks_against(BOUND_EXACT, 4, 10));
}

// Mate scores are distances from the stored node: a usable entry counts them from the root again,
// one that is too shallow gives them as they are stored.
TEST_F(Table, MateScores) {
    struct Case {
        int score, stored, read;  // stored at ply 3, read at ply 5
    };
    for (const auto& [score, stored, read] :
         {Case{31991, 31994, 31989}, Case{-31991, -31994, -31989}, Case{31901, 31904, 31899},
          Case{-31901, -31904, -31899}, Case{31900, 31900, 31900}, Case{-31900, -31900, -31900},
          Case{77, 77, 77}}) {
        clear_hash_tables();
        store_at_ply(3, BOUND_EXACT, 4, score);
        EXPECT_EQ(tt_table[hash_key % tt_size].score, stored);
        EXPECT_EQ(probe_at_ply(5, 4, 0), (Probe{BOUND_EXACT, read}));
        EXPECT_EQ(probe_at_ply(5, 5, 0), (Probe{NO_ENTRY, stored}));
    }
}

// A node ends on a bound that settles its window; on an exact score only when the window is zero.
TEST_F(Table, EndsNodes) {
    struct Case {
        int bound, depth, alpha, beta;
        bool ends;
    };
    for (const Case& c :
         {Case{BOUND_EXACT, 4, 300, 301, true}, Case{BOUND_EXACT, 4, 300, 302, false},
          Case{BOUND_EXACT, 4, -300, -299, true}, Case{BOUND_EXACT, 3, 300, 301, false},
          Case{BOUND_UPPER, 4, 77, 78, true}, Case{BOUND_UPPER, 4, 77, 300, true},
          Case{BOUND_UPPER, 4, 76, 77, false}, Case{BOUND_LOWER, 4, 76, 77, true},
          Case{BOUND_LOWER, 4, -300, 77, true}, Case{BOUND_LOWER, 4, 77, 78, false}}) {
        set_up(START_FEN);
        tt_store(c.bound, c.depth, 77, D2, D4);
        const int score = search(c.alpha, c.beta, 4, NullMove::NO, false);
        EXPECT_EQ(nodes == 0, c.ends) << c.bound << " " << c.alpha << " " << c.beta;
        if (c.ends) { EXPECT_EQ(score, 77); }
    }
}

TEST_F(Table, ReplacesByGenerationAndDepth) {
    const TTEntry& slot = tt_table[hash_key % tt_size];
    tt_generation = 3;
    tt_store(BOUND_EXACT, 8, 1, A2, A3);
    tt_store(BOUND_EXACT, 7, 2, B2, B3);
    EXPECT_EQ(slot.score, 1) << "shallower, same search";
    tt_store(BOUND_LOWER, 8, 3, C2, C3);
    EXPECT_EQ(slot.score, 3) << "equal depth";
    const std::uint64_t key = hash_key;
    hash_key += tt_size;
    tt_store(BOUND_UPPER, 7, 4, D2, D3);
    EXPECT_EQ(slot.key, key) << "whosever entry it is";
    begin_generation();
    tt_store(BOUND_UPPER, 2, 6, E2, E3);
    EXPECT_EQ(slot.score, 6) << "older search";
    EXPECT_EQ(slot.generation, 4);
    EXPECT_EQ(slot.key, key + tt_size);
    clear_hash_tables();
    EXPECT_EQ(tt_generation + slot.score, 0);
}

// Small pages that a search has used become a large one with all that they hold.
TEST_F(Table, PrefaultingKeepsWhatIsStored) {
    free_hash_tables();
    allocate_hash_tables();
    std::vector<std::uint64_t> slots;
    for (std::uint64_t slot = 5; slot < tt_size; slot += tt_size / 1000) slots.push_back(slot);
    for (const std::uint64_t slot : slots) {
        hash_key = slot;
        tt_store(BOUND_EXACT, 6, static_cast<int>(slot % 1000), D2, D4);
    }
    while (prefault_hash_tables()) {}
    for (const std::uint64_t slot : slots) {
        EXPECT_EQ(tt_table[slot].key, slot);
        EXPECT_EQ(tt_table[slot].score, static_cast<int>(slot % 1000));
    }
}

}  // namespace

}  // namespace tarsimo::test
