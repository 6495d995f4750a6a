// The think driver: iterations over the root moves, when they end, and what is played and said.
// The test decides what every root move is worth in every iteration, and what time it is.
#include "node_log.h"

#include <algorithm>
#include <map>

namespace tarsimo::test {

namespace {

constexpr const char* SEVEN_MOVES = "4k3/p7/8/8/8/8/7P/4K3 w - -";
constexpr int BUDGET_MS = 1000;
constexpr int FLYING = 1 << 20;  // milliseconds at each look at the clock

// What the positions two plies below the root are worth to the side that thinks, from the third
// iteration on. LOST_LATER is mated a ply later than LOST.
enum class Verdict { DRAW, LOST, LOST_LATER };

// One search of a root move.
struct RootMove {
    int iteration;
    int number;  // 1 for the first root move searched in the iteration
    std::string move;
    int alpha;  // of the side that replies, as is beta: what the move must beat, negated
    int beta;
    bool first;
};

class Root : public Engine {
  protected:
    // The test's part: called when an iteration begins, with no time gone by; the verdict on a
    // root move; its score in the first two iterations, which end in quiescence.
    std::function<void(int iteration)> on_iteration = [](int) {};
    std::function<Verdict(const RootMove&)> verdict = [](const RootMove&) { return Verdict::DRAW; };
    std::function<int(const RootMove&)> score = [](const RootMove&) { return 0; };
    std::function<bool()> stops_now = [] { return false; };  // asked at each reply in quiescence

    std::vector<RootMove> searched;
    Voice dialogue{};

    void SetUp() override {
        Engine::SetUp();
        node_observer = [this](const EnteredNode& node) { observe(node); };
    }
    void TearDown() override { node_observer = nullptr; }

    // Thinks about the position; returns what was printed. To the dialogue something always waits
    // to be read, so that the tables' memory is left alone.
    std::string think_aloud(bool xboard = true, const ThinkTask& wanted = {}) {
        searched.clear();
        xboard_mode = xboard;
        dialogue = xboard ? cecp_voice : console_voice;
        dialogue.input_waiting = [] { return true; };
        voice = &dialogue;
        time_budget_ms = BUDGET_MS;
        tick_ms = 0;
        return output_of([&wanted] { think(wanted); });
    }
    int iterations() const { return searched.empty() ? 0 : searched.back().iteration; }

    void let_moves_be_worth(const std::map<std::string, int>& scores) {
        score = [scores](const RootMove& move) {
            return scores.contains(move.move) ? scores.at(move.move) : 0;
        };
    }

    // How many iterations a think takes, after moves that are played first.
    int iterations_of(const char* fen, int depth, const ThinkTask& wanted = {},
                      const char* moves = "") {
        set_up(fen);
        play(moves);
        max_depth = depth;
        think_aloud(true, wanted);
        return iterations();
    }

    // One iteration over the root moves of SEVEN_MOVES; `said` is what was printed.
    Iteration iterate(const RootTask& task, int depth = 1, int last_score = NO_SCORE) {
        set_up(SEVEN_MOVES);
        searched.clear();
        begin_root_search(task);
        root.iteration_depth = depth;
        root.lines[0].score = last_score;
        Iteration end{};
        said = output_of([&end] { end = search_root_moves(); });
        return end;
    }
    std::string said;

    static std::string last_move() {
        const HistoryEntry& record = history_entry(game_ply - 1);
        return square_name(record.from) + square_name(record.to);
    }
    static std::string root_move(int index) { return coordinate_name(move_at(index)); }
    static void set_elapsed(int ms) { now_ms = search_start_ms + ms; }

