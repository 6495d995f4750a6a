/// The evaluation room: one integer score for the current position, in centipawns from
/// the side to move's point of view, by a chain of exits, cheapest first.
///
/// All arithmetic is on 32-bit integers. The terms read the position and what eval_setup()
/// gathers; only the frame touches the cache and the counters.
#ifndef TARSIMO_EVAL_EVAL_H
#define TARSIMO_EVAL_EVAL_H

#include "board/board.h"

namespace tarsimo {

// ---------------------------------------------------------------------------
// The frame
// ---------------------------------------------------------------------------

/// Score of the position in centipawns for the side to move. `alpha` and `beta` are the
/// caller's bounds and decide the lazy exit alone: far outside them the material balance
/// is returned as it is. Every position yields a score.
int evaluate(int alpha, int beta);

// How often each exit was taken; cleared by the think driver before each search.
extern std::uint64_t eval_lazy_count;  ///< material alone
extern std::uint64_t eval_hash_count;  ///< answered by the cache
extern std::uint64_t eval_full_count;  ///< computed in full

/// A stored evaluation.
struct EvalCacheEntry {
    std::uint64_t key;  ///< hash_key of the position
    int score;          ///< for `side`; NO_SCORE counts as empty
    int side;           ///< side to move when stored; 0 in a cleared entry, which matches none
};

constexpr std::uint64_t eval_cache_size = 1048576;  ///< entries
static_assert(sizeof(EvalCacheEntry) == 16);

/// The cache: eval_cache_size entries, allocated and cleared with the transposition table.
/// Null until the engine is initialised; evaluate() may be called only then.
extern EvalCacheEntry* eval_cache;

// ---------------------------------------------------------------------------
// What the frame works out for the terms; set anew by every evaluate()
// ---------------------------------------------------------------------------

extern bool endgame_flag;         ///< neither side has more than 1700 of piece material
extern int white_piece_material;  ///< centipawns, pawns and king left out
extern int black_piece_material;
extern int white_development;  ///< steps of development done, 0..6
extern int black_development;

/// Squares of the men of one colour, from a1 to h8.
struct PieceList {
    std::array<int, 64> squares;
    int size;
};

extern PieceList white_list, black_list;

/// Rank of the rearmost pawn of each colour by file 1..8: 8 on a file without white
/// pawns, 1 on a file without black ones. The border files 0 and 9 count as empty.
extern std::array<int, 10> white_rear_pawn, black_rear_pawn;

/// Fill the piece lists and the rearmost pawns from the board.
void eval_setup();

// ---------------------------------------------------------------------------
// Square tables
// ---------------------------------------------------------------------------

/// Values in centipawns by square, for one class of the evaluation and one colour.
struct SquareTables {
    std::array<std::array<int, BOARD_SIZE>, 7> by_type;  ///< index: piece type
};

/// One independent copy for each class of the evaluation and each colour.
extern SquareTables white_middlegame_tables, black_middlegame_tables;
extern SquareTables white_endgame_tables, black_endgame_tables;

/// Build the four table sets. Run at start-up.
void init_square_tables();

// ---------------------------------------------------------------------------
// Terms
// ---------------------------------------------------------------------------

/// Opening terms of one colour in centipawns: centre pawns, castling, development. Sets
/// the colour's development count.
template <int Us> int opening_terms();

/// Material below which a bare piece cannot mate, two knights included.
bool is_bare_minor_draw();

/// Endings without pawns that have a score of their own. Returns true and writes the score
/// for the side to move, or false when the position is none of them.
bool special_ending(int& score);

/// True for pawnless endings such as rook and minor piece against rook, whose score is cut
/// to a quarter.
bool is_drawish_pawnless_ending();

}  // namespace tarsimo

#endif
