/// Move generation.
#ifndef TARSIMO_BOARD_GENERATE_H
#define TARSIMO_BOARD_GENERATE_H

namespace tarsimo {

/// Write all pseudo-legal moves of the side to move into the list of this ply. The caller
/// has made sure of may_generate(). Own king left in check is not looked at.
///
/// QUIRK: an en-passant capture is listed once for every own pawn on the board.
void generate_moves();

/// Write the captures, en-passant captures and queen promotions of the side to move into
/// the list of this ply, scored for the quiescence search. Same demands and order of
/// pieces as generate_moves().
void generate_captures();

}  // namespace tarsimo

#endif
