/// The board room: the one program-wide position, its history, the move lists
/// with their ordering scores, attack tests, move generation, make and unmake,
/// position keys and the static exchange evaluation.
///
/// Invariants on which every other room relies:
///   - border squares of `board` hold OFFBOARD at all times;
///   - each king square field names the square that holds that king;
///   - material, pawn and piece counts equal a recount of `board`;
///   - `hash_key` follows every move incrementally;
///   - make_move() and unmake_move() are strictly paired.
///
/// There is one thread and one position. Nothing here allocates.
#ifndef TARSIMO_BOARD_BOARD_H
#define TARSIMO_BOARD_BOARD_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarsimo {

/// An array index from a non-negative number, as board squares, plies and types are.
constexpr std::size_t at(int index) { return static_cast<std::size_t>(index); }

// ---------------------------------------------------------------------------
// Pieces, colours and squares
// ---------------------------------------------------------------------------

/// Piece codes. White pieces are positive, black ones the negated code; the
/// absolute value is the piece type.
constexpr int EMPTY = 0;
constexpr int PAWN = 1;
constexpr int KNIGHT = 2;
constexpr int BISHOP = 3;
constexpr int ROOK = 4;
constexpr int QUEEN = 5;
constexpr int KING = 6;
constexpr int OFFBOARD = 100;  ///< content of every border square

constexpr int WHITE = 1;
constexpr int BLACK = -1;

/// Mailbox squares: 21 + file + 10 * rank on a board of 10 columns by 12 rows,
/// so that a piece which leaves the playing area meets the border.
// clang-format off
enum Square : int {
    A1 = 21, B1, C1, D1, E1, F1, G1, H1,
    A2 = 31, B2, C2, D2, E2, F2, G2, H2,
    A3 = 41, B3, C3, D3, E3, F3, G3, H3,
    A4 = 51, B4, C4, D4, E4, F4, G4, H4,
    A5 = 61, B5, C5, D5, E5, F5, G5, H5,
    A6 = 71, B6, C6, D6, E6, F6, G6, H6,
    A7 = 81, B7, C7, D7, E7, F7, G7, H7,
    A8 = 91, B8, C8, D8, E8, F8, G8, H8,
};
// clang-format on

/// In the fuzz targets' builds, which run hundreds of short sessions a second: small tables, and a
/// stop test every few nodes.
#ifdef TARSIMO_FUZZ
constexpr bool SHORT_SESSIONS = true;
#else
constexpr bool SHORT_SESSIONS = false;
#endif

constexpr int BOARD_SIZE = 120;    ///< mailbox squares, border included
constexpr int SQUARE_LIMIT = 100;  ///< tables indexed by playing squares only end here

/// Ply limits. The deepest node that may generate moves stands at MAX_PLY; per-ply
/// tables have room for the node one ply deeper, which is entered and left at once.
constexpr int MAX_PLY = 63;
constexpr int PLY_SLOTS = MAX_PLY + 2;

/// Sentinel ordering score of a move already picked, and of "no score yet".
constexpr int NO_SCORE = -32000;

namespace detail {

template <typename Function> constexpr std::array<int, BOARD_SIZE> fill_squares(Function value_of) {
    std::array<int, BOARD_SIZE> table{};
    for (int sq = 0; sq < BOARD_SIZE; ++sq) table[at(sq)] = value_of(sq);
    return table;
}

}  // namespace detail

/// True for the 64 squares of the chessboard; any other number, however large or
/// negative, is not one.
constexpr bool on_board(int sq) { return sq >= A1 && sq <= H8 && sq % 10 >= 1 && sq % 10 <= 8; }

/// The square reflected between the white and the black half: the file stays, rank
/// r becomes rank 9 - r (21 <-> 91). Defined for the border too (0 <-> 110).
inline constexpr auto mirror_square =
    detail::fill_squares([](int sq) { return (11 - sq / 10) * 10 + sq % 10; });

