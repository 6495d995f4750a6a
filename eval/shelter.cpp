// The king behind its pawns, and pawns that storm the enemy's.
#include "eval/shelter.h"

#include "board/position.h"
#include "eval/geometry.h"
#include "eval/weights.h"

#include <algorithm>
#include <cstdlib>

namespace tarsimo {

namespace {

constexpr int OTHER_WING = 3;  // files between the kings

constexpr int rank_index(int rank, int first, int last) {
    return std::clamp(rank, first, last) - first;
}

template <int Us> bool own_pawn_on(int sq) { return piece_on(sq) == Us * PAWN; }

// Own and enemy pawns of one file, seen from the king's rank forward.
template <int Us> int shelter_file(int king, int file, bool king_file) {
    int own = 0;
    int enemy = 0;
    bool blocked = false;
    for (int sq = king - file_of(king) + file; piece_on(sq) != OFFBOARD; sq += 10 * Us) {
        if (own == 0 && own_pawn_on<Us>(sq)) own = own_rank<Us>(sq);
        if (enemy == 0 && own_pawn_on<-Us>(sq)) {
            enemy = own_rank<Us>(sq);
            blocked = own_pawn_on<Us>(sq - 10 * Us);
        }
    }
    const int own_index = own == 0 ? 0 : rank_index(own, 1, 5);
    const int enemy_index = blocked      ? 6 + rank_index(enemy, 3, 6)
                            : enemy == 0 ? 0
                                         : rank_index(enemy, 1, 6);
    return middlegame_part(weigh<Us>(SHELTER_PAWN + own_index + (king_file ? 0 : 5)) +
                           weigh<Us>(SHELTER_STORM + enemy_index));
}

}  // namespace

template <int Us> int shelter() {
    const int king = king_square<Us>();
    const int middle = std::clamp(file_of(king), 2, 7);
    int score = middlegame_part(weigh<Us>(KING_ON_FILE + file_of(king) - 1) +
                                weigh<Us>(KING_ON_RANK + own_rank<Us>(king) - 1));
    for (int file = middle - 1; file <= middle + 1; ++file) {
        score += shelter_file<Us>(king, file, file == file_of(king));
    }
    return score;
}

template <int Us> int storming_pawns() {
    const int king = king_square<-Us>();
    if (std::abs(file_of(king) - file_of(king_square<Us>())) < OTHER_WING) return 0;
    int count = 0;
    for (int rank = 1; rank <= 2; ++rank) {
        for (int file = -2; file <= 2; ++file) {
            const int sq = king - 10 * Us * rank + file;
            if (on_board(sq) && own_pawn_on<Us>(sq)) ++count;
        }
    }
    return count;
}

template int shelter<WHITE>();
template int shelter<BLACK>();
template int storming_pawns<WHITE>();
template int storming_pawns<BLACK>();

}  // namespace tarsimo
