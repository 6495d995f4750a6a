/// The evaluation room: one integer score for the current position, in centipawns from
/// the side to move's point of view, by a chain of exits, cheapest first.
///
/// All arithmetic is on 32-bit integers. The terms read the position and what eval_setup()
/// gathers; only the frame touches the cache and the counters.
#ifndef TARSIMO_EVAL_EVAL_H
#define TARSIMO_EVAL_EVAL_H

#include "board/config.h"
#include "board/position.h"
#include "eval/square_set.h"
#include "eval/square_tables.h"
#include "eval/weights.h"

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

constexpr std::uint64_t eval_cache_size = SHORT_SESSIONS ? 256 : 1048576;  ///< entries
static_assert(sizeof(EvalCacheEntry) == 16);

/// The cache: eval_cache_size entries, allocated and cleared with the transposition table.
/// Null until the engine is initialised; evaluate() may be called only then.
extern EvalCacheEntry* eval_cache;

// ---------------------------------------------------------------------------
// What the frame computes for the terms. Every evaluate() resets all of it before any exit.
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

/// What the terms know of one colour: set by eval_setup() and filled as the pieces are walked.
struct EvalSide {
    /// Squares attacked, by piece type. Index 0: by any, set when all pieces are walked.
    std::array<SquareSet, 7> attacks;

    SquareSet men;     ///< own men
    SquareSet pawns;   ///< own pawns
    SquareSet pieces;  ///< own knights, bishops, rooks and queens
    SquareSet passed;  ///< own passed pawns

    /// What an own piece may well go to: no enemy pawn guards it, and neither an own pawn nor the
    /// own king stands there.
    SquareSet safe;

    SquareSet king_zone;  ///< squares around the enemy king that no enemy pawn guards

    int king_attack_count;       ///< attacks on the enemy king's surroundings
    std::array<int, 2> bishops;  ///< own bishops by square_colour
    std::array<int, 6> count;    ///< own pieces by type, knights to queens
    int king_attackers;          ///< own pieces that attack the king zone
};

extern EvalSide white_eval, black_eval;

template <int Us> inline EvalSide& eval_side() {
    if constexpr (Us == WHITE) return white_eval;
    else return black_eval;
}

/// Key of the pawns and kings alone, from the position's keys; set by eval_setup().
extern std::uint64_t pawn_key;

/// Set all outputs to those of an empty board, the two piece_material values to the position's.
void reset_eval_outputs();

/// To be called after reset_eval_outputs(). Fill the piece lists, the rearmost pawns, `pawn_key`,
/// and the part of EvalSide that pawns and kings decide: their attacks, the safe squares and the
/// king zones.
void eval_setup();

/// All men on the board; set by eval_setup().
inline SquareSet occupied_squares() { return white_eval.men | black_eval.men; }

// Colour-generic access for the terms, one text for both sides.

template <int Us> inline int own_piece_material() {
    if constexpr (Us == WHITE) return white_piece_material;
    else return black_piece_material;
}
template <int Us> inline int own_development() {
    if constexpr (Us == WHITE) return white_development;
    else return black_development;
}

template <int Us> inline const PieceList& own_list() {
    if constexpr (Us == WHITE) return white_list;
    else return black_list;
}

/// 1..8 on the board, 0 and 9 on the border columns.
constexpr int file_of(int sq) { return square_file[at(sq)]; }

/// Files from the edge to the centre: 0 for a and h, 3 for d and e.
constexpr int wing_of(int sq) { return file_of(sq) <= 4 ? file_of(sq) - 1 : 8 - file_of(sq); }

/// Rank 1..8 of a playing square as the colour Us sees it.
template <int Us> constexpr int own_rank(int sq) {
    return Us == WHITE ? square_rank[at(sq)] : 9 - square_rank[at(sq)];
}

/// The square of white's board that stands for it on the own colour's: the rank mirror for
/// black.
template <int Us> constexpr int own_square(int sq) {
    return Us == WHITE ? sq : mirror_square[at(sq)];
}

