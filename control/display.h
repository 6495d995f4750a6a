/// The board and the moves as the console and CECP show them.
#ifndef TARSIMO_CONTROL_DISPLAY_H
#define TARSIMO_CONTROL_DISPLAY_H

namespace tarsimo {

/// Print the board; on the console also who is to move.
void print_board();

/// Print the move at an index of the move array, not yet made: on the console in Spanish
/// notation without a newline, under CECP as the protocol's move command.
void print_move(int index);

}  // namespace tarsimo

#endif
