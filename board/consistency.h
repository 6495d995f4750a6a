/// A recount of the whole position, for the assertions of builds that have them.
#ifndef TARSIMO_BOARD_CONSISTENCY_H
#define TARSIMO_BOARD_CONSISTENCY_H

#include <cstdint>

namespace tarsimo {

/// True if all that follows from `board` is as a recount says: border, king squares, material and
/// counts, except that a king which was taken stays counted off as one piece of its value. Holds
/// in every position that a text can set up, and is meant for assertions.
bool position_is_consistent();

/// What is in hash_key beyond the keys of pieces, side to move and en-passant square: 0 after a
/// set-up from a text, otherwise the same throughout a game unless a command changes the side to
/// move. For assertions.
std::uint64_t unexplained_key();

}  // namespace tarsimo

#endif
