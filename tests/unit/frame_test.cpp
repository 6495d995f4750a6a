// The frame of the evaluation, read off the trace: which parts a class of position has, and what
// each of the fixed parts amounts to, whatever the weights.
#include "support.h"

#include <algorithm>

namespace tarsimo::test {

namespace {

class Frame : public Engine {
  protected:
    static const EvalTrace& trace_of(const char* fen) {
        set_up(fen);
        evaluate(-INF, INF);
        return eval_trace;
    }
};

// What the weights of a kind that were counted for a colour add up to.
int weighted(WeightKind kind, std::size_t colour, int (*part)(ScorePair)) {
    int sum = 0;
    for (const WeightGroup& group : weight_groups) {
        if (group.kind != kind) continue;
        for (int i = group.first; i < group.first + group.size; ++i) {
            sum += eval_trace.counts[colour][idx(i)] * part(weights[idx(i)]);
        }
    }
    return sum;
}

int sum_of_terms(std::size_t colour) {
    const EvalTrace& trace = eval_trace;
    const int middlegame = weighted(WeightKind::TAPERED, colour, middlegame_part);
    const int endgame = weighted(WeightKind::TAPERED, colour, endgame_part);
    const int shelter = weighted(WeightKind::SHELTER, colour, middlegame_part);
    return trace.opening[colour] + trace.squares[colour] + trace.king_attack[colour] +
           trace.trade_down[colour] + trace.pawn_ending[colour] +
           shelter * trace.shelter_material[colour] / 3330 +
           (middlegame * trace.mix + endgame * (6660 - trace.mix)) / 6660;
}

int lead_of_terms() { return sum_of_terms(0) - sum_of_terms(1); }

int score_of_trace() {
    int lead = white_material - black_material + lead_of_terms();
    const int cut = std::abs(lead) * (64 - eval_trace.scale) / 64;
    lead += lead > 0 ? -cut : cut;
    const int sum = side * lead + eval_trace.tempo;
    return sum / eval_trace.divisor * eval_trace.damping / 20;
}

// Two knights, two bishops, two rooks and a queen each, and no pawn.
constexpr const char* MIDDLEGAME = "rnbqkbnr/8/8/8/8/8/8/RNBQKBNR w KQkq -";
constexpr const char* TRANSITION = "qrnnk3/p7/8/8/8/8/P7/QRNNK3 w - -";
constexpr const char* ENDGAME = "rn2k3/p7/8/8/8/8/P7/RN2K3 w - -";

TEST_F(Frame, Tempo) {
    EXPECT_EQ(trace_of(MIDDLEGAME).tempo, 12);
    EXPECT_EQ(trace_of(TRANSITION).tempo, 12);
    EXPECT_EQ(trace_of(ENDGAME).tempo, 8);
    // It counts for the side to move, and all else is the same for both.
    for (const char* fen : {MIDDLEGAME, TRANSITION, ENDGAME}) {
        set_up(fen);
        const int for_white = evaluate(-INF, INF);
        side = BLACK;
        EXPECT_EQ(for_white + evaluate(-INF, INF), 2 * eval_trace.tempo) << fen;
    }
}

// The score is the sum of its parts to the centipawn, each of them rounded towards zero.
TEST_F(Frame, ScoreIsTheSumOfItsParts) {
    int compared = 0;
    visit_random_positions(40, 110, [&] {
        const int score = evaluate_traced();
        if (!eval_trace.linear) return;
        ++compared;
        EXPECT_EQ(score, score_of_trace()) << game_ply;
    });
    EXPECT_GT(compared, 3000);
    set_up(MIDDLEGAME);
    set_evaluation(777);
    EXPECT_NE(evaluate_traced(), 777) << "what is traced is no answer of the cache";
}

// Of what the terms of a pawn ending lead by, a third counts beyond 250.
TEST_F(Frame, LeadsInPawnEndingsAreCompressed) {
    int compressed = 0;
    for (const char* fen : {"4k3/5ppp/8/8/8/8/5PPP/4K3 w - -", "8/PP6/8/8/7k/7p/8/K7 w - -",
                            "8/8/7k/p7/1P6/PPP5/8/K7 w - -", "k7/ppp5/1p6/P7/7K/8/8/8 b - -",
                            "k7/8/7P/7K/8/8/pp6/8 b - -", "8/PPP5/8/8/7k/7p/8/K7 w - -",
                            "8/PPP5/8/8/7k/6pp/8/K7 w - -", "8/P1P5/8/8/7k/7p/7p/K7 w - -"}) {
        set_up(fen);
        evaluate_traced();
        if (!eval_trace.linear) continue;
        const ColourPair all = pawn_ending_terms();
        const ColourPair counted = eval_trace.pawn_ending;
        const int lead = lead_of_terms() + (all[0] - counted[0]) - (all[1] - counted[1]);
        const int cut = std::max(std::abs(lead) - 250, 0) * 2 / 3;
        EXPECT_EQ(all[0] - counted[0], lead > 0 ? cut : 0) << fen;
        EXPECT_EQ(all[1] - counted[1], lead > 0 ? 0 : cut) << fen;
        if (cut > 0) ++compressed;
    }
    EXPECT_GT(compressed, 3);
}

// Eight for each piece on the board, off the total of a side that is ahead by more than 199.
TEST_F(Frame, TradeDown) {
    struct Case {
        const char* fen;
        ColourPair penalty;
    };
    for (const auto& [fen, penalty] : {
             Case{"4k1nn/pp6/8/8/8/8/PPPP4/4KNNN w - -", {-40, 0}},
             Case{"4knnn/pppp4/8/8/8/8/PP6/4K1NN w - -", {0, -40}},
             Case{"4k1nn/p7/8/8/8/8/P7/4KR1N w - -", {-32, 0}},  // a rook for a knight: 200
             Case{"4k1bn/p7/8/8/8/8/P7/4KR1N w - -", {0, 0}},    // for a bishop: 190
             Case{"4kr1n/p7/8/8/8/8/P7/4K1NN b - -", {0, -32}},
             Case{"4kr1n/p7/8/8/8/8/P7/4K1BN b - -", {0, 0}},
             Case{"rnbqkbnr/pppppp2/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq -", {-112, 0}},
         }) {
        EXPECT_EQ(trace_of(fen).trade_down, penalty) << fen;
    }
}

// Counts in the middlegame and the transition, when either colour has more than three pawns.
TEST_F(Frame, Shelter) {
    EXPECT_EQ(trace_of("qrnnk3/ppp5/8/8/8/8/PPP5/QRBBK3 w - -").shelter_material, (ColourPair{}));
    EXPECT_EQ(trace_of("qrnnk3/ppp5/8/8/8/8/PPPP4/QRBBK3 w - -").shelter_material,
              (ColourPair{2150, 2170}));
    EXPECT_EQ(trace_of("qrnnk3/pppp4/8/8/8/8/PPP5/QRBBK3 w - -").shelter_material,
              (ColourPair{2150, 2170}));
    EXPECT_EQ(trace_of("rn2k3/pppp4/8/8/8/8/PPPP4/RN2K3 w - -").shelter_material, (ColourPair{}));
}

TEST_F(Frame, MixOfMiddlegameAndEndgame) {
    EXPECT_EQ(trace_of(MIDDLEGAME).mix, 6660);
    EXPECT_EQ(trace_of("rnbqkbnr/8/8/8/8/8/8/RNBQKBNQ w Qkq -").mix, 6660)
        << "no more than at first";
    EXPECT_EQ(trace_of(ENDGAME).mix, 1680);
}

// The table by the number of attacks, pawns in front of the king included; not in the endgame.
TEST_F(Frame, KingAttack) {
    constexpr std::array<int, 12> table = {0, 8, 13, 21, 34, 56, 90, 146, 200, 250, 300, 350};
    std::array<int, table.size()> seen{};
    const auto expected = [&](const EvalSide& us) {
        const auto count = std::min(idx(us.king_attack_count), table.size() - 1);
        ++seen[count];
        return table[count];
    };
    const auto compare = [&] {
        evaluate(-INF, INF);
        if (endgame_flag) {
            EXPECT_EQ(eval_trace.king_attack, (ColourPair{}));
        } else {
            EXPECT_EQ(eval_trace.king_attack,
                      (ColourPair{expected(white_eval), expected(black_eval)}));
        }
    };
    visit_random_positions(24, 120, compare);
    for (const char* fen : {"3N2k1/R7/8/8/8/8/1B6/K4R1R w - -", "6k1/R7/8/6N1/8/8/1B6/K4R1R w - -",
                            "3N2k1/R7/8/6N1/8/8/1B6/K4R1R w - -"}) {
        set_up(fen);
        compare();
    }
    for (std::size_t count = 0; count < table.size(); ++count) EXPECT_GT(seen[count], 0) << count;
}

// A pawn in front of the enemy king, on the two ranks before him and within two files, attacks
// him: none from too far, nor beside the own king.
TEST_F(Frame, StormingPawnsAttackTheKing) {
    const auto attacks = [](const char* fen) {
        trace_of(fen);
        return white_eval.king_attack_count;
    };
    EXPECT_EQ(attacks("qrrn2k1/8/6P1/8/8/8/8/KRRQN3 w - -"), 1);
    EXPECT_EQ(attacks("qrrn2k1/8/8/6P1/8/8/8/KRRQN3 w - -"), 0);
    EXPECT_EQ(attacks("qrrn2k1/8/4P3/8/8/8/8/KRRQN3 w - -"), 1);
}

// ---------------------------------------------------------------------------
// Opening
// ---------------------------------------------------------------------------

// Each rule changes one thing in the initial position, whose pieces cost 65 undeveloped.
TEST_F(Frame, OpeningTerms) {
    struct Case {
        const char* fen;
        int white;
    };
    for (const auto& [fen, white] : {
             Case{"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", -65},
             // Castled: 20, and a step of development.
             Case{"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w kq -", 20 - 50},
             // Steps of development, to the full.
             Case{"rnbqkbnr/pppppppp/8/8/8/N7/PPPPPPPP/R1BQKBNR w KQkq -", -50},
             Case{"rnbqkbnr/pppppppp/8/8/8/N6N/PPPPPPPP/R1BQKB1R w KQkq -", -35},
             Case{"rnbqkbnr/pppppppp/8/B7/8/N6N/PPPPPPPP/R2QKB1R w KQkq -", -20},
             Case{"rnbqkbnr/pppppppp/8/BB6/8/N6N/PPPPPPPP/R2QK2R w KQkq -", -5},
             Case{"rnbqkbnr/pppppppp/8/BB6/8/N6N/PPPPPPPP/R2QK2R w kq -", 20},
             // A piece, own or not, before a centre pawn.
             Case{"rnbqkbnr/pppppppp/8/8/8/3q4/PPPPPPPP/RNBQKBNR w KQkq -", -65 - 20},
             Case{"rnbqkbnr/pppppppp/8/8/8/4R3/PPPPPPPP/1NBQKBNR w Kkq -", -65 - 20},
             Case{"rnbqkbnr/pppppppp/8/8/8/3qR3/PPPPPPPP/1NBQKBNR w Kkq -", -65 - 40},
             Case{"rnbqkbnr/pppppppp/8/8/3P4/3q4/PPP1PPPP/RNBQKBNR w KQkq -", -65 + 10},
             // The knight before the c-pawn, with a pawn on d4; a pawn on d4 or e4.
             Case{"rnbqkbnr/pppppppp/8/8/3P4/8/PPP1PPPP/RNBQKBNR w KQkq -", -65 + 10},
             Case{"rnbqkbnr/pppppppp/8/8/3PP3/8/PPP2PPP/RNBQKBNR w KQkq -", -65 + 10},
             Case{"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR w KQkq -", -65 + 10},
             Case{"rnbqkbnr/pppppppp/8/8/3P4/2N5/PPP1PPPP/R1BQKBNR w KQkq -", -50 + 10 - 20},
             Case{"rnbqkbnr/pppppppp/8/8/8/2N5/PPPPPPPP/R1BQKBNR w KQkq -", -50},
             Case{"rnbqkbnr/pppppppp/8/8/3P4/2N5/P1PPPPPP/R1BQKBNR w KQkq -", -50 + 10 - 20},
             Case{"rnbqkbnr/pppppppp/8/8/2PP4/2N5/PP2PPPP/R1BQKBNR w KQkq -", -50 + 10},
             // A pawn less with as many pieces.
             Case{"rnbqkbnr/pppppppp/8/8/8/8/1PPPPPPP/RNBQKBNR w KQkq -", -65 - 40},
             Case{"rnbqkb1r/pppppppp/8/8/8/8/1PPPPPPP/RNBQKBNR w KQkq -", -65},
             Case{"rnbqkbnr/1ppppppp/8/8/8/8/1PPPPPPP/RNBQKBNR w KQkq -", -65},
             // Fianchetto: the house whole, in part, without its roof, the diagonal shut.
             Case{"rnbqkbnr/pppppppp/8/8/8/1P6/PBPPPPPP/RN1QKBNR w KQkq -", -50 + 16},
             Case{"rnbqkbnr/pppppppp/8/8/8/6P1/PPPPPPBP/RNBQK1NR w KQkq -", -50 + 16},
             Case{"rnbqkbnr/pppppppp/8/8/P7/1P6/1BPPPPPP/RN1QKBNR w KQkq -", -50 + 8},
             Case{"rnbqkbnr/pppppppp/8/8/1P6/8/PBPPPPPP/RN1QKBNR w KQkq -", -50 - 10},
             Case{"rnbqkbnr/pppppppp/8/8/8/1PP5/PB1PPPPP/RN1QKBNR w KQkq -", -50 + 8 - 20},
             Case{"rnbqkbnr/pppppppp/8/8/8/5PP1/PPPPP1BP/RNBQK1NR w KQkq -", -50 + 8 - 20},
         }) {
        EXPECT_EQ(trace_of(fen).opening[0], white) << fen;
    }
    // The steps are kept for the terms of the queens.
    trace_of("rnbqkbnr/pppppppp/8/BB6/8/N6N/PPPPPPPP/R2QK2R w kq -");
    EXPECT_EQ(white_eval.development, 5);
    EXPECT_EQ(black_eval.development, 0);
    // Asked for as long as one side has more than 2169 of pieces; then both count as developed.
    const auto asked = [](const char* fen) {
        const bool skipped = trace_of(fen).opening == ColourPair{} && white_eval.development == 6;
        EXPECT_EQ(skipped, black_eval.development == 6);
        return !skipped;
    };
    EXPECT_TRUE(asked("qrbb2k1/8/8/8/8/8/8/1NBQ2K1 w - -"));
    EXPECT_TRUE(asked("1nbq2k1/8/8/8/8/8/8/QRBB2K1 w - -"));
    EXPECT_FALSE(asked("qrbn2k1/8/8/8/8/8/8/QRBN2K1 w - -"));
}

// A quarter of the score is left where neither side has a pawn and each has from a rook to a rook
// and a bishop.
TEST_F(Frame, DrawishPawnlessEndings) {
    for (const auto& [fen, divisor] : {
             std::pair{"r3k3/8/8/8/8/8/8/R3KB2 w - -", 4},
             {"rb2k3/8/8/8/8/8/8/R3KB2 w - -", 4},
             {"rb2k3/8/8/8/8/8/8/4KR2 w - -", 4},
             {"r3k3/8/8/8/8/8/8/R3KB1N w - -", 1},
             {"rn2k1b1/8/8/8/8/8/8/R3K3 w - -", 1},
             {"r3k3/p7/8/8/8/8/8/R3KB2 w - -", 1},
             {"n3k3/8/8/8/8/8/8/R3KB2 w - -", 1},
             {"r3k3/8/8/8/8/8/8/2B1KB2 w - -", 4},
         }) {
        EXPECT_EQ(trace_of(fen).divisor, divisor) << fen;
        EXPECT_EQ(evaluate_traced(), score_of_trace()) << fen;
    }
}

}  // namespace

}  // namespace tarsimo::test
