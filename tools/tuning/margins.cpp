// tarsimo-margins: is the lazy exit of the evaluation sound? It takes the material balance for
// the score where that is far outside the bounds, so the full score must seldom be farther from
// the balance than the margin. Told by class of position.
//
//   tarsimo-margins POSITIONS
#include "board/position.h"
#include "control/engine.h"
#include "control/fen.h"
#include "eval/evaluate.h"
#include "eval/setup.h"
#include "search/search.h"
#include "tools/tuning/options.h"
#include "tools/tuning/records.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace {

using namespace tarsimo;
using namespace tarsimo::tuning;

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
    const auto files = read_options(argc, argv, 1, "tarsimo-margins POSITIONS", {});
    std::ifstream in(files[0]);
    if (!in) fail("cannot read " + files[0]);
    init_engine();

    Class middlegame{"middlegame", 350, {}};
    Class transition{"transition", 520, {}};
    Class endgame{"endgame", 520, {}};
    Class pawns{"pawn ending", 520, {}};
    std::string line;
    while (std::getline(in, line)) {
        const auto position = parse_position(line);
        if (!position) continue;
        set_position_fen(position->fen);
        const int score = evaluate(-INFINITE_SCORE, INFINITE_SCORE);
        const int balance = side * (white_material - black_material);
        Class& part =
            white_pieces + black_pieces == 0 ? pawns
            : endgame_flag                   ? endgame
            : std::min(white_eval.piece_material, black_eval.piece_material) > MIDDLEGAME_MATERIAL
                ? middlegame
                : transition;
        // The mates of a bare king are told apart by the searches themselves.
        if (white_pawns + black_pawns > 0) part.errors.push_back(std::abs(score - balance));
    }
    for (Class* part : {&middlegame, &transition, &endgame, &pawns}) print(*part);
}
