// Endings with a score of their own: king and pawn, running pawns and races, one piece each, and
// the mates against a bare king.
#include "support.h"

#include <algorithm>
#include <map>
#include <random>
#include <sstream>

namespace tarsimo::test {

namespace {

class Endings : public Engine {};

int square_of(int index) { return A1 + index % 8 + 10 * (index / 8); }

bool beside(int a, int b) {
    return std::abs(square_file[idx(a)] - square_file[idx(b)]) <= 1 &&
           std::abs(square_rank[idx(a)] - square_rank[idx(b)]) <= 1;
}

// The number of legal positions that the pawn wins is known. Colours and wings are alike.
TEST_F(Endings, KingAndPawnWinAsOftenAsIsKnown) {
    std::array<int, 2> won{};
    const auto count = [&won](int king, int pawn, int lone, bool strong_to_move) {
        const bool is_won = is_won_kpk(WHITE, king, pawn, lone, strong_to_move);
        const auto for_black = [](int sq) { return mirror_square[idx(sq)]; };
        const auto other_wing = [](int sq) { return sq + 9 - 2 * square_file[idx(sq)]; };
        won[strong_to_move] += is_won;
        ASSERT_EQ(is_won, is_won_kpk(BLACK, for_black(king), for_black(pawn), for_black(lone),
                                     strong_to_move));
        ASSERT_EQ(is_won, is_won_kpk(WHITE, other_wing(king), other_wing(pawn), other_wing(lone),
                                     strong_to_move));
    };
    for (int n = 0; n < 64 * 64 * 64; ++n) {
        const int king = square_of(n / 4096);
        const int pawn = square_of(n / 64 % 64);
        const int lone = square_of(n % 64);
        const bool on_pawn = king == pawn || lone == pawn;
        if (on_pawn || beside(king, lone) || pawn < A2 || pawn > H7) continue;
        count(king, pawn, lone, false);
        if (lone != pawn + 9 && lone != pawn + 11) count(king, pawn, lone, true);
    }
    EXPECT_EQ(won, (std::array<int, 2>{2 * 48802, 2 * 62480}));
}

int white_score() { return side * evaluate(-INF, INF); }

int pawn_ending_balance() {
    evaluate(-INF, INF);
    const ColourPair terms = pawn_ending_terms();
    return terms[0] - terms[1];
}

int searched_score() {
    int score = 0;
    for (int plies = 1; plies <= 8; ++plies) {
        score = side * search(-INF, INF, ONE_PLY * plies, NullMove::YES, in_check());
    }
    return score;
}

// With how many sides to move the answer is a draw before anything is counted.
int dead_draws() {
    int draws = 0;
    for (const int to_move : {WHITE, BLACK}) {
        clear_statistics();
        side = to_move;
        const int score = evaluate(5000, 5001);
        const bool uncounted = eval_lazy_count + eval_hash_count + eval_full_count == 0;
        draws += score == 0 && uncounted ? 1 : 0;
    }
    return draws;
}

const std::map<std::string, int (*)()> kinds = {{"score", white_score},
                                                {"pawns", pawn_ending_balance},
                                                {"search", searched_score},
                                                {"draws", dead_draws}};

TEST_F(Endings, ScoresAreAsListed) {
    for (const std::string& line : data_lines("endings.txt")) {
        const auto fields = fields_of(line);
        ASSERT_GE(fields.size(), 2U) << line;
        std::istringstream words(fields[0]);
        std::string kind;
        int low = 0;
        int high = 0;
        words >> kind >> low >> high;
        ASSERT_TRUE(words && kinds.contains(kind)) << line;
        set_up(fields[1]);
        const int score = kinds.at(kind)();
        EXPECT_GE(score, low) << line;
        EXPECT_LE(score, high) << line;
    }
}

TEST_F(Endings, PawnGainsOnItsWay) {
    int last = 0;
    for (const char* fen : {"7k/8/8/8/8/8/P7/K7 w - -", "7k/8/8/8/P7/8/8/K7 w - -",
                            "7k/8/P7/8/8/8/8/K7 w - -", "7k/P7/8/8/8/8/8/K7 w - -"}) {
        set_up(fen);
        EXPECT_GT(white_score(), last) << fen;
        last = white_score();
    }
}

// The first of two positions is the better one for white, which has more.
TEST_F(Endings, BetterOfTwoPositions) {
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

// Put pieces on squares of an empty board, as seen by white or with the colours exchanged.
void place(const std::vector<std::pair<int, int>>& pieces, int to_move, bool exchanged) {
    for (int sq = A1; sq <= H8; ++sq) {
        if (on_board(sq)) board[idx(sq)] = EMPTY;
    }
    for (const auto& [piece, square] : pieces) {
        const int sq = exchanged ? mirror_square[idx(square)] : square;
        const int code = exchanged ? -piece : piece;
        board[idx(sq)] = code;
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
    for (int i = 0; i < 64; ++i) squares[idx(i)] = square_of(i);
    int beyond_margin = 0;
    for (int n = 0; n < 20000; ++n) {
        std::shuffle(squares.begin(), squares.end(), random);
        std::vector<std::pair<int, int>> pieces = {{KING, squares[0]}, {-KING, squares[1]}};
        if (n % 4 == 0) {
            pieces.push_back({2 + static_cast<int>(random() % 4), squares[2]});
            pieces.push_back({-2 - static_cast<int>(random() % 4), squares[3]});
        } else {
            const std::size_t pawns = 1 + random() % (n % 100 == 1 ? 62 : 8);
            for (std::size_t i = 2; i < 2 + pawns; ++i) {
                pieces.push_back({random() % 2 == 0 ? PAWN : -PAWN, squares[i]});
            }
        }
        place(pieces, n % 2 == 0 ? WHITE : BLACK, false);
        const int score = evaluate(-INF, INF);
        const int balance = side * (white_material - black_material);
        if (n % 4 != 0 && std::abs(score - balance) > 520) ++beyond_margin;
        place(pieces, n % 2 == 0 ? WHITE : BLACK, true);
        ASSERT_EQ(evaluate(-INF, INF), score) << n;
    }
    EXPECT_LT(beyond_margin, 500) << "of 15000: the lazy exit would hide such scores";
}

// How far from the edge a king is: by the steps of rank and file from it. a7 is an exception.
int centre_value(int sq) {
    constexpr std::array<std::array<int, 4>, 4> quarter = {
        {{0, 4, 8, 16}, {4, 32, 40, 48}, {8, 40, 56, 64}, {16, 48, 64, 99}}};
    const int file = square_file[idx(sq)];
    const int rank = square_rank[idx(sq)];
    if (sq == A7) return 8;
    return quarter[idx(std::min(rank, 9 - rank) - 1)][idx(std::min(file, 9 - file) - 1)];
}

// How far from the bishop's corners: by the diagonal. Four squares are exceptions.
int corner_value(int sq, bool dark) {
    constexpr std::array<int, 8> by_diagonal = {200, 150, 100, 60, 30, 20, 10, 0};
    const int file = square_file[idx(sq)];
    const int rank = square_rank[idx(sq)];
    if (dark) return by_diagonal[idx(std::abs(file + rank - 9))];
    if (sq == A4 || sq == B5) return 40;
    if (sq == A5 || sq == B6) return 60;
    return by_diagonal[idx(std::abs(file - rank))];
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
        const Case& c = cases[idx(n / 256)];
        const int lone = square_of(n % 64);
        auto pieces = c.strong;
        pieces.push_back({-KING, lone});
        const auto on_lone = [lone](const auto& man) { return man.second == lone; };
        if (std::count_if(pieces.begin(), pieces.end(), on_lone) > 1) continue;
        const bool exchanged = n / 64 % 2 == 1;
        const bool strong_to_move = n / 128 % 2 == 1;
        place(pieces, strong_to_move ? WHITE : BLACK, exchanged);

        const int lone_square = exchanged ? white_king_sq : black_king_sq;
        const int bishop = exchanged ? mirror_square[idx(pieces[1].second)] : pieces[1].second;
        const int kings = square_distance[idx(white_king_sq)][idx(black_king_sq)];
        const int score =
            c.won - 12 * kings -
            (c.won == 10000 ? centre_value(lone_square)
                            : corner_value(lone_square, square_colour[idx(bishop)] == 1));
        ASSERT_EQ(evaluate(-INF, INF), strong_to_move ? score : -score) << n;
    }
}

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

}  // namespace

}  // namespace tarsimo::test
