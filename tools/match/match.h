/// The match tool's parts, shared by its files. A match is played by worker processes, since
/// the board is one for a whole process: a worker owns the board of its game and two engines;
/// the parent hands out game numbers, collects the results and prints.
///
///   match.cpp       options, main
///   settings.cpp    time controls and engines as the user writes them
///   pool.cpp        workers, their records, signals, the end of every process
///   worker.cpp      one worker: its engines, its games, its way out
///   game.cpp        one game: clocks, answers, claims, adjudication
///   engine.cpp      one engine: its process and pipes
///   protocol.cpp    what is said to an engine and what its lines mean, under CECP
///   uci.cpp         the same under UCI
///   board.cpp       the referee's board: set-up, move texts, ends of the game
///   openings.cpp    the opening file
///   report.cpp      game records, PGN, tables
///   statistics.cpp  Elo, intervals, sequential test
///
/// Colours are WHITE and BLACK of the board; an outcome is the winner's colour, 0 for a draw.
#ifndef TARSIMO_TOOLS_MATCH_MATCH_H
#define TARSIMO_TOOLS_MATCH_MATCH_H

#include "board/board.h"

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarsimo::match {

/// Times are microseconds of a clock that never jumps.
using Micros = std::int64_t;
constexpr Micros SECOND = 1000000;
Micros now();

/// 0 for White, 1 for Black.
constexpr std::size_t index_of(int colour) { return colour == WHITE ? 0 : 1; }

// ---------------------------------------------------------------------------
// What is to be played
// ---------------------------------------------------------------------------

struct TimeControl {
    int moves = 0;         ///< moves of a control, 0 for the whole game
    Micros base = 0;       ///< time of a control; 0 when there is no clock
    Micros increment = 0;  ///< added after each move
    Micros per_move = 0;   ///< time of each move, 0 for none
    int depth = 0;         ///< plies of each search, 0 for no limit
    int nodes = 0;         ///< positions of each search, 0 for no limit; UCI engines only
    std::string text;      ///< as it was given
};

/// Read "5+0.05", "40/60", "40/60+1" (seconds), "st=1" (seconds per move), "sd=6" (plies) or
/// "nodes=5000".
/// Returns false when the text is none of these.
bool parse_time_control(const std::string& text, TimeControl& control);

struct EngineCommand {
    std::string name;
    std::vector<std::string> words;                            ///< the command line
    bool uci = false;                                          ///< speaks UCI, not CECP
    std::vector<std::pair<std::string, std::string>> options;  ///< UCI options to be set
};

/// Read "NAME=COMMAND" or "COMMAND"; without a name it is that of the program file. "uci:" before
/// the command is an engine under UCI. Quotes and backslashes work as in a shell. Returns false
/// when there is no command.
bool parse_engine(const std::string& text, EngineCommand& command);

/// A start of games: from a position, or from moves that the engines are told.
struct Opening {
    std::string fen;                 ///< all six fields
    std::vector<std::string> moves;  ///< coordinates, legal from there
};

/// Read an opening file: FEN or EPD lines, or lines of moves from the initial position; blank
/// lines and lines with # are skipped. Returns false and says why, with the line, when the file
/// is no such file. The board is the last opening's afterwards.
bool read_openings(const std::string& path, std::vector<Opening>& openings, std::string& why);

/// Adjudication: after `moves` moves of each side with scores that agree. moves 0 is never.
struct Adjudication {
    int centipawns = 0;
    int moves = 0;
    int from_move = 0;
};

struct Settings {
    std::array<EngineCommand, 2> engines;
    TimeControl control;
    std::vector<Opening> openings;
    int games = 20;
    int jobs = 1;
    int memory_mb = 256;  ///< told to engines that ask for it
    int longest_plies = 500;
    bool restart = false;  ///< new processes for every game
    bool quiet = false;
    Micros margin = SECOND / 20;  ///< by which a clock may be overstepped
    Adjudication resign = {900, 4, 0};
    Adjudication draw;
    bool sequential = false;  ///< stop when elo0 or elo1 is settled
    double elo0 = 0;
    double elo1 = 0;
    std::string pgn_path;
    std::string log_folder;  ///< empty for none
};

// ---------------------------------------------------------------------------
// The referee's board
// ---------------------------------------------------------------------------

inline constexpr char INITIAL_FEN[] = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

/// Set up a position and forget the game before it. The counters may be missing, operations of
/// EPD may follow. Returns false and says why for a text that is no legal position; the board
/// is then undefined.
bool begin_game_at(const std::string& fen, std::string& why);

/// The position as six fields; an en-passant square only if it can be used.
std::string position_fen();

/// Number of the move to be made, as in the last field of a FEN.
int move_number();

/// A legal move, in the two ways of writing it.
struct LegalMove {
    int list_index;  ///< in the move array, until the next list is made
    std::string coordinates;
    std::string san;  ///< standard algebraic notation with + and #
};

/// The legal move that a text names: coordinates or SAN, loosely written. list_index is -1 when
/// there is none.
LegalMove recognise_move(const std::string& text);

/// Make a move that recognise_move() has just returned.
void play(const LegalMove& move);

struct Ending {
    bool over;
    int outcome;
    const char* reason;
};

/// The end of the game by the rules: mate, stalemate, bare material, third repetition, fifty
/// moves.
Ending game_ending();

/// True if the game has this outcome, or if a legal move gives it this outcome.
bool claim_holds(int outcome);

// ---------------------------------------------------------------------------
// Engines
// ---------------------------------------------------------------------------

enum class Fault { NONE, TIME, ILLEGAL_MOVE, REFUSED_MOVE, FALSE_CLAIM, CRASH, SILENCE };
constexpr std::size_t FAULT_KINDS = 7;

/// What came of waiting for an engine.
struct Answer {
    enum Kind { LATE, MOVE, RESIGNATION, CLAIM, REFUSAL, GONE, STOPPED } kind = LATE;
    std::string text;    ///< the move, or the line
    int outcome = 0;     ///< of a claim
    Micros arrived = 0;  ///< when the line came
};

/// The last thinking line of a search.
struct Thought {
    bool seen = false;
    int depth = 0;
    int score = 0;  ///< centipawns for the engine
};

/// What a worker's engines need to know of their surroundings.
struct Surroundings {
    int stop_fd;    ///< readable during a game as soon as the worker is to end
    int report_fd;  ///< takes ENGINE_LINEs
    int worker;     ///< number of the worker, for the names of logs
    std::string log_folder;
    int memory_mb;
};

/// True if the worker is to end.
bool stop_requested(const Surroundings& around);

/// What an engine has to know when its turn comes.
struct Turn {
    const LegalMove* move;  ///< the opponent's, which the engine has not been told; null for none
    bool clocks;            ///< the game has clocks
    Micros own, other;      ///< what is left on them
    int moves_to_go;        ///< to the end of this control, 0 for the whole game
};

/// An engine's process with its pipes and what it said of itself. Protocol: CECP version 2 of
/// Tim Mann and H.G. Muller, or UCI of Rudolf Huber and Stefan Meyer-Kahlen, read leniently.
class Engine {
  public:
    Engine(const EngineCommand& command, const Surroundings& around)
        : command_(command), around_(around) {}
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    const std::string& name() const { return command_.name; }
    bool running() const { return pid_ > 0; }

    /// False for an engine that wants a new process for every game.
    bool reusable() const { return features_.reuse; }

    /// False for an engine that never came as far as to exchange features.
    bool has_worked() const { return has_worked_; }

    /// False for an engine that cannot be given a position.
    bool can_set_up() const { return features_.setboard; }

    /// False for a program that has not yet said anything that belongs to its protocol.
    bool has_spoken() const { return has_spoken_; }

    /// Start the process and exchange features or options. Anything but NONE is its fault; `why`
    /// tells. When the worker is to end, the answer is a fault without meaning, here and below.
    Fault start(std::string& why);

    /// Bring a running engine to the start of a game, with nothing of an earlier one unread.
    Fault begin_game(const TimeControl& control, const Opening& opening, std::string& why);

    /// Hand over the turn, to the side to move of the board.
    void hand_turn(const Turn& turn);

    /// Take in that the engine's own move was legal.
    void confirm_move(const LegalMove& move) { game_moves_.push_back(move.coordinates); }

    /// Await what ends the turn, until `deadline`. Lines of no meaning are passed over.
    Answer await_answer(Micros deadline);

    /// The last thinking line since the turn was handed over.
    const Thought& thought() const { return thought_; }

    /// Tell a running engine how the game ended.
    void end_game(const std::string& result, const std::string& reason);

    /// Ask the engine to end. To be followed by finish().
    void ask_to_quit();

    /// Wait for the engine to end, until `deadline` at most, kill what is left of its process
    /// group and return how it ended.
    std::string finish(Micros deadline);

  private:
    enum class Input { SOME, LATE, GONE, STOPPED };

    struct Features {
        bool setboard = false, usermove = false, san = false, ping = false, time = true;
        bool memory = false, smp = false, reuse = true;
        bool any = false;      ///< some were told
        bool done = false;     ///< that was all of them
        bool waiting = false;  ///< the engine has asked for patience
    };

    bool launch(std::string& why);
    void send(const std::string& lines);
    Input receive(Micros deadline);
    bool take_line(std::string& line);
    void drop_unread();
    Fault await_features(std::string& why);
    bool speaks_uci();
    Fault synchronise(Micros patience, std::string& why);
    bool interpret(const std::string& line, Answer& answer);
    bool is_refusal(const std::string& line) const;
    void read_features(const std::string& line);
    void set_feature(const std::string& name, const std::string& value);
    std::string move_line(const LegalMove& move);
    void log(const char* direction, std::string_view line);

    // The same under UCI.
    Fault start_uci(std::string& why);
    bool set_options(std::string& why);
    std::string go_line(const Turn& turn) const;
    static bool interpret_uci(const std::string& line, Answer& answer, Thought& thought);

    const EngineCommand& command_;
    const Surroundings& around_;
    pid_t pid_ = 0;
    int input_ = -1;          ///< the engine's standard input
    int output_ = -1;         ///< the engine's standard output
    bool deaf_ = false;       ///< it takes no more input
    std::string unread_;      ///< received and not yet looked at
    Micros received_at_ = 0;  ///< arrival of the newest part of unread_
    std::FILE* log_ = nullptr;
    Features features_;
    bool has_worked_ = false;
    bool has_spoken_ = false;
    int pings_ = 0;

    bool going_ = false;             ///< "go" was sent in this game
    std::vector<std::string> told_;  ///< moves sent since the engine's last answer
    Answer pending_ = {};            ///< a claim that came before its turn; LATE for none
    Thought thought_;

    TimeControl control_;                    ///< of this game; here and below under UCI only
    std::string game_start_;                 ///< "startpos" or "fen ..."
    std::vector<std::string> game_moves_;    ///< all moves since, in coordinates
    std::vector<std::string> option_lines_;  ///< "option name ...", as the engine said them
};

// ---------------------------------------------------------------------------
// Games
// ---------------------------------------------------------------------------

/// What one side did in a game, or one engine in a match.
struct SideRecord {
    Fault fault = Fault::NONE;
    int moves = 0;
    Micros thinking = 0;
    Micros least_left = 0;  ///< of a clock at the end of a move; with `moves` 0 of no meaning
    int depths = 0;         ///< searches that told their depth
    int depth_sum = 0;
};

/// A finished game; sides by index_of().
struct GameRecord {
    int number = -1;
    int outcome = 0;
    int plies = 0;
    std::string reason;
    std::string fen;    ///< of the start
    std::string moves;  ///< PGN move text without the result
    std::array<SideRecord, 2> sides;
};

/// How a game ended for the worker.
enum class GameEnd { FINISHED, STOPPED, IMPOSSIBLE };

/// Play a game between two engines, started as need be; sides by index_of(). IMPOSSIBLE is a match
/// that cannot be played at all, and the record's reason says why.
GameEnd play_game(std::array<Engine*, 2> engines, const Opening& opening, const Settings& settings,
                  GameRecord& record);

/// Serve game numbers from `command_fd` until it ends, with records to `report_fd`.
[[noreturn]] void run_worker(const Settings& settings, int worker, int command_fd, int report_fd);

/// Play the match. Returns the exit status: 128 plus its number after a signal that stopped it.
int run_match(const Settings& settings);

/// First letters of the lines that a worker sends.
constexpr char ENGINE_LINE = 'E';  ///< "E+N": process group N was made; "E-N": it is no more
constexpr char RECORD_LINE = 'R';  ///< a finished game
constexpr char FATAL_LINE = 'F';   ///< why the match cannot be played

/// Write all of a text to a pipe. Returns false when nobody can take it.
bool write_all(int fd, std::string_view text);

// ---------------------------------------------------------------------------
// Statistics
// ---------------------------------------------------------------------------

/// Pairs of games with the same opening and colours reversed, by the first engine's points:
/// 0, 1/2, 1, 3/2, 2.
using PairCounts = std::array<int, 5>;

/// Elo difference with its 95 % interval; an end may be infinite.
struct EloEstimate {
    double elo;
    double low;
    double high;
    double superiority;  ///< probability 0..1 that the first engine is the stronger one
};

/// Logistic Elo difference of an expected score 0..1, and the other way round.
double elo_of_score(double score);
double score_of_elo(double elo);

/// The estimate from at least one pair. The pairs are the sample, since the two games of a pair
/// depend on each other through their opening.
EloEstimate estimate_elo(const PairCounts& pairs);

/// Logarithm of the likelihood ratio of elo1 to elo0.
double log_likelihood_ratio(const PairCounts& pairs, double elo0, double elo1);

/// Bound of the ratio's logarithm for errors of 5 % of both kinds: 2.94.
double sequential_bound();

// ---------------------------------------------------------------------------
// Records and reports
// ---------------------------------------------------------------------------

/// A record as one line for a pipe, without the newline; and back. Returns false for a line that
/// is no record.
std::string record_line(const GameRecord& record);
bool parse_record(const std::string& line, GameRecord& record);

/// "1-0", "0-1" or "1/2-1/2".
const char* result_text(int outcome);

/// The engine 0 or 1 that has White in a game: pairs of games change colours.
constexpr std::size_t white_engine(int game) { return game % 2 == 0 ? 0 : 1; }

/// Everything counted so far.
struct Standing {
    std::vector<int> points;  ///< by game: 0..2 half-points of the first engine, -1 not played
    std::array<int, 3> results = {};  ///< lost, drawn, won by the first engine
    PairCounts pairs = {};
    std::array<SideRecord, 2> engines;
    std::array<std::array<int, FAULT_KINDS>, 2> faults = {};
    std::vector<std::pair<std::string, int>> reasons;
    int played = 0;
    long plies = 0;
    int abandoned = 0;  ///< games lost to dying workers
};

/// Count a game in.
void add_game(Standing& standing, const GameRecord& record);

/// Append a game to a PGN file, all of it or nothing. Returns false, with errno set, when it cannot
/// be written.
bool write_pgn(int fd, const Settings& settings, const GameRecord& record);

/// The line after a game: game, result, standing, time gone and time to come.
void print_progress(const Settings& settings, const Standing& standing, const GameRecord& record,
                    Micros elapsed);

/// Score, Elo and sequential test; also for counts of pairs alone.
void print_figures(const Settings& settings, const PairCounts& pairs);

/// The final table.
void print_summary(const Settings& settings, const Standing& standing, Micros elapsed);

/// True if any fault of either side was counted.
bool any_fault(const Standing& standing);

}  // namespace tarsimo::match

#endif
