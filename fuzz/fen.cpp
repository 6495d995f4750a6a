// Fuzz target: a text is set up as a position, and everything that a game does with one is done:
// every move made and taken back, judged, exchanged, and searched. Then a normal position must be
// as if nothing had been.
#include "control/fen.h"

#include "board/attacks.h"
#include "board/consistency.h"
#include "board/generate.h"
#include "board/make.h"
#include "board/move_list.h"
#include "board/position.h"
#include "board/see.h"
#include "control/cecp.h"
#include "control/clock.h"
#include "control/engine.h"
#include "control/system.h"
#include "eval/evaluate.h"
#include "eval/pawns.h"
#include "search/search.h"
#include "session.h"
#include "tests/unit/snapshot.h"
#include "tools/common/legal_moves.h"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace tarsimo::fuzz {

namespace {

constexpr std::uint32_t STEP_MS = 1;
constexpr int SEARCH_BUDGET_MS = 100;
constexpr int INNER_PLY = 2;  // from here on the searches look at opened lines only
constexpr int SEARCH_DEPTH = 3 * ONE_PLY;
constexpr char BUSY_FEN[] = "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -";
constexpr int BUSY_PATHS = 2039;  // of two half-moves

std::string_view text;

// The move at an index of the list is made, looked at and taken back.
void check_move(int index, bool was_in_check, bool enemy_king_safe, const Snapshot& before) {
    const Move move = move_at(index);
    see(move.from, move.to);
    demand(snapshot() == before, "an exchange leaves the position as it was");

    make_move(index);
    demand(position_is_consistent() && unexplained_key() == 0, "a move keeps the position whole");
    const bool safe = king_left_safe();
    if (enemy_king_safe) {
        demand(king_left_safe(move, was_in_check) == safe, "an opened line tells of danger");
        demand(!safe || move_gives_check(move) == in_check(), "an opened line tells of check");
    }
    unmake_null_move(make_null_move());
    unmake_move();
    demand(snapshot() == before, "a move taken back leaves nothing");
}

void check_moves() {
    search_ply = INNER_PLY;
    list_start(INNER_PLY) = 0;
    const Snapshot before = snapshot();
    const bool was_in_check = in_check();
    const bool enemy_king_safe = king_left_safe();
    generate_moves();
    for (int i = 0; i < list_start(INNER_PLY + 1); ++i) {
        check_move(i, was_in_check, enemy_king_safe, before);
    }
    search_ply = 0;
}

void check_evaluation() {
    const int score = evaluate(-INFINITE_SCORE, INFINITE_SCORE);
    demand(evaluate(-INFINITE_SCORE, INFINITE_SCORE) == score, "the cache gives the same score");
    eval_cache[hash_key % eval_cache_size] = {};
    demand(evaluate(-INFINITE_SCORE, INFINITE_SCORE) == score,
           "the pawn cache gives the same score");
    eval_cache[hash_key % eval_cache_size] = {};
    clear_pawn_cache();
    demand(evaluate(-INFINITE_SCORE, INFINITE_SCORE) == score, "so does an empty pawn cache");
}

void check_searches() {
    const Snapshot before = snapshot();
    time_budget_ms = SEARCH_BUDGET_MS;
    search_start_ms = clock_ms();
    search_aborted = false;
    quiesce(-INFINITE_SCORE, INFINITE_SCORE, 0);
    search_aborted = false;
    search(-INFINITE_SCORE, INFINITE_SCORE, SEARCH_DEPTH, NullMove::YES, in_check());
    demand(snapshot() == before, "a search leaves the position as it was");
    think();
}

void serve() {
    xboard_mode = true;
    voice = &cecp_voice;
    set_position_fen(std::string(text));
    check_moves();
    check_evaluation();
    check_searches();

    set_position_fen(BUSY_FEN);
    int paths = 0;
    for_each_legal_move([&paths](int) { for_each_legal_move([&paths](int) { ++paths; }); });
    demand(paths == BUSY_PATHS, "a normal position has its known number of paths");
}

}  // namespace

}  // namespace tarsimo::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tarsimo::fuzz;
    text = {reinterpret_cast<const char*>(data), size};
    run_session("", STEP_MS, serve);
    return 0;
}
