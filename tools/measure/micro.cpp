// tarsimo-micro: the engine's hot functions one by one, over the positions of the built-in suite
// (Google Benchmark). An iteration is one pass over all positions; items are calls.
#include "board/attacks.h"
#include "board/generate.h"
#include "board/make.h"
#include "board/move_list.h"
#include "board/position.h"
#include "board/see.h"
#include "control/engine.h"
#include "control/fen.h"
#include "control/suite.h"
#include "control/think.h"
#include "eval/evaluate.h"
#include "search/ordering.h"
#include "search/search.h"

#include <benchmark/benchmark.h>

#include <cstdint>

namespace {

using namespace tarsimo;

// Run `work` on every position of the suite; it returns how many calls it made. Setting the
// position up is not measured.
template <typename Work> void over_suite(benchmark::State& state, Work work) {
    std::int64_t calls = 0;
    for (auto _ : state) {
        for (int i = 0; i < SUITE_SIZE; ++i) {
            state.PauseTiming();
            set_position_fen(suite_position(i).fen);
            state.ResumeTiming();
            calls += work();
        }
    }
    state.SetItemsProcessed(calls);
}

constexpr int REPEATS = 1000;  // calls on one position, so that the clock's own time is nothing

template <typename Call> std::int64_t repeat(Call call) {
    for (int i = 0; i < REPEATS; ++i) call();
    return REPEATS;
}

void generate_all(benchmark::State& state) {
    over_suite(state, [] { return repeat(generate_moves); });
}

void generate_only_captures(benchmark::State& state) {
    over_suite(state, [] { return repeat(generate_captures); });
}

template <typename Call> std::int64_t for_each_move(Call call) {
    generate_moves();
    for (int round = 0; round < REPEATS / 10; ++round) {
        for (int i = list_start(0); i < list_start(1); ++i) call(i);
    }
    return std::int64_t{REPEATS / 10} * (list_start(1) - list_start(0));
}

void make_and_unmake(benchmark::State& state) {
    over_suite(state, [] {
        return for_each_move([](int i) {
            make_move(i);
            unmake_move();
        });
    });
}

// Making and unmaking included.
void legality_and_check(benchmark::State& state) {
    over_suite(state, [] {
        search_ply = 2;  // inside the tree, where only opened lines are looked at
        list_start(2) = 0;
        const bool was_in_check = in_check();
        generate_moves();
        std::int64_t calls = 0;
        for (int round = 0; round < REPEATS / 10; ++round) {
            for (int i = list_start(2); i < list_start(3); ++i, ++calls) {
                make_move(i);
                benchmark::DoNotOptimize(king_left_safe(move_at(i), was_in_check));
                benchmark::DoNotOptimize(move_gives_check(move_at(i)));
                unmake_move();
            }
        }
        search_ply = 0;
        return calls;
    });
}

void exchange(benchmark::State& state) {
    over_suite(state, [] {
        return for_each_move(
            [](int i) { benchmark::DoNotOptimize(see(move_at(i).from, move_at(i).to)); });
    });
}

// Picking all moves of a list, one after the other.
void pick_all(benchmark::State& state) {
    over_suite(state, [] {
        std::int64_t calls = 0;
        for (int round = 0; round < REPEATS / 10; ++round) {
            generate_moves();
            MovePicker picker;
            while (picker.next() >= 0) ++calls;
        }
        return calls;
    });
}

// The cache is kept from answering; pawn structure comes from its own.
void evaluate_in_full(benchmark::State& state) {
    over_suite(state, [] {
        return repeat([] {
            eval_cache[hash_key % eval_cache_size].key = 0;
            benchmark::DoNotOptimize(evaluate(-INFINITE_SCORE, INFINITE_SCORE));
        });
    });
}

void quiescence(benchmark::State& state) {
    over_suite(state, [] {
        return repeat(
            [] { benchmark::DoNotOptimize(quiesce(-INFINITE_SCORE, INFINITE_SCORE, 0)); });
    });
}

BENCHMARK(generate_all);
BENCHMARK(generate_only_captures);
BENCHMARK(make_and_unmake);
BENCHMARK(legality_and_check);
BENCHMARK(exchange);
BENCHMARK(pick_all);
BENCHMARK(evaluate_in_full);
BENCHMARK(quiescence);

}  // namespace

int main(int argc, char** argv) {
    init_engine();
    stop_test_enabled = false;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
}
