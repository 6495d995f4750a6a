// The tuning tools: the trace against the evaluation, games, positions, and the optimizer.
#include "support.h"

#include "tools/tuning/extract.h"
#include "tools/tuning/optimizer.h"
#include "tools/tuning/player.h"
#include "tools/tuning/weight_list.h"

#include <cmath>
#include <fstream>
#include <iterator>
#include <random>
#include <set>

using namespace tarsimo;
using namespace tarsimo::test;
using namespace tarsimo::tuning;

class Tuning : public Engine {};

namespace {

constexpr std::uint64_t FEW_NODES = 150;

std::string list_text() {
    std::ifstream in(TARSIMO_WEIGHT_LIST);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Positions whose targets are what some hidden values say.
struct Planted {
    Samples samples;
    Values hidden = Values(2 * WEIGHT_COUNT, 0);
    std::vector<std::uint32_t> all;
};

constexpr int PLANTED_WEIGHTS = 8;  // the first ones, and as many of the shelter
constexpr double PLANTED_K = 0.005;

Planted planted_samples(int size) {
    Planted planted;
    std::mt19937_64 random(7);
    const auto pick = [&random](int choices) {
        return static_cast<int>(random() % static_cast<unsigned>(choices));
    };
    for (int i = 0; i < PLANTED_WEIGHTS; ++i) {
        planted.hidden[idx(2 * i)] = pick(101) - 50;
        planted.hidden[idx(2 * i + 1)] = pick(101) - 50;
        planted.hidden[idx(2 * (SHELTER_PAWN + i))] = pick(101) - 50;
    }
    for (int i = 0; i < size; ++i) {
        Sample sample{};
        sample.base = static_cast<float>(pick(401) - 200);
        sample.factor = pick(4) == 0 ? 0.5F : 1.0F;
        sample.mix = static_cast<float>(pick(101)) / 100;
        sample.shelter = {static_cast<float>(pick(101)) / 100, 1};
        sample.first_term = static_cast<std::uint32_t>(planted.samples.terms.size());
        sample.tapered_terms = sample.shelter_terms = 3;
        for (int term = 0; term < 6; ++term) {
            const int weight = pick(PLANTED_WEIGHTS) + (term < 3 ? 0 : SHELTER_PAWN);
            planted.samples.terms.push_back({static_cast<std::uint16_t>(weight),
                                             static_cast<std::int8_t>(pick(3)),
                                             static_cast<std::int8_t>(pick(3))});
        }
        sample.target = static_cast<float>(
            expected_result(PLANTED_K, linear_score(planted.samples, sample, planted.hidden)));
        planted.samples.positions.push_back(sample);
        planted.all.push_back(static_cast<std::uint32_t>(i));
    }
    return planted;
}

Values tuned(const Planted& planted, const TuningSettings& settings) {
    Values values(planted.hidden.size(), 0);
    tune(planted.samples, planted.all, values, settings, [](int, const Values&) {});
    return values;
}

}  // namespace

TEST_F(Tuning, LinearSumIsTheEvaluation) {
    const Values values = built_in_values();
    Samples samples;
    int answered_otherwise = 0;
    const auto compare = [&] {
        int score = 0;
        if (!append_sample(samples, score)) {
            ++answered_otherwise;
            EXPECT_TRUE(endgame_flag) << position_fen();
            return;
        }
        EXPECT_NEAR(linear_score(samples, samples.positions.back(), values), score, 4)
            << position_fen();
        EXPECT_EQ(score, side * evaluate(-INF, INF));
    };
    EXPECT_GE(visit_random_positions(60, 120, compare), 4000);

    // Scales, divisor, pure pawn endings, and endings with an answer of their own.
    for (const char* fen : {"8/8/4kpp1/3p1b2/p6P/2B5/6P1/6K1 b - -",
                            "8/2p5/8/K6r/8/5k2/8/1BR5 w - -", "8/8/3k4/8/2R5/3K4/1B6/r7 w - -",
                            "4k3/8/8/7P/8/8/8/K3B3 w - -", "8/8/3k4/8/8/3K4/1B1N4/8 w - -",
                            "8/8/8/3k4/8/8/1K3Q2/4r3 b - -", "8/8/8/3k4/8/8/1K3B2/8 w - -"}) {
        set_up(fen);
        compare();
    }
    EXPECT_GE(answered_otherwise, 3);
}

TEST_F(Tuning, RecordsSurviveTheirText) {
    int positions = 0;
    visit_random_positions(12, 60, [&positions] {
        if (++positions % 7 != 0) return;
        const std::string fen = position_fen();
        const auto key = std::pair(board, ep_square);
        const auto legal = legal_moves().size();
        const Snapshot before = snapshot();
        set_up(fen);
        EXPECT_EQ(position_fen(), fen);
        EXPECT_EQ(std::pair(board, ep_square), key);
        EXPECT_EQ(legal_moves().size(), legal) << fen;  // castling rights are the same
        EXPECT_EQ(side, before.side);
    });
    const std::string fen = "4k3/8/8/8/8/8/4P3/4K3 w - -";
    const std::string line = fen + ";e2e4/35 e8d7/-20;0.5";
    ASSERT_TRUE(parse_game(line));
    EXPECT_EQ(format_game(*parse_game(line)), line);
    EXPECT_EQ(parse_position(fen + ";1;-35")->opinion, -35);
    EXPECT_EQ(parse_position(fen + ";0")->result, 0);
    // Blanks that the engine would take for fields are gone.
    EXPECT_EQ(parse_position("  4k3/8/8/8/8/8/4P3/4K3\tw  -  - 0 1;1")->fen, fen);
    for (const char* bad :
         {"", ";e2e4/35", ";e2e4;1", ";e2e4/x;1", ";e2e4/3;2", ";e2e4/100001;1"}) {
        EXPECT_FALSE(parse_game(fen + bad)) << bad;
    }
    for (const char* bad :
         {"", ";", ";2", ";1;", ";1;x", ";1;2;3", ";1;2;w", ";1;bw", ";1;w;", ";1;-99999999999"}) {
        EXPECT_FALSE(parse_position(fen + bad)) << bad;
    }
}

// A king that has moved without castling looks like one that has castled; the evaluation knows.
TEST_F(Tuning, RecordsKnowWhoHasCastled) {
    const auto evaluated = [] { return evaluate(-INF, INF); };
    for (const auto& [moves, uncastled] :
         std::initializer_list<std::pair<const char*, const char*>>{
             {"e2e4 e7e5 g1f3 b8c6 f1b5 g8f6 e1g1 f6e4", ""},
             {"e2e4 e7e5 g1f3 b8c6 f1b5 g8f6 e1f1 f6e4", "w"},
             {"e2e4 e7e5 g1f3 b8c6 f1b5 e8e7 e1g1 e7d6", "b"},
             {"e2e4 e7e5 e1e2 e8e7", "wb"}}) {
        set_up(START_FEN);
        play(moves);
        const LabelledPosition position = labelled_position(0.5);
        const int score = evaluated();
        const std::string line = format_position(position);
        EXPECT_EQ(line, position.fen + ";0.5" + (*uncastled != 0 ? ";" : "") + uncastled);
        const auto again = parse_position(line + ";-35");
        ASSERT_TRUE(again);
        EXPECT_EQ(format_position(*again), line + ";-35");
        set_up_position(*again);
        clear_hash_tables();
        EXPECT_EQ(evaluated(), score) << moves;
    }
}

// The engine sets up something for any text; a tool must not take that for what was meant.
TEST_F(Tuning, LinesWithoutAPositionAreRefused) {
    for (const char* bad :
         {"", "fen", "8/8/8/8/8/8/8/8 w - -", "4k3/8/8/8/8/8/8/4K2 w - -",
          "4k3/8/8/8/8/8/8/4K22 w - -", "4k3/8/8/8/8/8/8/4K3/8 w - -", "4k3/8/8/8/8/8/4K3 w - -",
          "4k3/8/8/8/8/8/8/K3K3 w - -", "4k3/8/8/8/8/8/8/4X3 w - -", "4k3/8/8/8/8/8/8/4K3",
          "4k3/8/8/8/8/8/8/4K3 x - -", "4k3/8/8/8/8/8/8/4K3 w", "4k3/8/8/8/8/8/8/4K3 w Kx -",
          "4k3/8/8/8/8/8/8/4K3 w -", "4k3/8/8/8/8/8/8/4K3 w - e3", "4k3/8/8/8/8/8/8/4K3 b - e33"}) {
        EXPECT_FALSE(parse_game(std::string(bad) + ";;1")) << bad;
        EXPECT_FALSE(parse_position(std::string(bad) + ";1")) << bad;
    }
}

// Games are legal, with the result that their end shows, and depend on their seed alone: what
// other games left in the tables makes no difference.
TEST_F(Tuning, GamesAreLegalAndDependOnTheirSeed) {
    constexpr std::uint64_t GAMES = 12;
    std::vector<std::string> in_used_tables;
    for (std::uint64_t seed = 0; seed < GAMES; ++seed) {
        in_used_tables.push_back(format_game(play_game(seed, FEW_NODES)));
    }
    std::set<std::string> starts;
    std::array<int, 3> results{};
    for (std::uint64_t seed = GAMES; seed-- > 0;) {
        clear_hash_tables();
        const GameRecord game = play_game(seed, FEW_NODES);
        EXPECT_EQ(format_game(game), in_used_tables[seed]);
        starts.insert(game.start);
        ++results[idx(static_cast<int>(2 * game.result))];

        set_up(game.start);
        for (const PlayedMove& move : game.moves) {
            const int index = find_root_move(legal_moves(), move.name);
            ASSERT_GE(index, 0) << move.name << " in " << format_game(game);
            play_root_move(index);
        }
        // The last move stays unplayed in a game that was adjudicated; it is played here.
        const bool mated = legal_moves().empty() && in_check();
        const int for_white = game.moves.back().score * -side;
        const bool white_won = mated ? side == BLACK : for_white >= 600;
        const bool black_won = mated ? side == WHITE : for_white <= -600;
        if (game.result != 0.5) {
            EXPECT_EQ(white_won, game.result > 0.5) << format_game(game);
            EXPECT_EQ(black_won, game.result < 0.5) << format_game(game);
        }
    }
    EXPECT_EQ(starts.size(), GAMES);
    for (const int count : results) EXPECT_GT(count, 0);
}

// Quiet positions by hand; then those of games, by the exchanges on offer. A few of those win
// a piece and lose another elsewhere, or lead from one dead draw to the next.
TEST_F(Tuning, ExtractedPositionsAreQuiet) {
    const std::vector<std::pair<const char*, bool>> cases = {
        {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", true},
        {"4k3/8/8/8/4r3/8/4PP2/4K3 w - -", true},
        {"4k3/8/8/8/4r3/3P4/5P2/4K3 w - -", false},
        {"4k3/8/8/8/4r3/3P4/5P2/6K1 w - -", false},
        {"4k3/P7/8/8/4r3/8/5P2/6K1 w - -", false}};
    for (const auto& [fen, quiet] : cases) {
        set_up(fen);
        EXPECT_EQ(is_quiet(), quiet) << fen;
    }

    constexpr std::uint64_t PER_GAME = 12;
    Extractor extractor(PER_GAME, 1);
    std::set<std::string> seen;
    std::size_t won_exchanges = 0;
    for (std::uint64_t seed = 0; seed < 12; ++seed) {
        const GameRecord game = play_game(seed, FEW_NODES);
        bool legal = false;
        const auto positions = extractor.extract(game, legal);
        EXPECT_TRUE(legal);
        EXPECT_LE(positions.size(), PER_GAME);
        for (const LabelledPosition& position : positions) {
            EXPECT_TRUE(seen.insert(position.fen).second) << position.fen;
            EXPECT_EQ(position.result, game.result);
            set_up(position.fen);
            EXPECT_FALSE(in_check());
            const auto moves = legal_moves();
            won_exchanges += std::any_of(moves.begin(), moves.end(), [](int index) {
                const Move& move = move_at(index);
                return move.captured != 0 && see(move.from, move.to) > order_value[PAWN];
            });
        }
    }
    EXPECT_GE(seen.size(), 60);
    EXPECT_LE(won_exchanges * 10, seen.size());

    // An illegal move, a king that can be taken, and more pieces than a game has.
    for (const GameRecord& none :
         {GameRecord{START_FEN, {{"e2e5", 0}}, 1},
          GameRecord{"4k3/4R3/8/8/8/8/8/4K3 w - -", {{"e7e8", 0}}, 1},
          GameRecord{"4k3/8/8/8/8/PPPPPPPP/PPPPPPPP/4K3 w - -", {{"a3a4", 0}}, 1}}) {
        bool legal = true;
        EXPECT_TRUE(extractor.extract(none, legal).empty());
        EXPECT_FALSE(legal) << none.start;
    }
}

TEST_F(Tuning, TunerRecoversPlantedWeights) {
    const Planted planted = planted_samples(20000);
    TuningSettings settings;
    settings.k = PLANTED_K;
    settings.pull = 0;
    settings.step = 4;
    settings.passes = 150;
    const Values values = tuned(planted, settings);
    for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_NEAR(values[i], planted.hidden[i], 1) << "value " << i;
    }
    EXPECT_LT(mean_error(planted.samples, planted.all, values, PLANTED_K, 2), 1e-6);

    // The outcome does not depend on the threads. Frozen values stay, a strong pull holds.
    settings.passes = 3;
    settings.threads = 3;
    const Values by_three = tuned(planted, settings);
    settings.threads = 1;
    EXPECT_EQ(tuned(planted, settings), by_three);
    settings.frozen.assign(values.size(), false);
    settings.frozen[0] = true;
    EXPECT_EQ(tuned(planted, settings)[0], 0);
    EXPECT_NE(by_three[0], 0);
    settings.pull = 1e9;
    settings.passes = 20;
    for (const double value : tuned(planted, settings)) EXPECT_NEAR(value, 0, 0.5);
}

TEST_F(Tuning, ScalesAndSplits) {
    std::vector<double> scores;
    std::vector<double> results;
    for (int score = -800; score <= 800; score += 10) {
        scores.push_back(score);
        results.push_back(expected_result(0.0037, score));
    }
    EXPECT_NEAR(fit_k(scores, results), 0.0037, 1e-5);

    Samples samples;
    Sample sample{};
    sample.result = 1;
    sample.opinion = 100;
    samples.positions = {sample};
    set_targets(samples, 0.25, 0.01);
    EXPECT_NEAR(samples.positions[0].target, 0.25 + 0.75 / (1 + std::exp(-1)), 1e-6);

    const Split split = split_samples(200000, 10, 1);
    EXPECT_EQ(split.training.size() + split.held_out.size(), 200000);
    EXPECT_NEAR(static_cast<double>(split.held_out.size()), 20000, 10000);
    std::set<std::uint32_t> blocks;
    for (const std::uint32_t index : split.held_out) blocks.insert(index / 1000);
    for (const std::uint32_t index : split.training) ASSERT_FALSE(blocks.contains(index / 1000));
}

TEST_F(Tuning, ListIsRewrittenInPlace) {
    const std::string list = list_text();
    Values values = built_in_values();
    EXPECT_EQ(rewrite_list(list, values), list);

    values[2 * BISHOP_PAIR] = 1234.4;
    values[2 * BISHOP_PAIR + 1] = -4321.6;
    const std::string changed = rewrite_list(list, values);
    EXPECT_NE(changed.find("WEIGHTS(BISHOP_PAIR, TAPERED, \"\", S(1234, -4322))\n"),
              std::string::npos);
    const auto lines = [](const std::string& text) {
        return std::count(text.begin(), text.end(), '\n');
    };
    EXPECT_EQ(lines(changed), lines(list));
    EXPECT_EQ(rewrite_list(changed, built_in_values()), list);

    // A group that no longer fits its line is written in rows, and back.
    Values wide = built_in_values();
    for (int i = 2 * PAWN_ISOLATED; i < 2 * PAWN_BACKWARD; ++i) wide[idx(i)] = -1234567890;
    const std::string rows = rewrite_list(list, wide);
    EXPECT_NE(rows.find("\"opposed, unopposed\",\n    S(-1234567890, "), std::string::npos);
    EXPECT_EQ(rewrite_list(rows, built_in_values()), list);

    // Rows of eight: the ninth weight of the knight's mobility begins one.
    const auto ninth = static_cast<std::size_t>(2 * (KNIGHT_MOBILITY + 8));
    Values marked = built_in_values();
    marked[ninth] = 987;
    EXPECT_NE(rewrite_list(list, marked).find("\n    S(987, "), std::string::npos);

    std::string other = list;
    other.replace(other.find("BISHOP_PAIR"), 11, "BISHOP_TRIO");
    EXPECT_EQ(rewrite_list(other, values), "");
    EXPECT_EQ(rewrite_list(list.substr(0, list.rfind("))")), values), "");
    EXPECT_EQ(rewrite_list("", values), "");
}
