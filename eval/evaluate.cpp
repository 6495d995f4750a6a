// The evaluation frame: which exit a position takes, which terms are summed, and how the
// sum becomes a score. The order of the exits is the performance design: the draw and lazy
// tests cost a few operations on counters kept by make and unmake, the cache one memory
// access; only then is the board walked.
#include "eval/evaluate.h"
#include "board/keys.h"
#include "board/position.h"

#include "eval/drawish.h"
#include "eval/endings.h"
#include "eval/king_danger.h"
#include "eval/opening.h"
#include "eval/passed_pawns.h"
#include "eval/pawn_endings.h"
#include "eval/pawns.h"
#include "eval/pieces.h"
#include "eval/score.h"
#include "eval/setup.h"
#include "eval/square_tables.h"
#include "eval/threats.h"
#include "eval/weights.h"

#include <algorithm>
#include <cstdlib>

namespace tarsimo {

std::uint64_t eval_lazy_count = 0;
std::uint64_t eval_hash_count = 0;
std::uint64_t eval_full_count = 0;
EvalCacheEntry* eval_cache = nullptr;

namespace {

// Piece material that makes the class: at least the first on both sides the middlegame, at
// most the second on both sides the endgame.
constexpr int MIN_MIDDLEGAME_MATERIAL = 2170;
constexpr int MAX_ENDGAME_MATERIAL = 1700;
constexpr int QUEEN_AND_KNIGHT = 1310;
constexpr int QUEEN_AND_BISHOP = 1320;

constexpr int MIDDLEGAME_LAZY_MARGIN = 350;
constexpr int LATER_LAZY_MARGIN = 520;

constexpr int ALL_DEVELOPED = 6;
constexpr int MIN_LEAD = 50;              // of material; less is none
constexpr int MIN_TRADE_DOWN_LEAD = 200;  // rewards exchanges
constexpr int TRADE_DOWN_PENALTY = 8;     // for each piece left on the board
constexpr int MIDDLEGAME_TEMPO = 12;
constexpr int ENDGAME_TEMPO = 8;
constexpr int DRAWISH_DIVISOR = 4;
constexpr int DAMPING_FIRST = 81;  // reversible moves from which the score fades
constexpr int DAMPING_LAST = 99;
constexpr int FULL_DAMPING = 20;

// Piece material of both sides together at the start: the free terms then count with their
// middlegame values alone.
constexpr int FULL_MATERIAL = 6660;
constexpr int SIDE_MATERIAL = 3330;
constexpr int MIN_SHELTER_PAWNS = 4;  // as many of either colour make shelter matter

constexpr std::array<int, 12> king_attack_table = {0,  8,   13,  21,  34,  56,
                                                   90, 146, 200, 250, 300, 350};

constexpr int PAWN_ENDING_FULL_LEAD = 250;  // of the terms; a quarter of what is beyond counts

// Totals of the positional terms by colour.
struct Totals {
    int white_pos = 0;
    int black_pos = 0;

