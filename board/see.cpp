// Static exchange evaluation: the swap of captures on one square, by lists of attackers
// that are gathered once and extended by the sliders behind those that have captured.
//
// Pieces are not taken off the board during the swap, only the first capturer is lifted.
#include "board/see.h"

#include "board/position.h"

#include <algorithm>

namespace tarsimo {

namespace {

constexpr int KING_THRESHOLD = 2000;  // a piece worth more counts as a king
constexpr int KING_EXCHANGE_VALUE = 2001;

// What is searched for behind an attacker that has captured.
enum Kind : int {
    NO_RAY = 0,        // pawns, knights, kings, and what was found behind a diagonal entry
    DIAGONAL_RAY = 1,  // a bishop or queen, which is then not extended further
    LINE_RAY = 2,      // a rook or queen, extended again when it captures
};

struct Attacker {
    int kind;
    int direction;
    int square;
};

// Pieces of one colour that attack the target square. At most 2 pawns and one piece from each of 8
// knight squares, 8 rays and 8 neighbours; another is added only after one has left.
struct AttackerList {
    std::array<Attacker, 32> entries;
    int size = 0;

    void add(int kind, int direction, int square) {
        entries[idx(size++)] = {kind, direction, square};
    }
    Attacker& operator[](int index) { return entries[idx(index)]; }
};

struct Attackers {
    AttackerList white;
    AttackerList black;

    AttackerList& of(int colour) { return colour == WHITE ? white : black; }
};

int order_value_on(int sq) { return order_value[idx(type_on(sq))]; }

void add_man(Attackers& attackers, int type, int sq) {
    if (piece_on(sq) == type) attackers.white.add(NO_RAY, 0, sq);
    else if (piece_on(sq) == -type) attackers.black.add(NO_RAY, 0, sq);
}

template <int... Offsets> void add_men(Attackers& attackers, int type, int to) {
    (add_man(attackers, type, to + Offsets), ...);
}

void add_pawns(Attackers& attackers, int to) {
    if (piece_on(to - 9) == PAWN) attackers.white.add(NO_RAY, 0, to - 9);
    if (piece_on(to - 11) == PAWN) attackers.white.add(NO_RAY, 0, to - 11);
    if (piece_on(to + 9) == -PAWN) attackers.black.add(NO_RAY, 0, to + 9);
    if (piece_on(to + 11) == -PAWN) attackers.black.add(NO_RAY, 0, to + 11);
}

template <int Step> void add_diagonal(Attackers& attackers, int to) {
    const int sq = first_occupied<Step>(to);
    const int piece = piece_on(sq);
    if (piece == BISHOP || piece == QUEEN) attackers.white.add(DIAGONAL_RAY, Step, sq);
    else if (piece == -BISHOP || piece == -QUEEN) attackers.black.add(DIAGONAL_RAY, Step, sq);
}

template <int Step> void add_line(Attackers& attackers, int to) {
    const int sq = first_occupied<Step>(to);
    const int piece = piece_on(sq);
    if (piece == ROOK || piece == QUEEN) attackers.white.add(LINE_RAY, Step, sq);
    // QUIRK: black's rooks and queens on lines count as diagonal pieces, so that some exchanges are
    // not worth the same with the colours exchanged.
    else if (piece == -ROOK || piece == -QUEEN) attackers.black.add(DIAGONAL_RAY, Step, sq);
}

void collect_attackers(Attackers& attackers, int to) {
    add_pawns(attackers, to);
    add_men<-21, -19, -12, -8, 8, 12, 19, 21>(attackers, KNIGHT, to);
    add_diagonal<9>(attackers, to);
    add_diagonal<-9>(attackers, to);
    add_diagonal<-11>(attackers, to);
    add_diagonal<11>(attackers, to);
    add_line<1>(attackers, to);
    add_line<-1>(attackers, to);
    add_line<-10>(attackers, to);
    add_line<10>(attackers, to);
    add_men<1, -1, 9, -9, -10, 10, -11, 11>(attackers, KING, to);
}

int exchange_value(int sq) {
    const int value = order_value_on(sq);
    return value > KING_THRESHOLD ? KING_EXCHANGE_VALUE : value;
}

// Index of the least valuable attacker; the earliest among equals.
int least_valuable(AttackerList& list) {
    int choice = 0;
    int choice_value = exchange_value(list[0].square);
    for (int i = 1; i < list.size; ++i) {
        const int value = exchange_value(list[i].square);
        if (value < choice_value) {
            choice = i;
            choice_value = value;
        }
    }
    return choice;
}

// Add the slider of the same colour that stands behind an attacker.
void add_xray(AttackerList& list, const Attacker& attacker, int colour) {
    if (attacker.kind == NO_RAY) return;
    int sq = attacker.square + attacker.direction;
    while (piece_on(sq) == EMPTY) sq += attacker.direction;
    const int piece = colour * piece_on(sq);
    if (attacker.kind == DIAGONAL_RAY) {
        if (piece == BISHOP || piece == QUEEN) list.add(NO_RAY, 0, sq);
    } else {
        if (piece == ROOK || piece == QUEEN) list.add(LINE_RAY, attacker.direction, sq);
    }
}

}  // namespace

int see(int from, int to) {
    // The first capturer is lifted, so that a slider behind it attacks directly.
    const int first_capturer = piece_on(from);
    board[idx(from)] = EMPTY;

    Attackers attackers;
    collect_attackers(attackers, to);

    // One gain a capture: each piece near the target once, and up to six behind it on each
    // of the eight rays.
    std::array<int, 96> gain;
    gain[0] = order_value_on(to);
    int standing = order_value[idx(first_capturer < 0 ? -first_capturer : first_capturer)];
    std::size_t depth = 1;
    for (int colour = -side; attackers.of(colour).size > 0; colour = -colour) {
        AttackerList& list = attackers.of(colour);
        const int choice = least_valuable(list);
        const Attacker attacker = list[choice];
        gain[depth] = standing - gain[depth - 1];
        standing = exchange_value(attacker.square);
        add_xray(list, attacker, colour);
        list[choice] = list[--list.size];
        ++depth;
    }
    while (--depth > 0) gain[depth - 1] = std::min(gain[depth - 1], -gain[depth]);

    board[idx(from)] = first_capturer;
    return gain[0];
}

}  // namespace tarsimo
