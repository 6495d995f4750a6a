"""The protocol, as a GUI sees it."""
import time
from pathlib import Path

import pytest

from conftest import MOVE, PATIENCE, START, THINKING

LONG = "st 3600"  # far longer than any test waits
START_FEN = f"{START} w KQkq -"
QUIET_POSITION = "r1bqk2r/ppp2ppp/2np1n2/2b1p3/2B1P3/2NP1N2/PPP2PPP/R1BQK2R w KQkq -"
ILLEGAL_POSITION = "tellusererror Illegal position"


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


@pytest.mark.parametrize("line, word", [
    ("usermove e2e4", "usermove"), ("PING 4", "ping"), ("E2E5", "e2e5"), ("e2", "e2"),
    ("e9e8", "e9e8"), ("i2i4", "i2i4"), ("e7e5", "e7e5"), ("exit", "exit"), ("help", "help"),
    ("e2e5" + "x" * 10_000, "e2e5" + "x" * 251),
])
def test_unknown_words_and_illegal_moves(gui, line, word):
    assert gui.ask("force", line) == refused(word)
    assert gui.ask("E2E4", "e7e5x") == []


def test_every_byte_value(gui):
    values = set(range(256)) - {ord("\n")}
    gui.write(b"force\n" + b"".join(bytes([value]) * 3 + b"\n" for value in values))
    answers = gui.sync()
    assert len(answers) == len(values - set(b"\0\t\v\f\r "))
    assert all(answer.startswith("Error (unknown command): ") for answer in answers)


def test_king_left_in_check_is_refused(gui):
    in_check = ["", "Rey negro en e8 en jaque", *refused("a7a6")]
    assert gui.ask("force", "e2e4", "d7d6", "f1b5", "a7a6") == in_check
    assert gui.ask("c7c6", "b5c6", "b8c6") == []


# ---------------------------------------------------------------------------
# Set-up
# ---------------------------------------------------------------------------

@pytest.mark.parametrize("fen, legal, illegal", [
    ("4k3/8/8/8/8/8/8/R3K2R w KQ - 0 1", ["e1g1", "e8e7"], ["e1d3"]),
    ("4k3/8/8/8/8/8/8/R3K2R w Q -", ["e1c1"], ["e1g1"]),
    ("r3k2r/8/8/8/8/8/8/4K3 b q -", ["e8c8"], ["e8g8"]),
    ("4k3/8/8/8/8/8/8/R3K2R w - -", ["e1e2"], ["e1g1", "e1c1"]),
    ("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 2", ["e5d6", "e8d8", "d6d7"], ["e5f6"]),
    ("4k3/8/8/3pP3/8/8/8/4K3 w - -", ["e5e6"], ["e5d6"]),
    ("7k/4P3/8/8/8/8/8/4K3 w - - 99 200", ["e7e8n", "h8g8", "e8f6"], ["e7d8"]),
    ("8/8/8/8/8/8/8/K6k b", ["h1g2", "a1b2"], ["a1b1"]),
])
def test_set_up_seen_through_its_moves(gui, fen, legal, illegal):
    assert gui.ask("force", f"setboard {fen}", *illegal) == refused(*illegal)
    assert gui.ask(*legal) == []


@pytest.mark.parametrize("text", [
    "setboard", "setboard 8/8/8/8/8/8/8/8 w - -", "setboard 8/8/8/8/8/8/8/4K3 b - -",
    "setboard 4k3/8/8/8/8/8/8/8 w - -", "setboard 4k3/8/8/8/8/8/8/K3K3 w - -",
    "setboard 4k3/8/8/8/8/8/8/8/8/4K3 w - -", "setboard " + "K" * 200, "setboard hola",
])
def test_illegal_set_up_leaves_the_initial_position(gui, text):
    assert gui.ask(f"setboard {QUIET_POSITION}", text) == [ILLEGAL_POSITION]
    assert gui.ask("force", "c1g5") == refused("c1g5")
    assert gui.ask("e2e4", "e7e5", "g1f3", "g8f6", "f1c4", "f8c5", "e1g1", "e8g8") == []


