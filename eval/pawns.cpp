// Pawn structure, king shelter and pawn storm: everything that depends on pawns and kings
// alone, kept in a cache of its own (pawn hash tables: Slate and Atkin 1977). Passed pawns
// meet the pieces at the end of the file.
#include "board/attacks.h"
#include "board/position.h"
#include "eval/eval.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace tarsimo {

namespace {

constexpr std::uint64_t PAWN_CACHE_SIZE = 16384;  // entries of 64 bytes

std::array<PawnTerms, PAWN_CACHE_SIZE> pawn_cache{};

// Index of a rank within a group that starts at rank `first`; pawns that a set-up has put on
// the first or last rank count with their neighbours.
constexpr int rank_index(int rank, int first, int last) {
    return std::clamp(rank, first, last) - first;
}

template <int Us> bool own_pawn_on(int sq) { return piece_on(sq) == Us * PAWN; }

// Any enemy pawn ahead on the file, which may be a border file.
template <int Us> bool enemy_ahead(int file, int rank) { return enemy_rear_pawn<Us>(file) > rank; }

template <int Us> bool own_ahead(int sq) {
    for (int ahead = sq + 10 * Us; piece_on(ahead) != OFFBOARD; ahead += 10 * Us) {
        if (own_pawn_on<Us>(ahead)) return true;
    }
    return false;
}

// Enemy pawns on a neighbouring file that the pawn has yet to pass.
template <int Us> int sentries(int sq, int side_step) {
    int count = 0;
    for (int ahead = sq + side_step + 20 * Us; piece_on(ahead) != OFFBOARD; ahead += 10 * Us) {
        count += own_pawn_on<-Us>(ahead) ? 1 : 0;
    }
    return count;
}

// Own pawns on a neighbouring file, level or behind, that can come to its help.
template <int Us> int helpers(int sq, int side_step) {
    int count = 0;
    for (int behind = sq + side_step; piece_on(behind) != OFFBOARD; behind -= 10 * Us) {
        count += own_pawn_on<Us>(behind) ? 1 : 0;
    }
    return count;
}

template <int Us> bool is_passed(int sq, int file, int rank) {
    return !enemy_ahead<Us>(file - 1, rank) && !enemy_ahead<Us>(file, rank) &&
           !enemy_ahead<Us>(file + 1, rank) && !own_ahead<Us>(sq);
}

// Behind its neighbours, and its next step is guarded by an enemy pawn.
template <int Us> bool is_backward(int sq, int file, int rank) {
    return own_rear_pawn<Us>(file - 1) > rank && own_rear_pawn<Us>(file + 1) > rank &&
           (own_pawn_on<-Us>(sq + 19 * Us) || own_pawn_on<-Us>(sq + 21 * Us));
}

template <int Us> ScorePair passed_pawn_structure(int sq, int rank) {
    ScorePair score = weigh<Us>(PASSED_PAWN + rank_index(rank, 2, 7));
    if (own_pawn_on<Us>(sq - 1) || own_pawn_on<Us>(sq + 1) || own_pawn_on<Us>(sq - 11 * Us) ||
        own_pawn_on<Us>(sq - 9 * Us)) {
        score += weigh<Us>(PASSED_CONNECTED + rank_index(rank, 2, 7));
    }
    if (rank >= 4 && rank <= 7) {
        const int stop = sq + 10 * Us;
        score += weigh<Us>(PASSED_OWN_KING + rank - 4, distance_between(king_square<Us>(), stop));
        score +=
            weigh<Us>(PASSED_ENEMY_KING + rank - 4, distance_between(king_square<-Us>(), stop));
    }
    return score;
}

template <int Us> ScorePair one_pawn(int sq, SquareSet& passed) {
    const int file = file_of(sq);
    const int rank = own_rank<Us>(sq);
    const int opposed = enemy_ahead<Us>(file, rank) ? 0 : 1;
    ScorePair score = weigh<Us>(PAWN_ON_RANK + rank_index(rank, 2, 7));
    score += weigh<Us>(PAWN_ON_FILE + wing_of(sq));

    const bool phalanx = own_pawn_on<Us>(sq - 1) || own_pawn_on<Us>(sq + 1);
    const int supports =
        (own_pawn_on<Us>(sq - 11 * Us) ? 1 : 0) + (own_pawn_on<Us>(sq - 9 * Us) ? 1 : 0);
    if (phalanx) score += weigh<Us>(PAWN_PHALANX + rank_index(rank, 2, 7));
    if (supports != 0) score += weigh<Us>(PAWN_SUPPORTED + rank_index(rank, 3, 7), supports);

    if (own_rear_pawn<Us>(file - 1) == 8 && own_rear_pawn<Us>(file + 1) == 8) {
        score += weigh<Us>(PAWN_ISOLATED + opposed);
    } else if (is_backward<Us>(sq, file, rank)) {
        score += weigh<Us>(PAWN_BACKWARD + opposed);
    }
    if (own_rear_pawn<Us>(file) < rank) score += weigh<Us>(PAWN_DOUBLED);

    if (is_passed<Us>(sq, file, rank)) {
        passed |= bit(set_index(sq));
        score += passed_pawn_structure<Us>(sq, rank);
    } else if (opposed == 1 && !own_ahead<Us>(sq) &&
               helpers<Us>(sq, -1) + helpers<Us>(sq, 1) >=
                   sentries<Us>(sq, -1) + sentries<Us>(sq, 1)) {
        score += weigh<Us>(PAWN_CANDIDATE + rank_index(rank, 2, 6));
    }
    return score;
}

template <int Us> ScorePair structure_of(SquareSet& passed) {
    const PieceList& list = own_list<Us>();
    ScorePair score = 0;
    passed = 0;
    for (int i = 0; i < list.size; ++i) {
        const int sq = list.squares[at(i)];
        if (own_pawn_on<Us>(sq)) score += one_pawn<Us>(sq, passed);
    }
    return score;
}

// Distance of a king to the nearest pawn of either colour; there is one.
int nearest_pawn(int king) {
    int nearest = 16;
    for (const PieceList* list : {&white_list, &black_list}) {
        for (int i = 0; i < list->size; ++i) {
            const int sq = list->squares[at(i)];
            if (type_on(sq) == PAWN) nearest = std::min(nearest, distance_between(king, sq));
        }
    }
    return nearest;
}

template <int Us> ScorePair king_to_pawns() {
    if (white_pawns + black_pawns == 0) return 0;
    return weigh<Us>(KING_FAR_FROM_PAWNS, nearest_pawn(king_square<Us>()));
}

// ---------------------------------------------------------------------------
// The king's shelter
// ---------------------------------------------------------------------------

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

// Own pawns on the two ranks in front of the enemy king, within two files of it. They storm
// only a king on the other wing than the own one; elsewhere they are that king's neighbours.
template <int Us> std::uint8_t storming_pawns() {
    const int king = king_square<-Us>();
    if (std::abs(file_of(king) - file_of(king_square<Us>())) < 3) return 0;
    std::uint8_t count = 0;
    for (int rank = 1; rank <= 2; ++rank) {
        for (int file = -2; file <= 2; ++file) {
            const int sq = king - 10 * Us * rank + file;
            if (on_board(sq) && own_pawn_on<Us>(sq)) ++count;
        }
    }
    return count;
}

void work_out(PawnTerms& terms) {
    terms.structure = {structure_of<WHITE>(terms.passed[0]) + king_to_pawns<WHITE>(),
                       structure_of<BLACK>(terms.passed[1]) + king_to_pawns<BLACK>()};
    terms.shelter = {shelter<WHITE>(), shelter<BLACK>()};
    terms.storm = {storming_pawns<WHITE>(), storming_pawns<BLACK>()};
    terms.key = pawn_key;
}

// ---------------------------------------------------------------------------
// Passed pawns and pieces
// ---------------------------------------------------------------------------

template <int Us> int first_behind(int sq) { return first_piece<-10 * Us>(sq); }

// All squares in front of one.
template <int Us> SquareSet file_ahead(int sq) {
    const int index = square_index[at(sq)];
    return Us == WHITE ? FILE_A << 8 << index : FILE_A << 7 >> 8 >> (63 - index);
}

template <int Us> ScorePair one_passed_pawn(int sq, int rank) {
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
        if ((file_ahead<Us>(sq) & obstacles) == 0) score += weigh<Us>(PASSED_FREE_PATH + index);
    }

