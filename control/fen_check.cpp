// The fields of a FEN, looked at before they are set up.
#include "control/fen_check.h"

#include <algorithm>
#include <sstream>
#include <string_view>

namespace tarsimo {

namespace {

bool has_eight_ranks(std::string_view placement) {
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

bool castling_fits(const std::string& castling) {
    return !castling.empty() && castling.find_first_not_of("KQkq-") == std::string::npos;
}

bool ep_fits(const std::string& ep, const std::string& mover) {
    return ep == "-" ||
           (ep.size() == 2 && ep[0] >= 'a' && ep[0] <= 'h' && ep[1] == (mover == "w" ? '6' : '3'));
}

}  // namespace

std::string checked_fen(const std::string& text, std::string& why) {
    std::istringstream fields(text);
    std::string placement, mover, castling, ep;
    fields >> placement >> mover >> castling >> ep;
    const auto count = [&](char letter) {
        return std::count(placement.begin(), placement.end(), letter);
    };
    if (placement.empty()) why = "the board field is missing";
    else if (!has_eight_ranks(placement)) why = "the board is not eight ranks of eight squares";
    else if (count('K') != 1 || count('k') != 1) why = "there is not one king of each colour";
    else if (mover != "w" && mover != "b") why = "the side to move is neither w nor b";
    else if (!castling_fits(castling)) why = "the castling field is neither - nor made of KQkq";
    else if (!ep_fits(ep, mover))
        why = "the en-passant field is neither - nor behind a double step";
    else why.clear();
    return why.empty() ? placement + " " + mover + " " + castling + " " + ep : "";
}

}  // namespace tarsimo
