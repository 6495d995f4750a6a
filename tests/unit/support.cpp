// What the unit tests share.
#include "support.h"

#include "control/notation.h"
#include "tools/measure/tree_commands.h"

#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

namespace tarsimo {

// In place of the program's own clock and end, which the linker then leaves in the library.
int clock_ms() { return test::now_ms += test::tick_ms; }
void end_program(int status) { std::exit(status); }

}  // namespace tarsimo

namespace tarsimo::test {

StartUp start_up{};
int now_ms = 0;
int tick_ms = 0;

void Engine::SetUp() {
    xboard_mode = false;
    voice = &console_voice;
    init_engine();
    zobrist = start_up.keys;
    side_key = start_up.side_key;
    compute_hash_key();
    reset_search();
    tick_ms = 0;
    stop_test_enabled = stop_requested = pondering = time_extended = false;
    root = {};
    start_clock_ago(0);
}

Snapshot recounted() {
    constexpr std::array<int, 7> values = {0, 100, 320, 330, 520, 990, 0};
    Snapshot s = snapshot();
    s.white_material = s.black_material = s.white_pawns = s.black_pawns = 0;
    s.white_pieces = s.black_pieces = s.white_king_sq = s.black_king_sq = 0;
    s.white_occupied = s.black_occupied = s.white_pawn_set = s.black_pawn_set = 0;
    s.hash_key =
        (side == WHITE ? side_key : 0) ^ (ep_square != 0 ? zobrist[14][idx(ep_square)] : 0);
    for (int sq = 0; sq < BOARD_SIZE; ++sq) {
        const int piece = board[idx(sq)];
        const bool playing = sq > 20 && sq < 99 && sq % 10 != 0 && sq % 10 != 9;
        if (!playing) s.board[idx(sq)] = OFFBOARD;
        if (!playing || piece == EMPTY) continue;
        const int type = std::abs(piece);
        const bool white = piece > 0;
        const SquareSet place = SquareSet{1} << ((sq / 10 - 2) * 8 + sq % 10 - 1);
        (white ? s.white_occupied : s.black_occupied) |= place;
        if (type == PAWN) (white ? s.white_pawn_set : s.black_pawn_set) |= place;
        s.hash_key ^= zobrist[idx(piece + 7)][idx(sq)];
        (white ? s.white_material : s.black_material) += values[idx(type)];
        if (type == PAWN) ++(white ? s.white_pawns : s.black_pawns);
        else if (type == KING) (white ? s.white_king_sq : s.black_king_sq) = sq;
        else ++(white ? s.white_pieces : s.black_pieces);
    }
    return s;
}

void set_up(const std::string& fen) {
    set_position_fen(fen);
    reset_search();
}

int index_of_move(const std::string& name) {
    generate_moves();
    for (int i = list_start(search_ply); i < list_start(search_ply + 1); ++i) {
        if (coordinate_name(move_at(i)) == name) return i;
    }
    return -1;
}

void play(const std::string& names) {
    std::istringstream words(names);
    std::string name;
    while (words >> name) {
        const int index = index_of_move(name);
        ASSERT_GE(index, 0) << "no move " << name;
        make_move(index);
        note_game_length();
        search_ply = 0;
    }
}

int visit_random_positions(int games, int plies, const std::function<void()>& visit) {
    const std::array<const char*, 4> starts = {
        START_FEN, "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
        "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq -",
        "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -"};
    std::mt19937 random(20230214);
    int positions = 0;
    for (int game = 0; game < games; ++game) {
        set_position_fen(starts[idx(game) % starts.size()]);
        for (int ply = 0; ply < plies; ++ply) {
            visit();
            ++positions;
            if (::testing::Test::HasFailure()) return positions;
            const std::vector<int> legal = legal_moves();
            if (legal.empty()) break;
            make_move(legal[random() % legal.size()]);
            note_game_length();
            search_ply = 0;
        }
    }
    return positions;
}

std::vector<std::string> data_lines(const std::string& file) {
    std::ifstream in(std::string(TARSIMO_TEST_DATA) + "/" + file);
    std::vector<std::string> lines;
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line[0] != '#') lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> fields_of(const std::string& line) {
    std::vector<std::string> fields = tree::split(line, ';');
    for (std::string& field : fields) field = tree::trimmed(field);
    return fields;
}

void start_clock_ago(int elapsed) {
    search_start_ms =
        static_cast<int>(static_cast<unsigned>(now_ms) - static_cast<unsigned>(elapsed));
}

int balance() { return side * (white_material - black_material); }

void set_evaluation(int score) { eval_cache[hash_key % eval_cache_size] = {hash_key, score, side}; }

void set_result(int score, int bound) {
    constexpr int ANY_DEPTH = 200;
    tt_store(bound, ANY_DEPTH, score, 0, 0);
}

void set_hash_move(const std::string& name) {
    constexpr int USELESS_DEPTH = -100;
    const Move& move = move_at(index_of_move(name));
    tt_table[hash_key % tt_size] = {hash_key,      BOUND_LOWER, USELESS_DEPTH, 0,
                                    tt_generation, move.from,   move.to,       0};
}

void after(const std::string& name, const std::function<void()>& function) {
    if (name == "all") return for_each_legal_move([&](int) { function(); });
    if (name == "pass") {
        const int ep_square_before = make_null_move();
        function();
        return unmake_null_move(ep_square_before);
    }
    const int index = index_of_move(name);
    ASSERT_GE(index, 0) << "no move " << name;
    make_move(index);
    function();
    unmake_move();
}

void begin_at_ply(int ply) {
    search_ply = ply;
    list_start(ply) = 0;
}

std::string output_of(const std::function<void()>& function) {
    ::testing::internal::CaptureStdout();
    function();
    flush_output();
    return ::testing::internal::GetCapturedStdout();
}

}  // namespace tarsimo::test

// The number generator is seeded once in the life of a program, so what its first run yields
// is noted here, whatever test is run afterwards.
int main(int argc, char** argv) {
    using namespace tarsimo;
    ::testing::InitGoogleTest(&argc, argv);
    init_engine();
    test::start_up = {zobrist, side_key, hash_key};
    return RUN_ALL_TESTS();
}
