/// King and pawn against king.
#ifndef TARSIMO_EVAL_KPK_H
#define TARSIMO_EVAL_KPK_H

namespace tarsimo {

/// Solve the ending. Run at start-up; running it again changes nothing.
void init_kpk();

/// True if the side of colour `strong`, which has a pawn on `pawn` against a bare king, wins
/// with best play. Exact for every legal position; false for a pawn on the first or last rank.
bool is_won_kpk(int strong, int strong_king, int pawn, int lone_king, bool strong_to_move);

}  // namespace tarsimo

#endif
