// The evaluation frame: which exit a position takes, which terms are summed, and how the
// sum becomes a score. The order of the exits is the performance design: the draw and lazy
// tests cost a few operations on counters kept by make and unmake, the cache one memory
// access; only then is the board walked.
#include "board/keys.h"
#include "board/position.h"
#include "eval/eval.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace tarsimo {

std::uint64_t eval_lazy_count = 0;
std::uint64_t eval_hash_count = 0;
std::uint64_t eval_full_count = 0;
EvalCacheEntry* eval_cache = nullptr;

bool endgame_flag = false;
int white_piece_material = 0;
int black_piece_material = 0;
int white_development = 0;
int black_development = 0;
PieceList white_list{};
PieceList black_list{};
std::array<int, 10> white_rear_pawn{};
std::array<int, 10> black_rear_pawn{};
EvalSide white_eval{};
EvalSide black_eval{};
std::uint64_t pawn_key = 0;

namespace {

// Piece material that makes the class: above the first on both sides the middlegame, at
// most the second on both sides the endgame.
constexpr int MIDDLEGAME_MATERIAL = 2169;
constexpr int ENDGAME_MATERIAL = 1700;
constexpr int QUEEN_AND_KNIGHT = 1310;
constexpr int QUEEN_AND_BISHOP = 1320;

constexpr int MIDDLEGAME_LAZY_MARGIN = 350;
constexpr int LATER_LAZY_MARGIN = 520;

constexpr int FULL_DEVELOPMENT = 6;
constexpr int TRADE_DOWN_LEAD = 199;   // a lead above it rewards exchanges
constexpr int TRADE_DOWN_PENALTY = 8;  // for each piece left on the board
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
constexpr int SHELTER_MIN_PAWNS = 3;  // more of either colour make shelter matter

constexpr std::array<int, 12> king_attack_table = {0,  8,   13,  21,  34,  56,
                                                   90, 146, 200, 250, 300, 350};

// Rearmost pawn of a file that has none.
constexpr int NO_WHITE_PAWN = 8;
constexpr int NO_BLACK_PAWN = 1;

constexpr int PAWN_ENDING_FULL_LEAD = 250;  // of the terms; a third of what is beyond counts

// Totals of the positional terms by colour.
struct Totals {
    int white_pos = 0;
    int black_pos = 0;
};

void reset_trace() {
    if constexpr (EVAL_TRACED) {
        eval_trace = {};
        eval_trace.scale = FULL_SCALE;
        eval_trace.divisor = 1;
        eval_trace.damping = FULL_DAMPING;
    }
}

// Queen with one minor piece still attacks too well for the endgame terms; deliberate.
bool is_queen_and_minor(int piece_material) {
    return piece_material == QUEEN_AND_KNIGHT || piece_material == QUEEN_AND_BISHOP;
}

int material_score() {
    return side == WHITE ? white_material - black_material : black_material - white_material;
}

// ---------------------------------------------------------------------------
// Terms of both classes
// ---------------------------------------------------------------------------

// The one walk over a colour's men: square values and piece terms.
template <int Us> ScorePair walk_men(const SquareTables& tables, int& squares) {
    const PieceList& list = own_list<Us>();
    ScorePair score = 0;
    squares = 0;
    for (int i = 0; i < list.size; ++i) {
        const int sq = list.squares[at(i)];
        const int type = type_on(sq);
        squares += tables.by_type[at(type)][at(sq)];
        if (type != PAWN && type != KING) score += piece_term<Us>(sq, type);
    }
    return score;
}

// The free terms of a colour, mixed by the piece material on the board.
int tapered(ScorePair score) {
    const int middlegame = std::min(white_piece_material + black_piece_material, FULL_MATERIAL);
    note(&EvalTrace::mix, middlegame);
    return (middlegame_part(score) * middlegame +
            endgame_part(score) * (FULL_MATERIAL - middlegame)) /
           FULL_MATERIAL;
}

void join_attacks(EvalSide& eval) {
    for (int type = PAWN; type <= KING; ++type) eval.attacks[0] |= eval.attacks[at(type)];
}

template <int Us> ScorePair late_terms() {
    return passed_pawn_term<Us>() + king_danger_term<Us>() + threat_term<Us>();
}

// Square tables and free terms.
Totals men_terms(const PawnTerms& pawns, const SquareTables& white_tables,
                 const SquareTables& black_tables) {
    Totals squares;
    ScorePair white = pawns.structure[0] + walk_men<WHITE>(white_tables, squares.white_pos);
    ScorePair black = pawns.structure[1] + walk_men<BLACK>(black_tables, squares.black_pos);
    join_attacks(white_eval);
    join_attacks(black_eval);
    white += late_terms<WHITE>();
    black += late_terms<BLACK>();
    note(&EvalTrace::squares, {squares.white_pos, squares.black_pos});
    return {squares.white_pos + tapered(white), squares.black_pos + tapered(black)};
}

// ---------------------------------------------------------------------------
// Middlegame and transition
// ---------------------------------------------------------------------------

void add_opening_terms(Totals& totals) {
    if (white_piece_material <= MIDDLEGAME_MATERIAL &&
        black_piece_material <= MIDDLEGAME_MATERIAL) {
        white_development = FULL_DEVELOPMENT;
        black_development = FULL_DEVELOPMENT;
        return;
    }
    const Totals opening{opening_terms<WHITE>(), opening_terms<BLACK>()};
    note(&EvalTrace::opening, {opening.white_pos, opening.black_pos});
    totals.white_pos += opening.white_pos;
    totals.black_pos += opening.black_pos;
}

// A king's shelter matters as much as the pieces that may attack it.
void add_shelter(const PawnTerms& pawns, Totals& totals) {
    if (white_pawns <= SHELTER_MIN_PAWNS && black_pawns <= SHELTER_MIN_PAWNS) return;
    note(&EvalTrace::shelter_material, {black_piece_material, white_piece_material});
    totals.white_pos += pawns.shelter[0] * black_piece_material / SIDE_MATERIAL;
    totals.black_pos += pawns.shelter[1] * white_piece_material / SIDE_MATERIAL;
}

int king_attack(int count) {
    return king_attack_table[std::min(at(count), king_attack_table.size() - 1)];
}

void add_king_attack(const PawnTerms& pawns, Totals& totals) {
    const Totals attack{king_attack(white_eval.king_attack_count += pawns.storm[0]),
                        king_attack(black_eval.king_attack_count += pawns.storm[1])};
    note(&EvalTrace::king_attack, {attack.white_pos, attack.black_pos});
    totals.white_pos += attack.white_pos;
    totals.black_pos += attack.black_pos;
}

Totals middlegame_terms() {
    Totals totals;
    const PawnTerms& pawns = pawn_terms();
    add_opening_terms(totals);
    add_shelter(pawns, totals);
    const Totals men = men_terms(pawns, white_middlegame_tables, black_middlegame_tables);
    totals.white_pos += men.white_pos;
    totals.black_pos += men.black_pos;
    add_king_attack(pawns, totals);
    return totals;
}

// What only an ending without pieces allows to say. A large lead is then compressed, so that the
// score stays within the lazy exit's margin of the material.
void add_pawn_ending(Totals& totals) {
    Totals ending;
    add_pawn_ending_terms(ending.white_pos, ending.black_pos);
    const int lead = totals.white_pos + ending.white_pos - totals.black_pos - ending.black_pos;
    const int excess = std::max(std::abs(lead) - PAWN_ENDING_FULL_LEAD, 0);
    (lead > 0 ? ending.white_pos : ending.black_pos) -= excess * 2 / 3;
    note(&EvalTrace::pawn_ending, {ending.white_pos, ending.black_pos});
    totals.white_pos += ending.white_pos;
    totals.black_pos += ending.black_pos;
}

Totals endgame_terms() {
    const PawnTerms& pawns = pawn_terms();
    Totals totals = men_terms(pawns, white_endgame_tables, black_endgame_tables);
    if (white_pieces + black_pieces == 0) add_pawn_ending(totals);
    return totals;
}

// ---------------------------------------------------------------------------
// Assembly
// ---------------------------------------------------------------------------

// The side that is ahead is pushed to exchange pieces.
void trade_down(Totals& totals) {
    const int penalty = TRADE_DOWN_PENALTY * (white_pieces + black_pieces);
    Totals cut;
    if (white_material - black_material > TRADE_DOWN_LEAD) cut.white_pos -= penalty;
    if (black_material - white_material > TRADE_DOWN_LEAD) cut.black_pos -= penalty;
    note(&EvalTrace::trade_down, {cut.white_pos, cut.black_pos});
    totals.white_pos += cut.white_pos;
    totals.black_pos += cut.black_pos;
}

// Of a lead that the material makes hard to win, the side ahead gives up a part.
void cut_drawish_lead(Totals& totals) {
    const int lead = white_material - black_material + totals.white_pos - totals.black_pos;
    // A score that is cut to a quarter in the end is not cut here too.
    const int scale = is_drawish_pawnless_ending() ? FULL_SCALE
                      : lead > 0                   ? drawish_scale<WHITE>()
                                                   : drawish_scale<BLACK>();
    note(&EvalTrace::scale, scale);
    if (scale == FULL_SCALE) return;
    const int cut = std::abs(lead) * (FULL_SCALE - scale) / FULL_SCALE;
    if (lead > 0) totals.white_pos -= cut;
    else totals.black_pos -= cut;
}

int damped_by_fifty(int score) {
    if (fifty < DAMPING_FIRST || fifty > DAMPING_LAST) return score;
    note(&EvalTrace::damping, 101 - fifty);
    return score * (101 - fifty) / FULL_DAMPING;
}

int assemble(Totals totals, int tempo) {
    trade_down(totals);
    cut_drawish_lead(totals);
    note(&EvalTrace::linear, true);
    note(&EvalTrace::material, {white_material, black_material});
    note(&EvalTrace::tempo, tempo);
    const int positional = totals.white_pos - totals.black_pos;
    return material_score() + (side == WHITE ? positional : -positional) + tempo;
}

// ---------------------------------------------------------------------------
// Set-up
// ---------------------------------------------------------------------------

// All men on the board. Without branches, since which squares are empty is hard to foretell.
SquareSet find_men() {
    SquareSet men = 0;
    for (int rank = 0; rank < 8; ++rank) {
        const int* squares = &board[at(A1 + 10 * rank)];
        for (int file = 0; file < 8; ++file) {
            men |= SquareSet{squares[file] != EMPTY} << (8 * rank + file);
        }
    }
    return men;
}

template <int Us> void list_man(int sq, int type, SquareSet place) {
    PieceList& list = Us == WHITE ? white_list : black_list;
    EvalSide& us = eval_side<Us>();
    list.squares[at(list.size++)] = sq;
    us.men |= place;
    if (type == PAWN) {
        us.pawns |= place;
        pawn_key ^= piece_key(Us * PAWN, sq);
    }
}

// The rank of the pawn nearest to white's side, or to black's, on each file.
void find_rear_pawns() {
    for (int file = 1; file <= 8; ++file) {
        const SquareSet white = white_eval.pawns & FILE_A << (file - 1);
        const SquareSet black = black_eval.pawns & FILE_A << (file - 1);
        if (white != 0) white_rear_pawn[at(file)] = std::countr_zero(white) / 8 + 1;
        if (black != 0) black_rear_pawn[at(file)] = 8 - std::countl_zero(black) / 8;
    }
}

// What pawns and king attack.
template <int Us> void set_up_attacks() {
    EvalSide& us = eval_side<Us>();
    us.attacks[PAWN] = squares_aside(step_forward<Us>(us.pawns));
    us.attacks[KING] = squares_beside(set_of(king_square<Us>()));
}

// Where pieces like to go, and the squares around the enemy king that count as attacks on him.
template <int Us> void set_up_targets() {
    EvalSide& us = eval_side<Us>();
    const EvalSide& them = eval_side<-Us>();
    us.safe = ~(them.attacks[PAWN] | us.pawns | set_of(king_square<Us>()));
    us.king_zone = them.attacks[KING] & ~them.attacks[PAWN];
}

int full_score() {
    if (!endgame_flag) return damped_by_fifty(assemble(middlegame_terms(), MIDDLEGAME_TEMPO));

    int score = 0;
    if (special_ending(score)) return score;
    score = assemble(endgame_terms(), ENDGAME_TEMPO);
    if (is_drawish_pawnless_ending()) {
        note(&EvalTrace::divisor, DRAWISH_DIVISOR);
        score /= DRAWISH_DIVISOR;
    }
    return damped_by_fifty(score);
}

}  // namespace

