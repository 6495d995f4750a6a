#include "tools/tuning/player.h"

#include "board/attacks.h"
#include "board/keys.h"
#include "board/make.h"
#include "board/move_list.h"
#include "board/position.h"

#include "control/fen.h"
#include "control/notation.h"
#include "eval/endings.h"
#include "eval/evaluate.h"
#include "search/hash_memory.h"
#include "search/node.h"
#include "search/ordering.h"
#include "search/reductions.h"
#include "search/search.h"
#include "search/table.h"
#include "tools/common/legal_moves.h"

#include <algorithm>
#include <cstdlib>
#include <random>

namespace tarsimo::tuning {

namespace {

using Random = std::mt19937_64;

constexpr int OPENING_PLIES = 8;
constexpr int OPENING_DEPTH = 2;  // plies of the searches that choose an opening's moves
constexpr int OPENING_LOSS = 40;  // an opening's move costs at most so many centipawns by them
constexpr int ENDINGS_PERCENT = 10;
constexpr int BALANCED_SCORE = 200;  // a start is fair within it, centipawns
constexpr int MAX_MATERIAL_GAP = 200;
constexpr std::uint64_t PROBE_NODES = 2000;  // for the verdict on a start

constexpr int WON_SCORE = 600;  // centipawns, for WON_PLIES in a row
constexpr int WON_PLIES = 6;
constexpr int LONGEST_GAME = 400;  // plies; a draw then
constexpr int MAX_QUIET_HALF_MOVES = 100;
constexpr int DEEPEST_PLIES = 30;

// Late root moves are reduced as those of other nodes.
constexpr int REDUCED_FROM_PLIES = 3;
constexpr int REDUCED_FROM_MOVE = 4;

int pick(Random& random, int choices) {
    return static_cast<int>(random() % static_cast<unsigned>(choices));
}

// ---------------------------------------------------------------------------
// Search
// ---------------------------------------------------------------------------

// A root move's score against the best so far; `number` counts from 1.
int score_root_move(int index, int number, int alpha, int plies) {
    const bool quiet = move_at(index).captured == 0 && move_at(index).promotion == 0;
    make_move(index);
    ++nodes;
    const bool gives_check = in_check();
    const int depth = ONE_PLY * (plies - 1);
    int score = alpha + 1;
    if (number == 1) {
        score = -search(-INFINITE_SCORE, -alpha, depth, NullMove::YES, gives_check);
    } else {
        if (quiet && !gives_check && number >= REDUCED_FROM_MOVE && plies >= REDUCED_FROM_PLIES) {
            const int reduction = ONE_PLY * late_move_reduction(ONE_PLY * plies, number);
            score = -search(-alpha - 1, -alpha, depth - reduction, NullMove::YES, false);
        }
        if (score > alpha) score = search_late_move(alpha, INFINITE_SCORE, depth, gives_check);
    }
    unmake_move();
    return score;
}

void begin_search() {
    begin_generation();
    while (prefault_hash_tables()) {}
    clear_ordering();
    nodes = 0;
}

// The best of the legal root moves, brought to their front, and its score. The root is searched
// by its moves, as the think driver does: a repeated position must still yield a move.
int search_position(std::vector<int>& legal, std::uint64_t node_limit) {
    begin_search();
    int best = 0;
    for (int plies = 1; plies <= DEEPEST_PLIES && nodes < node_limit; ++plies) {
        int alpha = -INFINITE_SCORE;
        for (std::size_t i = 0; i < legal.size(); ++i) {
            const int score = score_root_move(legal[i], static_cast<int>(i) + 1, alpha, plies);
            if (score <= alpha) continue;
            alpha = score;
            update_pv(legal[i]);
            const auto head = legal.begin();
            std::rotate(head, head + static_cast<std::ptrdiff_t>(i),
                        head + static_cast<std::ptrdiff_t>(i) + 1);
        }
        best = alpha;
        if (std::abs(best) > MATE_THRESHOLD) break;
    }
    return best;
}

// ---------------------------------------------------------------------------
// Starts
// ---------------------------------------------------------------------------

// Keys of a game differ from those of all others by a constant, so that nothing that earlier
// games left in the tables is taken for this game's: far cheaper than clearing them.
void salt_keys(Random& random) {
    compute_hash_key();
    hash_key ^= random();
}

// A move at random among those that a short search finds nearly as good as the best.
int sound_move(Random& random, const std::vector<int>& legal) {
    begin_search();
    std::vector<int> scores;
    scores.reserve(legal.size());
    for (const int index : legal) {
        scores.push_back(score_root_move(index, 1, -INFINITE_SCORE, OPENING_DEPTH));
    }
    const int best = *std::max_element(scores.begin(), scores.end());
    std::vector<int> sound;
    for (std::size_t i = 0; i < legal.size(); ++i) {
        if (scores[i] >= best - OPENING_LOSS) sound.push_back(legal[i]);
    }
    return sound[idx(pick(random, static_cast<int>(sound.size())))];
}

// An opening as games have them: other moves each time, and none that loses anything.
bool set_up_opening(Random& random) {
    begin_initial_position();
    finish_initial_position();
    salt_keys(random);
    for (int ply = 0; ply < OPENING_PLIES; ++ply) {
        const std::vector<int> legal = legal_moves();
        if (legal.empty()) return false;
        play_root_move(sound_move(random, legal));
    }
    return true;
}

struct Army {
    std::vector<int> pieces;
    int pawns = 0;
    int value = 0;
};

// Up to four pieces, two of a kind at most, and up to seven pawns.
Army random_army(Random& random) {
    std::array<int, 7> kinds = {KNIGHT, KNIGHT, BISHOP, BISHOP, ROOK, ROOK, QUEEN};
    Army army;
    const int pieces = pick(random, 5);
    for (int i = 0; i < pieces; ++i) {
        std::swap(kinds[idx(i)], kinds[idx(i + pick(random, 7 - i))]);
        army.pieces.push_back(kinds[idx(i)]);
    }
    army.pawns = pick(random, 8);
    army.value = army.pawns * piece_value[PAWN];
    for (const int type : army.pieces) army.value += piece_value[idx(type)];
    return army;
}

void place(int piece, int sq) {
    board[idx(sq)] = piece;
    if (piece == KING) white_king_sq = sq;
    if (piece == -KING) black_king_sq = sq;
}

void place_piece(Random& random, int piece) {
    int sq = 0;
    do sq = A1 + 10 * pick(random, 8) + pick(random, 8);
    while (piece_on(sq) != EMPTY);
    place(piece, sq);
}

// Pawns mostly on files of their own and not far advanced, so that structures look like those
// of games.
void place_pawns(Random& random, int colour, int count) {
    constexpr int DOUBLED_ONE_IN = 8;
    const int first_file = pick(random, 8);
    const int step = 2 * pick(random, 4) + 1;  // odd: the files come without repeats
    for (int i = 0; i < count;) {
        const bool own_file = pick(random, DOUBLED_ONE_IN) != 0;
        const int file = own_file ? (first_file + i * step) % 8 : pick(random, 8);
        const int steps_forward = std::min(pick(random, 5), pick(random, 5));
        const int sq = (colour == WHITE ? A2 : A7) + colour * 10 * steps_forward + file;
        if (piece_on(sq) != EMPTY) continue;
        place(colour * PAWN, sq);
        ++i;
    }
}

void place_army(Random& random, const Army& army, int colour) {
    place_piece(random, colour * KING);
    place_pawns(random, colour, army.pawns);
    for (const int type : army.pieces) place_piece(random, colour * type);
}

// Random material for both sides, equal or nearly so, on random squares.
bool set_up_ending(Random& random) {
    const Army white = random_army(random);
    const Army black = pick(random, 3) == 0 ? white : random_army(random);
    if (std::abs(white.value - black.value) > MAX_MATERIAL_GAP) return false;

    begin_initial_position();
    for (int sq = A1; sq <= H8; ++sq) {
        if (on_board(sq)) board[idx(sq)] = EMPTY;
    }
    place_army(random, white, WHITE);
    place_army(random, black, BLACK);
    for (const int sq : {A1, E1, H1, A8, E8, H8}) square_moves[idx(sq)] = 1;
    white_castled = black_castled = 1;
    finish_initial_position();
    side = pick(random, 2) == 0 ? WHITE : BLACK;
    salt_keys(random);
    return !is_attacked(side == WHITE ? black_king_sq : white_king_sq, side);
}

// The test reads what evaluate() works out for the position.
bool is_dead_draw() {
    evaluate(-INFINITE_SCORE, INFINITE_SCORE);
    return is_bare_minor_draw();
}

bool is_fair_start() {
    if (is_dead_draw()) return false;
    std::vector<int> legal = legal_moves();
    return !legal.empty() && std::abs(search_position(legal, PROBE_NODES)) <= BALANCED_SCORE;
}

void set_up_start(Random& random) {
    const bool ending = pick(random, 100) < ENDINGS_PERCENT;
    for (;;) {
        const bool placed = ending ? set_up_ending(random) : set_up_opening(random);
        if (placed && is_fair_start()) return;
    }
}

// ---------------------------------------------------------------------------
// Ends
// ---------------------------------------------------------------------------

bool is_third_occurrence() {
    int earlier = 0;
    for (int ply = game_ply - 4; ply >= std::max(0, game_ply - fifty); ply -= 2) {
        if (history_entry(ply).key == hash_key) ++earlier;
    }
    return earlier >= 2;
}

bool is_draw_by_rule() {
    return fifty >= MAX_QUIET_HALF_MOVES || game_ply >= LONGEST_GAME || is_dead_draw() ||
           is_third_occurrence();
}

// Counts how long both sides have agreed that one of them wins.
class Adjudicator {
  public:
    // Takes the score of a move, for white. True when the game is decided.
    bool decides(int score) {
        const int winner = score >= WON_SCORE ? WHITE : score <= -WON_SCORE ? BLACK : 0;
        plies_ = winner != 0 && winner == winner_ ? plies_ + 1 : 1;
        winner_ = winner;
        return winner_ != 0 && (plies_ >= WON_PLIES || std::abs(score) > MATE_THRESHOLD);
    }