/// Rank, as Us sees it, of the own pawn nearest to the own first rank; 8 when the file
/// 0..9 has none.
template <int Us> inline int own_rear_pawn(int file) {
    if constexpr (Us == WHITE) return white_rear_pawn[at(file)];
    else return 9 - black_rear_pawn[at(file)];
}

/// Rank, as Us sees it, of the enemy pawn farthest from the own first rank; 1 when the file
/// 0..9 has none.
template <int Us> inline int enemy_rear_pawn(int file) {
    if constexpr (Us == WHITE) return black_rear_pawn[at(file)];
    else return 9 - white_rear_pawn[at(file)];
}

/// 1 on dark squares (a1 among them), 0 on light ones and on the border.
inline constexpr auto square_colour = detail::fill_squares(
    [](int sq) { return on_board(sq) && (sq / 10 + sq % 10) % 2 != 0 ? 1 : 0; });

/// square_colour of a playing square.
constexpr int colour_of(int sq) { return square_colour[at(sq)]; }

// ---------------------------------------------------------------------------
// Terms
// ---------------------------------------------------------------------------

// A ScorePair is in centipawns for its own colour.

/// Opening terms of one colour in centipawns: centre pawns, castling, development, fianchetto.
/// Sets the colour's development count.
template <int Us> int opening_terms();

/// What the pawns and kings alone decide; one entry of the pawn cache.
struct alignas(64) PawnTerms {
    std::uint64_t key;                   ///< pawn_key; 0 in an empty entry
    std::array<SquareSet, 2> passed;     ///< passed pawns by colour: white, black
    std::array<ScorePair, 2> structure;  ///< pawn structure by colour
    std::array<int, 2> shelter;          ///< shelter of the king, before it is scaled
    std::array<std::uint8_t, 2> storm;   ///< pawns in front of the enemy king
};

/// Begin to load what the cache holds for pawn_key: memory answers while the set-up goes on.
void fetch_pawn_terms();

/// The pawn terms of the position, from their cache or worked out. Sets EvalSide::passed.
const PawnTerms& pawn_terms();

/// One piece other than pawn and king: mobility, place and duties. Marks what it attacks and
/// adds its attacks around the enemy king to king_attack_count.
template <int Us> ScorePair piece_term(int sq, int type);

/// After all pieces are walked: terms of a colour that need both sides' attacks.
template <int Us> ScorePair passed_pawn_term();
template <int Us> ScorePair king_danger_term();
template <int Us> ScorePair threat_term();

/// How much of a lead of the colour Us counts, in 64ths: less where material is drawish.
template <int Us> int drawish_scale();
constexpr int FULL_SCALE = 64;

/// Material below which a bare piece cannot mate, two knights included.
bool is_bare_minor_draw();

/// Endings that have a score of their own: without pawns, and known_pawn_ending(). Returns
/// true and writes the score for the side to move, or false when the position is none of them.
bool special_ending(int& score);

/// True for one pawn against the bare king, and for pawns of one rook's file that cannot win
/// against it: writes the score for the side to move. To be called without pieces on the board
/// and after eval_setup().
bool known_pawn_ending(int& score);

/// Add to the colours' totals, in centipawns, what only endings without pieces allow: pawns that
/// run to queen unstopped and who wins the race, pawns that beat a bare king, the opposition.
/// To be called after eval_setup().
void add_pawn_ending_terms(int& white_pos, int& black_pos);

/// Solve king and pawn against king. Run at start-up; running it again changes nothing.
void init_kpk();

/// True if the side of colour `strong`, which has a pawn on `pawn` against a bare king, wins
/// with best play. Exact for every legal position; false for a pawn on the first or last rank.
bool is_won_kpk(int strong, int strong_king, int pawn, int lone_king, bool strong_to_move);

/// True for pawnless endings such as rook and minor piece against rook, whose score is cut
/// to a quarter.
bool is_drawish_pawnless_ending();

}  // namespace tarsimo

#endif
