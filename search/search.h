/// The search room: alpha-beta with its pruning rules, the quiescence search, the reply
/// search of the root, the transposition table, killers and history, and the counters.
///
/// Depth is counted in half-plies: one ply is 2. Scores are centipawns for the side to
/// move; a side mated at ply p scores p - 31999; a score above 31900 in magnitude is a
/// mate score. Nothing here allocates while searching.
#ifndef TARSIMO_SEARCH_SEARCH_H
#define TARSIMO_SEARCH_SEARCH_H

#include "board/board.h"
#include "eval/eval.h"

#ifdef TARSIMO_TREE_DIGEST
#include <functional>
#endif

namespace tarsimo {

constexpr int ONE_PLY = 2;             ///< half-plies of one ply
constexpr int MATE_BOUND = 32000;      ///< mate-distance bounds count from here
constexpr int MATED_SCORE = 31999;     ///< a side mated at ply p scores p - MATED_SCORE
constexpr int MATE_THRESHOLD = 31900;  ///< above it in magnitude a score is a mate score

/// Nodes between two stop tests; a power of two.
constexpr int STOP_TEST_INTERVAL = SHORT_SESSIONS ? 64 : 8192;

// ---------------------------------------------------------------------------
// What a search needs from its surroundings
// ---------------------------------------------------------------------------

/// The stop test: true when the search must end, by the clock or by input. Defined by
/// whoever drives the search.
bool input_pending();

// ---------------------------------------------------------------------------
// Searches
// ---------------------------------------------------------------------------

/// Legal moves made and quiescence nodes entered since the think driver cleared it.
extern std::uint64_t nodes;

/// Set when the stop test said stop; every node then returns 0 at once and its caller
/// discards that. Cleared by the think driver.
extern bool search_aborted;

/// Ordering score of the move being searched.
extern int current_move_score;

/// Static evaluation of the node at each ply, in centipawns; a node in check leaves it.
extern std::array<int, PLY_SLOTS> eval_stack;

/// Late-move reductions in plies, by half the depth (0..31) and the number of the move among the
/// legal ones (0..63).
extern const std::array<std::array<std::int8_t, 64>, 32> lmr_table;

/// lmr_table for a depth in half-plies and a move number, both capped.
int late_move_reduction(int depth, int move_number);

/// Principal-variation alpha-beta search of the current position (Marsland and Campbell 1982).
///   alpha, beta     bounds, alpha < beta; a wider window than 1 makes a PV node
///   depth           half-plies; below 2 the quiescence search answers
///   allow_null      0 in null-move, verification, deepening and ProbCut searches
///   node_in_check   whether the side to move is in check
/// Returns the score, or 0 with search_aborted set.
int search(int alpha, int beta, int depth, bool allow_null, bool node_in_check);

/// Score of a move that has been made and is not the first of its node, for the side that made
/// it: a zero-width search, and one with the full bounds when the move lands between them.
int search_late_move(int alpha, int beta, int new_depth, bool gives_check);

/// Captures and queen promotions until the position is quiet (Harris 1975). `qply` is 0 when called
/// by search and falls by one a ply; repetitions are looked for at 0 only. No check evasions.
/// Returns the score, or 0 with search_aborted set.
int quiesce(int alpha, int beta, int qply);

/// evaluate() as the searches ask for it: with the bounds of the node, but with open bounds when
/// a bare king stands against pieces alone. The lazy exit would hide how far the mate has come
/// from a window near the score of a won ending, and such an ending could not be won.
int static_score(int alpha, int beta);

/// All replies to the root move just made, as one node with open lower bound.
///   beta    upper bound for the replying side
///   depth   half-plies
/// Returns the best score, the cutting score, or beta with search_aborted set.
int search_replies(int beta, int depth);

/// As search_replies(), with the reductions of the root loop: captures, promotions and
/// replies to a check are not reduced. `best_reply` receives the best score of the replies
/// searched to their end, NO_SCORE when there is none; it is what holds after an abort.
int search_root_replies(int beta, int depth, int& best_reply);

/// Bring search, ordering and lists to the state of a fresh program: both tables, killers,
/// history, principal variation, evaluation stack, score slots, counters and `nodes`.
void reset_search();

// ---------------------------------------------------------------------------
// Transposition table
// ---------------------------------------------------------------------------

/// Bound types of a stored score, and the probe's answer when there is none to use.
constexpr int BOUND_EXACT = 1;
constexpr int BOUND_UPPER = 2;  ///< the search failed low
constexpr int BOUND_LOWER = 3;  ///< it failed high
constexpr int NO_ENTRY = 4;

/// One stored result (a hash table of positions: Greenblatt, Eastlake and Crocker 1967); key 0
/// marks an empty slot.
struct TTEntry {
    std::uint64_t key;
    int bound;
    int depth;       ///< half-plies of the search that stored it
    int score;       ///< mate scores count from the stored node
    int generation;  ///< tt_generation when stored
    int from;        ///< best move, 0 when none
    int to;
    std::int16_t move_extra;  ///< always 0
};

constexpr std::uint64_t tt_size = SHORT_SESSIONS ? 1021 : 6710886;  ///< entries; 268435440 bytes
static_assert(sizeof(TTEntry) == 40);

extern TTEntry* tt_table;  ///< null until allocate_hash_tables()
extern int tt_generation;  ///< raised by begin_generation(), 0 after a clear

/// Allocate both hash tables zero-filled, or clear those held. Prints a message and ends the
/// program when there is no memory.
void allocate_hash_tables();

/// Release both tables; without effect when there are none.
void free_hash_tables();

/// Begin to load what the tables hold on the position that make_move() has just reached: memory
/// answers while the move is tested. A node of less than a ply is left to the quiescence search,
/// which has no use for the transposition table.
inline void fetch_ahead(int depth) {
    __builtin_prefetch(&eval_cache[hash_key % eval_cache_size]);
    if (depth >= ONE_PLY) __builtin_prefetch(&tt_table[hash_key % tt_size]);
}

/// Fill both tables with zero bytes and set tt_generation to 0.
void clear_hash_tables();

/// Raise tt_generation, to be called before the search of every move.
void begin_generation();

/// Have the system provide the next 4 MB of the tables, in large pages if it can, before a search
/// meets a fault for every small page; to be called again while it returns true. False when all is
/// there, or no memory is to be had.
bool provide_memory();

/// Look up the position. Sets hash_move, none when the position is not stored.
///   depth      half-plies asked for; an entry of at least this depth can be used
///   score      receives the stored score of the position, when it is stored
///   null_ok    cleared when a stored upper bound says that a null move would fail
/// Returns the bound type of a usable entry, else NO_ENTRY.
int tt_probe(int depth, int& score, int beta, bool& null_ok);

/// Store a result, unless the slot holds a deeper one of this generation.
void tt_store(int bound, int depth, int score, int from, int to);

/// Set hash_move from the slot of the position, without the counters of a probe.
void read_hash_move();

// ---------------------------------------------------------------------------
// Move ordering
// ---------------------------------------------------------------------------

/// Largest history value written since the last clear: quiet moves score below it.
extern int history_max;

/// Pick the move of this ply's list with the highest ordering score, the earliest among
/// equals: its index, or -1 when all are picked. Marks the slot with NO_SCORE and sets
/// current_move_score.
int pick_move();

/// Add to the history value of a move of the side to move (Schaeffer 1983).
void credit_history(const Move& move, int credit);

/// Divide all history values by 4 when the largest has grown too big for the score bands.
void age_history();

/// Remember the move that cut off with this score as a killer of its ply (Akl and Newborn 1977).
void update_killers(const Move& move, int score);

/// Clear killers, history, principal variations and evaluation stack.
void clear_ordering();

/// True for a pawn move that is neither pruned nor reduced: to the seventh rank of its
/// side, or to the sixth with no enemy pawn on the three squares ahead. The move has been
/// made; `type` and `colour` are the moving piece's.
bool is_exempt_pawn_move(int type, int colour, int to);

// ---------------------------------------------------------------------------
// Statistics
// ---------------------------------------------------------------------------

/// Events of one search, cleared by the think driver.
struct SearchStatistics {
    std::uint64_t razoring;     ///< nodes left by razoring
    std::uint64_t static_null;  ///< nodes left by the static null move
    std::uint64_t futility;     ///< moves skipped by futility pruning
    std::uint64_t lmr;          ///< reduced searches begun
    std::uint64_t on_trial;     ///< always 0: printed, counted by nothing; deliberate
    std::uint64_t extensions;   ///< extended moves, checks included
    std::uint64_t check_extensions;
    std::uint64_t hash_probes;
    std::uint64_t hash_hits;  ///< probes that found sufficient depth
    std::uint64_t null_tries;
    std::uint64_t null_cuts;  ///< null moves that reached beta, before verification
};

extern SearchStatistics statistics;

/// Clear the search's and the evaluation's counters and `nodes`.
void clear_statistics();

/// Print the block of counters, the time and the nodes per second.
void print_statistics(long elapsed_seconds);

// ---------------------------------------------------------------------------
// Tree digest: only in the library that tests and tree tools link
// ---------------------------------------------------------------------------

#ifdef TARSIMO_TREE_DIGEST
/// FNV-1a over every node entered since the last reset_tree_digest(): two trees with equal
/// digests visited the same nodes in the same order with the same windows.
extern std::uint64_t tree_digest;
void reset_tree_digest();

/// A node as it was entered. Its ply, its key and the move that led to it stand in the position.
struct EnteredNode {
    char kind;  ///< 'S' search, 'Q' quiescence, 'R' replies to a root move
    int alpha;
    int beta;
    int depth;  ///< half-plies; of a quiescence node its `qply`
    bool allow_null;
    bool in_check;  ///< as the caller says; replies and quiescence are not told
};

/// Called with every node before it does anything; empty unless a test has set it.
extern std::function<void(const EnteredNode&)> node_observer;

/// Take a node into the digest and show it to the observer.
void note_node(char kind, int alpha, int beta, int depth, bool allow_null, bool node_in_check);
#else
inline void note_node(char, int, int, int, bool, bool) {}
#endif

}  // namespace tarsimo

#endif
