/// Is a text the FEN of a position? The set-up itself drops what does not fit, takes a second blank
/// for a field, and sets up the initial position when a king is missing: whoever has to refuse such
/// a text asks here first.
#ifndef TARSIMO_CONTROL_FEN_CHECK_H
#define TARSIMO_CONTROL_FEN_CHECK_H

#include <string>

namespace tarsimo {

/// The first four fields of a FEN as the set-up reads them, separated by single blanks: the board
/// with one king of each colour, side, castling letters and en-passant square; counters or
/// operations of EPD may follow. An empty text, with the reason in `why`, when the text is not a
/// position.
std::string checked_fen(const std::string& text, std::string& why);

}  // namespace tarsimo

#endif
