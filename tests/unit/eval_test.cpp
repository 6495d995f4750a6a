// The evaluation's cache, damping and symmetry. Its exits and figures are pinned as data.
#include "support.h"

namespace tarsimo::test {

namespace {

class Evaluation : public Engine {};

void flip_colours() {
    const auto before = board;
    const auto moves_before = square_moves;
    for (int sq = A1; sq <= H8; ++sq) {
        if (!on_board(sq)) continue;
        board[idx(sq)] = -before[idx(mirror_square[idx(sq)])];
        square_moves[idx(sq)] = moves_before[idx(mirror_square[idx(sq)])];
    }
    const int king = white_king_sq;
    white_king_sq = mirror_square[idx(black_king_sq)];
    black_king_sq = mirror_square[idx(king)];
    if (ep_square != 0) ep_square = mirror_square[idx(ep_square)];
    std::swap(white_castled, black_castled);
    side = -side;
    count_material();
    compute_hash_key();
}

// A position and its twin with the colours exchanged have one score. The tables of the bare
// king endings are not symmetric, so positions without pawns are left out.
TEST_F(Evaluation, ColourFlippedTwinsAreEqual) {
    const int positions = visit_random_positions(60, 110, [] {
        if (white_pawns + black_pawns == 0) return;
        const Snapshot before = snapshot();
        const int score = evaluate(-INF, INF);
        flip_colours();
        EXPECT_EQ(evaluate(-INF, INF), score) << game_ply;
        flip_colours();
        ASSERT_TRUE(snapshot() == before);
    });
    EXPECT_GT(positions, 5000);
}

TEST_F(Evaluation, CacheKnowsTheSideToMove) {
    set_up(START_FEN);
    const int score = evaluate(-INF, INF);
    EXPECT_EQ(evaluate(-INF, INF), score);
    EXPECT_EQ(eval_hash_count, 1U);
    side = BLACK;
    evaluate(-INF, INF);
    EXPECT_EQ(eval_full_count, 2U);
    EXPECT_EQ(evaluate(-INF, INF), score);
    side = WHITE;
    evaluate(-INF, INF);
    EXPECT_EQ(eval_full_count, 3U);

    // The stored score keeps the fading of its own count; NO_SCORE is an empty entry.
    fifty = 95;
    EXPECT_EQ(evaluate(-INF, INF), score);
    eval_cache[hash_key % eval_cache_size].score = NO_SCORE;
    EXPECT_NE(evaluate(-INF, INF), score);
    EXPECT_EQ(eval_full_count, 4U);
}

// Scores fade from 81 to 99 reversible moves, but for the mates of a bare king.
TEST_F(Evaluation, FadesTowardsTheFiftyMoveDraw) {
    const auto score_at = [](int reversible_moves) {
        fifty = reversible_moves;
        eval_cache[hash_key % eval_cache_size] = {};
        return evaluate(-INF, INF);
    };
    for (const char* fen : {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKB1R w KQkq -",
                            "r3k3/pp6/8/8/8/1P6/8/R3K2N w - -", "q1r1k3/8/8/8/8/8/8/Q3K3 b - -"}) {
        set_up(fen);
        const int full = score_at(0);
        ASSERT_GT(std::abs(full), 50);
        for (const int moves : {80, 81, 82, 90, 99, 100}) {
            const int left = moves > 80 && moves < 100 ? 101 - moves : 20;
            EXPECT_EQ(score_at(moves), full * left / 20) << fen << ' ' << moves;
        }
    }
    set_up("8/8/8/4k3/8/8/8/4K2R w - -");
    EXPECT_EQ(score_at(90), 9853);
}

// What a piece with these steps reaches from `sq`, by walking over the board.
SquareSet walked(int sq, std::initializer_list<int> steps, bool slides) {
    SquareSet set = 0;
    for (const int step : steps) {
        for (int to = sq + step; piece_on(to) != OFFBOARD; to += step) {
            set |= bit(set_index(to));
            if (!slides || piece_on(to) != EMPTY) break;
        }
    }
    return set;
}

TEST_F(Evaluation, SetsOfAttacksAgreeWithTheBoard) {
    const int positions = visit_random_positions(24, 120, [] {
        reset_eval_outputs();
        eval_setup();
        for (int index = 0; index < 64; ++index) {
            const int sq = square_of_bit(index);
            const SquareSet occupied = occupied_squares();
            ASSERT_EQ(knight_attacks(index), walked(sq, {8, -8, 12, -12, 19, -19, 21, -21}, false));
            ASSERT_EQ(bishop_attacks(index, occupied), walked(sq, {9, -9, 11, -11}, true)) << sq;
            ASSERT_EQ(rook_attacks(index, occupied), walked(sq, {1, -1, 10, -10}, true)) << sq;
        }
    });
    EXPECT_GT(positions, 1000);
}

TEST_F(Evaluation, SetUpOutputs) {
    const auto squares_of = [](SquareSet set) {
        std::vector<int> squares;
        for (const int sq : Squares{set}) squares.push_back(sq);
        return squares;
    };
    set_up("4k3/p2p4/3p4/8/P2P4/3P4/7P/2R1K2N w - -");
    reset_eval_outputs();
    eval_setup();
    EXPECT_EQ(squares_of(black_occupied), (std::vector<int>{D6, A7, D7, E8}));
    EXPECT_EQ(squares_of(white_eval.pieces), (std::vector<int>{C1, H1}));
    EXPECT_EQ(squares_of(black_eval.pieces), (std::vector<int>{}));
    EXPECT_EQ(squares_of(white_eval.attacks[PAWN]), (std::vector<int>{G3, C4, E4, B5, C5, E5}));
    EXPECT_EQ(squares_of(black_eval.king_zone), (std::vector<int>{D1, F1, D2, E2, F2}));
}

// The outputs of one colour as they are before any term has run.
void expect_no_findings(const EvalSide& us) {
    EXPECT_EQ(us.attacks, decltype(us.attacks){});
    EXPECT_EQ(us.pieces | us.passed | us.safe | us.king_zone, 0U);
    EXPECT_EQ(us.king_attack_count + us.king_attackers + us.bishops[0] + us.bishops[1], 0);
    EXPECT_EQ(us.count, decltype(us.count){});
    EXPECT_EQ(us.development, 0);
}

// Whatever exit a call takes, it leaves nothing behind of the position before.
TEST_F(Evaluation, EveryExitResetsTheOutputs) {
    const char* const rich = "r1bq1rk1/ppp2ppp/2n2n2/3pp3/1b1PP3/2N2N2/PPPBBPPP/R2QK2R w KQ -";
    const auto evaluate_after_rich = [&](const char* fen, int alpha, int beta) {
        set_position_fen(rich);
        evaluate(-INF, INF);
        set_position_fen(fen);
        evaluate(alpha, beta);
        expect_no_findings(white_eval);
        expect_no_findings(black_eval);
    };
    evaluate_after_rich("4k3/8/8/8/8/8/8/3NK3 w - -", -INF, INF);
    EXPECT_EQ(white_eval.piece_material, 320);
    evaluate_after_rich("4k3/3p4/8/8/8/8/3P4/3QK3 w - -", 0, 1);
    EXPECT_EQ(eval_lazy_count, 1U);
    EXPECT_TRUE(endgame_flag);
    EXPECT_EQ(white_eval.piece_material, 990);

    set_position_fen(rich);
    evaluate(-INF, INF);
    evaluate(-INF, INF);
    EXPECT_EQ(eval_hash_count, 1U);
    expect_no_findings(white_eval);
}

// What a border square of a table holds is read by nobody and fixed all the same.
TEST_F(Evaluation, TablesHaveTheirBorders) {
    for (const SquareTables* tables : {&white_middlegame_tables, &white_endgame_tables}) {
        const bool endgame = tables == &white_endgame_tables;
        const SquareTables& mirrored = endgame ? black_endgame_tables : black_middlegame_tables;
        for (int type = PAWN; type <= KING; ++type) {
            for (int sq = 0; sq < BOARD_SIZE; ++sq) {
                const int value = tables->by_type[idx(type)][idx(sq)];
                EXPECT_EQ(mirrored.by_type[idx(type)][idx(mirror_square[idx(sq)])], value);
                const bool kept = endgame && type == QUEEN && sq % 10 == 0 && sq >= 70 && sq <= 90;
                if (on_board(sq)) continue;
                EXPECT_EQ(value, kept ? -10 * (sq / 10 - 6) : 0) << sq;
            }
        }
    }
    EXPECT_EQ(square_colour[A1] + square_colour[H8] + square_colour[D4], 3);
    EXPECT_EQ(square_colour[A1 - 1] + square_colour[A8] + square_colour[H1], 0);
}

}  // namespace

}  // namespace tarsimo::test