// An exit that looks at no term must not leave behind what belongs to an earlier position.
void reset_eval_outputs() {
    white_piece_material = white_material - piece_value[PAWN] * white_pawns;
    black_piece_material = black_material - piece_value[PAWN] * black_pawns;
    endgame_flag = false;
    white_development = 0;
    black_development = 0;
    white_list.size = 0;
    black_list.size = 0;
    white_rear_pawn.fill(NO_WHITE_PAWN);
    black_rear_pawn.fill(NO_BLACK_PAWN);
    white_eval = {};
    black_eval = {};
    pawn_key = 0;
}

void eval_setup() {
    pawn_key = piece_key(KING, white_king_sq) ^ piece_key(-KING, black_king_sq);

    for (SquareSet rest = find_men(); rest != 0; rest &= rest - 1) {
        const int sq = square_of_bit(std::countr_zero(rest));
        const int piece = piece_on(sq);
        const SquareSet place = rest & -rest;
        if (piece > 0) list_man<WHITE>(sq, piece, place);
        else list_man<BLACK>(sq, -piece, place);
    }
    fetch_pawn_terms();
    find_rear_pawns();
    set_up_attacks<WHITE>();
    set_up_attacks<BLACK>();
    set_up_targets<WHITE>();
    set_up_targets<BLACK>();
}

int evaluate(int alpha, int beta) {
    reset_eval_outputs();
    reset_trace();

    // Class of the position, and the draws that need no search.
    const int white = white_piece_material;
    const int black = black_piece_material;
    int lazy_margin = LATER_LAZY_MARGIN;
    if (white > MIDDLEGAME_MATERIAL && black > MIDDLEGAME_MATERIAL) {
        lazy_margin = MIDDLEGAME_LAZY_MARGIN;
    } else if (white <= ENDGAME_MATERIAL && black <= ENDGAME_MATERIAL) {
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
    if (!EVAL_TRACED && entry.key == hash_key && entry.side == side && entry.score != NO_SCORE) {
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
