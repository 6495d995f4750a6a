"""The protocol, as a GUI sees it."""
import re
import time

import pytest

from conftest import ILLEGAL_POSITION, MOVE, PATIENCE, QUIET_POSITION, START, THINKING

LONG = "st 3600"  # far longer than any test waits
START_FEN = f"{START} w KQkq -"
MATE_IN_ONE = "6k1/5ppp/8/8/8/8/8/R3K3 w - -"
ONE_LEGAL_MOVE = "rnbqkbnr/pppp1Qpp/8/4p3/4P3/8/PPPP1PPP/RNB1KBNR b KQkq -"
STALEMATE = "1/2-1/2 {Stalemate}"


def refused(*words):
    return [f"Error (unknown command): {word}" for word in words]


@pytest.fixture
def quiet(gui):
    """A middlegame with White to move; the engine plays neither side."""
    assert gui.ask("force", f"setboard {QUIET_POSITION}") == []
    return gui


# ---------------------------------------------------------------------------
# Words without thought
# ---------------------------------------------------------------------------

def test_features_and_pongs_are_exact(gui):
    gui.send("protover 2", "ping 7", "ping 0", "ping -3", "ping", "ping x", "ping 99999999999",
             "quit")
    assert gui.end() == ([
        'feature name=0 myname="Tarsimo_II 2023"',
        "feature setboard=1 playother=1 colors=0 reuse=0",
        "feature analyze=1 ping=1 draw=0 variants=normal",
        "feature sigint=0 sigterm=0 ics=0 done=1",
        "pong 7", "pong 0", "pong -3", "pong 0", "pong 0", "pong 2147483647"], 0)


def test_pong_comes_after_what_was_asked_before_it(gui):
    gui.send("go", "ping 1", "setboard x", "ping 2", "force", "sd 1", "go", "ping 3")
    assert (gui.line(), gui.line()) == ("move d2d4  ", "pong 1")
    assert (gui.line(), gui.line()) == (ILLEGAL_POSITION, "pong 2")
    gui.await_move()
    assert gui.line() == "pong 3"


def test_silent_words(gui):
    words = ["accepted setboard", "rejected variants", "xboard", "post", "nopost", ".", "pause",
             "draw", "rating 1 2", "resume", "?", "computer", "random", "easy", "", " ", "\t", "\r"]
    assert gui.ask("force", *words, *words) == []


def test_unknown_words_and_illegal_moves(gui):
    answers = {"usermove e2e4": "usermove", "PING 4": "ping", "E2E5": "e2e5", "e2": "e2",
               "e7e5": "e7e5", "exit": "exit", "e2e5" + "x" * 10_000: "e2e5" + "x" * 251}
    assert gui.ask("force", *answers) == refused(*answers.values())
    assert gui.ask("E2E4", "d7d6x", "f1b5") == []
    assert gui.ask("a7a6") == ["", "Rey negro en e8 en jaque", *refused("a7a6")]
    assert gui.ask("c7c6", "b5c6", "b8c6") == []


# ---------------------------------------------------------------------------
# Set-up, and whose turn it is
# ---------------------------------------------------------------------------

@pytest.mark.parametrize("text", ["setboard", "setboard 8/8/8/8/8/8/8/4K3 b - -", "setboard hola"])
def test_illegal_set_up_leaves_the_initial_position(gui, text):
    assert gui.ask(f"setboard {QUIET_POSITION}", text) == [ILLEGAL_POSITION]
    assert gui.ask("force", "c1g5") == refused("c1g5")
    assert gui.ask("e2e4", "e7e5", "g1f3", "g8f6", "f1c4", "f8c5", "e1g1", "e8g8") == []


@pytest.mark.parametrize("commands, answer", [
    # Fixed replies. After `force` and `new` the engine plays Black, and an opponent's move comes
    # first.
    (["go"], "d2d4"),
    (["force", "d2d4", "go"], "g8f6"),
    (["force", "g1f3", "playother", "new", "go"], "d2d4"),
    (["black", "new", "f2f3"], "e7e5"),
    # Nobody answers, or a side does.
    (["force", "e2e4", "e7e5"], None),
    (["result 1-0 {Black resigns}", "e2e4", "e7e5"], None),
    (["force", "white", "b2b3"], None),
    (["white", "b2b3"], ".[78].."),
    (["black", "e7e5"], ".[12].."),
    (["force", "playother", "e2e4"], ".[78].."),
    (["force", "e2e4", "playother", "e7e5"], ".[12].."),
    (["force", "e2e4", "e7e5", "result *", "playother", "d2d4"], ".[5-8].."),
])
def test_who_answers(gui, commands, answer):
    if answer is None:
        assert gui.ask(*commands) == []
    else:
        assert re.fullmatch(answer, gui.think("sd 2", *commands)[1])
    assert gui.sync() == []


