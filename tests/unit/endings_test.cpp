// Endings with a score of their own: king and pawn against a solution by brute force, running
// pawns and races, one piece each, and the mates against a bare king.
#include "support.h"

#include <algorithm>
#include <random>

namespace tarsimo::test {

namespace {

class Endings : public Engine {};

int square_of(int index) { return A1 + index % 8 + 10 * (index / 8); }

// ---------------------------------------------------------------------------
// King and pawn against king by brute force: squares 0..63, white has the pawn.
// ---------------------------------------------------------------------------

class BruteForce {
  public:
    BruteForce() {
        for (bool changed = true; changed;) {
            changed = false;
            for (int n = 0; n < SIZE; ++n) {
                if (won_[at(n)] || !is_legal(n) || !wins(n)) continue;
                won_[at(n)] = changed = true;
            }
        }
    }

    static constexpr int SIZE = 2 * 64 * 64 * 64;

    static bool white_to_move(int n) { return n >= SIZE / 2; }
    static int king(int n) { return n / 4096 % 64; }
    static int pawn(int n) { return n / 64 % 64; }
    static int lone(int n) { return n % 64; }

    static bool is_legal(int n) {
        const bool apart = king(n) != pawn(n) && lone(n) != pawn(n) && !near(king(n), lone(n));
        return apart && pawn(n) / 8 >= 1 && pawn(n) / 8 <= 6 &&
               !(white_to_move(n) && attacks(pawn(n), lone(n)));
    }

    bool won(int n) const { return won_[at(n)]; }

  private:
    std::vector<bool> won_ = std::vector<bool>(SIZE);

    static int number(bool white, int king, int pawn, int lone) {
        return (white ? SIZE / 2 : 0) + king * 4096 + pawn * 64 + lone;
    }
    static bool near(int a, int b) {
        return std::abs(a / 8 - b / 8) <= 1 && std::abs(a % 8 - b % 8) <= 1;
    }
    static bool attacks(int pawn, int sq) {
        return sq / 8 == pawn / 8 + 1 && std::abs(sq % 8 - pawn % 8) == 1;
    }

    // The promoted piece stays on the board and does not stalemate.
    static bool promotion_wins(int king, int target, int lone) {
        if (near(lone, target) && !near(king, target)) return false;
        const auto covers = [&](bool diagonals, int sq) {
            const int ranks = sq / 8 - target / 8;
            const int files = sq % 8 - target % 8;
            const bool straight = ranks == 0 || files == 0;
            if (!straight && !(diagonals && std::abs(ranks) == std::abs(files))) return false;
            const int step = 8 * ((ranks > 0) - (ranks < 0)) + (files > 0) - (files < 0);
            for (int s = target + step; s != sq; s += step) {
                if (s == king) return false;  // a lone king in between does not hide its retreat
            }
            return sq != target;
        };
        for (const bool queen : {true, false}) {
            if (covers(queen, lone)) return true;
            for (int to = 0; to < 64; ++to) {
                if (near(to, lone) && to != lone && !near(to, king) && !covers(queen, to))
                    return true;
            }
        }
        return false;
    }