/// Rank 1..8 of a mailbox square, 0 on the border.
inline constexpr auto square_rank =
    detail::fill_squares([](int sq) { return on_board(sq) ? sq / 10 - 1 : 0; });

/// File 1..8 (a..h) of a mailbox square; 0 and 9 in the two border columns.
inline constexpr auto square_file = detail::fill_squares([](int sq) { return sq % 10; });

/// Material values in centipawns, by piece type. The king's is never added to a
/// side's material.
inline constexpr std::array<int, 8> piece_value = {0, 100, 320, 330, 520, 990, 2000, 0};

/// Values for move ordering and exchanges, by piece type. Knight and bishop are
/// deliberately equal.
inline constexpr std::array<int, 8> order_value = {0, 100, 400, 400, 600, 1200, 5000, 0};

// ---------------------------------------------------------------------------
// The position. Written by make/unmake, the initialisation, the FEN set-up, the
// null move (side, keys, counters) and the console's change of side.
// ---------------------------------------------------------------------------

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

/// Records that a search may write beyond the game's own moves: a move a ply, and a
/// null move between two of them.
constexpr int HISTORY_RESERVE = 256;

/// The oldest record ever looked at lies at most this many plies back.
constexpr int HISTORY_SPAN = HISTORY_SIZE - HISTORY_RESERVE;

extern std::array<HistoryEntry, HISTORY_SIZE> game_history;

/// The history record of the move made at a ply number (0 for the first half-move of
/// the game). The record is intact for plies within HISTORY_SPAN of the longest line
/// made in this game.
inline HistoryEntry& history_entry(int ply) { return game_history[at(ply) & (HISTORY_SIZE - 1)]; }

/// Set the initial position, all but its key: board, counts, castling state, counters.
/// `side` and `ep_square` are left to finish_initial_position().
void begin_initial_position();

/// The second half of the initial position, to be run after the keys are made: side to
/// move, en-passant square, material and counts.
void finish_initial_position();

/// Material, pawn and piece counts of both sides from a count of `board`.
void count_material();

/// Forget the moves made so far: an empty history, with `fifty` set as given.
void start_history(int reversible_moves);

/// Note that the move just made is a move of the game, so that can_take_back() knows
/// how far the ring of records has been written.
void note_game_length();

/// True if the last `half_moves` moves of the game can be unmade: so many were made,
/// and their records have not been overwritten in a very long game.
bool can_take_back(int half_moves);

/// True if all that follows from `board` is as a recount says: border, king squares, material and
/// counts, except that a king which was taken stays counted off as one piece of its value. Holds
/// in every position that a text can set up, and is meant for assertions.
bool position_is_consistent();

/// What is in hash_key beyond the keys of men, side to move and en-passant square: 0 after a set-up
/// from a text, otherwise the same throughout a game unless a command changes the side to move.
/// For assertions.
std::uint64_t unexplained_key();

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
template <int Us> inline std::uint8_t& castled() {
    if constexpr (Us == WHITE) return white_castled;
    else return black_castled;
}

/// The content of a mailbox square 0..119.
inline int piece_on(int sq) { return board[at(sq)]; }

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

// ---------------------------------------------------------------------------
// Moves and move lists
// ---------------------------------------------------------------------------

/// A generated move. Moves are compared by `from` and `to` alone, so the four
/// promotions of one pawn move count as equal.
struct Move {
    int from;
    int to;
    int captured;    ///< type 1..6 of the captured piece (1 for en passant), 0 for none
    int promotion;   ///< type 2..5, 0 for none
    int castle;      ///< 0 none, 1 king-side, 2 queen-side
    int ep_capture;  ///< square of the pawn taken en passant, else 0
    int score;       ///< ordering score, higher first; NO_SCORE once picked
};

/// Upper bound on the moves of one list for any placement of pieces whatever: 64 men of
/// at most 27 moves each.
constexpr int MAX_LIST_LENGTH = 64 * 27;