def test_many_illegal_set_ups_leak_nothing(gui):
    def size_kib():
        status = Path(f"/proc/{gui.process.pid}/status").read_text()
        return int(status.split("VmSize:")[1].split()[0])

    assert gui.ask("setboard x") == [ILLEGAL_POSITION]
    before = size_kib()
    for _ in range(20):
        assert gui.ask("setboard x", "new") == [ILLEGAL_POSITION]
    assert size_kib() <= before + 1024


# ---------------------------------------------------------------------------
# Whose turn it is
# ---------------------------------------------------------------------------

@pytest.mark.parametrize("commands, move", [
    (["new", "e2e4"], "e7e5"),
    (["go"], "d2d4"),
    (["force", "d2d4", "go"], "g8f6"),
    (["force", "g1f3", "playother", "new", "go"], "d2d4"),
    # The engine plays Black from here, and an opponent's move comes first.
    (["force", "new", "f2f4"], "d7d5"),
    (["black", "new", "f2f3"], "e7e5"),
])
def test_turns_seen_through_fixed_replies(gui, commands, move):
    assert gui.think(*commands) == ([], move)
    assert gui.sync() == []


@pytest.mark.parametrize("commands, home_ranks", [
    (["force", "e2e4", "e7e5"], None),
    (["result 1-0 {Black resigns}", "e2e4", "e7e5"], None),
    (["force", "white", "b2b3"], None),
    (["white", "b2b3"], "78"),
    (["black", "e7e5"], "12"),
    (["force", "playother", "e2e4"], "78"),
    (["force", "e2e4", "playother", "e7e5"], "12"),
    (["force", "e2e4", "e7e5", "result *", "playother", "d2d4"], "78"),
])
def test_who_answers(gui, commands, home_ranks):
    gui.send("sd 2")
    if home_ranks:
        assert gui.think(*commands)[1][1] in home_ranks
    assert gui.ask(*([] if home_ranks else commands)) == []


def test_take_back_keeps_the_first_half_move(gui):
    assert gui.ask("force", "undo", "remove", "e2e4", "undo", "remove", "e2e4") == refused("e2e4")
    assert gui.ask("e7e5", "remove", "e7e5") == refused("e7e5")
    assert gui.ask("undo", "e7e6", "d2d4", "remove", "e7e5", "g1f3", "undo", "b1c3") == []
    assert gui.ask("undo", "e1e2", "remove", "undo", "c7c5", "e7e5") == refused("e7e5")
    assert gui.ask(f"setboard {QUIET_POSITION}", "undo", "c1g5", "undo", "c1g5") == refused("c1g5")


def test_game_of_any_length(gui):
    knights_dance = ["g1f3", "g8f6", "f3g1", "f6g8"]
    assert gui.ask("force", *knights_dance * 400) == []
    assert gui.ask("undo", "remove", "g8f6", "f3g1", "f6g8") == []
    assert gui.think("sd 4", "go")[1][1] in "12"


# ---------------------------------------------------------------------------
# Clocks
# ---------------------------------------------------------------------------

