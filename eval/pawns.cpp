// Pawn structure, and the cache that keeps it with the kings' shelter and the pawn storm.
#include "eval/pawns.h"

#include "board/attacks.h"
#include "board/position.h"
#include "eval/setup.h"
#include "eval/shelter.h"

#include <algorithm>

namespace tarsimo {

namespace {

constexpr std::uint64_t PAWN_CACHE_SIZE = 16384;  // entries of 64 bytes

std::array<PawnTerms, PAWN_CACHE_SIZE> pawn_cache{};

// Any enemy pawn ahead on the file, which may be a border file.
template <int Us> bool enemy_ahead(int file, int rank) { return enemy_rear_pawn<Us>(file) > rank; }

template <int Us> bool own_ahead(int sq) {
    for (int ahead = sq + 10 * Us; piece_on(ahead) != OFFBOARD; ahead += 10 * Us) {
        if (own_pawn_on<Us>(ahead)) return true;
    }
    return false;
}

// Enemy pawns on a neighbouring file that the pawn has yet to pass.
template <int Us> int stoppers(int sq, int side_step) {
    int count = 0;
    for (int ahead = sq + side_step + 20 * Us; piece_on(ahead) != OFFBOARD; ahead += 10 * Us) {
        count += own_pawn_on<-Us>(ahead) ? 1 : 0;
    }
    return count;
}

// Own pawns on a neighbouring file, level or behind, that can come to support it.
template <int Us> int supporters(int sq, int side_step) {
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

template <int Us> ScorePair pawn_term(int sq, SquareSet& passed) {
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
               supporters<Us>(sq, -1) + supporters<Us>(sq, 1) >=
                   stoppers<Us>(sq, -1) + stoppers<Us>(sq, 1)) {
        score += weigh<Us>(PAWN_CANDIDATE + rank_index(rank, 2, 6));
    }
    return score;
}

template <int Us> ScorePair structure_of(SquareSet& passed) {
    ScorePair score = 0;
    passed = 0;
    for (const int sq : eval_side<Us>().list) {
        if (own_pawn_on<Us>(sq)) score += pawn_term<Us>(sq, passed);
    }
    return score;
}

// Distance of a king to the nearest pawn of either colour; there is one.
int nearest_pawn(int king) {
    int nearest = 16;
    for (const EvalSide* eval : {&white_eval, &black_eval}) {
        for (const int sq : eval->list) {
            if (type_on(sq) == PAWN) nearest = std::min(nearest, distance_between(king, sq));
        }
    }
    return nearest;
}

template <int Us> ScorePair king_to_pawns() {
    if (white_pawns + black_pawns == 0) return 0;
    return weigh<Us>(KING_FAR_FROM_PAWNS, nearest_pawn(king_square<Us>()));
}

void compute(PawnTerms& terms) {
    terms.structure = {structure_of<WHITE>(terms.passed[0]) + king_to_pawns<WHITE>(),
                       structure_of<BLACK>(terms.passed[1]) + king_to_pawns<BLACK>()};
    terms.shelter = {shelter<WHITE>(), shelter<BLACK>()};
    terms.storm = {static_cast<std::uint8_t>(storming_pawns<WHITE>()),
                   static_cast<std::uint8_t>(storming_pawns<BLACK>())};
    terms.key = pawn_key;
}

}  // namespace

void prefetch_pawn_terms() { __builtin_prefetch(&pawn_cache[pawn_key % PAWN_CACHE_SIZE]); }

void clear_pawn_cache() { pawn_cache.fill({}); }

const PawnTerms& pawn_terms() {
    PawnTerms& entry = pawn_cache[pawn_key % PAWN_CACHE_SIZE];
    if (caches_bypassed || entry.key != pawn_key) compute(entry);
    white_eval.passed = entry.passed[0];
    black_eval.passed = entry.passed[1];
    return entry;
}

}  // namespace tarsimo
