// Attacks as sets of squares. A slider's reach on a line is found by subtraction: taking the
// slider's bit twice from the pieces ahead of it flips everything up to the first of them; the
// other direction is the same with the bytes reversed (hyperbola quintessence: Isenberg and Osborn
// 2007). Ranks have no reverse by bytes, so theirs come from a table.
#include "board/square_set.h"

#include <array>

namespace tarsimo {

namespace {

using SetTable = std::array<SquareSet, 64>;

template <typename Relation> constexpr SetTable related_squares(Relation related) {
    SetTable table{};
    for (int from = 0; from < 64; ++from) {
        for (int to = 0; to < 64; ++to) {
            const int files = to % 8 - from % 8;
            const int ranks = to / 8 - from / 8;
            if (from != to && related(files, ranks)) table[idx(from)] |= bit(to);
        }
    }
    return table;
}

// Of a line, the square itself is left out.
constexpr SetTable knight_steps =
    related_squares([](int files, int ranks) { return files * files + ranks * ranks == 5; });
constexpr SetTable diagonal = related_squares([](int files, int ranks) { return files == ranks; });
constexpr SetTable antidiagonal =
    related_squares([](int files, int ranks) { return files == -ranks; });
constexpr SetTable file_line = related_squares([](int files, int) { return files == 0; });

// Row: the six inner squares of a rank. Column: the slider's file from 0.
constexpr auto rank_reach = [] {
    std::array<std::array<std::uint8_t, 8>, 64> table{};
    for (unsigned inner = 0; inner < 64; ++inner) {
        const unsigned occupied = inner << 1;
        for (int file = 0; file < 8; ++file) {
            unsigned reach = 0;
            for (const int step : {1, -1}) {
                for (int to = file + step; to >= 0 && to < 8; to += step) {
                    reach |= 1U << to;
                    if ((occupied >> to & 1U) != 0) break;
                }
            }
            table[inner][idx(file)] = static_cast<std::uint8_t>(reach);
        }
    }
    return table;
}();

SquareSet along(SquareSet line, int index, SquareSet occupied) {
    SquareSet ahead = occupied & line;
    SquareSet behind = __builtin_bswap64(ahead);
    ahead -= bit(index);
    behind -= __builtin_bswap64(bit(index));
    return (ahead ^ __builtin_bswap64(behind)) & line;
}

SquareSet along_rank(int index, SquareSet occupied) {
    const int rank = index & 56;
    const auto inner = idx(static_cast<int>(occupied >> (rank + 1) & 63));
    return SquareSet{rank_reach[inner][idx(index & 7)]} << rank;
}

}  // namespace

SquareSet knight_attacks(int index) { return knight_steps[idx(index)]; }

SquareSet bishop_attacks(int index, SquareSet occupied) {
    return along(diagonal[idx(index)], index, occupied) |
           along(antidiagonal[idx(index)], index, occupied);
}

SquareSet rook_attacks(int index, SquareSet occupied) {
    return along(file_line[idx(index)], index, occupied) | along_rank(index, occupied);
}

}  // namespace tarsimo
