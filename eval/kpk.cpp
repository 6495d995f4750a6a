// King and pawn against king, solved once at start-up by retrograde analysis (Thompson,
// "Retrograde analysis of certain endgames", 1986), a whole board of lone king squares at a time.
//
// Everything is seen by the side with the pawn, as if it were white and its pawn on the files
// a to d.
#include "eval/kpk.h"

#include "board/square_set.h"
#include "eval/geometry.h"

#include <algorithm>
#include <bit>

namespace tarsimo {

namespace {

constexpr int PAWN_FILES = 4;
constexpr int PAWN_SQUARES = 6 * PAWN_FILES;  // ranks 2 to 7
constexpr int QUEENING_RANK = 8;

// Lone king squares from which the pawn wins, by the square of its own king.
using WonSets = std::array<SquareSet, 64>;

// Index: pawn square. 24 KB together.
std::array<WonSets, PAWN_SQUARES> won_strong_to_move{};
std::array<WonSets, PAWN_SQUARES> won_lone_to_move{};

constexpr std::size_t pawn_index(int rank, int file) {
    return idx((rank - 2) * PAWN_FILES + file - 1);
}

constexpr std::array<SquareSet, 64> make_neighbours() {
    std::array<SquareSet, 64> table{};
    for (int square = 0; square < 64; ++square) table[idx(square)] = squares_beside(bit(square));
    return table;
}

constexpr std::array<SquareSet, 64> neighbours = make_neighbours();

// Lone king squares from which a pawn just promoted wins: it cannot be taken. Where a queen
// would stalemate a rook does not.
SquareSet won_by_promotion(int king, int target) {
    return (neighbours[idx(king)] & bit(target)) != 0 ? ~SquareSet{0} : ~neighbours[idx(target)];
}

// Lone king squares from which a pawn move wins, the side with the pawn to move.
SquareSet won_by_pawn_move(int king, int rank, int file) {
    const int pawn = (rank - 1) * 8 + file - 1;
    const int next = pawn + 8;
    if (next == king) return 0;
    if (rank + 1 == QUEENING_RANK) return won_by_promotion(king, next) & ~bit(next);

    SquareSet won = won_lone_to_move[pawn_index(rank + 1, file)][idx(king)] & ~bit(next);
    if (rank == 2 && next + 8 != king) {
        won |= won_lone_to_move[pawn_index(4, file)][idx(king)] & ~bit(next) & ~bit(next + 8);
    }
    return won;
}

// Solve one pawn square; those ahead of it on the file are known. A pass takes in positions
// one move further from the win, until there are no more.
void solve(int rank, int file) {
    const int pawn = (rank - 1) * 8 + file - 1;
    WonSets& won_strong = won_strong_to_move[pawn_index(rank, file)];
    WonSets& won_lone = won_lone_to_move[pawn_index(rank, file)];
    won_strong.fill(0);
    won_lone.fill(0);

    for (bool changed = true; changed;) {
        changed = false;
        for (int king = 0; king < 64; ++king) {
            if (king == pawn) continue;
            const SquareSet guarded = neighbours[idx(king)];
            const SquareSet vacant = ~(guarded | bit(king) | bit(pawn));

            // One move wins. The lone king may not stand in check.
            SquareSet won = won_by_pawn_move(king, rank, file);
            for (SquareSet rest = guarded & ~bit(pawn); rest != 0; rest &= rest - 1) {
                won |= won_lone[idx(std::countr_zero(rest))];
            }
            won &= vacant & ~pawn_attacks(bit(pawn));

            // Every move of the lone king loses, and it is not stalemated. It may take the pawn
            // if that is not guarded.
            const SquareSet enterable = ~(guarded | bit(king) | pawn_attacks(bit(pawn)));
            const SquareSet stalemate = ~squares_beside(enterable) & ~pawn_attacks(bit(pawn));
            const SquareSet lost = vacant & ~stalemate & ~squares_beside(enterable & ~won);

            changed = changed || won != won_strong[idx(king)] || lost != won_lone[idx(king)];
            won_strong[idx(king)] = won;
            won_lone[idx(king)] = lost;
        }
    }
}

}  // namespace

void init_kpk() {
    for (int file = 1; file <= PAWN_FILES; ++file) {
        for (int rank = QUEENING_RANK - 1; rank >= 2; --rank) solve(rank, file);
    }
}

bool is_won_kpk(int strong, int strong_king, int pawn, int lone_king, bool strong_to_move) {
    const auto seen = [&](int sq) { return strong == WHITE ? sq : mirror_square[idx(sq)]; };
    const int rank = own_rank<WHITE>(seen(pawn));
    const int file = file_of(pawn);
    if (rank < 2 || rank >= QUEENING_RANK) return false;

    const int turn = file > PAWN_FILES ? 7 : 0;  // exchanges the files a and h, b and g ...
    const auto& table = strong_to_move ? won_strong_to_move : won_lone_to_move;
    const SquareSet won =
        table[pawn_index(rank, std::min(file, 9 - file))][idx(set_index(seen(strong_king)) ^ turn)];
    return (won & bit(set_index(seen(lone_king)) ^ turn)) != 0;
}

}  // namespace tarsimo
