// tarsimo-judgement: how well the static evaluation judges positions that a strong engine has
// judged too, by class of position. A change of terms shows here before it shows in a match.
#include "board/position.h"
#include "control/engine.h"
#include "eval/evaluate.h"
#include "eval/setup.h"
#include "search/search.h"
#include "tools/common/text_file.h"
#include "tools/tuning/optimizer.h"
#include "tools/tuning/options.h"
#include "tools/tuning/records.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace tarsimo;
using namespace tarsimo::tuning;

constexpr char USAGE[] = R"(usage: tarsimo-judgement POSITIONS [OPTION]...

Compares the static evaluation of labelled positions with their second opinion,
both for the side that the class is about: the one ahead in material where there
is one, else the one to move.

  error    mean squared difference of the expected results, times 1000
  bias     score less opinion, centipawns on average
  slope    of the opinion by the score: above 1 the evaluation is too timid
  corr     correlation of the two

  --opinion-k X   expected result of an opinion: 1 / (1 + exp(-X * opinion)) (0.0048)
)";

constexpr int KINGS_APART = 3;                 // files between kings on different wings
constexpr int LARGEST = 1000;                  // centipawns; what lies beyond counts as this
constexpr int MIN_MIDDLEGAME_MATERIAL = 2170;  // piece material of either side
constexpr int PAWN_UP_LEAD = 50;               // material ahead
constexpr int TWO_PAWNS_LEAD = 200;

// A position with both verdicts in the evaluation's centipawns.
struct Judged {
    double score;
    double opinion;
    std::vector<bool> classes;
};

struct Class {
    const char* name;
    std::function<bool()> contains;  // of the position on the board, evaluated
};

// Pieces of the types from first to last.
int pieces_of(int colour, int first, int last) {
    int count = 0;
    for (int sq = A1; sq <= H8; ++sq) {
        const int piece = piece_on(sq) == OFFBOARD ? EMPTY : colour * piece_on(sq);
        count += piece >= first && piece <= last ? 1 : 0;
    }
    return count;
}

int queens(int colour) { return pieces_of(colour, QUEEN, QUEEN); }

bool has_queens() { return queens(WHITE) > 0 && queens(BLACK) > 0; }

bool is_middlegame() {
    return std::min(white_eval.piece_material, black_eval.piece_material) >=
           MIN_MIDDLEGAME_MATERIAL;
}

// Files between the kings, with both on their own two ranks; -1 when one has left them.
int wings_apart() {
    const bool home = white_king_sq <= H2 && black_king_sq >= A7;
    return home ? std::abs(file_of(white_king_sq) - file_of(black_king_sq)) : -1;
}

int lead() { return std::abs(white_material - black_material); }

bool is_rook_against_minors() {
    const int rooks = pieces_of(WHITE, ROOK, ROOK) - pieces_of(BLACK, ROOK, ROOK);
    const int minors = pieces_of(WHITE, KNIGHT, BISHOP) - pieces_of(BLACK, KNIGHT, BISHOP);
    return rooks * minors < 0 && std::abs(minors) == 2 * std::abs(rooks);
}

const std::vector<Class> classes = {
    {"all", [] { return true; }},
    {"queens, middlegame", [] { return has_queens() && is_middlegame(); }},
    {"no queens", [] { return queens(WHITE) + queens(BLACK) == 0; }},
    {"endgame", [] { return endgame_flag; }},
    {"pawn ending", [] { return white_pieces + black_pieces == 0; }},
    {"kings on one wing",
     [] { return is_middlegame() && wings_apart() >= 0 && wings_apart() < KINGS_APART; }},
    {"kings apart", [] { return is_middlegame() && wings_apart() >= KINGS_APART; }},
    {"material even", [] { return lead() < PAWN_UP_LEAD; }},
    {"a pawn up", [] { return lead() >= PAWN_UP_LEAD && lead() < TWO_PAWNS_LEAD; }},
    {"a pawn up, pieces",
     [] { return lead() >= PAWN_UP_LEAD && lead() < TWO_PAWNS_LEAD && is_middlegame(); }},
    {"two pawns up", [] { return lead() >= TWO_PAWNS_LEAD; }},
    {"rook for two minors", is_rook_against_minors},
};

Judged judge(const LabelledPosition& position) {
    set_up_position(position);
    const int score = side * evaluate(-INFINITE_SCORE, INFINITE_SCORE);
    const int material = white_material - black_material;
    const int about = std::abs(material) < PAWN_UP_LEAD ? side : material > 0 ? WHITE : BLACK;
    Judged judged{
        static_cast<double>(about * score), static_cast<double>(about * *position.opinion), {}};
    for (const Class& part : classes) judged.classes.push_back(part.contains());
    return judged;
}

std::vector<Judged> read_positions(const std::string& path) {
    tool::TextFile in(path);
    std::vector<Judged> positions;
    for (std::string line; in.next(line);) {
        if (line.starts_with('#')) continue;
        const auto position = parse_position(line);
        if (!position || !position->opinion) {
            tool::fail(in.place() + ": not a position with an opinion: " + tool::printable(line));
        }
        positions.push_back(judge(*position));
    }
    if (!in.fault().empty()) tool::fail(in.fault());
    if (positions.empty()) tool::fail("no positions in " + path);
    return positions;
}

// The scale of the evaluation: its k against what the opinions expect.
double scale_of(const std::vector<Judged>& positions, double opinion_k) {
    std::vector<double> scores;
    std::vector<double> expected;
    for (const Judged& judged : positions) {
        scores.push_back(judged.score);
        expected.push_back(expected_result(opinion_k, judged.opinion));
    }
    return fit_k(scores, expected);
}

void print(std::size_t part, const std::vector<Judged>& positions, double k, double opinion_k) {
    double count = 0;
    double error = 0;
    double bias = 0;
    double squares = 0;
    double products = 0;
    double opinion_squares = 0;
    for (const Judged& judged : positions) {
        if (!judged.classes[part]) continue;
        const double difference =
            expected_result(k, judged.score) - expected_result(opinion_k, judged.opinion);
        const double score = std::clamp<double>(judged.score, -LARGEST, LARGEST);
        const double opinion =
            std::clamp<double>(judged.opinion * opinion_k / k, -LARGEST, LARGEST);
        ++count;
        error += difference * difference;
        bias += score - opinion;
        squares += score * score;
        products += score * opinion;
        opinion_squares += opinion * opinion;
    }
    if (count == 0) return;
    std::printf("%-20s %9.0f %7.2f %6.0f %6.2f %6.2f\n", classes[part].name, count,
                1000 * error / count, bias / count, products / squares,
                products / std::sqrt(squares * opinion_squares));
}

}  // namespace

int main(int argc, char** argv) {
    double opinion_k = 0.0048;
    const auto files = read_options(argc, argv, 1, USAGE, {{"--opinion-k", &opinion_k}});
    if (!(opinion_k > 0)) tool::fail("--opinion-k must be positive");
    init_engine();
    const std::vector<Judged> positions = read_positions(files[0]);
    const double k = scale_of(positions, opinion_k);
    std::printf("k %.6f\n%-20s %9s %7s %6s %6s %6s\n", k, "", "positions", "error", "bias", "slope",
                "corr");
    for (std::size_t part = 0; part < classes.size(); ++part) {
        print(part, positions, k, opinion_k);
    }
    return tool::finish_output(EXIT_SUCCESS);
}
