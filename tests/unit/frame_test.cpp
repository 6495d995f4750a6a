// The evaluation, read off the trace: which parts a class of position has, and what each of the
// fixed parts amounts to, whatever the weights; how often each weight is counted, and its sign.
#include "support.h"

#include <algorithm>
#include <map>
#include <sstream>

namespace tarsimo::test {

namespace {

class Frame : public Engine {};

std::string figure(int value) { return " " + std::to_string(value); }
std::string figures(const ColourPair& pair) { return figure(pair[0]) + figure(pair[1]); }

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

// How far from the balance a window may begin, above or below it, without a lazy exit, and whether
// the position counts as an endgame. Both are the same for either side to move.
std::string lazy_exit() {
    const auto margin = [](int sign) {
        for (int distance = 0; distance < INF; ++distance) {
            clear_statistics();
            const int bound = balance() + sign * (distance + 1);
            const int score = sign > 0 ? evaluate(bound, INF) : evaluate(-INF, bound);
            if (eval_lazy_count == 1 && score == balance()) return distance;
        }
        return INF;
    };
    const int above = margin(1);
    EXPECT_EQ(margin(-1), above);
    side = -side;
    EXPECT_EQ(margin(1), above);
    EXPECT_EQ(margin(-1), above);
    return figure(above) + figure(endgame_flag);
}

const std::map<std::string, std::string (*)()> parts = {
    {"tempo", [] { return figure(eval_trace.tempo); }},
    {"mix", [] { return figure(eval_trace.mix); }},
    {"divisor", [] { return figure(eval_trace.divisor); }},
    {"scale", [] { return figure(eval_trace.scale); }},
    {"opening", [] { return figure(eval_trace.opening[0]); }},
    {"trade_down", [] { return figures(eval_trace.trade_down); }},
    {"shelter", [] { return figures(eval_trace.shelter_material); }},
    {"lazy_exit", lazy_exit},
    {"king_attacks", [] { return figure(white_eval.king_attack_count); }},
    {"development",
     [] {
         return figures({white_eval.development, black_eval.development});
     }},
};

TEST_F(Frame, PartsAreAsListed) {
    for (const std::string& line : data_lines("parts.txt")) {
        SCOPED_TRACE(line);
        const auto fields = fields_of(line);
        ASSERT_GE(fields.size(), 2U);
        const std::string name = first_word(fields[0]);
        ASSERT_TRUE(parts.contains(name));
        set_up(fields[1]);
        const int score = evaluate_traced();
        if (eval_trace.linear) { EXPECT_EQ(score, score_of_trace()); }
        EXPECT_EQ(name + parts.at(name)(), fields[0]);
    }
}

// Tempo, fixed and weighted, counts for the side to move, and all else is the same for both.
TEST_F(Frame, SideToMoveHasTheTempo) {
    for (const char* fen :
         {START_FEN, "qrnnk3/p7/8/8/8/8/P7/QRNNK3 w - -", "rn2k3/p7/8/8/8/8/P7/RN2K3 w - -"}) {
        set_up(fen);
        const int for_white = evaluate(-INF, INF);
        side = BLACK;
        const int for_black = evaluate(-INF, INF);
        const double full = eval_trace.mix / 6660.0;
        const double weighted =
            full * middlegame_part(weights[TEMPO]) + (1 - full) * endgame_part(weights[TEMPO]);
        const double tempo = eval_trace.tempo + weighted * eval_trace.scale / FULL_SCALE;
        EXPECT_NEAR(for_white + for_black, 2 * tempo, 3) << fen;
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
    set_up(START_FEN);
    set_evaluation(777);
    EXPECT_NE(evaluate_traced(), 777) << "what is traced is no answer of the cache";
}

// Of what the terms of a pawn ending lead by, a quarter counts beyond 250.
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
        const int cut = std::max(std::abs(lead) - 250, 0) * 3 / 4;
        EXPECT_EQ(all[0] - counted[0], lead > 0 ? cut : 0) << fen;
        EXPECT_EQ(all[1] - counted[1], lead > 0 ? 0 : cut) << fen;
        if (cut > 0) ++compressed;
    }
    EXPECT_GT(compressed, 3);
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

const WeightGroup* group_named(const std::string& name) {
    for (const WeightGroup& group : weight_groups) {
        if (name == group.name) return &group;
    }
    return nullptr;
}

TEST_F(Frame, TermsAreCountedAsListed) {
    const auto lines = data_lines("terms.txt");
    ASSERT_GT(lines.size(), 60U);
    for (const std::string& line : lines) {
        SCOPED_TRACE(line);
        const auto fields = fields_of(line);
        std::istringstream words(fields[0]);
        std::string name;
        std::string sign;
        int index = -1;
        std::array<int, 2> counts{};
        words >> name >> index >> counts[0] >> counts[1] >> sign;
        const WeightGroup* group = group_named(name);
        ASSERT_TRUE(group != nullptr && index >= 0 && index < group->size);

        set_up(fields.at(1));
        evaluate_traced();
        EXPECT_TRUE(eval_trace.linear);
        const auto weight = idx(group->first + index);
        EXPECT_EQ(eval_trace.counts[0][weight], counts[0]);
        EXPECT_EQ(eval_trace.counts[1][weight], counts[1]);
        const int worth = middlegame_part(weights[weight]) + endgame_part(weights[weight]);
        EXPECT_EQ(sign, sign == "." ? "." : worth > 0 ? "+" : worth < 0 ? "-" : "0");
    }
}

// Two rooks against a queen, beyond the band of drawish endings, are cut as a lead without pawns.
TEST_F(Frame, PawnlessLeadsAreCut) {
    set_up("3qk3/8/8/8/8/8/8/R3K2R w - -");
    evaluate_traced();
    EXPECT_EQ(eval_trace.divisor, 1);
    EXPECT_LT(eval_trace.scale, FULL_SCALE);
}

}  // namespace

}  // namespace tarsimo::test