/// The one array shared by the lists of all plies: 256 a ply, more than any legal
/// position has, and room for one list of the greatest length behind them.
constexpr int MOVE_STACK_SIZE = 64 * 256 + MAX_LIST_LENGTH;

using MoveStack = std::array<Move, MOVE_STACK_SIZE>;

extern MoveStack move_stack;
extern int move_count;  ///< index of the next free slot

/// The list of ply p is the slots first_move[p] .. first_move[p + 1] - 1.
extern std::array<int, PLY_SLOTS> first_move;

/// The move at an index of the move array.
inline Move& move_at(int index) { return move_stack[at(index)]; }

/// Index of the first move of the list of a ply 0..64.
inline int& list_start(int ply) { return first_move[at(ply)]; }

/// True if the list of this ply fits in the move array whatever the position. Never
/// false in a game of chess; a node that meets false must not generate.
inline bool room_for_list() { return list_start(search_ply) <= MOVE_STACK_SIZE - MAX_LIST_LENGTH; }

/// True if the list of this ply fits, and the ply itself is one that may have a list.
inline bool may_generate() { return search_ply <= MAX_PLY && room_for_list(); }

/// A move as the ordering tables remember it; from 0 means none.
struct MoveRef {
    int from;
    int to;
    int extra;  ///< third value of a slot; carries nothing, and killer updates skip it

    template <typename Other> bool same_move(const Other& other) const {
        return from == other.from && to == other.to;
    }
};

/// One move of a principal variation; from 0 ends the line.
struct PvEntry {
    int from;
    int to;
    std::int8_t captured;  ///< type of the captured piece
    std::int8_t piece;     ///< type of the moving piece
};

