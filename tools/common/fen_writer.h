/// Positions as texts in Forsyth-Edwards Notation, for tools and tests.
#ifndef TARSIMO_TOOLS_COMMON_FEN_WRITER_H
#define TARSIMO_TOOLS_COMMON_FEN_WRITER_H

#include "board/position.h"
#include "control/notation.h"

#include <array>
#include <cstdlib>
#include <string>

namespace tarsimo::tool {

/// The board field of a FEN for pieces on the 10x12 board.
inline std::string board_field(const std::array<int, BOARD_SIZE>& pieces) {
    std::string text;
    for (int rank = A8; rank >= A1; rank -= 10) {
        for (int sq = rank; sq < rank + 8; ++sq) {
            const int piece = pieces[idx(sq)];
            const char letter = FEN_LETTERS[std::abs(piece)];
            if (piece != EMPTY) text += piece > 0 ? static_cast<char>(letter - 'a' + 'A') : letter;
            else if (sq > rank && text.back() >= '1' && text.back() <= '8') ++text.back();
            else text += '1';
        }
        if (rank > A1) text += '/';
    }
    return text;
}

/// Whether king and rook of a colour stand at home, unmoved, and may castle some day.
template <int Us> bool has_castling_right(int rook_home) {
    constexpr int king_home = Us == WHITE ? E1 : E8;
    return castled<Us>() == 0 && piece_on(king_home) == Us * KING &&
           piece_on(rook_home) == Us * ROOK && square_moves[idx(king_home)] == 0 &&
           square_moves[idx(rook_home)] == 0;
}

/// The castling field of the position.
inline std::string castling_field() {
    std::string text;
    if (has_castling_right<WHITE>(H1)) text += 'K';
    if (has_castling_right<WHITE>(A1)) text += 'Q';
    if (has_castling_right<BLACK>(H8)) text += 'k';
    if (has_castling_right<BLACK>(A8)) text += 'q';
    return text.empty() ? "-" : text;
}

/// The first four fields of the position's FEN, with this en-passant square, 0 for none. The
/// engine's own ep_square stands after every double step; a referee names it only if a pawn can
/// capture there.
inline std::string position_fields(int en_passant) {
    return board_field(board) + (side == WHITE ? " w " : " b ") + castling_field() + " " +
           (en_passant == 0 ? "-" : square_name(en_passant));
}

}  // namespace tarsimo::tool

#endif