@pytest.mark.parametrize("clock", [
    ["level 40 5 0", "time 3000", "otim 3000"], ["level 0 0:02 0.05", "time 200", "otim 200"],
    ["level 0 2 12", "st 0"], ["level 40 0:30 0", "st 1"],
    ["level 0 5 -1", "otim 100", "time 100"], ["level 0 5 -1", "time -5"],
    ["level 1 1 0", "time 50"], ["level 2 1 0", "time 50"], ["level 4 1 0", "time 50"],
    ["level -7 1 0", "time 100"], ["level 2147483647 0 2147483647", "time 0", "st 0"],
    ["level 99999999999 1 -99999999999", "time 9"], ["level", "time", "otim"],
    ["level a b c", "time x", "otim y"], ["time 0", "otim 0"],
    ["level 0 1 9000", "time 50"], ["level 1 90 0", "time 50"],
    ["time -99999999999", "otim 99999999999"],
    ["st 0.5"], ["st 0:01"], ["st -1"], ["st"], ["st no"], ["st -99999999999"],
    ["sd 1"], ["sd 0"], ["sd -4"], ["sd no"], ["sd -99999999999"], ["sd 99999999999", "st 0"],
], ids=" ".join)
def test_any_clock_gives_a_legal_move(quiet, assert_legal, clock):
    for played in ([], ["c1g5", "h7h6"]):
        _, move = quiet.think(*played, *clock, "go")
        assert_legal([*played, move], QUIET_POSITION)
        assert quiet.ask("force", f"setboard {QUIET_POSITION}") == []


@pytest.mark.parametrize("endless", [["st 99999999999"], ["sd 99999999999"], ["time 99999999999"],
                                     ["level 0 99999 99999", "time 2000000000"]], ids=" ".join)
def test_endless_clock_still_obeys_the_question_mark(quiet, assert_legal, endless):
    quiet.send(*endless, "go")
    quiet.thought(quiet.line())
    _, move = quiet.think("?")
    assert_legal([move], QUIET_POSITION)


# ---------------------------------------------------------------------------
# Thinking and analysis
# ---------------------------------------------------------------------------

def test_thinking_lines(quiet, assert_legal):
    thoughts, move = quiet.think("sd 9", "go")
    for before, after in zip(thoughts, thoughts[1:]):
        assert before[0] <= after[0] and before[2] <= after[2] and before[3] < after[3]
    assert (thoughts[0][0], thoughts[-1][0]) == (6, 9)
    assert thoughts[-1][4][0] == move
    for *_, variation in thoughts:
        assert_legal(variation, QUIET_POSITION)


@pytest.mark.parametrize("stop", ["?", "exit"])
def test_stop_that_came_together_with_go_is_seen(quiet, assert_legal, stop):
    _, move = quiet.think(LONG, "go", stop)
    assert_legal([move], QUIET_POSITION)
    assert quiet.sync() == []


def test_other_lines_during_a_search_are_dropped(quiet, assert_legal):
    quiet.send(LONG, "go")
    quiet.thought(quiet.line())
    _, move = quiet.think("ping 5", "hola", "c1g5", "new", "quit", ".", "", "?")
    assert_legal([move], QUIET_POSITION)
    assert quiet.ask(move) == refused(move)


def test_analysis(quiet, assert_legal):
    def analyse(*commands):
        quiet.send(*commands)
        thoughts = [quiet.thought(quiet.line())]
        quiet.send(".", "hard", "time 100", "computer")
        while thoughts[-1][0] < 9:
            thoughts.append(quiet.thought(quiet.line()))
        quiet.send("exit")
        thoughts += [quiet.thought(line) for line in quiet.sync()]
        return [variation for *_, variation in thoughts]

    for variation in analyse("hard", LONG, "analyze"):
        assert_legal(variation, QUIET_POSITION)
    # A move restarts it on the new position, one that is refused does not; "go" plays.
    for variation in analyse("c1g5"):
        assert_legal(["c1g5", *variation], QUIET_POSITION)
    assert quiet.ask("a1a5") == refused("a1a5")
    _, move = quiet.think("sd 7", "go")
    assert_legal(["c1g5", move], QUIET_POSITION)
    # Analysis has switched pondering off.
    time.sleep(0.3)
    assert quiet.ask("force", "a2a3") == []


def test_analysis_of_the_first_move_searches(gui):
    gui.send("analyze")
    assert gui.thought(gui.line())[0] == 6
    gui.send("exit")
    assert all(gui.thought(line) for line in gui.sync())


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

    check(["analyze"], [])
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
    quiet.send("new")
    quiet.sync()
    assert quiet.ask("force", "e2e4", "e7e5", "exit") == refused("exit")


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