    const int behind = first_behind<Us>(sq);
    if (behind == Us * ROOK) score += weigh<Us>(PASSED_ROOK_BEHIND);
    if (behind == -Us * ROOK) score += weigh<Us>(PASSED_ROOK_BEHIND + 1);
    return score;
}

}  // namespace

void fetch_pawn_terms() { __builtin_prefetch(&pawn_cache[pawn_key % PAWN_CACHE_SIZE]); }

const PawnTerms& pawn_terms() {
    PawnTerms& entry = pawn_cache[pawn_key % PAWN_CACHE_SIZE];
    if (EVAL_TRACED || entry.key != pawn_key) work_out(entry);
    white_eval.passed = entry.passed[0];
    black_eval.passed = entry.passed[1];
    return entry;
}

template <int Us> ScorePair passed_pawn_term() {
    ScorePair score = 0;
    for (SquareSet rest = eval_side<Us>().passed; rest != 0; rest &= rest - 1) {
        const int sq = square_of_bit(std::countr_zero(rest));
        const int rank = own_rank<Us>(sq);
        if (rank >= 4 && rank <= 7) score += one_passed_pawn<Us>(sq, rank);
    }
    return score;
}

template ScorePair passed_pawn_term<WHITE>();
template ScorePair passed_pawn_term<BLACK>();

}  // namespace tarsimo
