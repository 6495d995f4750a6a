/// The user's moves.
#ifndef TARSIMO_CONTROL_USER_MOVE_H
#define TARSIMO_CONTROL_USER_MOVE_H

#include <string>

namespace tarsimo {

/// Make the move that a text names ("e2e4", "e7e8q"), upper-casing the text. Returns false,
/// with the position unchanged, when it is no legal move; a king left in check is reported
/// in Spanish.
bool parse_user_move(std::string& text);

}  // namespace tarsimo

#endif