def test_analysis_that_ends_by_itself_takes_its_end_calmly(gui):
    mate_in_one = "6k1/5ppp/8/8/8/8/8/R3K3 w - -"
    gui.send("force", f"setboard {mate_in_one}", "analyze")
    assert gui.thought(gui.line())[1] == 31998
    assert gui.ask("exit") == [] and gui.ask("ping 3") == ["pong 3"]
    # A position without a move has nothing to be analysed.
    assert gui.ask("force", "setboard 7k/5K2/6Q1/8/8/8/8/8 b - -", "analyze", "ping 4", "exit",
                   "undo") == ["1/2-1/2 {Stalemate}", "pong 4"]


# ---------------------------------------------------------------------------
# Pondering
# ---------------------------------------------------------------------------

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
    ("7k/8/5Q2/6K1/8/8/8/8 w - -", "f6f7", ["1/2-1/2 {Stalemate}"]),
    ("7k/8/5QK1/8/8/8/8/8 w - -", "f6f8", []),
])
def test_opponent_ends_the_game(gui, fen, move, answer):
    assert gui.ask("new", f"setboard {fen}", move) == answer
    assert gui.ask("go", "hard", "go", "undo", "analyze") == answer * 3


def test_engine_mates_and_then_has_no_move(gui):
    thoughts, move = gui.think("setboard 6k1/5ppp/8/8/8/8/8/R3K3 w - -", "go")
    assert ([thought[1] for thought in thoughts], move) == ([31998], "a1a8")
    assert gui.ask("go") == []


ONE_LEGAL_MOVE = "rnbqkbnr/pppp1Qpp/8/4p3/4P3/8/PPPP1PPP/RNB1KBNR b KQkq -"


@pytest.mark.parametrize("fen, limit, move", [
    (ONE_LEGAL_MOVE, LONG, "e8f7"),  # no choice: no time is spent
    (ONE_LEGAL_MOVE, "sd 0", "e8f7"),  # no search either
    ("8/4P1k1/8/8/8/8/8/K7 w - -", "sd 4", "e7e8q"),
])
def test_foreseeable_moves(gui, fen, limit, move):
    assert gui.think(f"setboard {fen}", limit, "go")[1] == move


# ---------------------------------------------------------------------------
# The end of the conversation
# ---------------------------------------------------------------------------

STATES = {"idle": [], "searching": ["st 1", "go"], "analysing": ["analyze"], "pondering": None}


def bring_to(gui, state):
    if state == "pondering":
        move_and_ponder(gui, "hard", "go")
    elif state != "idle":
        gui.send(*STATES[state])
        gui.thought(gui.line())


@pytest.mark.parametrize("state", STATES)
def test_end_of_input_ends_the_engine(quiet, state):
    bring_to(quiet, state)
    quiet.process.stdin.close()
    lines, status = quiet.end()
    assert status == 1
    assert sum(line.startswith("move ") for line in lines) == (state == "searching")


@pytest.mark.parametrize("state", STATES)
def test_death_of_the_gui_leaves_no_process(quiet, state):
    bring_to(quiet, state)
    quiet.process.stdout.close()
    quiet.process.stdin.close()
    assert quiet.process.wait(PATIENCE) == 1


def test_closed_output_ends_the_engine(quiet):
    quiet.process.stdout.close()
    quiet.send("ping 1")
    assert quiet.process.wait(PATIENCE) == 1


@pytest.mark.parametrize("state", ["idle", "pondering"])
def test_quit(quiet, state):
    bring_to(quiet, state)
    quiet.send("quit", "ping 1")
    lines, status = quiet.end()
    assert status == 0 and "pong 1" not in lines


def test_last_line_without_an_end_counts(gui):
    gui.write(b"go")
    gui.process.stdin.close()
    assert gui.end() == (["move d2d4  "], 1)
