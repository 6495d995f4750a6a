// The evaluation frame: which exit a position takes, which terms are summed, and how the
// sum becomes a score. The order of the exits is the performance design: the draw and lazy
// tests cost a few operations on counters kept by make and unmake, the cache one memory
// access; only then is the board walked.
#include "eval/eval.h"

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

// Totals of the positional terms by colour.
struct Totals {
    int white_pos = 0;
    int black_pos = 0;
};

void reset_outputs() {
    white_piece_material = white_material - piece_value[PAWN] * white_pawns;
    black_piece_material = black_material - piece_value[PAWN] * black_pawns;
    endgame_flag = false;
    white_development = 0;
    black_development = 0;
}

// Queen with one minor piece still attacks too well for the endgame terms; deliberate.
bool is_queen_and_minor(int piece_material) {
    return piece_material == QUEEN_AND_KNIGHT || piece_material == QUEEN_AND_BISHOP;
}

int material_score() {
    return side == WHITE ? white_material - black_material : black_material - white_material;
}

int sum_squares(const PieceList& list, const SquareTables& tables) {
    int sum = 0;
    for (int i = 0; i < list.size; ++i) {
        const int sq = list.squares[at(i)];
        sum += tables.by_type[at(type_on(sq))][at(sq)];
    }
    return sum;
}

Totals middlegame_terms() {
    Totals totals;
    if (white_piece_material > MIDDLEGAME_MATERIAL || black_piece_material > MIDDLEGAME_MATERIAL) {
        totals.white_pos += opening_terms<WHITE>();
        totals.black_pos += opening_terms<BLACK>();
    } else {
        white_development = FULL_DEVELOPMENT;
        black_development = FULL_DEVELOPMENT;
    }
    totals.white_pos += sum_squares(white_list, white_middlegame_tables);
    totals.black_pos += sum_squares(black_list, black_middlegame_tables);
    return totals;
}

Totals endgame_terms() {
    return {sum_squares(white_list, white_endgame_tables),
            sum_squares(black_list, black_endgame_tables)};
}

// The side that is ahead is pushed to exchange pieces.
void trade_down(Totals& totals) {
    const int penalty = TRADE_DOWN_PENALTY * (white_pieces + black_pieces);
    if (white_material - black_material > TRADE_DOWN_LEAD) totals.white_pos -= penalty;
    if (black_material - white_material > TRADE_DOWN_LEAD) totals.black_pos -= penalty;
}

int damped_by_fifty(int score) {
    if (fifty < DAMPING_FIRST || fifty > DAMPING_LAST) return score;
    return score * (101 - fifty) / 20;
}

int assemble(Totals totals, int tempo) {
    trade_down(totals);
    const int positional = totals.white_pos - totals.black_pos;
    return material_score() + (side == WHITE ? positional : -positional) + tempo;
}

int full_score() {
    if (!endgame_flag) return damped_by_fifty(assemble(middlegame_terms(), MIDDLEGAME_TEMPO));

    int score = 0;
    if (special_ending(score)) return score;
    score = assemble(endgame_terms(), ENDGAME_TEMPO);
    if (is_drawish_pawnless_ending()) score /= DRAWISH_DIVISOR;
    return damped_by_fifty(score);
}

}  // namespace

void eval_setup() {
    white_list.size = 0;
    black_list.size = 0;
    white_rear_pawn.fill(8);
    black_rear_pawn.fill(1);
    for (int rank = A1; rank <= A8; rank += 10) {
        for (int sq = rank; sq < rank + 8; ++sq) {
            const int piece = piece_on(sq);
            if (piece == EMPTY) continue;
            PieceList& list = piece > 0 ? white_list : black_list;
            list.squares[at(list.size++)] = sq;
            if (piece != PAWN && piece != -PAWN) continue;
            const auto file = at(sq % 10);
            const int pawn_rank = sq / 10 - 1;
            if (piece == -PAWN) black_rear_pawn[file] = pawn_rank;
            else if (pawn_rank < white_rear_pawn[file]) white_rear_pawn[file] = pawn_rank;
        }
    }
}

int evaluate(int alpha, int beta) {
    reset_outputs();

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
    if (entry.key == hash_key && entry.side == side && entry.score != NO_SCORE) {
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
