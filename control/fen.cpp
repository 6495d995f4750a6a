// Set-up from Forsyth-Edwards Notation. Nothing read from the text can write outside the 64
// squares: what does not fit is dropped.
#include "control/fen.h"

#include "board/keys.h"
#include "board/move_list.h"
#include "board/position.h"
#include "control/engine.h"
#include "control/notation.h"
#include "control/output.h"
#include "search/hash_memory.h"

#include <algorithm>
#include <string_view>

namespace tarsimo {

namespace {

constexpr int FRESH_FIFTY = 2;  // QUIRK: neither 0 nor what the notation says
constexpr int FEN_MAX_DEPTH = 60;
constexpr int NEXT_RANK = 18;  // from just past the h-file down to the a-file
constexpr int SQUARE_NUMBER_LIMIT = 1000;

int& moves_of(int sq) { return square_moves[at(sq)]; }

// Reads a text character by character; past its end there are only NULs.
class Cursor {
  public:
    explicit Cursor(std::string_view text) : text_(text) {}
    char peek() const { return position_ < text_.size() ? text_[position_] : '\0'; }
    void advance() { ++position_; }
    void skip_blanks() {
        while (peek() == ' ' || peek() == '\t') advance();
    }

  private:
    std::string_view text_;
    std::size_t position_ = 0;
};

int piece_of(char letter) {
    constexpr std::string_view letters = FEN_LETTERS;
    const bool white = letter >= 'A' && letter <= 'Z';
    const char lower = white ? static_cast<char>(letter - 'A' + 'a') : letter;
    const auto type = letters.find(lower, 1);
    if (type == std::string_view::npos) return EMPTY;
    return white ? static_cast<int>(type) : -static_cast<int>(type);
}

void clear_board() {
    for (int sq = 0; sq < BOARD_SIZE; ++sq) board[at(sq)] = on_board(sq) ? EMPTY : OFFBOARD;
    square_moves.fill(0);
}

void place(int piece, int sq) {
    if (!on_board(sq)) return;
    board[at(sq)] = piece;
    if (piece == KING) white_king_sq = sq;
    if (piece == -KING) black_king_sq = sq;
}

void read_placement(Cursor& cursor) {
    int sq = A8;
    for (;; cursor.advance()) {
        const char c = cursor.peek();
        if (c == '/') {
            sq -= NEXT_RANK;
        } else if (c >= '1' && c <= '8') {
            sq += c - '0';
        } else if (piece_of(c) != EMPTY) {
            place(piece_of(c), sq++);
        } else {
            return;
        }
        sq = std::clamp(sq, -SQUARE_NUMBER_LIMIT, SQUARE_NUMBER_LIMIT);
    }
}

void read_side(Cursor& cursor) {
    cursor.advance();  // the character that ended the placement
    if (cursor.peek() == 'w') side = WHITE;
    else if (cursor.peek() == 'b') side = BLACK;
    cursor.advance();
}

// Castling rights are counts of moves: the corners and the king's square start barred, and a
// letter opens what it names. All other squares count 0.
//
// Open one castling right, if its king and its rook stand at home.
template <int Us> void open_castling(int rook_home) {
    constexpr int king_home = Us == WHITE ? E1 : E8;
    if (piece_on(king_home) != Us * KING || piece_on(rook_home) != Us * ROOK) return;
    moves_of(king_home) = 0;
    moves_of(rook_home) = 0;
    castled<Us>() = 0;
}

void read_castling(Cursor& cursor) {
    white_castled = 1;
    black_castled = 1;
    for (const int sq : {A1, E1, H1, A8, E8, H8}) moves_of(sq) = 1;

    cursor.skip_blanks();
    for (;; cursor.advance()) {
        switch (cursor.peek()) {
            case 'K': open_castling<WHITE>(H1); break;
            case 'Q': open_castling<WHITE>(A1); break;
            case 'k': open_castling<BLACK>(H8); break;
            case 'q': open_castling<BLACK>(A8); break;
            case '-': break;
            default: return;
        }
    }
}

// A letter assigns, a digit adds, as in "e3" = 5 + 40. Only squares of rank 3 or 6 are kept.
void read_ep_square(Cursor& cursor) {
    int sq = 0;
    cursor.skip_blanks();
    for (;; cursor.advance()) {
        const char c = cursor.peek();
        if (c >= 'a' && c <= 'h') sq = c - 'a' + 1;
        else if (c >= '1' && c <= '8') sq = std::min(sq + 10 * (c - '0' + 1), SQUARE_NUMBER_LIMIT);
        else break;
    }
    const bool kept = on_board(sq) && (square_rank[at(sq)] == 3 || square_rank[at(sq)] == 6);
    ep_square = kept ? sq : 0;
}

// One king of each colour, on the square recorded for it.
bool kings_are_legal() {
    const auto squares_of = [](int piece) { return std::count(board.begin(), board.end(), piece); };
    return piece_on(white_king_sq) == KING && squares_of(KING) == 1 &&
           piece_on(black_king_sq) == -KING && squares_of(-KING) == 1;
}

}  // namespace

bool set_up_position(const std::string& text) {
    Cursor cursor(text);
    clear_board();
    read_placement(cursor);
    read_side(cursor);
    read_castling(cursor);
    read_ep_square(cursor);
    count_material();
    list_start(0) = 0;
    search_ply = 0;
    start_history(FRESH_FIFTY);
    compute_hash_key();
    return kings_are_legal();
}

void set_position_fen(const std::string& text) {
    if (!set_up_position(text)) {
        print_line("tellusererror Illegal position");
        flush_output();
        init_engine();
        start_history(FRESH_FIFTY);
        compute_hash_key();
    }
    test_mode = true;
    max_depth = FEN_MAX_DEPTH;
    clear_hash_tables();
}

}  // namespace tarsimo
