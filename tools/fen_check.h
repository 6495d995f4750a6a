/// Is a text the FEN of a position? The engine itself drops what does not fit, takes a second blank
/// for a field, and sets up the initial position when a king is missing, so that a tool would give
/// figures of another position than it was asked about.
#ifndef TARSIMO_TOOLS_FEN_CHECK_H
#define TARSIMO_TOOLS_FEN_CHECK_H

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>

namespace tarsimo::tool {

/// Eight ranks of eight squares each.
inline bool has_eight_ranks(std::string_view placement) {
    int rank = 8;
    int file = 0;
    for (const char c : placement) {
        if (c == '/') {
            if (file != 8 || --rank < 1) return false;
            file = 0;
        } else if (c >= '1' && c <= '8') {
            file += c - '0';
        } else if (std::string_view("pnbrqkPNBRQK").find(c) != std::string_view::npos) {
            ++file;
        } else {
            return false;
        }
        if (file > 8) return false;
    }
    return rank == 1 && file == 8;
}

/// The first four fields of a FEN as the engine reads them, parted by single blanks: the board with
/// one king of each colour, side, castling letters and en-passant square; counters or operations of
/// EPD may follow. An empty text, with the reason in `why`, when the text is not a position.
inline std::string checked_fen(const std::string& text, std::string& why) {
    std::istringstream fields(text);
    std::string placement, mover, castling, ep;
    fields >> placement >> mover >> castling >> ep;
    const auto count = [&](char letter) {
        return std::count(placement.begin(), placement.end(), letter);
    };
    const bool castling_fits =
        !castling.empty() && castling.find_first_not_of("KQkq-") == std::string::npos;
    const bool ep_fits = ep == "-" || (ep.size() == 2 && ep[0] >= 'a' && ep[0] <= 'h' &&
                                       ep[1] == (mover == "w" ? '6' : '3'));
    if (placement.empty()) why = "the board field is missing";
    else if (!has_eight_ranks(placement)) why = "the board is not eight ranks of eight squares";
    else if (count('K') != 1 || count('k') != 1) why = "there is not one king of each colour";
    else if (mover != "w" && mover != "b") why = "the side to move is neither w nor b";
    else if (!castling_fits) why = "the castling field is neither - nor made of KQkq";
    else if (!ep_fits) why = "the en-passant field is neither - nor behind a double step";
    else why.clear();
    return why.empty() ? placement + " " + mover + " " + castling + " " + ep : "";
}

}  // namespace tarsimo::tool

#endif