def test_take_back_keeps_the_first_half_move(gui):
    assert gui.ask("force", "undo", "remove", "e2e4", "undo", "remove", "e2e4") == refused("e2e4")
    assert gui.ask("e7e5", "remove", "e7e5") == refused("e7e5")
    assert gui.ask("undo", "e7e6", "d2d4", "remove", "e7e5", "g1f3", "undo", "b1c3") == []
    assert gui.ask("undo", "e1e2", "remove", "undo", "c7c5", "e7e5") == refused("e7e5")
    assert gui.ask(f"setboard {QUIET_POSITION}", "undo", "c1g5", "undo", "c1g5") == refused("c1g5")


# ---------------------------------------------------------------------------
# Thinking, analysis, pondering
# ---------------------------------------------------------------------------

@pytest.mark.parametrize("clock", [
    ["level 40 5 0", "time 3000", "otim 3000"], ["level 0 0:02 0.05", "time 200", "otim 200"],
    ["level 0 2 12", "st 0"], ["level 40 0:30 0", "st 1"], ["level 0 5 -1", "time -5"],
    ["level 4 1 0", "time 50"], ["level 1 0 0", "time -99999999999"], ["level", "time", "otim"],
    ["level a b c", "time x", "otim y"], ["level 0 1 9000", "time 50"], ["level 1 90 0", "time 50"],
    ["st 0.5"], ["st 0:01"], ["st -1"], ["st no"], ["sd 0"], ["sd 99999999999", "st 0"],
], ids=" ".join)
def test_any_clock_gives_a_legal_move(quiet, assert_legal, clock):
    for played in ([], ["c1g5", "h7h6"]):
        _, move = quiet.think(*played, *clock, "go")
        assert_legal([*played, move], QUIET_POSITION)
        assert quiet.ask("force", f"setboard {QUIET_POSITION}") == []


def test_thinking_lines(quiet, assert_legal):
    thoughts, move = quiet.think("sd 9", "go")
    for before, after in zip(thoughts, thoughts[1:]):
        assert before[0] <= after[0] and before[2] <= after[2] and before[3] < after[3]
    assert (thoughts[0][0], thoughts[-1][0]) == (6, 9)
    assert thoughts[-1][4][0] == move
    for *_, variation in thoughts:
        assert_legal(variation, QUIET_POSITION)


@pytest.mark.parametrize("clock, stop", [
    ([LONG], "?"), ([LONG], "exit"), (["st 99999999999"], "?"), (["sd 99999999999"], "?"),
    (["level 0 99999 99999", "time 2000000000"], "?")])
def test_stop_that_came_together_with_go_is_seen(quiet, assert_legal, clock, stop):
    _, move = quiet.think(*clock, "go", stop)
    assert_legal([move], QUIET_POSITION)
    assert quiet.sync() == []


def test_other_lines_during_a_search_are_dropped(quiet, assert_legal):
    quiet.send(LONG, "go")
    quiet.thought(quiet.line())
    _, move = quiet.think("ping 5", "hola", "c1g5", "new", "quit", ".", "", "?")
    assert_legal([move], QUIET_POSITION)
    assert quiet.ask(move) == refused(move)


def analysed(gui, *commands):
    """Send commands to an engine that analyses, or is to; the first variation of the analysis that
    goes on after them, and what they were answered."""
    answers = [line for line in gui.ask(*commands) if not THINKING.fullmatch(line)]
    return gui.thought(gui.line())[4], answers


def test_analysis_follows_a_walk_through_a_game(quiet, assert_legal):
    def check(commands, moves, answers=(), fen=QUIET_POSITION):
        variation, said = analysed(quiet, *commands)
        assert said == list(answers)
        assert_legal([*moves, *variation], fen)

    check(["hard", LONG, "analyze"], [])
    check([".", "hard", "time 100", "computer"], [])
    check(["c1g5"], ["c1g5"])
    check(["h7h6"], ["c1g5", "h7h6"])
    check(["undo"], ["c1g5"])
    check(["h7h8"], ["c1g5"], refused("h7h8"))
    check(["g8h8", "h7h6"], ["c1g5", "h7h6"], refused("g8h8"))
    check(["g5h4", "remove"], ["c1g5"])
    other = "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -"
    check([f"setboard {other}"], [], fen=other)
    check(["setboard x"], [], [ILLEGAL_POSITION], START_FEN)
    check(["e2e4"], ["e2e4"], fen=START_FEN)
    # After its end it stays silent, whatever is taken back.
    for end in ("exit", "?", "force", "result *"):
        check(["e7e5"], ["e2e4", "e7e5"], fen=START_FEN)
        quiet.send(end)
        quiet.sync()
        assert quiet.ask("undo", "ping 6", "exit") == ["pong 6"]
        check(["analyze"], ["e2e4"], fen=START_FEN)
    # Nor is the opponent's time used: analysis has switched pondering off.
    _, move = quiet.think("exit", "sd 7", "go")
    assert_legal(["e2e4", move])
    time.sleep(0.3)
    assert quiet.ask("new", "force", "e2e4", "e7e5", "exit") == refused("exit")


