// Passed pawns among the pieces, which the pawn cache cannot know.
#include "eval/passed_pawns.h"

#include "board/position.h"
#include "eval/setup.h"

namespace tarsimo {

namespace {

template <int Us> int first_behind(int sq) { return first_piece<-10 * Us>(sq); }

template <int Us> ScorePair passed_pawn_term(int sq, int rank) {
    const SquareSet ours = eval_side<Us>().attacks[0];
    const SquareSet theirs = eval_side<-Us>().attacks[0];
    const int index = rank - 4;
    const SquareSet stop = set_of(sq + 10 * Us);
    const SquareSet obstacles = theirs | occupied_squares();
    ScorePair score = 0;

    if ((stop & occupied_squares()) != 0) {
        score += weigh<Us>(PASSED_BLOCKED + index);
    } else {
        if ((stop & theirs) == 0) score += weigh<Us>(PASSED_FREE_STOP + index);
        if ((stop & ours) != 0) score += weigh<Us>(PASSED_HELD_STOP + index);
        if ((squares_ahead<Us>(sq) & obstacles) == 0) score += weigh<Us>(PASSED_FREE_PATH + index);
    }

    const int behind = first_behind<Us>(sq);
    if (behind == Us * ROOK) score += weigh<Us>(PASSED_ROOK_BEHIND);
    if (behind == -Us * ROOK) score += weigh<Us>(PASSED_ROOK_BEHIND + 1);
    return score;
}

}  // namespace

template <int Us> ScorePair passed_pawn_terms() {
    ScorePair score = 0;
    for (const int sq : Squares{eval_side<Us>().passed}) {
        const int rank = own_rank<Us>(sq);
        if (rank >= 4 && rank <= 7) score += passed_pawn_term<Us>(sq, rank);
    }
    return score;
}

template ScorePair passed_pawn_terms<WHITE>();
template ScorePair passed_pawn_terms<BLACK>();

}  // namespace tarsimo