    double result() const { return winner_ == WHITE ? 1.0 : 0.0; }

  private:
    int winner_ = 0;
    int plies_ = 0;
};

// As if no game had been played before.
void forget_games() {
    for (Move& move : move_stack) move.score = 0;
    hash_move = {};
    current_move_score = 0;
    search_aborted = false;
}

GameRecord play_on(std::uint64_t node_limit, const std::function<void()>& before_search) {
    GameRecord game{position_fen(), {}, 0.5};
    Adjudicator adjudicator;
    while (!is_draw_by_rule()) {
        before_search();
        std::vector<int> legal = legal_moves();
        if (legal.empty()) {
            if (in_check()) game.result = side == WHITE ? 0.0 : 1.0;
            return game;
        }
        const int score = search_position(legal, node_limit);
        game.moves.push_back({coordinate_name(move_at(legal.front())), score});
        if (adjudicator.decides(side * score)) {
            game.result = adjudicator.result();
            return game;
        }
        play_root_move(legal.front());
    }
    return game;
}

}  // namespace

GameRecord play_game(std::uint64_t seed, std::uint64_t node_limit) {
    Random random(seed);
    forget_games();
    set_up_start(random);
    return play_on(node_limit, [] {});
}

std::string draw_opening(std::uint64_t seed) {
    Random random(seed);
    forget_games();
    while (!set_up_opening(random) || !is_fair_start()) {}
    return position_fen();
}

GameRecord play_game_from(const std::string& fen, std::uint64_t node_limit,
                          const std::function<void()>& before_search) {
    forget_games();
    tarsimo::set_up_position(fen);
    return play_on(node_limit, before_search);
}

std::uint64_t seed_of_game(std::uint64_t seed, std::uint64_t game) {
    std::uint64_t z = (seed << 40) + game + 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return z ^ (z >> 31);
}

}  // namespace tarsimo::tuning