    void add(const Totals& other) {
        white_pos += other.white_pos;
        black_pos += other.black_pos;
    }
    int lead() const { return white_pos - black_pos; }
};

// Totals as a field of the trace, where there is one.
const Totals& recorded(ColourPair EvalTrace::*field, const Totals& totals) {
    record(field, {totals.white_pos, totals.black_pos});
    return totals;
}

void reset_trace() {
    if constexpr (EVAL_TRACED) {
        eval_trace = {};
        eval_trace.scale = FULL_SCALE;
        eval_trace.divisor = 1;
        eval_trace.damping = FULL_DAMPING;
    }
}

// QUIRK: a queen with one minor piece counts as a middlegame although there is so little material:
// it still attacks too well for the endgame terms.
bool is_queen_and_minor(int piece_material) {
    return piece_material == QUEEN_AND_KNIGHT || piece_material == QUEEN_AND_BISHOP;
}

int material_score() {
    return side == WHITE ? white_material - black_material : black_material - white_material;
}

// ---------------------------------------------------------------------------
// Terms of both classes
// ---------------------------------------------------------------------------

// The sum of a colour's piece terms, and of its pieces' square tables.
template <int Us> ScorePair scan_pieces(const SquareTables& tables, int& squares) {
    ScorePair score = 0;
    for (const int sq : Squares{eval_side<Us>().pieces}) {
        const int type = type_on(sq);
        squares += tables.by_type[idx(type)][idx(sq)];
        score += piece_term<Us>(sq, type);
    }
    return score;
}

template <int Us> void combine_attacks() {
    auto& attacks = eval_side<Us>().attacks;
    for (int type = PAWN; type <= KING; ++type) attacks[0] |= attacks[idx(type)];
}

// What is known only when both sides' attacks are.
template <int Us> ScorePair attack_terms() {
    return passed_pawn_terms<Us>() + king_danger_terms<Us>() + threat_terms<Us>();
}

// Pawns on both the three files to the left and the three to the right.
bool are_pawns_on_both_wings() {
    constexpr SquareSet LEFT = FILE_A | FILE_A << 1 | FILE_A << 2;
    const SquareSet pawns = white_pawn_set | black_pawn_set;
    return (pawns & LEFT) != 0 && (pawns & LEFT << 5) != 0;
}

// What a lead in material is worth beside the material.
template <int Us> ScorePair lead_terms() {
    const int lead = material<Us>() - material<-Us>();
    if (lead < MIN_LEAD) return 0;
    const int group = lead < MIN_TRADE_DOWN_LEAD ? PAWN_UP : FAR_AHEAD;
    ScorePair score = weigh<Us>(group) + weigh<Us>(group + 1, white_pieces + black_pieces);
    score += weigh<Us>(group + 2, pawn_count<Us>()) + weigh<Us>(group + 3, pawn_count<-Us>());
    if (are_pawns_on_both_wings()) score += weigh<Us>(group + 4);
    return score;
}

template <int Us> ScorePair tempo_term() { return side == Us ? weigh<Us>(TEMPO) : 0; }

// The free terms of a colour, mixed by the piece material on the board.
int tapered(ScorePair score) {
    const int middlegame =
        std::min(white_eval.piece_material + black_eval.piece_material, FULL_MATERIAL);
    record(&EvalTrace::mix, middlegame);
    return (middlegame_part(score) * middlegame +
            endgame_part(score) * (FULL_MATERIAL - middlegame)) /
           FULL_MATERIAL;
}

// Square tables and free terms. `pawn_squares`: the square tables of pawns and kings.
Totals piece_and_pawn_terms(const PawnTerms& pawns, const PawnTerms::SquareSums& pawn_squares,
                            const SquareTables& white_tables, const SquareTables& black_tables) {
    Totals squares{pawn_squares[0], pawn_squares[1]};
    ScorePair white = pawns.structure[0] + scan_pieces<WHITE>(white_tables, squares.white_pos);
    ScorePair black = pawns.structure[1] + scan_pieces<BLACK>(black_tables, squares.black_pos);
    combine_attacks<WHITE>();
    combine_attacks<BLACK>();
    white += attack_terms<WHITE>() + lead_terms<WHITE>() + tempo_term<WHITE>();
    black += attack_terms<BLACK>() + lead_terms<BLACK>() + tempo_term<BLACK>();

    Totals totals{tapered(white), tapered(black)};
    totals.add(recorded(&EvalTrace::squares, squares));
    return totals;
}

// ---------------------------------------------------------------------------
// Middlegame and transition
// ---------------------------------------------------------------------------

Totals opening_totals() {
    if (white_eval.piece_material < MIN_MIDDLEGAME_MATERIAL &&
        black_eval.piece_material < MIN_MIDDLEGAME_MATERIAL) {
        white_eval.development = ALL_DEVELOPED;
        black_eval.development = ALL_DEVELOPED;
        return {};
    }
    return recorded(&EvalTrace::opening, {opening_terms<WHITE>(), opening_terms<BLACK>()});
}

// A king's shelter matters as much as the pieces that may attack it.
Totals shelter_totals(const PawnTerms& pawns) {
    if (white_pawns < MIN_SHELTER_PAWNS && black_pawns < MIN_SHELTER_PAWNS) return {};
    const int white_attackers = white_eval.piece_material;
    const int black_attackers = black_eval.piece_material;
    record(&EvalTrace::shelter_material, {black_attackers, white_attackers});
    return {pawns.shelter[0] * black_attackers / SIDE_MATERIAL,
            pawns.shelter[1] * white_attackers / SIDE_MATERIAL};
}

int king_attack(int count) {
    return king_attack_table[std::min(idx(count), king_attack_table.size() - 1)];
}

Totals king_attack_totals(const PawnTerms& pawns) {
    white_eval.king_attack_count += pawns.storm[0];
    black_eval.king_attack_count += pawns.storm[1];
    return recorded(&EvalTrace::king_attack, {king_attack(white_eval.king_attack_count),
                                              king_attack(black_eval.king_attack_count)});
}

// The order matters: the queens' terms read the development, the king attack what the pieces count.
Totals middlegame_terms() {
    const PawnTerms& pawns = pawn_terms();
    Totals totals = opening_totals();
    totals.add(shelter_totals(pawns));
    totals.add(piece_and_pawn_terms(pawns, pawns.middlegame_squares, white_middlegame_tables,
                                    black_middlegame_tables));
    totals.add(king_attack_totals(pawns));
    return totals;
}

// ---------------------------------------------------------------------------
// Endgame
// ---------------------------------------------------------------------------

// What only an ending without pieces allows to say. A large lead is then compressed, so that the
// score stays within the lazy exit's margin of the material.
Totals pawn_ending_totals(const Totals& others) {
    const ColourPair terms = pawn_ending_terms();
    Totals ending{terms[0], terms[1]};
    const int lead = others.lead() + ending.lead();
    const int excess = std::max(std::abs(lead) - PAWN_ENDING_FULL_LEAD, 0);
    (lead > 0 ? ending.white_pos : ending.black_pos) -= excess * 3 / 4;
    return recorded(&EvalTrace::pawn_ending, ending);
}

Totals endgame_terms() {
    const PawnTerms& pawns = pawn_terms();
    Totals totals = piece_and_pawn_terms(pawns, pawns.endgame_squares, white_endgame_tables,
                                         black_endgame_tables);
    if (white_pieces + black_pieces == 0) totals.add(pawn_ending_totals(totals));
    return totals;
}

// ---------------------------------------------------------------------------
// Assembly
// ---------------------------------------------------------------------------

// The side that is ahead is pushed to exchange pieces.
Totals trade_down() {
    const int penalty = TRADE_DOWN_PENALTY * (white_pieces + black_pieces);
    Totals cut;
    if (white_material - black_material >= MIN_TRADE_DOWN_LEAD) cut.white_pos = -penalty;
    if (black_material - white_material >= MIN_TRADE_DOWN_LEAD) cut.black_pos = -penalty;
    return recorded(&EvalTrace::trade_down, cut);
}

// Of a lead that the material makes hard to win, the side ahead gives up a part.
Totals drawish_cut(const Totals& totals) {
    const int lead = white_material - black_material + totals.lead();
    // A score that is cut to a quarter in the end is not cut here too.
    const int scale = is_drawish_pawnless_ending() ? FULL_SCALE
                      : lead > 0                   ? drawish_scale<WHITE>()
                                                   : drawish_scale<BLACK>();
    record(&EvalTrace::scale, scale);
    const int cut = std::abs(lead) * (FULL_SCALE - scale) / FULL_SCALE;
    return lead > 0 ? Totals{-cut, 0} : Totals{0, -cut};
}

int damped_by_fifty(int score) {
    if (fifty < DAMPING_FIRST || fifty > DAMPING_LAST) return score;
    record(&EvalTrace::damping, 101 - fifty);
    return score * (101 - fifty) / FULL_DAMPING;
}

int assemble(Totals totals, int tempo) {
    totals.add(trade_down());
    totals.add(drawish_cut(totals));
    record(&EvalTrace::linear, true);
    record(&EvalTrace::material, {white_material, black_material});
    record(&EvalTrace::tempo, tempo);
    return material_score() + side * totals.lead() + tempo;
}

int full_score() {
    if (!endgame_flag) return damped_by_fifty(assemble(middlegame_terms(), MIDDLEGAME_TEMPO));

    int score = 0;
    if (special_ending(score)) return score;
    score = assemble(endgame_terms(), ENDGAME_TEMPO);
    if (is_drawish_pawnless_ending()) {
        record(&EvalTrace::divisor, DRAWISH_DIVISOR);
        score /= DRAWISH_DIVISOR;
    }
    return damped_by_fifty(score);
}

}  // namespace

int evaluate(int alpha, int beta) {
    reset_eval_outputs();
    reset_trace();

    // Class of the position, and the draws that need no search.
    const int white = white_eval.piece_material;
    const int black = black_eval.piece_material;
    int lazy_margin = LATER_LAZY_MARGIN;
    if (white >= MIN_MIDDLEGAME_MATERIAL && black >= MIN_MIDDLEGAME_MATERIAL) {
        lazy_margin = MIDDLEGAME_LAZY_MARGIN;
    } else if (white <= MAX_ENDGAME_MATERIAL && black <= MAX_ENDGAME_MATERIAL) {
        endgame_flag = !is_queen_and_minor(white) && !is_queen_and_minor(black);
        if (endgame_flag && is_bare_minor_draw()) return 0;
    }

    // Lazy exit: material alone is far outside the bounds.
    const int balance = material_score();
    if (balance < alpha - lazy_margin || balance > beta + lazy_margin) {
        ++eval_lazy_count;
        return balance;
    }

    // Cache. The stored score keeps the damping of its own fifty-move count.
    EvalCacheEntry& entry = eval_cache[hash_key % eval_cache_size];
    if (!caches_bypassed && entry.key == hash_key && entry.side == side &&
        entry.score != NO_SCORE) {
        ++eval_hash_count;
        return entry.score;
    }

    // Full evaluation; the entry is replaced whatever it held.
    ++eval_full_count;
    eval_setup();
    entry = {hash_key, full_score(), side};
    return entry.score;
}

}  // namespace tarsimo
