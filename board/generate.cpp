// Pseudo-legal move generation. White's pieces are met from a1 upwards, black's from h8
// downwards. Offsets come in one fixed order, which decides among moves of equal score.
#include "board/generate.h"

#include "board/attacks.h"
#include "board/move_list.h"
#include "board/position.h"

#include <bit>

namespace tarsimo {

namespace {

// What a list holds: every move, or captures and queen promotions for quiescence.
enum class List { ALL, CAPTURES };

constexpr int CAPTURE_PROMOTION_BONUS = 15000;
constexpr int QUIET_PROMOTION_BONUS = 1850000;

// The step of a pawn, its captures and the ranks that matter, by colour.
template <int Us> struct Pawn {
    static constexpr int forward = Us * 10;
    static constexpr int first_capture = Us * 11;
    static constexpr int second_capture = Us * 9;

    // On its seventh rank, or beyond it on a board set up by hand.
    static bool promotes(int sq) { return Us == WHITE ? sq >= A7 : sq <= H2; }

    // On its second rank, or behind it on a board set up by hand.
    static bool may_double_step(int sq) { return Us == WHITE ? sq <= H2 : sq >= A7; }
};

template <int Us> bool hostile(int piece) {
    if constexpr (Us == WHITE) return piece < 0;
    else return piece > 0 && piece != OFFBOARD;
}

template <int Us, List Kind> void add_target(int from, int to) {
    const int target = piece_on(to);
    if (target == EMPTY) {
        if constexpr (Kind == List::ALL) add_quiet_move(from, to);
    } else if (hostile<Us>(target)) {
        if constexpr (Kind == List::ALL) add_scored_capture(from, to);
        else add_capture(from, to);
    }
}

template <int Us, List Kind, int... Offsets> void add_steps(int from) {
    (add_target<Us, Kind>(from, from + Offsets), ...);
}

template <int Us, List Kind, int Step> void add_ray(int from) {
    int to = from + Step;
    if constexpr (Kind == List::ALL) {
        for (; piece_on(to) == EMPTY; to += Step) add_quiet_move(from, to);
    } else {
        while (piece_on(to) == EMPTY) to += Step;
    }
    add_target<Us, Kind>(from, to);
}

template <int Us, List Kind, int... Steps> void add_rays(int from) {
    (add_ray<Us, Kind, Steps>(from), ...);
}

// Both own pawns that may stand beside the pawn which has just made a double step.
// QUIRK: run after each own pawn, so that the list holds these captures several times; the search
// tries them again, and the table answers.
template <int Us> void add_ep_captures() {
    if (ep_square == 0) return;
    // After a change of side, or a careless set-up, there may be nothing to capture.
    const int victim = ep_square - Us * 10;
    if (piece_on(ep_square) != EMPTY || piece_on(victim) != -Us * PAWN) return;
    for (const int from : {ep_square - Us * 9, ep_square - Us * 11}) {
        if (piece_on(from) == Us * PAWN) add_ep_capture(from, ep_square, victim);
    }
}

template <int Us> void add_pawn_moves(int from) {
    using P = Pawn<Us>;
    const bool promotes = P::promotes(from);

    const int ahead = from + P::forward;
    if (piece_on(ahead) == EMPTY) {
        if (promotes) {
            add_promotions(from, ahead);
        } else {
            add_quiet_move(from, ahead);
            const int two_ahead = ahead + P::forward;
            if (P::may_double_step(from) && piece_on(two_ahead) == EMPTY) {
                add_quiet_move(from, two_ahead);
            }
        }
    }
    for (const int to : {from + P::first_capture, from + P::second_capture}) {
        if (!hostile<Us>(piece_on(to))) continue;
        if (promotes) add_promotions(from, to);
        else add_scored_capture(from, to);
    }
    add_ep_captures<Us>();
}

// Pawn captures first, then the promotion by one step; to a queen only.
template <int Us> void add_pawn_captures(int from) {
    using P = Pawn<Us>;
    const bool promotes = P::promotes(from);

    for (const int to : {from + P::first_capture, from + P::second_capture}) {
        if (!hostile<Us>(piece_on(to))) continue;
        if (promotes) {
            add_scored_capture(from, to);
            Move& move = move_at(move_count - 1);
            move.promotion = QUEEN;
            move.score = wrapping_sum(move.score, CAPTURE_PROMOTION_BONUS);
        } else {
            add_capture(from, to);
        }
    }
    const int ahead = from + P::forward;
    if (promotes && piece_on(ahead) == EMPTY) {
        add_quiet_move(from, ahead);
        Move& move = move_at(move_count - 1);
        move.promotion = QUEEN;
        move.score += QUIET_PROMOTION_BONUS;
    }
    add_ep_captures<Us>();
}

bool never_moved(int sq) { return square_moves[idx(sq)] == 0; }

// King-side, then queen-side. The rook's presence follows from the untouched count of its
// corner; the king's destination is left to the test after the move.
template <int Us> void add_castling(int king) {
    constexpr int home = Us == WHITE ? E1 : E8;
    constexpr int rook_right = home + 3;
    constexpr int rook_left = home - 4;
    if (king != home || castled<Us>() || !never_moved(home)) return;

    if (never_moved(rook_right) && piece_on(home + 1) == EMPTY && piece_on(home + 2) == EMPTY &&
        !is_attacked(home, -Us) && !is_attacked(home + 1, -Us)) {
        add_quiet_move(home, home + 2);
        move_at(move_count - 1).castle = 1;
    }
    if (never_moved(rook_left) && piece_on(home - 1) == EMPTY && piece_on(home - 2) == EMPTY &&
        piece_on(home - 3) == EMPTY && !is_attacked(home, -Us) && !is_attacked(home - 1, -Us)) {
        add_quiet_move(home, home - 2);
        move_at(move_count - 1).castle = 2;
    }
}

template <int Us, List Kind> void add_moves_of(int type, int from) {
    switch (type) {
        case PAWN:
            if constexpr (Kind == List::ALL) add_pawn_moves<Us>(from);
            else add_pawn_captures<Us>(from);
            break;
        case KNIGHT: add_steps<Us, Kind, 8, -8, 12, -12, 19, -19, 21, -21>(from); break;
        case BISHOP: add_rays<Us, Kind, 9, -9, 11, -11>(from); break;
        case ROOK: add_rays<Us, Kind, 1, -1, 10, -10>(from); break;
        case QUEEN: add_rays<Us, Kind, 9, -9, 11, -11, 1, -1, 10, -10>(from); break;
        case KING:
            add_steps<Us, Kind, 1, -1, 9, -9, 10, -10, 11, -11>(from);
            if constexpr (Kind == List::ALL) add_castling<Us>(from);
            break;
        default: break;
    }
}

template <int Us, List Kind> void generate() {
    move_count = list_start(search_ply);
    for (SquareSet rest = occupied<Us>(); rest != 0;) {
        const int index = Us == WHITE ? std::countr_zero(rest) : 63 - std::countl_zero(rest);
        rest ^= bit(index);
        const int sq = square_of_bit(index);
        add_moves_of<Us, Kind>(Us * piece_on(sq), sq);
    }
    list_start(search_ply + 1) = move_count;
}

}  // namespace

void generate_moves() {
    if (side == WHITE) generate<WHITE, List::ALL>();
    else generate<BLACK, List::ALL>();
}

void generate_captures() {
    if (side == WHITE) generate<WHITE, List::CAPTURES>();
    else generate<BLACK, List::CAPTURES>();
}

}  // namespace tarsimo
