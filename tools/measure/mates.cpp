// tarsimo-mates: does the engine win the endings that are won? Random positions with the strong
// side to move are played out by the engine against itself.
#include "board/attacks.h"
#include "board/make.h"
#include "board/move_list.h"
#include "board/position.h"
#include "control/clock.h"
#include "control/engine.h"
#include "control/fen.h"
#include "control/notation.h"
#include "control/think.h"
#include "tools/common/command_line.h"
#include "tools/common/fen_writer.h"
#include "tools/common/legal_moves.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace tarsimo;

constexpr int MAX_MOVES_TO_MATE = 50;
constexpr int MAX_GAMES = 100000;
constexpr int NO_OVERTIME = 1;  // moves to the time control: few enough for strict time
constexpr unsigned SEED = 1912;

constexpr char USAGE[] = R"(usage: tarsimo-mates KQK|KRK|KBBK|KBNK|KQKR COUNT MILLISECONDS

Plays random positions of an ending out, the engine on both sides, with
MILLISECONDS per move, and counts those won within fifty moves.

The positions are the same in every run: the strong side to move, bishops on
both colours, neither mate nor stalemate, no piece that can be taken at once.
Stalemate, the loss of a piece and a third repetition end a game as not won.
)";

// Plays its moves without a word, and nobody speaks to it.
constexpr Voice silent_voice = {.min_reported_depth = MAX_ITERATIONS,
                                .hears_in_overtime = false,
                                .root_move_begun = [](int) {},
                                .score_fell = nullptr,
                                .thinking_line = [](int, int) {},
                                .iteration_done = nullptr,
                                .input_waiting = [] { return false; },
                                .stop_wanted = [] { return false; },
                                .game_over = [](bool) {},
                                .move_found = make_root_move};

struct Ending {
    const char* name;
    const char* white;  // FEN letters
    const char* black;
};

constexpr Ending endings[] = {
    {"KQK", "KQ", "k"},   {"KRK", "KR", "k"},   {"KBBK", "KBB", "k"},
    {"KBNK", "KBN", "k"}, {"KQKR", "KQ", "kr"},
};

struct Game {
    const char* result = "";
    int moves = 0;  // of the strong side
    std::string text;
};

bool has_legal_move() { return !legal_moves().empty(); }

// True if the black side, to move, can take a white piece at once.
bool black_takes_something() {
    const std::vector<int> legal = legal_moves();
    return std::any_of(legal.begin(), legal.end(),
                       [](int index) { return move_at(index).captured != 0; });
}

std::string fen_of(const std::string& pieces, const std::vector<int>& squares) {
    constexpr std::string_view letters = FEN_LETTERS;
    std::array<int, BOARD_SIZE> placed{};
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const bool white = letters.find(pieces[i]) == std::string_view::npos;
        const char letter = white ? static_cast<char>(pieces[i] - 'A' + 'a') : pieces[i];
        const int type = static_cast<int>(letters.find(letter));
        placed[idx(A1 + squares[i] % 8 + 10 * (squares[i] / 8))] = white ? type : -type;
    }
    return tool::board_field(placed) + " w - -";
}

// Set up the next random position of the ending that is fit to be played.
void set_up_random(const Ending& ending, std::mt19937& random) {
    const std::string pieces = std::string(ending.white) + ending.black;
    std::vector<int> squares(pieces.size());
    for (;;) {
        // The low bits of the raw numbers, so that every library draws the same positions.
        for (int& sq : squares) sq = static_cast<int>(random() % 64);
        std::vector<int> sorted = squares;
        std::sort(sorted.begin(), sorted.end());
        if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end()) continue;
        if (std::string(ending.white) == "KBB") {
            const auto dark = [](int sq) { return (sq / 8 + sq % 8) % 2; };
            if (dark(squares[1]) == dark(squares[2])) continue;
        }
        set_position_fen(fen_of(pieces, squares));
        if (in_check() || is_attacked(black_king_sq, WHITE) || !has_legal_move()) continue;
        side = BLACK;
        const bool spoiled = black_takes_something() || !has_legal_move();
        side = WHITE;
        if (!spoiled) return;
    }
}

// How often the position has stood on the board since the last irreversible move.
int repetitions() {
    int count = 0;
    for (int ply = std::max(0, game_ply - fifty); ply < game_ply; ++ply) {
        if (history_entry(ply).key == hash_key) ++count;
    }
    return count;
}

// Let the engine move for the side to move. Returns false when that ends the game.
bool play_move(Game& game) {
    think();
    search_ply = 0;
    const HistoryEntry& move = history_entry(game_ply - 1);
    game.text += " " + square_name(move.from) + square_name(move.to);
    if (has_legal_move()) return true;
    game.result = !in_check() ? "stalemate" : side == BLACK ? "mate" : "mated";
    return false;
}

Game play_out(int milliseconds) {
    Game game;
    const int pieces = white_pieces;
    time_budget_ms = milliseconds;
    moves_left = NO_OVERTIME;
    while (game.moves < MAX_MOVES_TO_MATE) {
        ++game.moves;
        // NOLINTNEXTLINE(misc-redundant-expression): a move of either side
        if (!play_move(game) || !play_move(game)) return game;
        if (white_pieces < pieces) {
            game.result = "piece lost";
            return game;
        }
        if (repetitions() >= 2) {
            game.result = "repetition";
            return game;
        }
    }
    game.result = "fifty moves";
    return game;
}

int play_games(const Ending& ending, int count, int milliseconds) {
    std::mt19937 random(SEED);
    int mates = 0;
    int total_moves = 0;
    int longest = 0;
    for (int n = 1; n <= count; ++n) {
        set_up_random(ending, random);
        const auto start = board;
        const Game game = play_out(milliseconds);
        const bool won = std::string(game.result) == "mate";
        if (won) {
            ++mates;
            total_moves += game.moves;
            longest = std::max(longest, game.moves);
        }
        std::printf("%s %d: %s, %d moves, from", ending.name, n, game.result, game.moves);
        for (int sq = A1; sq <= H8; ++sq) {
            const int piece = start[idx(sq)];
            if (piece == EMPTY || piece == OFFBOARD) continue;
            const char letter = SAN_LETTERS[std::abs(piece)];
            std::printf(" %s%c%s", piece > 0 ? "" : "*", letter, square_name(sq).c_str());
        }
        std::printf("%s%s\n", won ? "" : ":", won ? "" : game.text.c_str());
        std::fflush(stdout);
    }
    std::printf("%s: %d of %d mated, %.1f moves on average, longest %d\n", ending.name, mates,
                count, mates > 0 ? static_cast<double>(total_moves) / mates : 0.0, longest);
    return mates;
}

}  // namespace

int main(int argc, char** argv) {
    tool::answer_help(argc, argv, USAGE);
    const std::string name = argc == 4 ? argv[1] : "";
    const auto ending = std::find_if(std::begin(endings), std::end(endings),
                                     [&](const Ending& e) { return name == e.name; });
    int count = 0;
    int milliseconds = 0;
    if (ending == std::end(endings) || !tool::read_count(argv[2], 1, MAX_GAMES, count) ||
        !tool::read_count(argv[3], 1, UNLIMITED_BUDGET_MS, milliseconds)) {
        tool::reject_command_line(USAGE);
    }

    init_engine();
    voice = &silent_voice;
    play_games(*ending, count, milliseconds);
    return tool::finish_output(EXIT_SUCCESS);
}
