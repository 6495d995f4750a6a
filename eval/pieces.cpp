// Knights, bishops, rooks and queens: mobility, good and bad places, and their attacks around
// the enemy king. What a piece reaches is found once for mobility, the attack maps and the
// king attack together.
#include "eval/pieces.h"
#include "board/attacks.h"
#include "board/position.h"

#include "eval/setup.h"

namespace tarsimo {

namespace {

constexpr int ROOK_SHUT_IN_MOBILITY = 3;  // safe squares that a shut-in rook has at most
constexpr int FIVE_PAWNS = 5;             // material values fit a side with as many pawns

// How dangerous an attacker of the king is: knight, bishop, rook, queen.
constexpr std::array<int, 4> attacker_weight = {6, 4, 4, 3};

// The weights of four kinds of pieces stand one behind the other: MATCHES eval/weights.inc.
constexpr int KIND_PLACES = 2 * 64;  // weights of a kind: squares, by whether the kings are apart
static_assert(BISHOP_ON_SQUARE == KNIGHT_ON_SQUARE + KIND_PLACES &&
              ROOK_ON_SQUARE == BISHOP_ON_SQUARE + KIND_PLACES &&
              QUEEN_ON_SQUARE == ROOK_ON_SQUARE + KIND_PLACES);

template <int Us> ScorePair place(int sq, int kind) {
    return weigh<Us>(KNIGHT_ON_SQUARE + KIND_PLACES * kind + 64 * eval_side<Us>().kings_apart +
                     seen_square<Us>(sq));
}

SquareSet reached_squares(int sq, int type) {
    const int index = square_index[idx(sq)];
    const SquareSet occupied = occupied_squares();
    switch (type) {
        case KNIGHT: return knight_attacks(index);
        case BISHOP: return bishop_attacks(index, occupied);
        case ROOK: return rook_attacks(index, occupied);
        default: return bishop_attacks(index, occupied) | rook_attacks(index, occupied);
    }
}

// No enemy pawn can ever attack the square, and it lies on the owner's ranks 4 to 6.
template <int Us> bool is_outpost(int sq) {
    const int rank = own_rank<Us>(sq);
    return rank >= 4 && rank <= 6 && (squares_aside(squares_ahead<Us>(sq)) & pawn_set<-Us>()) == 0;
}

template <int Us> int pawn_supported(int sq) {
    return (eval_side<Us>().attacks[PAWN] & set_of(sq)) != 0 ? 1 : 0;
}

template <int Us> ScorePair minor_place(int sq, int type, int outpost) {
    const int king_distance = distance_between(king_square<Us>(), sq);
    ScorePair score = weigh<Us>(MINOR_FROM_KING + type - KNIGHT, king_distance);
    if (is_outpost<Us>(sq)) score += weigh<Us>(outpost + pawn_supported<Us>(sq));
    return score;
}

// Taken a pawn on the edge, and the door closes behind.
template <int Us> bool is_trapped_bishop(int sq) {
    const auto guarded = [&](int place, int guard) {
        return sq == own_square<Us>(place) && piece_on(own_square<Us>(guard)) == -Us * PAWN;
    };
    return guarded(A7, B6) || guarded(H7, G6) || guarded(A6, B5) || guarded(H6, G5);
}

// From its own side of a long diagonal it sees both centre squares.
template <int Us> bool is_on_long_diagonal(int sq) {
    const int file = file_of(sq);
    const int rank = own_rank<Us>(sq);
    if (rank > 3 || (file != rank && file + rank != 9)) return false;
    const int step = 10 * Us + (file == rank ? 1 : -1);
    int ahead = sq + step;
    while (own_rank<Us>(ahead) < 5 && piece_on(ahead) == EMPTY) ahead += step;
    return own_rank<Us>(ahead) == 5;
}

template <int Us> ScorePair bishop_place(int sq) {
    EvalSide& us = eval_side<Us>();
    const auto colour = idx(colour_of(sq));
    ScorePair score = minor_place<Us>(sq, BISHOP, BISHOP_OUTPOST);
    ++us.bishops[colour];
    if (us.bishops[colour] == 1 && us.bishops[1 - colour] != 0) score += weigh<Us>(BISHOP_PAIR);
    const SquareSet same_colour = colour == 1 ? DARK_SQUARES : ~DARK_SQUARES;
    score += weigh<Us>(BISHOP_BLOCKED_BY_PAWNS, count_squares(pawn_set<Us>() & same_colour));
    if (is_trapped_bishop<Us>(sq)) score += weigh<Us>(BISHOP_TRAPPED);
    if (is_on_long_diagonal<Us>(sq)) score += weigh<Us>(BISHOP_LONG_DIAGONAL);
    return score;
}

// In the corner behind its own king that has not castled, or has by hand.
template <int Us> bool is_shut_in(int sq, int mobility) {
    if (mobility > ROOK_SHUT_IN_MOBILITY || own_rank<Us>(sq) > 2) return false;
    const int king = king_square<Us>();
    if (own_rank<Us>(king) > 2) return false;
    return file_of(king) >= 5 ? file_of(sq) > file_of(king) : file_of(sq) < file_of(king);
}

template <int Us> ScorePair rook_place(int sq, int mobility) {
    const SquareSet file = file_of_square(sq);
    ScorePair score = 0;
    if ((file & pawn_set<Us>()) == 0) {
        const bool open = (file & pawn_set<-Us>()) == 0;
        score += weigh<Us>(open ? ROOK_OPEN_FILE : ROOK_HALF_OPEN_FILE);
    } else if (is_shut_in<Us>(sq, mobility)) {
        score += weigh<Us>(ROOK_SHUT_IN);
    }
    if (own_rank<Us>(sq) == 7 && own_rank<Us>(king_square<-Us>()) >= 7) {
        score += weigh<Us>(ROOK_SEVENTH);
    }
    return score;
}

template <int Us> ScorePair queen_place(int sq) {
    ScorePair score = weigh<Us>(QUEEN_NEAR_KING, distance_between(king_square<-Us>(), sq));
    const int undeveloped = DEVELOPMENT_STEPS - eval_side<Us>().development;
    if (undeveloped > 0 && sq != own_square<Us>(D1)) score += weigh<Us>(QUEEN_EARLY, undeveloped);
    return score;
}

}  // namespace

template <int Us> ScorePair piece_term(int sq, int type) {
    EvalSide& us = eval_side<Us>();
    const SquareSet reached = reached_squares(sq, type);
    const int mobility = count_squares(reached & us.safe);
    const int zone_attacks = count_squares(reached & us.king_zone);
    const int kind = type - KNIGHT;
    us.attacks[idx(type)] |= reached;
    us.king_attack_count += zone_attacks;
    us.king_attackers += zone_attacks != 0 ? 1 : 0;
    us.attacker_weight += zone_attacks != 0 ? attacker_weight[idx(kind)] : 0;
    ScorePair score = place<Us>(sq, kind) + weigh<Us>(ZONE_ATTACK + kind, zone_attacks);
    score += weigh<Us>(PIECE_PAWNS + kind, pawn_count<Us>() - FIVE_PAWNS);
    ++us.count[idx(type)];
    if (us.count[idx(type)] == 2 && (type == KNIGHT || type == ROOK)) {
        score += weigh<Us>(PIECE_PAIR + (type == ROOK ? 1 : 0));
    }
    switch (type) {
        case KNIGHT:
            return score + weigh<Us>(KNIGHT_MOBILITY + mobility) +
                   minor_place<Us>(sq, KNIGHT, KNIGHT_OUTPOST);
        case BISHOP: return score + weigh<Us>(BISHOP_MOBILITY + mobility) + bishop_place<Us>(sq);
        case ROOK:
            return score + weigh<Us>(ROOK_MOBILITY + mobility) + rook_place<Us>(sq, mobility);
        default: return score + weigh<Us>(QUEEN_MOBILITY + mobility) + queen_place<Us>(sq);
    }
}

template ScorePair piece_term<WHITE>(int sq, int type);
template ScorePair piece_term<BLACK>(int sq, int type);

}  // namespace tarsimo
