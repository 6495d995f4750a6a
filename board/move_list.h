/// Moves, the lists of all plies in one array, the scores by which they are ordered, and the
/// principal variation.
#ifndef TARSIMO_BOARD_MOVE_LIST_H
#define TARSIMO_BOARD_MOVE_LIST_H

#include "board/position.h"

namespace tarsimo {

/// A generated move. Moves are compared by `from` and `to` alone, so the four
/// promotions of one pawn move count as equal.
struct Move {
    int from;
    int to;
    int captured;    ///< type 1..6 of the captured piece (1 for en passant), 0 for none
    int promotion;   ///< type 2..5, 0 for none
    int castle;      ///< 0 none, 1 king-side, 2 queen-side
    int ep_capture;  ///< square of the pawn taken en passant, else 0
    int score;       ///< ordering score, higher first; PICKED when not to be picked (again)
};

/// Ordering score of a move that has been picked, and of an illegal one of the root list.
constexpr int PICKED = -32000;

/// Upper bound on the moves of one list for any placement of pieces whatever: 64 pieces
/// of at most 27 moves each.
constexpr int MAX_LIST_LENGTH = 64 * 27;

/// The one array shared by the lists of all plies: 256 per ply, more than any legal
/// position has, and room for one list of the greatest length behind them.
constexpr int MOVE_STACK_SIZE = 64 * 256 + MAX_LIST_LENGTH;

using MoveStack = std::array<Move, MOVE_STACK_SIZE>;

/// Written by the add operations below; the searches mark the scores of picked moves, and the root
/// search puts the best move at the head of the root list.
extern MoveStack move_stack;

/// Index of the next free slot; a generator resets it to the start of its list.
extern int move_count;

/// The list of ply p is the slots first_move[p] .. first_move[p + 1] - 1. first_move[0] is always
/// 0.
extern std::array<int, PLY_SLOTS> first_move;

/// The move at an index of the move array.
inline Move& move_at(int index) { return move_stack[idx(index)]; }

/// Index of the first move of the list of a ply 0..64.
inline int& list_start(int ply) { return first_move[idx(ply)]; }

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
    std::int8_t captured;       ///< type of the captured piece
    std::int8_t piece;          ///< type of the moving piece
    std::int8_t promotion = 0;  ///< type of the new piece
};

/// Sum of two ordering scores. Scores that build on a slot's stale value may grow without
/// bound over a long search; they wrap around.
constexpr int wrapping_sum(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

// Ordering inputs: read when a move is added to a list, written by the searches. All are cleared
// at the start of every think.

/// The table's move for the node whose list is generated next; all 0 for none. Set by every probe
/// of the table, and put back by a node that has searched below itself since its probe.
extern MoveRef hash_move;

/// Killer moves by ply: killer1 mates, killer2 and killer3 are the two latest quiet
/// moves that cut off.
extern std::array<MoveRef, PLY_SLOTS> killer1, killer2, killer3;

/// History scores by side + 1 (0 black, 2 white; row 1 stays 0), from, to.
using HistoryTable = std::array<std::array<std::array<int, SQUARE_LIMIT>, SQUARE_LIMIT>, 3>;
extern HistoryTable history;

/// Row p holds the principal variation found below ply p, from column p on. Written by update_pv()
/// and clear_pv_line(); row 0 is the line of the root's best move until the next think.
extern std::array<std::array<PvEntry, PLY_SLOTS>, PLY_SLOTS> pv_table;

/// The history score of a move of the side to move.
inline int& history_of(int from, int to) { return history[idx(side + 1)][idx(from)][idx(to)]; }

/// Append a move that neither captures nor promotes. Scores: hash move 1900000, killers
/// 1860000, 1830000 and 1810000, otherwise the history value.
void add_quiet_move(int from, int to);

/// Append a capture scored by most valuable victim, least valuable attacker; the move of
/// the previous iteration's principal variation at this ply comes first.
void add_capture(int from, int to);

/// Append a capture with an exchange-aware score: captures that win or keep material by
/// value, or hit an undefended piece, go before the second killer, others behind the third.
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
    const auto ply = idx(search_ply);
    pv_table[ply][ply].from = 0;
}

}  // namespace tarsimo

#endif
