/// The one program-wide position and the history of its moves.
///
/// Written by make/unmake and the null move (board/make), the initialisation (board/position,
/// board/keys, control/engine), the set-up from text (control/fen), and the commands that change
/// the side to move (control/console, control/cecp).
///
/// Invariants on which everything else relies:
///   - border squares of `board` hold OFFBOARD at all times;
///   - each king square field names the square that holds that king;
///   - material, counts and sets of squares equal a recount of `board`;
///   - `hash_key` follows every move incrementally;
///   - make_move() and unmake_move() are strictly paired.
#ifndef TARSIMO_BOARD_POSITION_H
#define TARSIMO_BOARD_POSITION_H

#include "board/board.h"
#include "board/config.h"
#include "board/square_set.h"

namespace tarsimo {

extern std::array<int, BOARD_SIZE> board;  ///< piece code on each mailbox square
extern int side;                ///< side to move, WHITE or BLACK (0 before the first init)
extern int white_king_sq;       ///< square of the white king
extern int black_king_sq;       ///< square of the black king
extern int ep_square;           ///< square passed over by a double step; 0 when none
extern int fifty;               ///< moves since the last capture or pawn move
extern std::uint64_t hash_key;  ///< Zobrist key of the position

/// Moves on the history stack that started from or ended on each square. A castling
/// right exists only while king's and rook's home squares both count 0.
extern std::array<int, BOARD_SIZE> square_moves;

/// 1 once the side has castled; also 1 after a set-up that grants it no castling.
extern std::uint8_t white_castled, black_castled;

extern int white_material, black_material;  ///< centipawns, king left out
extern int white_pawns, black_pawns;        ///< pawns on the board
extern int white_pieces, black_pieces;      ///< knights, bishops, rooks and queens

extern SquareSet white_occupied, black_occupied;  ///< squares of all pieces and pawns of a colour
extern SquareSet white_pawn_set, black_pawn_set;  ///< squares of its pawns

extern int game_ply;    ///< half-moves made since the start position, the search's included
extern int search_ply;  ///< plies below the search root; 0 at the root

/// What unmake_move() needs, one record per move made.
struct HistoryEntry {
    std::uint64_t key;  ///< hash_key before the move
    int fifty;          ///< fifty before the move
    int from;
    int to;
    int ep_capture;  ///< square of the pawn taken en passant, else 0
    int ep_square;   ///< ep_square before the move
    int captured;    ///< type 1..6 of the captured piece, 0 for none
    int promotion;   ///< type 2..5, 0 for none
    int castle;      ///< 0 none, 1 king-side, 2 queen-side
};

/// Records held at a time: a power of two, since the history is a ring addressed by
/// the low bits of a ply number. A game may be longer than the ring; the oldest
/// records are then overwritten.
constexpr int HISTORY_SIZE = SHORT_SESSIONS ? 512 : 4096;

/// Records that a search may write beyond the game's own moves: a move per ply, and a
/// null move between two of them.
constexpr int HISTORY_RESERVE = 256;

/// The oldest record ever looked at lies at most this many plies back.
constexpr int HISTORY_SPAN = HISTORY_SIZE - HISTORY_RESERVE;

extern std::array<HistoryEntry, HISTORY_SIZE> game_history;

/// The history record of the move made at a ply number (0 for the first half-move of
/// the game). The record is intact for plies within HISTORY_SPAN of the longest line
/// made in this game.
inline HistoryEntry& history_entry(int ply) { return game_history[idx(ply) & (HISTORY_SIZE - 1)]; }

/// Set the initial position, all but its key: board, counts, castling state, counters.
/// `side` and `ep_square` are left to finish_initial_position().
void begin_initial_position();

/// The second half of the initial position, to be run after the keys are made: side to
/// move, en-passant square, material and counts.
void finish_initial_position();

/// Material, counts and sets of squares of both sides from a count of `board`.
void count_material();

/// Forget the moves made so far: an empty history, with `fifty` set as given.
void start_history(int reversible_moves);

/// Note that the move just made is a move of the game, so that can_take_back() knows
/// how far the ring of records has been written.
void note_game_length();

/// True if the last `half_moves` moves of the game can be unmade: so many were made,
/// and their records have not been overwritten in a very long game.
bool can_take_back(int half_moves);

/// True if the position occurred before since the last irreversible move, as far back
/// as `fifty` and the records of this game reach.
bool is_repetition();

// Colour-generic access: one text for both sides, resolved at compile time.

template <int Us> inline int& king_square() {
    if constexpr (Us == WHITE) return white_king_sq;
    else return black_king_sq;
}
template <int Us> inline int& pawn_count() {
    if constexpr (Us == WHITE) return white_pawns;
    else return black_pawns;
}
template <int Us> inline int& piece_count() {
    if constexpr (Us == WHITE) return white_pieces;
    else return black_pieces;
}
template <int Us> inline int& material() {
    if constexpr (Us == WHITE) return white_material;
    else return black_material;
}
template <int Us> inline SquareSet& occupied() {
    if constexpr (Us == WHITE) return white_occupied;
    else return black_occupied;
}
template <int Us> inline SquareSet& pawn_set() {
    if constexpr (Us == WHITE) return white_pawn_set;
    else return black_pawn_set;
}
template <int Us> inline std::uint8_t& castled() {
    if constexpr (Us == WHITE) return white_castled;
    else return black_castled;
}

/// All pieces and pawns on the board.
inline SquareSet occupied_squares() { return white_occupied | black_occupied; }

/// The content of a mailbox square 0..119.
inline int piece_on(int sq) { return board[idx(sq)]; }

/// The type 1..6 of the piece on a playing square, 0 when it is empty.
inline int type_on(int sq) {
    const int piece = piece_on(sq);
    return piece < 0 ? -piece : piece;
}

/// The first non-empty square from `sq` (not included) in the direction Step; the
/// border ends every ray.
template <int Step> inline int first_occupied(int sq) {
    do sq += Step;
    while (piece_on(sq) == EMPTY);
    return sq;
}

/// The content of the first non-empty square from `sq` in the direction Step.
template <int Step> inline int first_piece(int sq) { return piece_on(first_occupied<Step>(sq)); }

/// True if `piece` stands on one of the squares sq + Offsets.
template <int... Offsets> inline bool stands_near(int sq, int piece) {
    return ((piece_on(sq + Offsets) == piece) || ...);
}

/// stands_near() for a knight's eight squares.
inline bool knight_near(int sq, int knight) {
    return stands_near<8, -8, 12, -12, 19, -19, 21, -21>(sq, knight);
}

}  // namespace tarsimo

#endif
