// The table of late-move reductions.
#include "search/reductions.h"

#include "board/position.h"

#include <algorithm>

namespace tarsimo {

namespace {

constexpr int MAX_ROW = 31;
constexpr int MAX_COLUMN = 63;

// clang-format off
// Row: half the depth. Entry v - 1 is the move number from which the reduction is at least
// v plies, 64 where the row does not reach v.
constexpr std::array<std::array<int, 6>, 32> lmr_starts = {{
    {64, 64, 64, 64, 64, 64},  // 0
    { 1, 64, 64, 64, 64, 64},  // 1
    { 1, 64, 64, 64, 64, 64},  // 2
    { 1, 64, 64, 64, 64, 64},  // 3
    { 1, 28, 64, 64, 64, 64},  // 4
    { 1, 20, 64, 64, 64, 64},  // 5
    { 1, 16, 39, 64, 64, 64},  // 6
    { 1, 13, 31, 64, 64, 64},  // 7
    { 1, 12, 26, 56, 64, 64},  // 8
    { 1, 11, 22, 47, 64, 64},  // 9
    { 1, 10, 20, 41, 64, 64},  // 10
    { 1,  9, 18, 36, 64, 64},  // 11
    { 1,  8, 16, 32, 64, 64},  // 12
    { 1,  8, 15, 29, 57, 64},  // 13
    { 1,  8, 14, 27, 52, 64},  // 14
    { 1,  7, 14, 25, 48, 64},  // 15
    { 1,  7, 13, 24, 44, 64},  // 16
    { 1,  7, 12, 22, 40, 64},  // 17
    { 1,  7, 12, 21, 40, 64},  // 18
    { 1,  6, 11, 19, 37, 64},  // 19
    { 1,  6, 10, 18, 35, 62},  // 20
    { 1,  6, 10, 17, 33, 58},  // 21
    { 1,  6, 10, 17, 31, 55},  // 22
    { 1,  6, 10, 17, 30, 53},  // 23
    { 1,  6, 10, 16, 29, 50},  // 24
    { 1,  6, 10, 16, 28, 48},  // 25
    { 1,  6,  9, 15, 27, 46},  // 26
    { 1,  6,  9, 15, 26, 45},  // 27
    { 1,  5,  9, 15, 25, 43},  // 28
    { 1,  5,  9, 14, 25, 41},  // 29
    { 1,  5,  9, 14, 24, 40},  // 30
    { 1,  5,  9, 14, 23, 39},  // 31
}};
// clang-format on

constexpr auto make_lmr_table() {
    std::array<std::array<std::int8_t, 64>, 32> table{};
    for (std::size_t row = 0; row < table.size(); ++row) {
        for (const int start : lmr_starts[row]) {
            for (std::size_t column = idx(start); column < 64; ++column) ++table[row][column];
        }
    }
    return table;
}

// Reductions in plies. Row: half the depth; column: number of the move among the legal ones.
constexpr auto lmr_table = make_lmr_table();

}  // namespace

int late_move_reduction(int depth, int move_number) {
    return lmr_table[idx(std::min(depth / 2, MAX_ROW))][idx(std::min(move_number, MAX_COLUMN))];
}

bool is_exempt_pawn_move(int type, int colour, int to) {
    if (type != PAWN) return false;
    const int rank = square_rank[idx(to)];
    if (rank == (colour == WHITE ? 7 : 2)) return true;
    if (rank != (colour == WHITE ? 6 : 3)) return false;
    const int enemy_pawn = -colour * PAWN;
    return piece_on(to + colour * 9) != enemy_pawn && piece_on(to + colour * 10) != enemy_pawn &&
           piece_on(to + colour * 11) != enemy_pawn;
}

}  // namespace tarsimo