  private:
    void observe(const EnteredNode& node) {
        if (node.kind == 'R') {
            begin_root_move(node);
        } else if (search_ply == 2 && node.kind == 'Q') {
            set_evaluation(score(searched.back()));
            if (stops_now()) {
                stop_test_enabled = true;
                time_budget_ms = 0;
                nodes = STOP_TEST_INTERVAL - 1;
            }
        } else if (node.kind == 'S' && node.depth >= ONE_PLY) {
            judge(verdict(searched.back()));
        }
    }
    void begin_root_move(const EnteredNode& node) {
        RootMove move = {node.depth / ONE_PLY + 1, 1, last_move(), node.alpha, node.beta,
                         root.first_root_move};
        if (searched.empty() || searched.back().iteration != move.iteration) {
            tick_ms = 0;
            set_elapsed(0);
            on_iteration(move.iteration);
        } else {
            move.number = searched.back().number + (searched.back().move == move.move ? 0 : 1);
        }
        searched.push_back(move);
    }
    static void judge(Verdict verdict) {
        if (search_ply == 2 && verdict == Verdict::DRAW) fifty = 100;
        if (search_ply == 2 && verdict == Verdict::LOST) set_result(-31998, BOUND_UPPER);
        if (search_ply == 3 && verdict == Verdict::LOST_LATER) set_result(31997, BOUND_LOWER);
    }
};

TEST_F(Root, IterationsEndByDepth) {
    EXPECT_EQ(iterations_of(SEVEN_MOVES, 7), 7);
    EXPECT_EQ(iterations_of(SEVEN_MOVES, 200), 127);
    EXPECT_EQ(iterations_of(SEVEN_MOVES, 0), 0);
    EXPECT_EQ(last_move(), "e1f1") << "a legal move all the same";
    constexpr const char* single_move = "k7/8/8/8/8/8/1r6/K7 w - -";
    EXPECT_EQ(iterations_of(single_move, 0), 0);
    EXPECT_EQ(last_move(), "a1b2") << "though it does not stand first in the list";
    EXPECT_EQ(iterations_of(single_move, 60), 4);
    EXPECT_EQ(iterations_of(single_move, 6, {.root = {}, .ends_early = false}), 6);
    // Good enough; a draw is worth 0.
    EXPECT_EQ(iterations_of(SEVEN_MOVES, 5, {.root = {}, .good_enough = 0}), 1);
    EXPECT_EQ(iterations_of(SEVEN_MOVES, 5, {.root = {}, .good_enough = 1}), 5);
}

// A new iteration begins before 60 percent of the budget are gone.
TEST_F(Root, IterationsEndByTime) {
    for (const int elapsed : {599, 600}) {
        on_iteration = [elapsed](int iteration) {
            if (iteration == 6) set_elapsed(elapsed);
        };
        EXPECT_EQ(iterations_of(SEVEN_MOVES, 12), elapsed == 599 ? 12 : 6);
        EXPECT_EQ(iterations_of(SEVEN_MOVES, 12, {.root = {}, .uses_whole_budget = true}), 12)
            << "time that cannot be kept for later is used";
    }
}

// Two changes of the best move in an iteration, from the eighth on, earn the whole budget for the
// next one.
TEST_F(Root, UnstableBestMoveGetsMoreTime) {
    const auto iterations_when = [this](int iteration, Verdict second, int elapsed) {
        verdict = [=](const RootMove& move) {
            if (move.iteration != iteration) return Verdict::DRAW;
            return move.number == 1 ? Verdict::LOST : move.number == 2 ? second : Verdict::DRAW;
        };
        on_iteration = [=](int begun) { set_elapsed(begun < iteration ? 0 : elapsed); };
        return iterations_of(SEVEN_MOVES, 12);
    };
    EXPECT_EQ(iterations_when(8, Verdict::LOST_LATER, 600), 9);
    EXPECT_EQ(iterations_when(8, Verdict::LOST_LATER, BUDGET_MS), 9);
    EXPECT_EQ(iterations_when(8, Verdict::LOST_LATER, BUDGET_MS + 1), 8);
    EXPECT_EQ(iterations_when(8, Verdict::DRAW, 600), 8) << "one change";
    EXPECT_EQ(iterations_when(7, Verdict::LOST_LATER, 600), 7) << "too early";
}

// A rook or queen taken back at once, after ten iterations and an eighth of the budget, if nothing
// else was best since the third.
TEST_F(Root, ObviousRecapture) {
    constexpr const char* rook_takes_rook = "1r5k/7p/8/8/8/8/1R5P/K1B5 b - -";
    struct Case {
        const char* fen;
        int elapsed;
        int other_best_in;  // an iteration, or 0
        int iterations;
        const char* move = "";
    };
    for (const Case& c : {
             Case{rook_takes_rook, 125, 0, 10, "a1b2"}, Case{rook_takes_rook, 124, 0, 12},
             Case{rook_takes_rook, 125, 3, 10, "c1b2"},  // an early change; it takes back as well
             Case{rook_takes_rook, 125, 4, 12},
             Case{"1r5k/7p/8/8/8/8/1B5P/K1B5 b - -", 125, 0, 12},  // took a bishop
             Case{"1r5k/7p/8/8/8/8/7P/K1B5 b - -", 125, 0, 12},    // took nothing
         }) {
        verdict = [c](const RootMove& move) {
            const bool lost = move.iteration == c.other_best_in && move.number == 1;
            return lost ? Verdict::LOST : Verdict::DRAW;
        };
        on_iteration = [c](int) { set_elapsed(c.elapsed); };
        EXPECT_EQ(iterations_of(c.fen, 12, {}, "b8b2"), c.iterations) << c.fen << c.elapsed;
        if (*c.move != 0) { EXPECT_EQ(last_move(), c.move); }
    }
    let_moves_be_worth({{"c3d4", 40}});
    EXPECT_EQ(iterations_of("3r3k/7p/8/8/3R4/2K5/7P/8 b - -", 12, {}, "d8d4"), 10);
    EXPECT_EQ(iterations_of("7k/b6p/8/8/3B4/2K5/7P/8 b - -", 12, {}, "a7d4"), 12)
        << "bishops are not enough";
    EXPECT_EQ(last_move(), "c3d4");

    // Neither analysis, nor a task that wants more, nor a search on the opponent's time ends so.
    let_moves_be_worth({});
    EXPECT_EQ(iterations_of(rook_takes_rook, 12, {.root = {}, .ends_early = false}, "b8b2"), 12);
    analyze_mode = true;
    EXPECT_EQ(iterations_of(rook_takes_rook, 12, {}, "b8b2"), 12);
    analyze_mode = false;
    set_up(rook_takes_rook);
    play("b8b2");
    max_depth = 12;
    searched.clear();
    dialogue.input_waiting = [] { return false; };
    output_of(ponder_on);
    EXPECT_EQ(iterations(), 12);

    // Nor does the first move of a game, whatever a long one has left in the ring of records.
    history_entry(-1).captured = ROOK;
    EXPECT_EQ(iterations_of("7k/7p/8/8/8/8/1r5P/K1B5 w - -", 12), 12);
    history_entry(-1) = {};
}

// The lower bound is the last score less 40; when the first move misses it, that move is searched
// again with the bound open. The others must beat the best.
TEST_F(Root, LowerBound) {
    using Betas = std::vector<int>;
    const auto betas_of_second = [this](int first_score, int second_score) {
        score = [=](const RootMove& move) {
            return move.iteration == 1 ? first_score : move.number == 1 ? second_score : -300;
        };
        iterations_of(SEVEN_MOVES, 2);
        Betas betas;
        std::string firsts;
        for (const RootMove& move : searched) {
            if (move.iteration == 1 || move.number > 2) continue;
            betas.push_back(move.beta);
            firsts += move.first ? '1' : '-';
        }
        EXPECT_EQ(firsts, betas.size() == 3 ? "11-" : "1-");
        return betas;
    };
    EXPECT_EQ(betas_of_second(25, 10), (Betas{15, -10}));
    EXPECT_EQ(betas_of_second(25, -14), (Betas{15, 14}));
    EXPECT_EQ(betas_of_second(25, -15), (Betas{15, 32000, 15}));

    // Who wants to hear of it is told what the first move is worth at most.
    static std::vector<int> fallen;
    fallen.clear();
    Voice listener = cecp_voice;
    listener.score_fell = [](int, int at_most) { fallen.push_back(at_most); };
    set_up(SEVEN_MOVES);
    score = [](const RootMove& move) { return move.iteration == 1 ? 25 : -15; };
    begin_root_search();
    voice = &listener;
    output_of([] {
        for (root.iteration_depth = 1; root.iteration_depth <= 2; ++root.iteration_depth) {
            search_root_moves();
        }
    });
    EXPECT_EQ(fallen, (std::vector<int>{-15}));

    // The bound stays within what can be a score.
    verdict = [](const RootMove&) { return Verdict::LOST; };
    iterations_of(SEVEN_MOVES, 4);
    for (const RootMove& move : searched) {
        if (move.iteration < 4) continue;
        EXPECT_EQ(move.beta, move.number == 1 ? 32000 : 31998);
    }
}

// A later move is first asked only whether it beats the best; if it does, by how much.
TEST_F(Root, LaterMovesBeginWithAZeroWindow) {
    using Windows = std::vector<std::pair<int, int>>;
    const auto windows_of_second = [this](int worth, int asked_again) {
        Windows windows;
        score = [&](const RootMove& move) {
            return move.number != 2 ? 0 : searched.size() < 3 ? worth : asked_again;
        };
        iterate({}, 2);
        for (const RootMove& move : searched) {
            if (move.number == 2) windows.emplace_back(move.alpha, move.beta);
        }
        return windows;
    };
    EXPECT_EQ(windows_of_second(0, 0), (Windows{{-1, 0}}));
    EXPECT_EQ(windows_of_second(30, 20), (Windows{{-1, 0}, {-INF, 0}}));
    EXPECT_EQ(root.best_score(), 20);
    EXPECT_EQ(windows_of_second(30, 0), (Windows{{-1, 0}, {-INF, 0}})) << "no better after all";
    EXPECT_EQ(root.best_score(), 0);
    iterate({}, 1);
    for (const RootMove& move : searched) EXPECT_EQ(move.alpha, -INF) << "not in the first";
}

// A move is known to be better once its first search is done: a stop in the second cannot lose it.
TEST_F(Root, ProvenMoveIsKeptAfterAStop) {
    for (const bool requested : {false, true}) {
        score = [](const RootMove& move) { return move.number == 2 ? 50 : 0; };
        stops_now = [this, requested] {
            stop_requested = requested;
            return searched.size() == 3;
        };
        EXPECT_EQ(iterate({}, 2), Iteration::ABORTED);
        stop_test_enabled = false;
        EXPECT_FALSE(search_aborted) << "so that its score is shown";
        EXPECT_EQ(searched.size(), 3) << "nothing is left to verify";
        EXPECT_EQ(root_move(0), "e1d1");
        EXPECT_EQ(root.best_score(), 50);
        EXPECT_EQ(root.lines[0].variation[1].from, 0) << "one move is known";
    }
}

// The best move stands first from the moment that it is found.
TEST_F(Root, BestMoveComesFirst) {
    let_moves_be_worth({{"h2h4", 30}, {"e1d1", 20}});
    iterations_of(SEVEN_MOVES, 2);
    std::string order;
    for (const RootMove& move : searched) {
        if (move.iteration == 2 && move.number <= 3) order += move.move + " ";
    }
    EXPECT_EQ(order, "h2h4 e1d1 e1f1 ");
    EXPECT_EQ(last_move(), "h2h4");
    EXPECT_EQ(pv_table[0][0].to, H4);
    EXPECT_EQ(root.lines[0].variation[0].to, H4);
}

// Each line has its own best move; only moves that were asked for are searched.
TEST_F(Root, LinesAndMovesAskedFor) {
    let_moves_be_worth({{"h2h4", 30}, {"e1f1", 20}, {"e1d1", 40}});
    iterate({.lines = 2, .among = {{E1, F1, 0}, {H2, H3, 0}, {H2, H4, 0}}});
    EXPECT_EQ(root.legal_moves, 3);
    EXPECT_EQ(root.lines[0].score, 30);
    EXPECT_EQ(root.lines[1].score, 20);
    EXPECT_EQ(root_move(0) + root_move(1), "h2h4e1f1");
    EXPECT_EQ(
        std::count_if(searched.begin(), searched.end(), [](auto& move) { return move.first; }), 1)
        << "the first move of a later line is not the first root move";
}

// What the clock asks about the best move is not said by a change within a later line.
TEST_F(Root, OnlyTheFirstLineHasTheBestMove) {
    for (const char* lost : {"e1d1", "e1f1"}) {
        verdict = [lost](const RootMove& move) {
            return move.move == lost ? Verdict::LOST : Verdict::DRAW;
        };
        iterate({.lines = 2, .among = {}}, 4);
        const bool in_first_line = std::string(lost) == "e1f1";
        EXPECT_EQ(root.best_move_changes[4], in_first_line ? 1 : 0);
        EXPECT_EQ(root.best_move_stable, !in_first_line);
    }
}

// The lines end in the order of their scores, equal ones as they were found.
TEST_F(Root, LinesAreSorted) {
    for (const int second : {30, 0, -5}) {
        score = [second](const RootMove& move) {
            if (root.line == 1) return move.move == "h2h4" ? second : -50;
            return move.move == "e1f1" ? 0 : -10;
        };
        iterate({.lines = 2, .among = {}});
        EXPECT_EQ(root.lines[0].score, std::max(second, 0));
        EXPECT_EQ(root.lines[1].score, std::min(second, 0));
        EXPECT_EQ(root_move(0) + root_move(1), second > 0 ? "h2h4e1f1" : "e1f1h2h4");
    }
}

// An en-passant capture stands in the list once for every own pawn, and is one line.
TEST_F(Root, LinesAreDifferentMoves) {
    set_up("4k3/8/8/3pP3/8/8/PPP5/4K3 w - d6");
    begin_root_search({.lines = 2, .among = {}});
    int captures = 0;
    for (int i = 0; i < list_start(1); ++i) {
        if (move_at(i).score != PICKED && root_move(i) == "e5d6") ++captures;
    }
    EXPECT_EQ(captures, 1);
}

// More lines than moves; moves chosen without a search are among those asked for.
TEST_F(Root, LinesAndChoicesAreMovesAskedFor) {
    set_up(SEVEN_MOVES);
    begin_root_search({.lines = 5, .among = {{E1, F2, 0}, {E1, E2, 0}, {H2, H3, 0}}});
    EXPECT_EQ(root_lines(), 3);
    EXPECT_FALSE(choose_root_move(0, D2)) << "not asked for";
    EXPECT_EQ(root.best_score(), NO_SCORE);
    EXPECT_TRUE(choose_root_move(0, H3));
    EXPECT_EQ(root_move(0), "h2h3");
    EXPECT_EQ(root.best_score(), 0);

    set_up("4k3/8/8/8/8/8/8/N3KN2 w - -");
    for (const char* knight : {"f1d2", "e1d2"}) {
        begin_root_search();
        EXPECT_TRUE(choose_root_move(knight[0] == 'f' ? F1 : E1, D2));
        EXPECT_EQ(root_move(0), knight);
    }
}

// From the ninth iteration on a score like that of a mate is enough.
TEST_F(Root, MateInHand) {
    const auto ends = [this](int last_score, int depth, bool goes_on = false) {
        const Iteration end =
            iterate({.lines = 1, .among = {}, .goes_on_after_mate = goes_on}, depth, last_score);
        const bool mate_found = end == Iteration::MATE_FOUND;
        EXPECT_EQ(said.find("  319.00  ") != said.npos, mate_found) << "it is told once more";
        EXPECT_EQ(searched.empty(), mate_found);
        return mate_found;
    };
    EXPECT_TRUE(ends(31900, 9));
    EXPECT_FALSE(ends(31899, 9));
    EXPECT_FALSE(ends(31900, 8));
    EXPECT_FALSE(ends(31900, 9, true));
}

// A root move that was beating the best when the search was stopped is put to the reply search.
TEST_F(Root, VerificationAfterAStop) {
    // Searches in the second iteration, of two root moves, and the move played.
    using Outcome = std::pair<std::size_t, std::string>;
    // Stop at a reply to a root move of the second iteration; the second root move is worth so
    // much, and so much when it is verified.
    const auto outcome = [this](int stop_move, int stop_reply, int worth, int verified,
                                bool requested = false, bool stop_again = false) {
        int replies = 0;
        const auto searches = [this] {
            return std::count_if(searched.begin(), searched.end(),
                                 [](const RootMove& move) { return move.iteration == 2; });
        };
        score = [&](const RootMove& move) {
            if (move.iteration == 1 || move.number == 1) return 0;
            return searches() == 3 ? verified : worth;
        };
        stops_now = [&] {
            if (iterations() < 2) return false;
            const bool again = searches() == 3 && stop_again;
            if (searched.back().number == stop_move && (searches() == stop_move || again)) {
                ++replies;
            }
            const bool now = replies == stop_reply;
            if (now) {
                replies = 0;
                stop_requested = requested;
            }
            return now;
        };
        iterations_of(SEVEN_MOVES, 3);
        stop_test_enabled = false;
        return Outcome{static_cast<std::size_t>(searches()), last_move()};
    };
    EXPECT_EQ(outcome(2, 2, 50, 60), (Outcome{3, "e1d1"}));
    EXPECT_EQ(searched.back().beta, 0) << "what it has to beat";
    EXPECT_EQ(outcome(2, 2, 50, 0), (Outcome{3, "e1f1"})) << "no better after all";
    EXPECT_EQ(outcome(2, 2, 50, 60, false, true), (Outcome{3, "e1f1"})) << "stopped again";
    EXPECT_EQ(outcome(2, 1, 50, 60), (Outcome{2, "e1f1"})) << "no reply had been searched";
    EXPECT_EQ(outcome(2, 2, 50, 60, true), (Outcome{2, "e1f1"})) << "somebody asked to stop";
    EXPECT_EQ(outcome(1, 2, 50, 60), (Outcome{1, "e1f1"})) << "the first move";
}

TEST_F(Root, ThinkingLines) {
    set_up(SEVEN_MOVES);
    max_depth = 7;
    const std::string output = think_aloud();
    EXPECT_EQ(output.substr(0, 11), "6      0 0 ") << "from the sixth iteration on";
    EXPECT_NE(output.find("\n7      0 0 "), output.npos);
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 3) << "two lines and the move";

