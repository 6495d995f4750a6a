// Material with which a lead is hard or impossible to win. The lead of the side ahead is then
// cut; the sign of the score stays.
#include "eval/drawish.h"
#include "board/attacks.h"
#include "board/position.h"

#include "eval/setup.h"

namespace tarsimo {

namespace {

constexpr int SCALE_WRONG_BISHOP = 2;       // of a lead, in 64ths
constexpr int SCALE_NO_PAWN = 8;            // not more than a minor piece ahead
constexpr int SCALE_ONE_PAWN = 40;          // the other side may give a piece for it
constexpr int SCALE_OPPOSITE_BISHOPS = 28;  // bishops and pawns alone
constexpr int SCALE_OPPOSITE_WITH_PIECES = 52;
constexpr int MINOR_LEAD = 400;  // centipawns: less than a rook, more than any minor piece
constexpr int BISHOP_ALONE = 330;

template <int Us> bool has_one_bishop() {
    return eval_side<Us>().bishops[0] + eval_side<Us>().bishops[1] == 1;
}

bool are_bishops_opposite() {
    return has_one_bishop<WHITE>() && has_one_bishop<BLACK>() &&
           eval_side<WHITE>().bishops[0] != eval_side<BLACK>().bishops[0];
}

// The rook's file 1 or 8 on which all pawns stand, else 0. There are some.
template <int Us> int only_rook_file() {
    if ((pawn_set<Us>() & ~FILE_A) == 0) return 1;
    return (pawn_set<Us>() & ~(FILE_A << 7)) == 0 ? 8 : 0;
}

// A lone bishop that does not guard its rook pawn's last square, and the king is in the corner.
template <int Us> bool has_wrong_bishop() {
    if (eval_side<Us>().piece_material != BISHOP_ALONE || pawn_count<Us>() == 0) return false;
    const int file = only_rook_file<Us>();
    if (file == 0) return false;
    const int corner = own_square<Us>(A8 - 1 + file);
    return eval_side<Us>().bishops[idx(colour_of(corner))] == 0 &&
           distance_between(king_square<-Us>(), corner) <= 1;
}

}  // namespace

template <int Us> int drawish_scale() {
    if (has_wrong_bishop<Us>()) return SCALE_WRONG_BISHOP;
    const int lead = eval_side<Us>().piece_material - eval_side<-Us>().piece_material;
    if (lead < MINOR_LEAD && pawn_count<Us>() == 0) return SCALE_NO_PAWN;
    if (are_bishops_opposite()) {
        const bool alone = eval_side<WHITE>().piece_material == BISHOP_ALONE &&
                           eval_side<BLACK>().piece_material == BISHOP_ALONE;
        return alone ? SCALE_OPPOSITE_BISHOPS : SCALE_OPPOSITE_WITH_PIECES;
    }
    if (lead < MINOR_LEAD && pawn_count<Us>() == 1 && piece_count<-Us>() != 0)
        return SCALE_ONE_PAWN;
    return FULL_SCALE;
}

template int drawish_scale<WHITE>();
template int drawish_scale<BLACK>();

}  // namespace tarsimo