/// Sum of two ordering scores. Scores that build on a slot's stale value may grow without
/// bound over a long search; they wrap around.
constexpr int wrapping_sum(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

// Ordering inputs: read when a move is added to a list, written by the searches.

/// The table's move for the node whose list is generated next; all 0 for none.
extern MoveRef hash_move;

/// Killer moves by ply: killer1 mates, killer2 and killer3 are the two latest quiet
/// moves that cut off.
extern std::array<MoveRef, PLY_SLOTS> killer1, killer2, killer3;

/// History scores by side + 1 (0 black, 2 white), from, to.
using HistoryTable = std::array<std::array<std::array<int, SQUARE_LIMIT>, SQUARE_LIMIT>, 3>;
extern HistoryTable history;

/// Row p holds the principal variation found below ply p, from column p on.
extern std::array<std::array<PvEntry, PLY_SLOTS>, PLY_SLOTS> pv_table;

/// The history score of a move of the side to move.
inline int& history_of(int from, int to) { return history[at(side + 1)][at(from)][at(to)]; }

/// Append a move that neither captures nor promotes. Scores: hash move 1900000, killers
/// 1860000, 1830000 and 1810000, otherwise the history value.
void add_quiet_move(int from, int to);

/// Append a capture scored by most valuable victim, least valuable attacker; the move of
/// the previous iteration's principal variation at this ply comes first.
void add_capture(int from, int to);

/// Append a capture with an exchange-aware score: captures that win or keep material by
/// value, or hit an undefended man, go before the second killer, others behind the third.
void add_scored_capture(int from, int to);

/// Append queen, rook, bishop and knight promotion, in this order, of a pawn that reaches
/// the last rank with or without a capture.
void add_promotions(int from, int to);

/// Append the en-passant capture of the pawn on `ep_capture`.
void add_ep_capture(int from, int to, int ep_capture);

/// Put the move at `index` at the head of this ply's line in pv_table and the line of the
/// next ply behind it. To be called with the move not made.
void update_pv(int index);

/// Empty the principal variation of this ply.
inline void clear_pv_line() {
    const auto ply = at(search_ply);
    pv_table[ply][ply].from = 0;
}

// ---------------------------------------------------------------------------
// Attacks
// ---------------------------------------------------------------------------

/// King distance between two playing squares, by from and to; 16 when either is off the
/// board. Filled by init_square_distance(); indexes 21..99.
extern std::array<std::array<int, SQUARE_LIMIT>, SQUARE_LIMIT> square_distance;

/// Fill square_distance. Run once at start-up; running it again changes nothing.
void init_square_distance();

/// King distance between two squares 21..99.
inline int distance_between(int a, int b) { return square_distance[at(a)][at(b)]; }

/// True if a piece of colour `by` attacks the playing square `sq`, whatever stands on it.
/// WHITE selects the white attackers, any other value the black ones.
bool is_attacked(int sq, int by);

/// is_attacked(sq, WHITE).
bool attacked_by_white(int sq);

/// Right after make_move(): true if the king of the side that has moved is not attacked.
/// False means that the move was illegal and must be unmade.
bool king_left_safe();

/// True if the king of the side to move is attacked.
bool in_check();

/// king_left_safe() right after make_move() of this move, when it is known whether its side was
/// in check before: without check only a line that the move opened is looked at.
bool king_left_safe(const Move& move, bool was_in_check);

/// in_check() right after make_move() of this move, which has left its own king safe: looks at
/// the square that it went to and the line that it opened only.
bool move_gives_check(const Move& move);

// ---------------------------------------------------------------------------
// Move generation
// ---------------------------------------------------------------------------

/// Write all pseudo-legal moves of the side to move into the list of this ply. The caller
/// has made sure of may_generate(). Own king left in check is not looked at.
///
/// An en-passant capture is listed once for every own pawn on the board; deliberate.
void generate_moves();

/// Write the captures, en-passant captures and queen promotions of the side to move into
/// the list of this ply, scored for the quiescence search. Same demands and order of
/// pieces as generate_moves().
void generate_captures();

// ---------------------------------------------------------------------------
// Make and unmake
// ---------------------------------------------------------------------------

/// Play the pseudo-legal move at `index` of the move array.
void make_move(int index);

/// Play the move at the head of the root list as a move of the game.
void make_root_move();

/// Take back the last move made. Its record must still be there: see can_take_back().
void unmake_move();

/// unmake_move() for a move of the game. A command may have given the move to the other side since
/// it was made: its men are put back all the same, and then `side` changes.
void take_back_move();

/// Pass the move to the other side: a record without a move, no en-passant square.
/// `search_ply` stays as it is. Returns the en-passant square that there was, which the record
/// does not keep.
int make_null_move();

/// Take back a null move, with what make_null_move() returned.
void unmake_null_move(int ep_square_before);

// ---------------------------------------------------------------------------
// Keys
// ---------------------------------------------------------------------------

/// Row c + 7 holds the keys of piece code c by square, row 14 those of the en-passant
/// square. Castling rights have no keys.
extern std::array<std::array<std::uint64_t, SQUARE_LIMIT>, 15> zobrist;
extern std::uint64_t side_key;  ///< in the key while white is to move

/// Next number of an additive lagged generator (Mitchell and Moore 1958, in Knuth, TAOCP
/// vol. 2, 3.2.2) with a fixed seed; the sequence is the same in every run.
std::uint64_t random64();

/// Fill all keys with the next numbers of the generator and set hash_key from scratch.
void init_keys();

/// Set hash_key from the board, the side to move and the en-passant square.
void compute_hash_key();

/// The key of a piece code on a square.
inline std::uint64_t piece_key(int piece, int sq) { return zobrist[at(piece + 7)][at(sq)]; }

/// The key of an en-passant square.
inline std::uint64_t ep_key(int sq) { return zobrist[14][at(sq)]; }

// ---------------------------------------------------------------------------
// Static exchange evaluation
// ---------------------------------------------------------------------------

/// Outcome, in order_value units for the side to move, of the captures on `to` that begin
/// with the piece on `from`: both sides retake with their least valuable attacker and may
/// stop. `to` may be empty. Leaves board and side as they were.
int see(int from, int to);

}  // namespace tarsimo

#endif
