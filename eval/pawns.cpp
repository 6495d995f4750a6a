// Pawn structure, and the cache that keeps it with the kings' shelter, the pawn storm and the
// square tables of pawns and kings.
#include "eval/pawns.h"

#include "board/attacks.h"
#include "board/position.h"
#include "eval/setup.h"
#include "eval/shelter.h"
#include "eval/square_tables.h"

#include <algorithm>

namespace tarsimo {

namespace {

constexpr int PAWN_CACHE_BITS = 14;  // entries of 64 bytes: 1 MiB

std::array<PawnTerms, std::size_t{1} << PAWN_CACHE_BITS> pawn_cache{};

// The entry of the position's pawns and kings. Multiplicative hashing (Knuth 1973): the upper bits
// of the products depend on all squares.
PawnTerms& cache_entry() {
    constexpr std::uint64_t WHITE_FACTOR = 0x9e3779b97f4a7c15ULL;
    constexpr std::uint64_t BLACK_FACTOR = 0xc2b2ae3d27d4eb4fULL;
    constexpr std::uint64_t KING_FACTOR = 0x165667b19e3779f9ULL;
    const auto kings = idx(white_king_sq * BOARD_SIZE + black_king_sq);
    const std::uint64_t sum =
        white_pawn_set * WHITE_FACTOR + black_pawn_set * BLACK_FACTOR + kings * KING_FACTOR;
    return pawn_cache[sum >> (64 - PAWN_CACHE_BITS)];
}

bool is_of_position(const PawnTerms& entry) {
    return entry.pawns[0] == white_pawn_set && entry.pawns[1] == black_pawn_set &&
           entry.kings[0] == white_king_sq && entry.kings[1] == black_king_sq;
}

template <int Us> ScorePair passed_pawn_structure(int sq, int rank, bool connected) {
    ScorePair score = weigh<Us>(PASSED_PAWN + rank_index(rank, 2, 7));
    if (connected) score += weigh<Us>(PASSED_CONNECTED + rank_index(rank, 2, 7));
    if (rank >= 4 && rank <= 7) {
        const int stop = sq + 10 * Us;
        score += weigh<Us>(PASSED_OWN_KING + rank - 4, distance_between(king_square<Us>(), stop));
        score +=
            weigh<Us>(PASSED_ENEMY_KING + rank - 4, distance_between(king_square<-Us>(), stop));
    }
    return score;
}

// Six ranks of eight files; twice, by whether the kings are apart.
template <int Us> ScorePair pawn_place(int sq, int rank) {
    const int file = seen_square<Us>(sq) % 8;
    return weigh<Us>(PAWN_ON_SQUARE + 48 * eval_side<Us>().kings_apart +
                     8 * rank_index(rank, 2, 7) + file);
}

template <int Us> ScorePair pawn_term(int sq, SquareSet& passed) {
    const SquareSet own = pawn_set<Us>();
    const SquareSet enemy = pawn_set<-Us>();
    const SquareSet pawn = set_of(sq);
    const SquareSet file = file_of_square(sq);
    const SquareSet ahead = squares_ahead<Us>(sq);
    const SquareSet ahead_aside = squares_aside(ahead);
    const SquareSet supporters = own & squares_aside(file) & ~ahead_aside;  // level or behind
    const int rank = own_rank<Us>(sq);
    const int opposed = (enemy & ahead) != 0 ? 0 : 1;
    ScorePair score = pawn_place<Us>(sq, rank);

    const bool phalanx = (own & squares_aside(pawn)) != 0;
    const int supports = count_squares(own & squares_aside(step_forward<-Us>(pawn)));
    if (phalanx) score += weigh<Us>(PAWN_PHALANX + rank_index(rank, 2, 7));
    if (supports != 0) score += weigh<Us>(PAWN_SUPPORTED + rank_index(rank, 3, 7), supports);

    // Isolated; or behind its neighbours, and an enemy pawn guards its next step.
    if ((own & squares_aside(file)) == 0) {
        score += weigh<Us>(PAWN_ISOLATED + opposed);
    } else if (supporters == 0 &&
               (enemy & squares_aside(step_forward<Us>(step_forward<Us>(pawn)))) != 0) {
        score += weigh<Us>(PAWN_BACKWARD + opposed);
    }
    if ((own & file & ~(ahead | pawn)) != 0) score += weigh<Us>(PAWN_DOUBLED);

    // Passed; or as many can support it as enemy pawns have yet to be passed.
    if ((own & ahead) != 0 || opposed == 0) return score;
    if ((enemy & ahead_aside) == 0) {
        passed |= pawn;
        score += passed_pawn_structure<Us>(sq, rank, phalanx || supports != 0);
    } else if (count_squares(supporters) >= count_squares(enemy & step_forward<Us>(ahead_aside))) {
        score += weigh<Us>(PAWN_CANDIDATE + rank_index(rank, 2, 6));
    }
    return score;
}

template <int Us> ScorePair structure_of(SquareSet& passed) {
    ScorePair score = 0;
    for (const int sq : Squares{pawn_set<Us>()}) score += pawn_term<Us>(sq, passed);
    return score;
}

// The king's distance to the nearest pawn of either colour.
template <int Us> ScorePair king_to_pawns() {
    const SquareSet pawns = white_pawn_set | black_pawn_set;
    if (pawns == 0) return 0;
    int nearest = 16;
    for (const int sq : Squares{pawns}) {
        nearest = std::min(nearest, distance_between(king_square<Us>(), sq));
    }
    return weigh<Us>(KING_FAR_FROM_PAWNS, nearest);
}

// Eight ranks of the four files e to h; twice, side by side, by whether the kings are apart.
template <int Us> ScorePair king_term() {
    const int seen = seen_square<Us>(king_square<Us>());
    const int place = seen / 8 * 8 + 4 * eval_side<Us>().kings_apart + seen % 4;
    return weigh<Us>(KING_ON_SQUARE + place) + king_to_pawns<Us>();
}

template <int Us> std::int16_t pawn_and_king_squares(const SquareTables& tables) {
    int sum = tables.by_type[KING][idx(king_square<Us>())];
    for (const int sq : Squares{pawn_set<Us>()}) sum += tables.by_type[PAWN][idx(sq)];
    return static_cast<std::int16_t>(sum);
}

void compute(PawnTerms& terms) {
    terms.pawns = {white_pawn_set, black_pawn_set};
    terms.kings = {static_cast<std::uint8_t>(white_king_sq),
                   static_cast<std::uint8_t>(black_king_sq)};
    terms.storm = {static_cast<std::uint8_t>(storming_pawns<WHITE>()),
                   static_cast<std::uint8_t>(storming_pawns<BLACK>())};
    terms.middlegame_squares = {pawn_and_king_squares<WHITE>(white_middlegame_tables),
                                pawn_and_king_squares<BLACK>(black_middlegame_tables)};
    terms.endgame_squares = {pawn_and_king_squares<WHITE>(white_endgame_tables),
                             pawn_and_king_squares<BLACK>(black_endgame_tables)};
    terms.passed = 0;
    terms.shelter = {shelter<WHITE>(), shelter<BLACK>()};
    terms.structure = {structure_of<WHITE>(terms.passed) + king_term<WHITE>(),
                       structure_of<BLACK>(terms.passed) + king_term<BLACK>()};
}

}  // namespace

void prefetch_pawn_terms() { __builtin_prefetch(&cache_entry()); }

void clear_pawn_cache() { pawn_cache.fill({}); }

const PawnTerms& pawn_terms() {
    PawnTerms& entry = cache_entry();
    if (caches_bypassed || !is_of_position(entry)) compute(entry);
    white_eval.passed = entry.passed & white_pawn_set;
    black_eval.passed = entry.passed & black_pawn_set;
    return entry;
}

}  // namespace tarsimo