    // A mate is told at once, and ends thinking.
    for (const bool goes_on : {false, true}) {
        set_up("6k1/5ppp/8/8/8/8/5PPP/R5K1 w - -");
        max_depth = goes_on ? 1 : 7;
        const RootTask task = {.lines = 1, .among = {}, .goes_on_after_mate = goes_on};
        EXPECT_EQ(think_aloud(true, {.root = task}).substr(0, 9), "1  31998 ");
        EXPECT_EQ(iterations(), 1);
        EXPECT_EQ(searched.back().number == 12, !goes_on) << "no root move after a1a8";
    }
    EXPECT_EQ(searched.back().number, root.legal_moves);
}

TEST_F(Root, AnnouncedMates) {
    const auto announced = [this](const char* fen, int mate_score) {
        set_up(fen);
        score = [mate_score](const RootMove&) { return mate_score; };
        max_depth = 1;
        const std::string output = think_aloud(false);
        const auto begin = output.find("Mi jugada: ") + 11 + 6;
        return output.substr(begin, output.find('\n', begin) - begin);
    };
    constexpr const char* black = "4k3/p7/8/8/8/8/7P/4K3 b - -";
    EXPECT_EQ(announced(SEVEN_MOVES, 31997), "  blancas ganan JAQUE MATE   ");
    EXPECT_EQ(announced(black, 31997), "  negras ganan JAQUE MATE   ");
    EXPECT_EQ(announced(SEVEN_MOVES, 31996), "  MATE en 1  ");
    EXPECT_EQ(announced(black, 31994), "  MATE en 2  ");
    EXPECT_EQ(announced(SEVEN_MOVES, 31970), "  MATE en 14  ");
    EXPECT_EQ(announced(SEVEN_MOVES, 31969), "");
}

TEST_F(Root, EndOfTheGame) {
    const auto said_of = [this](const char* fen, bool xboard) {
        set_up(fen);
        const std::string output = think_aloud(xboard);
        EXPECT_EQ(game_ply, 0);
        return output;
    };
    constexpr const char* mated = "R5k1/5ppp/8/8/8/8/8/6K1 b - -";
    constexpr const char* stalemated = "k7/2Q5/8/8/8/8/8/K7 b - -";
    EXPECT_EQ(said_of(mated, false), "\n MATE!!...\n");
    EXPECT_EQ(said_of(mated, true), "");
    EXPECT_EQ(said_of(stalemated, false), "\n TABLAS AHOGADO!!...\n");
    EXPECT_EQ(said_of(stalemated, true), "1/2-1/2 {Stalemate}\n");
}

TEST_F(Root, OpeningReplies) {
    const auto reply = [this](const char* moves, const ThinkTask& wanted = {}) {
        init_engine();
        max_depth = 1;
        play(moves);
        think_aloud(true, wanted);
        return iterations() == 0 ? last_move() : "searched";
    };
    EXPECT_EQ(reply(""), "d2d4");
    EXPECT_EQ(reply("d2d4"), "g8f6");
    EXPECT_EQ(reply("f2f4"), "d7d5");
    EXPECT_EQ(reply("g1f3"), "d7d5");
    EXPECT_EQ(reply("f2f3"), "e7e5");
    EXPECT_EQ(reply("e2e4"), "e7e5");
    EXPECT_EQ(reply("e2e4 e7e5"), "searched");
    EXPECT_EQ(reply("e2e4 a7a6 d2d4"), "searched");
    EXPECT_EQ(reply("", {.root = {}, .fixed_replies = false}), "searched");
    for (bool* mode : {&test_mode, &analyze_mode}) {
        init_engine();
        max_depth = 1;
        *mode = true;
        think_aloud();
        EXPECT_EQ(iterations(), 1);
        EXPECT_EQ(game_ply, mode == &test_mode ? 1 : 0) << "analysis plays nothing";
    }
}

// With at least three moves left to the time control the engine thinks on, in a generation of the
// table of its own.
TEST_F(Root, Pondering) {
    const auto generations = [this](bool may_ponder, int moves) {
        set_up(SEVEN_MOVES);
        max_depth = 2;
        ponder = may_ponder;
        moves_left = moves;
        std::vector<bool> pondered;
        on_iteration = [&pondered](int iteration) {
            if (iteration == 1) pondered.push_back(pondering);
            if (pondering || iteration == 2) tick_ms = FLYING;
        };
        think_aloud();
        EXPECT_EQ(game_ply, 1);
        EXPECT_FALSE(pondering);
        for (std::size_t i = 0; i < pondered.size(); ++i) EXPECT_EQ(pondered[i], i == 1);
        EXPECT_EQ(iterations(), 2) << "the clock does not end pondering";
        return tt_generation;
    };
    EXPECT_EQ(generations(true, 3), 2);
    EXPECT_EQ(generations(true, 2), 1);
    EXPECT_EQ(generations(false, 3), 1);
}

// Before the fifth iteration the tables' memory is prefaulted, for a tenth of the budget at most
// and until something arrives. The clock moves at each look.
TEST_F(Root, PrefaultingTakesATenthOfTheBudget) {
    for (const bool input_waits : {false, true}) {
        free_hash_tables();
        allocate_hash_tables();
        set_up(SEVEN_MOVES);
        dialogue = cecp_voice;
        dialogue.input_waiting = input_waits ? [] { return true; } : [] { return false; };
        voice = &dialogue;
        time_budget_ms = 200;
        max_depth = 5;
        tick_ms = 0;
        std::array<int, MAX_ITERATIONS> begun{};
        node_observer = [&begun](const EnteredNode& node) {
            if (node.kind != 'R') return;
            int& begun_at = begun[idx(node.depth / ONE_PLY + 1)];
            if (begun_at == 0) begun_at = now_ms - search_start_ms;
            tick_ms = node.depth == 3 * ONE_PLY ? 1 : 0;
        };
        output_of([] { think(); });
        EXPECT_EQ(begun[4], 0);
        EXPECT_EQ(begun[5], input_waits ? 2 : 20);
    }
}

// A new think forgets what the last one left behind.
TEST_F(Root, BeginsAfresh) {
    set_up(SEVEN_MOVES);
    killer1[3] = killer2[3] = killer3[3] = {E2, E4, 0};
    history[0][E2][E4] = history_max = 77;
    pv_table[0][40].from = E2;
    eval_stack[40] = 77;
    root.lines[0].score = root.best_move_changes[9] = 77;
    root.best_move_stable = false;
    search_aborted = stop_requested = time_extended = true;
    statistics.lmr = nodes = 1000;
    max_depth = 1;
    on_iteration = [](int) {
        EXPECT_EQ(killer1[3].from + killer2[3].from + killer3[3].from, 0);
        EXPECT_EQ(history[0][E2][E4] + history_max, 0);
        EXPECT_EQ(pv_table[0][40].from + eval_stack[40], 0);
        EXPECT_FALSE(search_aborted || stop_requested || time_extended);
        EXPECT_EQ(root.best_score(), NO_SCORE);
        EXPECT_EQ(root.best_move_changes[9], 0);
        EXPECT_TRUE(root.best_move_stable);
        EXPECT_EQ(statistics.lmr, 0U);
        EXPECT_EQ(nodes, 1U) << "the first root move";
    };
    think_aloud();
    EXPECT_EQ(iterations(), 1);
}

}  // namespace

}  // namespace tarsimo::test