    bool wins(int n) const {
        const int k = king(n);
        const int p = pawn(n);
        const int l = lone(n);
        if (white_to_move(n)) {
            if (p + 8 != k && p + 8 != l) {
                if (p / 8 == 6) {
                    if (promotion_wins(k, p + 8, l)) return true;
                } else if (won(number(false, k, p + 8, l))) {
                    return true;
                }
                const bool double_step = p / 8 == 1 && p + 16 != k && p + 16 != l;
                if (double_step && won(number(false, k, p + 16, l))) return true;
            }
            for (int to = 0; to < 64; ++to) {
                if (to != k && to != p && near(to, k) && !near(to, l) &&
                    won(number(false, to, p, l)))
                    return true;
            }
            return false;
        }
        bool can_move = attacks(p, l);
        for (int to = 0; to < 64; ++to) {
            if (to == l || !near(to, l) || near(to, k) || attacks(p, to)) continue;
            if (to == p || !won(number(true, k, p, to))) return false;
            can_move = true;
        }
        return can_move;
    }
};

TEST_F(Endings, KingAndPawnAgreesWithBruteForce) {
    const BruteForce solution;
    std::array<int, 2> won{};
    for (int n = 0; n < BruteForce::SIZE; ++n) {
        if (!BruteForce::is_legal(n)) continue;
        const bool strong_to_move = BruteForce::white_to_move(n);
        won[strong_to_move] += solution.won(n);
        const int king = square_of(BruteForce::king(n));
        const int pawn = square_of(BruteForce::pawn(n));
        const int lone = square_of(BruteForce::lone(n));
        ASSERT_EQ(is_won_kpk(WHITE, king, pawn, lone, strong_to_move), solution.won(n))
            << square_name(king) << square_name(pawn) << square_name(lone) << strong_to_move;
        ASSERT_EQ(is_won_kpk(BLACK, mirror_square[at(king)], mirror_square[at(pawn)],
                             mirror_square[at(lone)], strong_to_move),
                  solution.won(n));
    }
    EXPECT_EQ(won, (std::array<int, 2>{2 * 48802, 2 * 62480})) << "the known totals";
}

// ---------------------------------------------------------------------------
// Scores of known positions
// ---------------------------------------------------------------------------

struct Expected {
    const char* fen;
    int low, high;  // bounds of the score for white
};

// The score for white of the current position, by `score_of_position`.
template <typename Function>
void expect_scores(const std::vector<Expected>& cases, Function score_of_position) {
    for (const Expected& c : cases) {
        set_up(c.fen);
        const int score = score_of_position();
        EXPECT_GE(score, c.low) << c.fen;
        EXPECT_LE(score, c.high) << c.fen;
    }
}

int white_score() { return side * evaluate(-INF, INF); }

int pawn_ending_balance() {
    evaluate(-INF, INF);
    const ColourPair terms = pawn_ending_terms();
    return terms[0] - terms[1];
}

TEST_F(Endings, PawnsAgainstTheBareKing) {
    expect_scores({{"8/4k3/8/4K3/4P3/8/8/8 w - -", 0, 0},  // who must move loses the opposition
                   {"8/4k3/8/4K3/4P3/8/8/8 b - -", 450, 600},
                   {"4k3/8/4K3/4P3/8/8/8/8 w - -", 450, 600},  // king on the sixth, ahead
                   {"4k3/8/4K3/4P3/8/8/8/8 b - -", 450, 600},
                   {"3k4/8/8/8/3K4/8/4P3/8 b - -", 450, 600},  // on a key square
                   {"8/4k3/8/8/8/4K3/4P3/8 w - -", 450, 600},  // and a waiting pawn move
                   {"4k3/4P3/4K3/8/8/8/8/8 b - -", 0, 0},      // stalemate
                   {"8/k1P5/2K5/8/8/8/8/8 w - -", 560, 600},   // only a rook wins
                   {"8/8/8/8/8/1k6/p7/K7 w - -", 0, 0},
                   {"k7/8/1K6/P7/8/8/8/8 w - -", 0, 0},  // the rook's pawn
                   {"8/1K1k4/8/P7/8/8/8/8 b - -", 450, 600},
                   {"8/8/8/p7/8/8/1k1K4/8 w - -", -600, -450},
                   {"k7/8/1K6/P7/P7/8/8/8 w - -", 0, 0},  // doubled
                   {"8/8/8/8/p7/p7/1k6/K7 b - -", 0, 0},
                   {"k7/8/1K6/PP6/8/8/8/8 w - -", 300, 700},
                   {"8/8/P1k5/P7/8/8/8/7K b - -", 1, 900}},
                  white_score);

    int last = 0;
    for (const char* fen : {"7k/8/8/8/8/8/P7/K7 w - -", "7k/8/8/8/P7/8/8/K7 w - -",
                            "7k/8/P7/8/8/8/8/K7 w - -", "7k/P7/8/8/8/8/8/K7 w - -"}) {
        set_up(fen);
        EXPECT_GT(white_score(), last) << "grows towards the promotion: " << fen;
        last = white_score();
    }
}

TEST_F(Endings, RunningPawnsAndRaces) {
    constexpr int NONE = 0;
    constexpr int RUNS_LOW = 300;
    constexpr int RUNS_HIGH = 420;
    constexpr int RACE_LOW = 150;
    constexpr int RACE_HIGH = 300;
    expect_scores(
        {
            // The square, with both sides to move, from the second rank too.
            {"8/8/8/5k2/P7/7p/7P/6K1 w - -", RUNS_LOW, RUNS_HIGH},
            {"8/8/8/5k2/P7/7p/7P/6K1 b - -", NONE, NONE},
            {"8/8/8/6k1/P7/7p/7P/6K1 b - -", RUNS_LOW, RUNS_HIGH},
            {"8/8/8/6k1/8/7p/P6P/6K1 w - -", RUNS_LOW, RUNS_HIGH},
            {"8/8/8/6k1/8/7p/P6P/6K1 b - -", NONE, NONE},
            {"6k1/7p/7P/p7/5K2/8/8/8 b - -", -RUNS_HIGH, -RUNS_LOW},
            {"6k1/7p/7P/p7/5K2/8/8/8 w - -", NONE, NONE},
            // The own king on the way, or guarding it; a check by a pawn costs the move.
            {"8/8/K7/5k2/P7/7p/7P/8 w - -", NONE, NONE},
            {"8/1K6/3k4/P7/8/7p/7P/8 b - -", RUNS_LOW, RUNS_HIGH},
            {"8/6K1/3k4/P7/8/7p/7P/8 b - -", NONE, NONE},
            {"8/8/8/5k2/P7/7p/6KP/8 w - -", NONE, NONE},
            // Not passed.
            {"8/1p6/8/6k1/P7/7p/7P/6K1 w - -", NONE, NONE},
            // Both run: a diagonal or a check decides, or two moves, but not against a fortress.
            {"4K3/8/8/P7/7p/8/8/4k3 w - -", RACE_LOW, RACE_HIGH},
            {"4K3/8/8/P7/7p/8/8/4k3 b - -", -RACE_HIGH, -RACE_LOW},
            {"4K3/8/8/P7/6p1/8/8/4k3 w - -", NONE, NONE},
            {"4K3/8/8/P7/6p1/8/8/k7 w - -", RACE_LOW, RACE_HIGH},
            {"4K3/8/P7/8/6p1/8/8/3k4 w - -", RACE_LOW, RACE_HIGH},
            {"4K3/8/P7/8/7p/8/6k1/8 w - -", 1, RACE_LOW},
            // The opposition, where nobody has a pawn move.
            {"8/4k3/p6p/P3K2P/8/8/8/8 w - -", -30, -1},
            {"8/4k3/p6p/P3K2P/8/8/8/8 b - -", 1, 30},
            {"8/1p2k3/7p/P3K2P/8/8/8/8 b - -", NONE, NONE},
        },
        pawn_ending_balance);
}

TEST_F(Endings, OnePieceEach) {
    expect_scores({{"3qk3/8/8/8/8/8/8/3QK3 w - -", 0, 0},
                   {"3rk3/8/8/8/8/8/8/3RK3 b - -", 0, 0},
                   {"3rk3/8/8/8/8/8/8/3QK3 b - -", 400, 700},
                   {"3qk3/8/8/8/8/8/8/3RK3 b - -", -700, -400},
                   {"3bk3/8/8/8/8/8/8/3QK3 w - -", 500, 700},
                   {"3qk3/8/8/8/8/8/8/3NK3 w - -", -700, -500},
                   {"3nk3/8/8/8/8/8/8/3RK3 w - -", 1, 80},
                   {"3rk3/8/8/8/8/8/8/3BK3 w - -", -80, -1}},
                  white_score);

    // The first of two positions is the better one for white, which has more.
    const std::array<std::pair<const char*, const char*>, 6> pairs = {{
        {"1k6/8/8/8/7r/2K5/8/Q7 w - -", "1k6/8/1r6/8/8/2K5/8/Q7 w - -"},   // loose rook
        {"k7/1r6/8/2K5/8/8/8/Q7 w - -", "8/8/1r6/1k6/8/3K4/8/Q7 w - -"},   // edge
        {"1k6/1n6/3K4/8/8/8/8/Q7 w - -", "1k6/1n6/8/8/3K4/8/8/Q7 w - -"},  // kings close
        {"1k6/8/2K5/8/7n/8/8/R7 w - -", "1k6/n7/2K5/8/8/8/8/R7 w - -"},    // knight far away
        {"k7/8/1K6/5b2/8/8/8/R7 w - -", "k7/8/1K6/6b1/8/8/8/R7 w - -"},    // corner of its colour
        {"k7/8/2K5/8/8/8/6b1/R7 w - -", "8/8/2K5/8/4k3/8/6b1/R7 w - -"},
    }};
    for (const auto& [better, worse] : pairs) {
        set_up(better);
        const int score = white_score();
        set_up(worse);
        EXPECT_GT(score, white_score()) << better << " against " << worse;
    }
}

// ---------------------------------------------------------------------------
// Colours, and positions of any kind
// ---------------------------------------------------------------------------

// Put men on squares of an empty board, as seen by white or with the colours exchanged.
void place(const std::vector<std::pair<int, int>>& men, int to_move, bool exchanged) {
    for (int sq = A1; sq <= H8; ++sq) {
        if (on_board(sq)) board[at(sq)] = EMPTY;
    }
    for (const auto& [piece, square] : men) {
        const int sq = exchanged ? mirror_square[at(square)] : square;
        const int code = exchanged ? -piece : piece;
        board[at(sq)] = code;
        if (code == KING) white_king_sq = sq;
        if (code == -KING) black_king_sq = sq;
    }
    side = exchanged ? -to_move : to_move;
    ep_square = 0;
    count_material();
    compute_hash_key();
}

// Pawns stand on any rank here, and there may be up to 62 of them: nothing a game can bring, but
// what a set-up can.
TEST_F(Endings, ColourFlippedTwinsAreEqual) {
    std::mt19937 random(64);
    std::array<int, 64> squares{};
    for (int i = 0; i < 64; ++i) squares[at(i)] = square_of(i);
    int beyond_margin = 0;
    for (int n = 0; n < 20000; ++n) {
        std::shuffle(squares.begin(), squares.end(), random);
        std::vector<std::pair<int, int>> men = {{KING, squares[0]}, {-KING, squares[1]}};
        if (n % 4 == 0) {
            men.push_back({2 + static_cast<int>(random() % 4), squares[2]});
            men.push_back({-2 - static_cast<int>(random() % 4), squares[3]});
        } else {
            const std::size_t pawns = 1 + random() % (n % 100 == 1 ? 62 : 8);
            for (std::size_t i = 2; i < 2 + pawns; ++i) {
                men.push_back({random() % 2 == 0 ? PAWN : -PAWN, squares[i]});
            }
        }
        place(men, n % 2 == 0 ? WHITE : BLACK, false);
        const int score = evaluate(-INF, INF);
        const int balance = side * (white_material - black_material);
        if (n % 4 != 0 && std::abs(score - balance) > 520) ++beyond_margin;
        place(men, n % 2 == 0 ? WHITE : BLACK, true);
        ASSERT_EQ(evaluate(-INF, INF), score) << n;
    }
    EXPECT_LT(beyond_margin, 1000) << "of 15000: the lazy exit would hide such scores";
}

// ---------------------------------------------------------------------------
// Bare kings
// ---------------------------------------------------------------------------

// How far from the edge a king is: by the steps of rank and file from it. a7 is an exception.
int centre_value(int sq) {
    constexpr std::array<std::array<int, 4>, 4> quarter = {
        {{0, 4, 8, 16}, {4, 32, 40, 48}, {8, 40, 56, 64}, {16, 48, 64, 99}}};
    const int file = square_file[at(sq)];
    const int rank = square_rank[at(sq)];
    if (sq == A7) return 8;
    return quarter[at(std::min(rank, 9 - rank) - 1)][at(std::min(file, 9 - file) - 1)];
}

// How far from the bishop's corners: by the diagonal. Four squares are exceptions.
int corner_value(int sq, bool dark) {
    constexpr std::array<int, 8> by_diagonal = {200, 150, 100, 60, 30, 20, 10, 0};
    const int file = square_file[at(sq)];
    const int rank = square_rank[at(sq)];
    if (dark) return by_diagonal[at(std::abs(file + rank - 9))];
    if (sq == A4 || sq == B5) return 40;
    if (sq == A5 || sq == B6) return 60;
    return by_diagonal[at(std::abs(file - rank))];
}

// The bare king everywhere, both colours, both sides to move; the others in the middle.
TEST_F(Endings, BareKing) {
    struct Case {
        std::vector<std::pair<int, int>> strong;
        int won;  // before distances and tables
    };
    const std::vector<Case> cases = {{{{KING, D4}, {ROOK, D5}}, 10000},
                                     {{{KING, D5}, {BISHOP, D4}, {BISHOP, E4}}, 10000},
                                     {{{KING, D4}, {ROOK, D5}, {QUEEN, E5}}, 10000},
                                     {{{KING, D4}, {BISHOP, D5}, {KNIGHT, E5}}, 990},
                                     {{{KING, D4}, {BISHOP, E5}, {KNIGHT, D5}}, 990}};
    for (int n = 0; n < 64 * 4 * static_cast<int>(cases.size()); ++n) {
        const Case& c = cases[at(n / 256)];
        const int lone = square_of(n % 64);
        auto men = c.strong;
        men.push_back({-KING, lone});
        const auto on_lone = [lone](const auto& man) { return man.second == lone; };
        if (std::count_if(men.begin(), men.end(), on_lone) > 1) continue;
        const bool exchanged = n / 64 % 2 == 1;
        const bool strong_to_move = n / 128 % 2 == 1;
        place(men, strong_to_move ? WHITE : BLACK, exchanged);

        const int lone_square = exchanged ? white_king_sq : black_king_sq;
        const int bishop = exchanged ? mirror_square[at(men[1].second)] : men[1].second;
        const int kings = square_distance[at(white_king_sq)][at(black_king_sq)];
        const int score =
            c.won - 12 * kings -
            (c.won == 10000 ? centre_value(lone_square)
                            : corner_value(lone_square, square_colour[at(bishop)] == 1));
        ASSERT_EQ(evaluate(-INF, INF), strong_to_move ? score : -score) << n;
    }
}

// Nobody can mate: a draw whatever the window, before anything is counted.
TEST_F(Endings, BareMinorPieces) {
    const auto is_dead_draw = [](const char* fen, int to_move) {
        set_up(fen);
        side = to_move;
        const int score = evaluate(5000, 5001);
        const bool uncounted = eval_lazy_count + eval_hash_count + eval_full_count == 0;
        EXPECT_TRUE(!uncounted || score == 0);
        return uncounted;
    };
    for (const int to_move : {WHITE, BLACK}) {
        for (const char* fen : {"4k3/8/8/8/8/8/8/4K3 w - -", "4k3/8/8/8/N7/8/8/4K3 w - -",
                                "4k3/8/8/8/b7/8/8/4K3 w - -", "4k3/8/8/8/NN6/8/8/4K3 w - -",
                                "4k3/8/8/8/NNnn4/8/8/4K3 w - -", "4k3/8/8/8/NNb5/8/8/4K3 w - -"}) {
            EXPECT_TRUE(is_dead_draw(fen, to_move)) << fen;
        }
        for (const char* fen : {"4k3/8/8/8/P7/8/8/4K3 w - -", "4k3/8/8/8/BB6/8/8/4K3 w - -",
                                "4k3/8/8/8/bn6/8/8/4K3 w - -", "4k3/8/8/8/R7/8/8/4K3 w - -",
                                "4k3/8/8/8/r7/8/8/4K3 w - -", "4k3/8/8/8/NNN5/8/8/4K3 w - -",
                                "4k3/8/8/8/nnn5/8/8/4K3 w - -", "4k3/8/8/8/Nn5p/8/8/4K3 w - -"}) {
            EXPECT_FALSE(is_dead_draw(fen, to_move)) << fen;
        }
    }
}

// ---------------------------------------------------------------------------
// Won endings
// ---------------------------------------------------------------------------

// A window near a won score: evaluate() keeps to its exit, the searches see the ending. With a
// pawn or a second piece on the board they answer alike.
TEST_F(Endings, SearchesSeeTheWayToTheMate) {
    set_up("8/8/8/3k4/8/8/8/KR6 w - -");
    EXPECT_EQ(evaluate(9900, 9901), 520);
    EXPECT_EQ(eval_lazy_count, 1U);
    EXPECT_EQ(static_score(9900, 9901), 10000 - 12 * 4 - 99);
    side = BLACK;
    EXPECT_EQ(static_score(-9901, -9900), -(10000 - 12 * 4 - 99));
    set_up("8/8/8/3K4/8/8/8/kr6 b - -");
    EXPECT_GT(static_score(9900, 9901), 9000);
    for (const char* fen : {"8/8/8/3k4/8/8/P7/KR6 w - -", "8/8/7n/3k4/8/8/8/KR6 w - -",
                            "8/7p/8/3k4/8/8/8/KR6 w - -"}) {
        set_up(fen);
        EXPECT_EQ(static_score(9900, 9901), evaluate(9900, 9901)) << fen;
        EXPECT_EQ(eval_lazy_count, 2U);
    }
}

// Each ending is brought home from a position near its end, by search to a fixed depth.
TEST_F(Endings, ShortMates) {
    constexpr int PLIES = 8;
    expect_scores({{"8/8/8/8/3K4/7Q/3k4/8 w - -", 31900, 31998},
                   {"8/8/8/8/8/2K5/1R6/k7 w - -", 31900, 31998},
                   {"k7/8/1K6/8/2B5/4B3/8/8 w - -", 31900, 31998},
                   {"k7/8/1K2B3/8/4N3/8/8/8 w - -", 31900, 31998},
                   {"1k6/1r6/2K5/Q7/8/8/8/8 b - -", 9800, 31998}},  // the rook falls
                  [] {
                      int score = 0;
                      for (int plies = 1; plies <= PLIES; ++plies) {
                          score = side * search(-INF, INF, ONE_PLY * plies, true, in_check());
                      }
                      return score;
                  });
}

}  // namespace

}  // namespace tarsimo::test
