// tarsimo-trace: why a position has the score it has, term by term.
#include "board/position.h"
#include "control/engine.h"
#include "control/fen.h"
#include "control/fen_check.h"
#include "eval/drawish.h"
#include "eval/endings.h"
#include "eval/evaluate.h"
#include "eval/setup.h"
#include "eval/weights.h"
#include "search/search.h"
#include "tools/common/command_line.h"
#include "tools/common/text_file.h"
#include "tools/tuning/records.h"

#include <array>
#include <cstdio>
#include <string>

namespace {

using namespace tarsimo;

constexpr char USAGE[] = R"(usage: tarsimo-trace "FEN"

Explains the evaluation of a position: a row per term, in centipawns, with what
it is worth to each colour, its middlegame and endgame sums for white before
they are mixed, and what it adds to white's lead. The lines below the table
follow the lead to the evaluation itself.
)";

constexpr double FULL_MATERIAL = 6660;  // where the mix is all middlegame
constexpr double SIDE_MATERIAL = 3330;
constexpr double FULL_DAMPING = 20;

void print_rule() {
    std::puts("----------------------------------------------------------------------");
}

void print_row(const char* name, double white, double black, const std::string& middlegame,
               const std::string& endgame) {
    std::printf("%-26s %8.1f %8.1f %8s %8s %+8.1f\n", name, white, black, middlegame.c_str(),
                endgame.c_str(), white - black);
}

// A part of the frame; returns what it adds to white's lead. Parts that are 0 are not shown.
double print_part(const char* name, const ColourPair& part) {
    if (part[0] != 0 || part[1] != 0) print_row(name, part[0], part[1], "", "");
    return part[0] - part[1];
}

// A group of weights; likewise.
double print_group(const WeightGroup& group) {
    bool counted = false;
    std::array<double, 2> middlegame{};
    std::array<double, 2> endgame{};
    for (std::size_t colour = 0; colour < 2; ++colour) {
        for (int i = group.first; i < group.first + group.size; ++i) {
            const int count = eval_trace.counts[colour][idx(i)];
            counted = counted || count != 0;
            middlegame[colour] += count * middlegame_part(weights[idx(i)]);
            endgame[colour] += count * endgame_part(weights[idx(i)]);
        }
    }
    const double mix = eval_trace.mix / FULL_MATERIAL;
    const auto worth = [&](std::size_t colour) {
        return group.kind == WeightKind::SHELTER
                   ? middlegame[colour] * eval_trace.shelter_material[colour] / SIDE_MATERIAL
                   : middlegame[colour] * mix + endgame[colour] * (1 - mix);
    };
    const auto difference = [](const std::array<double, 2>& sums) {
        return std::to_string(static_cast<int>(sums[0] - sums[1]));
    };
    const bool counts_now = eval_trace.shelter_material != ColourPair{};
    if (counted && (group.kind != WeightKind::SHELTER || counts_now)) {
        print_row(group.name, worth(0), worth(1), difference(middlegame),
                  group.kind == WeightKind::SHELTER ? "" : difference(endgame));
    }
    return worth(0) - worth(1);
}

double print_table() {
    std::printf("%-26s %8s %8s %8s %8s %8s\n", "centipawns", "white", "black", "middle", "end",
                "lead");
    print_rule();
    double lead = print_part("material", eval_trace.material);
    lead += print_part("opening terms", eval_trace.opening);
    lead += print_part("square tables", eval_trace.squares);
    lead += print_part("king attack table", eval_trace.king_attack);
    lead += print_part("trade-down", eval_trace.trade_down);
    lead += print_part("pawn ending", eval_trace.pawn_ending);
    for (const WeightGroup& group : weight_groups) lead += print_group(group);
    print_rule();
    return lead;
}

// The way from white's lead to the score.
void print_way_to_score(double lead, int score) {
    const EvalTrace& trace = eval_trace;
    const double scaled = lead * trace.scale / FULL_SCALE;
    const double sum = (scaled + side * trace.tempo) / trace.divisor * trace.damping / FULL_DAMPING;
    std::printf("lead of white             %+9.1f\n", lead);
    std::printf("  drawish scale           %6d/%d  %+.1f\n", trace.scale, FULL_SCALE, scaled);
    std::printf("  tempo                   %+9d\n", side * trace.tempo);
    std::printf("  divisor                 %9d\n", trace.divisor);
    std::printf("  fifty-move damping      %6d/20\n", trace.damping);
    std::printf("  phase                   %8.0f%%  middlegame\n", 100 * trace.mix / FULL_MATERIAL);
    std::printf("  rounding                %+9.1f\n", side * score - sum);
    std::printf("score for white           %+9d\n", side * score);
}

}  // namespace

int main(int argc, char** argv) {
    tool::answer_help(argc, argv, USAGE);
    if (argc != 2) tool::reject_command_line(USAGE);
    std::string why;
    const std::string fen = checked_fen(argv[1], why);
    if (!why.empty()) tool::fail("not a position: " + tool::printable(argv[1]) + ": " + why);
    init_engine();
    set_position_fen(fen);

    const int score = evaluate_traced();
    std::printf("%s\n\n", tuning::position_fen().c_str());
    if (eval_trace.linear) {
        print_way_to_score(print_table(), score);
    } else if (endgame_flag && is_bare_minor_draw()) {
        std::puts("A draw by rule: neither side has the material to win. No term is looked at.");
    } else {
        std::puts("A special ending, which has a score of its own. No term is looked at.");
    }
    std::printf("evaluate(), side to move  %+9d\n", score);
    return tool::finish_output(EXIT_SUCCESS);
}
