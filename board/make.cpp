// Make and unmake. Key, en-passant square and reversible-move counter come back from the
// record; board, counts, king squares and castling state by the inverse updates.
#include "board/make.h"

#include "board/consistency.h"
#include "board/keys.h"
#include "board/move_list.h"
#include "board/position.h"

#include <cassert>

namespace tarsimo {

namespace {

// In builds with assertions, looks at the position before and after a step: a recount must agree
// with it, and the key must have followed. Far from the root every eighth step will do.
class CheckedStep {
  public:
#ifdef NDEBUG
    CheckedStep() {}
#else
    CheckedStep()
        : checked_(search_ply <= 2 || hash_key % 8 == 0),
          unexplained_(checked_ ? unexplained_key() : 0) {}
    ~CheckedStep() {
        assert(!checked_ || (position_is_consistent() && unexplained_key() == unexplained_));
    }
    CheckedStep(const CheckedStep&) = delete;
    CheckedStep& operator=(const CheckedStep&) = delete;

  private:
    bool checked_;
    std::uint64_t unexplained_;
#endif
};

void put(int sq, int piece) { board[idx(sq)] = piece; }

// The rook's corner and its square beside the castled king, from the king's destination.
struct RookJump {
    int from;
    int to;
};

RookJump rook_jump(int castle, int king_to) {
    return castle == 1 ? RookJump{king_to + 1, king_to - 1} : RookJump{king_to - 2, king_to + 1};
}

template <int Us> void remove_captured(const Move& move) {
    constexpr int Them = -Us;
    if (move.ep_capture > 0) {
        material<Them>() -= piece_value[PAWN];
        --pawn_count<Them>();
        hash_key ^= piece_key(Them * PAWN, move.ep_capture);
        occupied<Them>() ^= set_of(move.ep_capture);
        pawn_set<Them>() ^= set_of(move.ep_capture);
        put(move.ep_capture, EMPTY);
    } else if (move.captured != 0) {
        material<Them>() -= piece_value[idx(move.captured)];
        hash_key ^= piece_key(Them * move.captured, move.to);
        occupied<Them>() ^= set_of(move.to);
        if (move.captured == PAWN) {
            --pawn_count<Them>();
            pawn_set<Them>() ^= set_of(move.to);
        } else {
            --piece_count<Them>();
        }
    }
}

template <int Us> void restore_captured(const HistoryEntry& record) {
    constexpr int Them = -Us;
    if (record.captured == 0) return;
    const int sq = record.ep_capture > 0 ? record.ep_capture : record.to;
    put(sq, Them * record.captured);
    occupied<Them>() ^= set_of(sq);
    material<Them>() += piece_value[idx(record.captured)];
    if (record.captured == PAWN) {
        ++pawn_count<Them>();
        pawn_set<Them>() ^= set_of(sq);
    } else {
        ++piece_count<Them>();
    }
}

template <int Us> void make(const Move& move, int piece) {
    if (piece == Us * PAWN && move.to - move.from == Us * 20) {
        ep_square = move.from + Us * 10;
        hash_key ^= ep_key(ep_square);
    }
    remove_captured<Us>(move);

    const SquareSet from_and_to = set_of(move.from) | set_of(move.to);
    put(move.to, piece);
    put(move.from, EMPTY);
    occupied<Us>() ^= from_and_to;
    if (piece == Us * PAWN) pawn_set<Us>() ^= from_and_to;
    if (move.promotion != 0) {
        ++piece_count<Us>();
        --pawn_count<Us>();
        pawn_set<Us>() ^= set_of(move.to);
        put(move.to, Us * move.promotion);
        material<Us>() += piece_value[idx(move.promotion)] - piece_value[PAWN];
    } else if (move.castle != 0) {
        const RookJump rook = rook_jump(move.castle, move.to);
        castled<Us>() = 1;
        hash_key ^= piece_key(Us * ROOK, rook.from) ^ piece_key(Us * ROOK, rook.to);
        put(rook.from, EMPTY);
        put(rook.to, Us * ROOK);
        occupied<Us>() ^= set_of(rook.from) | set_of(rook.to);
    }
    hash_key ^= piece_key(piece_on(move.to), move.to);
    if (piece_on(move.to) == Us * KING) king_square<Us>() = move.to;
    side = -Us;
}

template <int Us> void unmake(const HistoryEntry& record) {
    restore_captured<Us>(record);
    --square_moves[idx(record.from)];
    --square_moves[idx(record.to)];

    if (record.castle != 0) {
        const RookJump rook = rook_jump(record.castle, record.to);
        castled<Us>() = 0;
        put(rook.from, Us * ROOK);
        put(rook.to, EMPTY);
        occupied<Us>() ^= set_of(rook.from) | set_of(rook.to);
    }
    const SquareSet from_and_to = set_of(record.from) | set_of(record.to);
    occupied<Us>() ^= from_and_to;
    if (piece_on(record.from) == Us * PAWN) pawn_set<Us>() ^= from_and_to;
    if (record.promotion != 0) {
        put(record.from, Us * PAWN);
        pawn_set<Us>() ^= set_of(record.from);
        ++pawn_count<Us>();
        --piece_count<Us>();
        material<Us>() += piece_value[PAWN] - piece_value[idx(record.promotion)];
    } else if (piece_on(record.from) == Us * KING) {
        king_square<Us>() = record.from;
    }
}

}  // namespace

void make_move(int index) {
    const CheckedStep step;
    const Move& move = move_at(index);
    const int piece = piece_on(move.from);

    history_entry(game_ply) = {hash_key,      fifty,           move.from,
                               move.to,       move.ep_capture, ep_square,
                               move.captured, move.promotion,  move.castle};
    ++game_ply;
    ++search_ply;
    if (ep_square > 0) hash_key ^= ep_key(ep_square);
    ep_square = 0;
    ++square_moves[idx(move.from)];
    ++square_moves[idx(move.to)];
    hash_key ^= piece_key(piece, move.from);
    fifty = piece == PAWN || piece == -PAWN || move.captured != 0 ? 0 : fifty + 1;

    if (side == WHITE) make<WHITE>(move, piece);
    else make<BLACK>(move, piece);
    hash_key ^= side_key;
}

void make_root_move() {
    make_move(0);
    note_game_length();
}

void unmake_move() {
    const CheckedStep step;
    --search_ply;
    --game_ply;
    const HistoryEntry& record = history_entry(game_ply);
    hash_key = record.key;
    ep_square = record.ep_square;
    fifty = record.fifty;
    side = -side;
    put(record.from, piece_on(record.to));
    put(record.to, EMPTY);
    if (side == WHITE) unmake<WHITE>(record);
    else unmake<BLACK>(record);
}

void take_back_move() {
    const int next = -side;
    const int mover = piece_on(history_entry(game_ply - 1).to) > 0 ? WHITE : BLACK;
    side = -mover;
    unmake_move();
    side = next;
}

int make_null_move() {
    const CheckedStep step;
    const int ep_square_before = ep_square;
    history_entry(game_ply) = {hash_key, fifty, 0, 0, 0, 0, 0, 0, 0};
    if (ep_square != 0) hash_key ^= ep_key(ep_square);
    ep_square = 0;
    side = -side;
    ++fifty;
    ++game_ply;
    hash_key ^= side_key;
    return ep_square_before;
}

void unmake_null_move(int ep_square_before) {
    const CheckedStep step;
    --game_ply;
    const HistoryEntry& record = history_entry(game_ply);
    hash_key = record.key;
    ep_square = ep_square_before;
    fifty = record.fifty;
    side = -side;
}

}  // namespace tarsimo