def test_analysis_gives_way_to_the_game(quiet, assert_legal):
    variation, _ = analysed(quiet, "analyze")
    quiet.send("go")
    while not (move := MOVE.fullmatch(line := quiet.line())):
        assert THINKING.fullmatch(line)
        quiet.send("?")
    assert_legal([move[1]], QUIET_POSITION)
    analysed(quiet, "analyze")
    quiet.send("quit")
    lines, status = quiet.end()
    assert status == 0 and all(THINKING.fullmatch(line) for line in lines)


def test_analysis_at_the_ends_of_a_game(gui):
    """The first move has no fixed reply there; a mate ends it early, and `exit` may still come."""
    gui.send("analyze")
    assert gui.thought(gui.line())[0] == 6
    assert all(gui.thought(line) for line in gui.ask("exit"))
    gui.send("force", f"setboard {MATE_IN_ONE}", "analyze")
    assert gui.thought(gui.line())[1] == 31998
    assert gui.ask("exit") == [] and gui.ask("ping 3") == ["pong 3"]
    # A position without a move has nothing to be analysed.
    assert gui.ask("force", "setboard 7k/5K2/6Q1/8/8/8/8/8 b - -", "analyze", "ping 4", "exit",
                   "undo") == [STALEMATE, "pong 4"]


def move_and_ponder(gui, *commands):
    """Let the engine move and think on; its move and the answer that it expects."""
    gui.send(LONG, *commands)
    gui.thought(gui.line())
    _, move = gui.think("?")
    *_, variation = gui.thought(gui.line())
    return move, variation[0]


def test_pondering(quiet, assert_legal):
    first, expected = move_and_ponder(quiet, "hard", "go")
    second, expected_again = move_and_ponder(quiet, expected)
    assert all(quiet.thought(line) for line in quiet.sync())

    # Without it the engine is silent after its move.
    quiet.send("easy", expected_again)
    quiet.thought(quiet.line())
    _, third = quiet.think("?")
    time.sleep(0.5)
    assert quiet.sync() == []
    assert_legal([first, expected, second, expected_again, third], QUIET_POSITION)


# ---------------------------------------------------------------------------
# The end of a game
# ---------------------------------------------------------------------------

@pytest.mark.parametrize("fen, move, answer", [
    ("7k/8/5Q2/6K1/8/8/8/8 w - -", "f6f7", [STALEMATE]),
    ("7k/8/5QK1/8/8/8/8/8 w - -", "f6f8", []),
])
def test_opponent_ends_the_game(gui, fen, move, answer):
    assert gui.ask("new", f"setboard {fen}", move) == answer
    assert gui.ask("go", "hard", "go", "undo", "analyze") == answer * 3


@pytest.mark.parametrize("fen, limit, scores, move", [
    (MATE_IN_ONE, LONG, [31998], "a1a8"),
    (ONE_LEGAL_MOVE, LONG, None, "e8f7"),  # no choice: no time is spent
    (ONE_LEGAL_MOVE, "sd 0", [], "e8f7"),  # no search either
    ("8/4P1k1/8/8/8/8/8/K7 w - -", "sd 4", None, "e7e8q"),
])
def test_foreseeable_moves(gui, fen, limit, scores, move):
    thoughts, played = gui.think(f"setboard {fen}", limit, "go")
    assert played == move and scores in (None, [thought[1] for thought in thoughts])
    assert fen != MATE_IN_ONE or gui.ask("go") == []


# ---------------------------------------------------------------------------
# The end of the conversation
# ---------------------------------------------------------------------------

STATES = {"idle": [], "searching": ["st 1", "go"], "analysing": ["analyze"], "pondering": None}


@pytest.fixture(params=STATES)
def busy(request, quiet):
    """An engine in each state."""
    if request.param == "pondering":
        move_and_ponder(quiet, "hard", "go")
    elif request.param != "idle":
        quiet.send(*STATES[request.param])
        quiet.thought(quiet.line())
    return quiet


def test_end_of_input_ends_the_engine(busy, request):
    busy.process.stdin.close()
    lines, status = busy.end()
    assert status == 1
    searching = "searching" in request.node.name
    assert sum(line.startswith("move ") for line in lines) == searching


def test_death_of_the_gui_leaves_no_process(busy):
    busy.process.stdout.close()
    busy.process.stdin.close()
    assert busy.process.wait(PATIENCE) == 1


def test_closed_output_ends_the_engine(quiet):
    quiet.process.stdout.close()
    quiet.send("ping 1")
    assert quiet.process.wait(PATIENCE) == 1


def test_quit_from_pondering(quiet):
    move_and_ponder(quiet, "hard", "go")
    quiet.send("quit", "ping 1")
    lines, status = quiet.end()
    assert status == 0 and "pong 1" not in lines


def test_last_line_without_an_end_counts(gui):
    gui.write(b"go")
    gui.process.stdin.close()
    assert gui.end() == (["move d2d4  "], 1)
