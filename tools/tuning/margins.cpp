// tarsimo-margins: is the lazy exit of the evaluation sound? It takes the material balance for
// the score where that is far outside the bounds, so the full score must seldom be farther from
// the balance than the margin. Reported by class of position.
#include "board/position.h"
#include "control/engine.h"
#include "control/fen.h"
#include "eval/evaluate.h"
#include "eval/setup.h"
#include "search/search.h"
#include "tools/common/text_file.h"
#include "tools/tuning/options.h"
#include "tools/tuning/records.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using namespace tarsimo;
using namespace tarsimo::tuning;

constexpr char USAGE[] = R"(usage: tarsimo-margins POSITIONS

Compares the full evaluation of labelled positions with their material balance,
against the margins of the evaluation's lazy exit.
)";

constexpr int MIDDLEGAME_MATERIAL = 2169;  // each side has more piece material

struct Class {
    const char* name;
    int margin;               // of the lazy exit, centipawns
    std::vector<int> errors;  // full score against material, centipawns
};

void print(Class& part) {
    if (part.errors.empty()) return;
    std::sort(part.errors.begin(), part.errors.end());
    const auto count = part.errors.size();
    const auto beyond =
        part.errors.end() - std::upper_bound(part.errors.begin(), part.errors.end(), part.margin);
    const auto quantile = [&](std::size_t per_mille) {
        return part.errors[std::min(count - 1, count * per_mille / 1000)];
    };
    std::printf(
        "%-12s %9zu positions  margin %d  beyond %.3f %%  median %d  99 %% %d  99.9 %% %d\n",
        part.name, count, part.margin,
        100.0 * static_cast<double>(beyond) / static_cast<double>(count), quantile(500),
        quantile(990), quantile(999));
}

}  // namespace

int main(int argc, char** argv) {
    const auto files = read_options(argc, argv, 1, USAGE, {});
    tool::TextFile in(files[0]);
    init_engine();

    Class middlegame{"middlegame", 350, {}};
    Class transition{"transition", 520, {}};
    Class endgame{"endgame", 520, {}};
    Class pawns{"pawn ending", 520, {}};
    std::uint64_t measured = 0;
    std::uint64_t left_out = 0;
    for (std::string line; in.next(line);) {
        const auto position = parse_position(line);
        if (!position) {
            ++left_out;
            continue;
        }
        set_up_position(*position);
        const int score = evaluate(-INFINITE_SCORE, INFINITE_SCORE);
        const int balance = side * (white_material - black_material);
        Class& part =
            white_pieces + black_pieces == 0 ? pawns
            : endgame_flag                   ? endgame
            : std::min(white_eval.piece_material, black_eval.piece_material) > MIDDLEGAME_MATERIAL
                ? middlegame
                : transition;
        // The searches themselves see to the mates of a bare king.
        if (white_pawns + black_pawns == 0) continue;
        part.errors.push_back(std::abs(score - balance));
        ++measured;
    }
    if (!in.fault().empty()) tool::fail(in.fault());
    if (measured == 0) tool::fail("no labelled positions with pawns in " + files[0]);
    for (Class* part : {&middlegame, &transition, &endgame, &pawns}) print(*part);
    if (left_out > 0) {
        std::fprintf(stderr, "lines not understood and left out: %" PRIu64 "\n", left_out);
    }
    return tool::finish_output(EXIT_SUCCESS);
}
