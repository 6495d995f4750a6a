/// The legal moves of the position, for tools and tests. The generator lists an en-passant capture
/// once for every own pawn; here it counts once.
#ifndef TARSIMO_TOOLS_COMMON_LEGAL_MOVES_H
#define TARSIMO_TOOLS_COMMON_LEGAL_MOVES_H

#include "board/attacks.h"
#include "board/generate.h"
#include "board/make.h"
#include "board/move_list.h"
#include "board/position.h"

#include <vector>

namespace tarsimo {

/// True if the move at `index` of the list of this ply is an en-passant capture that the list
/// holds before.
inline bool is_repeated_ep_capture(int index) {
    const Move& move = move_at(index);
    if (move.ep_capture == 0) return false;
    for (int i = list_start(search_ply); i < index; ++i) {
        if (move_at(i).ep_capture != 0 && move_at(i).from == move.from) return true;
    }
    return false;
}

/// Generate the moves of this ply and call visit(index) with each legal one made, by the test of
/// legality that the search uses.
template <typename Visit> void for_each_legal_move(Visit visit) {
    generate_moves();
    const bool was_in_check = in_check();
    const int end = list_start(search_ply + 1);
    for (int i = list_start(search_ply); i < end; ++i) {
        if (is_repeated_ep_capture(i)) continue;
        make_move(i);
        if (king_left_safe(move_at(i), was_in_check)) visit(i);
        unmake_move();
    }
}

/// Indexes of the legal moves in the list of this ply.
inline std::vector<int> legal_moves() {
    std::vector<int> legal;
    for_each_legal_move([&legal](int index) { legal.push_back(index); });
    return legal;
}

}  // namespace tarsimo

#endif
