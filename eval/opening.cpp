// Opening terms: centre pawns that block or are blocked, castling, fianchettoed bishops, and
// the pace of development.
#include "eval/opening.h"
#include "board/position.h"

#include "eval/setup.h"

namespace tarsimo {

namespace {

constexpr int BLOCKED_CENTRE_PAWN = -20;
constexpr int KNIGHT_BEFORE_C_PAWN = -20;
constexpr int CASTLED = 20;
constexpr int CENTRE_PAWN = 10;
constexpr int PAWN_GIVEN_AWAY = -40;

// A fianchettoed bishop by its house of pawns: the one before it and the two beside it.
constexpr int FIANCHETTO_WHOLE_HOUSE = 16;
constexpr int FIANCHETTO_PART_HOUSE = 8;
constexpr int FIANCHETTO_NO_ROOF = -10;
constexpr int FIANCHETTO_SHUT_IN = -20;  // an own pawn stands on its diagonal's first square

// Index: development steps still missing. Only the first six entries are reached.
constexpr std::array<int, 8> development_penalty = {0, -5, -20, -35, -50, -65, -80, -100};

template <int Us> bool stands(int type, int sq) {
    return piece_on(own_square<Us>(sq)) == Us * type;
}

// The bishop on b2 or g2 (`home`); `centre` is the step from there towards the centre files.
template <int Us> int fianchetto(int home, int centre) {
    if (!stands<Us>(BISHOP, home)) return 0;
    int score = 0;
    if (!stands<Us>(PAWN, home + 10)) {
        score = FIANCHETTO_NO_ROOF;
    } else {
        const bool whole = stands<Us>(PAWN, home - 1) && stands<Us>(PAWN, home + 1);
        score = whole ? FIANCHETTO_WHOLE_HOUSE : FIANCHETTO_PART_HOUSE;
    }
    if (stands<Us>(PAWN, home + 10 + centre)) score += FIANCHETTO_SHUT_IN;
    return score;
}

template <int Us> int development_steps() {
    return (castled<Us>() ? 1 : 0) + (stands<Us>(KNIGHT, B1) ? 0 : 1) +
           (stands<Us>(BISHOP, C1) ? 0 : 1) + (stands<Us>(BISHOP, F1) ? 0 : 1) +
           (stands<Us>(KNIGHT, G1) ? 0 : 1);
}

}  // namespace

template <int Us> int opening_terms() {
    int score = 0;

    if (stands<Us>(PAWN, D2) && piece_on(own_square<Us>(D3)) != EMPTY) score += BLOCKED_CENTRE_PAWN;
    if (stands<Us>(PAWN, E2) && piece_on(own_square<Us>(E3)) != EMPTY) score += BLOCKED_CENTRE_PAWN;
    if (stands<Us>(PAWN, D4) && stands<Us>(PAWN, C2) && stands<Us>(KNIGHT, C3)) {
        score += KNIGHT_BEFORE_C_PAWN;
    }
    if (castled<Us>()) score += CASTLED;
    if (stands<Us>(PAWN, D4) || stands<Us>(PAWN, E4)) score += CENTRE_PAWN;

    // A pawn sacrificed for nothing that shows in the piece count.
    if (pawn_count<Us>() < pawn_count<-Us>() && piece_count<Us>() == piece_count<-Us>()) {
        score += PAWN_GIVEN_AWAY;
    }

    score += fianchetto<Us>(B2, 1) + fianchetto<Us>(G2, -1);

    const int steps = development_steps<Us>();
    eval_side<Us>().development = steps;
    return score + development_penalty[idx(DEVELOPMENT_STEPS - steps)];
}

template int opening_terms<WHITE>();
template int opening_terms<BLACK>();

}  // namespace tarsimo
