"""The Universal Chess Interface, as a modern interface sees it."""
import re
import time

import pytest

from conftest import PATIENCE, QUIET_POSITION, START, UCI_ENGINE, Interface

MIDDLEGAME = f"{QUIET_POSITION} 0 6"
MATE_IN_TWO = "kbK5/pp6/1P6/8/8/8/8/R7 w - - 0 1"
CHECKMATE = "7k/6Q1/6K1/8/8/8/8/8 b - - 0 1"
ROOK_ENDING = "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1"
ONE_MOVE = "k7/8/8/8/8/8/1r6/K7 w - - 0 1"
STALEMATE = "7k/5Q2/6K1/8/8/8/8/8 b - - 0 1"

MOVE = r"[a-h][1-8][a-h][1-8][qrbn]?"
INFO = re.compile(r"info depth (?P<depth>\d+) seldepth (?P<seldepth>\d+) multipv (?P<multipv>\d+) "
                  r"score (?P<kind>cp|mate) (?P<score>-?\d+)(?P<bound> (?:upper|lower)bound)? "
                  r"nodes (?P<nodes>\d+) nps (?P<nps>\d+) hashfull (?P<hashfull>\d+) "
                  r"time (?P<time>\d+) "
                  rf"pv(?P<pv>(?: {MOVE})*)")
CURRENT = re.compile(rf"info depth (?P<depth>\d+) currmove {MOVE} currmovenumber (?P<number>\d+)")
BEST = re.compile(rf"bestmove (?P<move>{MOVE}|0000)(?: ponder (?P<ponder>{MOVE}))?")


class Uci(Interface):
    """An engine under UCI. Every line that it sends while it thinks has to fit the grammar."""

    def __init__(self):
        super().__init__(UCI_ENGINE)

    def sync(self):
        """The lines before the answer to `isready`."""
        self.send("isready")
        return self.until("readyok")

    def answer(self):
        """Await the answer to `go`: the info lines as matches, strings, and the best move."""
        infos, strings = [], []
        while True:
            line = self.line() or ""
            if best := BEST.fullmatch(line):
                return infos, strings, best
            if info := INFO.fullmatch(line):
                infos.append(info)
            elif line.startswith("info string "):
                strings.append(line)
            else:
                assert CURRENT.fullmatch(line) or line.startswith("info depth 0 score "), line

    def go(self, *lines):
        self.send(*lines)
        return self.answer()


@pytest.fixture
def uci():
    engine = Uci()
    yield engine
    engine.close()


# ---------------------------------------------------------------------------
# Talk
# ---------------------------------------------------------------------------

def test_introduction(uci):
    uci.send("uci")
    lines = uci.until("uciok")
    assert lines[0] == "id name Tarsimo II 2023"
    assert [line for line in lines if line.startswith("option")] == [
        "option name Hash type spin default 272 min 272 max 272",
        "option name Clear Hash type button",
        "option name Ponder type check default false",
        "option name MultiPV type spin default 1 min 1 max 64",
        "option name Move Overhead type spin default 30 min 0 max 5000",
        "option name UCI_AnalyseMode type check default false"]
    assert uci.sync() == []


def test_every_go_has_one_bestmove_with_a_legal_line(uci, assert_legal):
    infos, strings, best = uci.go(f"position fen {MIDDLEGAME}", "go depth 9")
    assert strings == [] and uci.sync() == []
    assert int(infos[0]["depth"]) == 1 and int(infos[-1]["depth"]) == 9
    assert infos[-1]["pv"].split()[:2] == [best["move"], best["ponder"]]
    told = [(info["depth"], info["pv"].split()[0], info["bound"]) for info in infos]
    assert len(told) == len(set(told)), "a line for each better move, and no more"
    for info in infos:
        assert int(info["seldepth"]) >= int(info["depth"]) and int(info["hashfull"]) <= 1000
        assert int(info["nps"]) == int(info["nodes"]) * 1000 // max(int(info["time"]), 1)
        assert_legal(info["pv"].split(), MIDDLEGAME)
    assert int(infos[-1]["seldepth"]) > 9, "captures are followed further"
    # The tables' use is that of the running search.
    assert int(uci.go("go nodes 300000")[0][-1]["hashfull"]) > 0
    assert uci.go("go depth 1")[0][-1]["hashfull"] == "0"


def test_promotions_are_named_by_a_letter(uci):
    position = "position fen 7k/P7/8/8/8/8/7p/K7 w - - 0 1"
    assert uci.go(position, "go depth 4")[2]["move"] == "a7a8q"
    assert uci.go(f"{position} moves a7a8n", "go depth 2")[1] == []
    assert uci.go(f"{position} moves a7a8", "go depth 1")[1] == [
        "info string illegal move 'a7a8': the game ends before it"]


def test_scores(uci):
    """Mates in moves, below zero by the mated side; a score that falls is a bound first."""
    infos, _, _ = uci.go(f"position fen {MATE_IN_TWO}", "go depth 6")
    assert {int(info["score"]) for info in infos if info["kind"] == "mate"} == {2}
    mated_in_two = "position fen 7k/8/5K2/8/8/8/8/6R1 b - - 0 1"
    infos, _, best = uci.go(mated_in_two, "go depth 6")
    assert best["move"] == "h8h7"
    assert infos[-1]["kind"] == "mate" and int(infos[-1]["score"]) < 0
    infos, _, _ = uci.go("position fen kbK5/pp6/RP6/8/8/8/8/8 b - - 0 1", "go depth 6")
    assert {info["bound"] for info in infos} == {None, " upperbound"}
    assert (infos[-1]["kind"], infos[-1]["score"], infos[-1]["bound"]) == ("mate", "-1", None)


@pytest.mark.parametrize("fen, why", [(CHECKMATE, "checkmate"), (STALEMATE, "stalemate")])
def test_no_legal_move(uci, fen, why):
    for limits in ("depth 3", "wtime 1000 btime 1000"):
        _, strings, best = uci.go(f"position fen {fen}", f"go {limits}")
        assert (strings, best[0]) == ([f"info string no legal move: {why}"], "bestmove 0000")
    uci.send("go infinite")
    assert uci.line().startswith("info depth 0") and uci.line().endswith(why)
    assert uci.sync() == []
    assert uci.go("stop")[2]["move"] == "0000"


def test_a_game_told_again_is_not_forgotten(uci):
    """The knights go back and forth: moving on into the third time is a draw by then. The fifth
    field counts towards the fifty-move rule."""
    def is_drawn(position, move):
        return uci.go(position, f"go depth 3 searchmoves {move}")[0][-1]["score"] == "0"

    position = "position fen 6k1/5ppp/8/8/8/8/q4PPP/1N4K1 w - -"
    assert is_drawn(f"{position} 0 1 moves b1c3 a2a1 c3b1 a1a2 b1c3", "a2a1")
    assert not is_drawn(f"{position} 0 1 moves b1c3", "a2a1")
    for fields, drawn in (("99 80", True), ("9 80", False), ("x 99", False), ("", False)):
        assert is_drawn(f"{position} {fields}", "b1c3") == drawn, fields


# ---------------------------------------------------------------------------
# Limits
# ---------------------------------------------------------------------------

def test_limits(uci):
    uci.send(f"position fen {MIDDLEGAME}")
    for limit in (1, 500, 20000):
        infos, _, _ = uci.go("ucinewgame", f"go nodes {limit}")
        assert all(int(info["nodes"]) <= limit + limit // 32 + 2 for info in infos)
    assert uci.go("go depth 4 searchmoves h2h3 a2a3 h9h8 e1e8")[2]["move"] in ("h2h3", "a2a3")


def test_a_mate_is_not_the_end_of_every_search(uci):
    infos, _, best = uci.go(f"position fen {MATE_IN_TWO}", "go mate 2")
    assert (infos[-1]["score"], best["move"]) == ("2", "a1a6")
    assert int(infos[-1]["depth"]) < 8, "it is good enough"
    assert int(uci.go("go depth 8")[0][-1]["depth"]) < 8
    assert uci.go("go depth 8 mate 1")[0][-1]["depth"] == "8"
    uci.send("go infinite")
    while not ((info := INFO.fullmatch(uci.line())) and info["depth"] == "12"):
        pass
    uci.go("stop")


def test_without_a_choice_only_the_clock_is_saved(uci):
    uci.send(f"position fen {ONE_MOVE}")
    for limits, depth in (("depth 8", "8"), ("wtime 60000 depth 8", "4"),
                          ("movetime 5000 depth 8", "4")):
        assert uci.go(f"go {limits}")[0][-1]["depth"] == depth
    assert uci.go("setoption name MultiPV value 2", "go wtime 60000 depth 8")[0][-1]["depth"] == "8"


@pytest.mark.parametrize("limits", [
    "wtime 0 btime 0", "wtime -5000 btime 1", "wtime 40 btime 40 winc 7 binc 7",
    "wtime 99999999999999999999 movetime 20", "wtime 300 movestogo 99999999999",
    "depth 0", "nodes -7", "mate 0 stop", "movetime 0", "depth 3 depth",
    "wtime 100 winc x btime y", "depth 2 infinite stop", "searchmoves e9e9 depth 2"])
def test_any_numbers(uci, limits):
    lines = [f"go {limits.removesuffix(' stop')}"] + (["stop"] if limits.endswith(" stop") else [])
    assert uci.go(f"position fen {MIDDLEGAME}", *lines)[2]["move"] != "0000"
    assert uci.sync() == []


WHITE_TO_MOVE = f"position fen {MIDDLEGAME} moves {' '.join(['a1b1 a8b8 b1a1 b8a8'] * 10)}"
BLACK_TO_MOVE = f"{WHITE_TO_MOVE} a1b1"
OVERHEAD = "setoption name Move Overhead value 99999"  # 5000


@pytest.mark.alone
@pytest.mark.parametrize("position, limits, least, most", [
    (WHITE_TO_MOVE, "wtime 60 btime 6000", 0, 0.5),
    (WHITE_TO_MOVE, "wtime 6000 btime 400", 0.17, 2),  # a twentieth of the own clock
    (BLACK_TO_MOVE, "wtime 400 btime 6000", 0.17, 2),
    (WHITE_TO_MOVE, "wtime 2000 btime 2000 winc 1000 binc 0", 0.33, 2),  # half of the own increment
    (BLACK_TO_MOVE, "wtime 2000 btime 2000 winc 0 binc 1000", 0.33, 2),
    (WHITE_TO_MOVE, "wtime 2000 btime 2000 movestogo 1", 0.58, 2),  # all but a second
    (f"{OVERHEAD}\n{WHITE_TO_MOVE}", "wtime 6400 btime 6400 movestogo 1", 0.23, 2),
    # Half of a time for the move is always used, and here to the end: a second budget is not.
    (f"setoption name MultiPV value 30\n{WHITE_TO_MOVE}", "movetime 1600", 0.79, 1.75),
    (f"position fen {ROOK_ENDING}", "movetime 400", 0.36, 2)])
def test_the_own_clock_is_shared_out(uci, position, limits, least, most):
    """An iteration is begun before 60 percent of the share are gone, none takes two shares."""
    began = time.monotonic()
    uci.go(position, f"go {limits}")
    assert least < time.monotonic() - began < most


# ---------------------------------------------------------------------------
# During a search
# ---------------------------------------------------------------------------

@pytest.fixture
def thinking(uci):
    """A search without end."""
    uci.send(f"position fen {MIDDLEGAME}", "go infinite")
    while not INFO.fullmatch(uci.line()):
        pass
    return uci


def drain(uci):
    """Lines up to readyok, without those of the search."""
    return [line for line in uci.sync() if not INFO.fullmatch(line) and not CURRENT.fullmatch(line)]


def test_questions_are_answered_while_it_thinks_and_options_wait(thinking):
    for _ in range(5):
        assert drain(thinking) == []
    thinking.send("uci")
    assert thinking.line() and "uciok" in drain(thinking)
    thinking.send("setoption name MultiPV value 2", "setoption name Clear Hash", "debug on", "x")
    assert drain(thinking) == []
    infos, _, best = thinking.go("stop")
    assert best["move"] != "0000" and all(info["multipv"] == "1" for info in infos)
    assert thinking.sync() == []
    assert {info["multipv"] for info in thinking.go("go depth 3")[0]} == {"1", "2"}


def test_a_flood_during_a_search_delays_nothing(thinking):
    thinking.send(*["isready"] * 2000, *["setoption name MultiPV value 1"] * 5000, "stop")
    ready = 0
    while not BEST.fullmatch(line := thinking.line()):
        ready += line == "readyok"
    assert ready == 2000


@pytest.mark.parametrize("fen", [
    f"{START} w KQkq - 0 1", MIDDLEGAME,
    "r1bq1k2/ppppNBbr/3P1p2/5P2/8/8/PPP3PP/RNBQR1K1 b - - 0 16"])
@pytest.mark.parametrize("lines", [1, 3])
def test_stop_is_heard_within_few_nodes(uci, fen, lines):
    """It arrives together with `go`; a slow machine takes a tenth of a second for 4096 nodes."""
    infos, _, _ = uci.go(f"setoption name MultiPV value {lines}", f"position fen {fen}",
                         "go infinite", "stop")
    assert int(infos[-1]["nodes"]) < 4096


def test_what_begins_something_else_ends_the_search(thinking):
    thinking.go("go infinite")
    for order in "position startpos moves e2e4", "ucinewgame":
        thinking.go(order)
        thinking.send("go infinite")
    thinking.send("isready", "quit")
    lines, status = thinking.end()
    said = [line.split()[0] for line in lines if line == "readyok" or BEST.fullmatch(line)]
    assert (said, status) == (["readyok", "bestmove"], 0)


def test_current_moves_are_numbered_by_iteration(uci):
    """They come after the first second."""
    began = time.monotonic()
    uci.send("position fen 4k3/1ppp4/8/7B/4r3/R7/PPP5/4K3 w - - 0 1", "go infinite")
    numbers = {}
    while len(numbers) < 4:
        if current := CURRENT.fullmatch(uci.line()):
            assert time.monotonic() - began > 0.99
            numbers.setdefault(int(current["depth"]), []).append(int(current["number"]))
    uci.go("stop")
    infos, _, _ = uci.go("setoption name MultiPV value 64", "go depth 2")
    moves = max(int(info["multipv"]) for info in infos)
    for depth in sorted(numbers)[1:-1]:
        assert numbers[depth] == list(range(1, moves + 1))


@pytest.mark.parametrize("position, clock, end, move", [
    ("startpos moves e2e4 e7e5", "wtime 2000 btime 2000", "ponderhit", MOVE),
    # Over long before it is hit, stopped instead, and infinite all the same.
    (f"fen {MATE_IN_TWO}", "wtime 2000 btime 2000", "ponderhit", "a1a6"),
    (f"fen {MATE_IN_TWO}", "wtime 2000 btime 2000", "stop", "a1a6"),
    (f"fen {MATE_IN_TWO}", "infinite depth 3\nponderhit", "stop", "a1a6")])
def test_pondering(uci, position, clock, end, move):
    uci.send("ponderhit", "stop", f"position {position}", f"go ponder {clock}")
    time.sleep(0.3)
    assert drain(uci) == []
    assert re.fullmatch(move, uci.go(end)[2]["move"]) and uci.sync() == []


@pytest.mark.alone
def test_a_hit_begins_the_own_time(uci):
    """A thirtieth of the clock, whatever has passed before; what is told counts from `go`."""
    uci.send("setoption name MultiPV value 10", f"position fen {MIDDLEGAME}",
             "go ponder wtime 10000 btime 10000")
    time.sleep(1.2)
    began = time.monotonic()
    uci.send("ponderhit")
    time.sleep(0.1)
    infos, _, _ = uci.go("ponderhit")  # this one hits nothing
    assert 0.19 < time.monotonic() - began < 2
    times = [int(info["time"]) for info in infos]
    assert times == sorted(times) and times[-1] > 1000
    assert int(uci.go("go depth 1")[0][-1]["time"]) < 1000


@pytest.mark.parametrize("limits", ["depth 7", "infinite", "ponder wtime 1000 btime 1000"])
def test_end_of_input_ends_the_search(uci, limits):
    uci.send(f"position fen {MIDDLEGAME}", f"go {limits}")
    uci.process.stdin.close()
    lines, status = uci.end()
    assert BEST.fullmatch(lines[-1]) and status == 1


def test_reader_that_goes_ends_the_program(thinking):
    thinking.process.stdout.close()
    assert thinking.process.wait(PATIENCE) == 1


# ---------------------------------------------------------------------------
# Several lines, fixed replies, fresh trees
# ---------------------------------------------------------------------------

@pytest.mark.parametrize("fen, lines, depth, count", [
    (MIDDLEGAME, 4, 6, 4), (MATE_IN_TWO, 64, 5, 16)])
def test_several_lines_have_scores_of_their_own(uci, fen, lines, depth, count):
    """A mate does not hide the others, nor are there more lines than moves."""
    infos, _, _ = uci.go(f"setoption name multipv value {lines}", f"position fen {fen}",
                         f"go depth {depth}")
    last = {int(info["multipv"]): info for info in infos if info["depth"] == str(depth)}
    assert sorted(last) == list(range(1, count + 1))
    assert len({info["pv"].split()[0] for info in last.values()}) == count
    values = [(info["kind"] == "mate", int(info["score"])) for _, info in sorted(last.items())]
    assert values[0] == (True, 2) if fen == MATE_IN_TWO else values == sorted(values, reverse=True)


def test_fixed_replies_are_for_games_only(uci):
    start = f"position fen {START} w KQkq - 0 1"
    for position, limits in (("position startpos", "wtime 60000 btime 60000"),
                             ("position startpos", "movetime 5000"), (start, "movetime 5000")):
        infos, _, best = uci.go(position, f"go {limits}")
        assert (infos, best["move"]) == ([], "d2d4")
    for limits in ("depth 2", "nodes 50", "movetime 30 nodes 10000000", "mate 1 movetime 30",
                   "movetime 30 searchmoves d2d4 e2e4", "ponder wtime 60 btime 60\nponderhit"):
        assert uci.go(f"go {limits}")[0] != []
    for option in ("MultiPV value 2", "UCI_AnalyseMode value true"):
        assert uci.go(f"setoption name {option}", "go movetime 30")[0] != []
        uci.send("setoption name MultiPV value 1")


def test_fresh_tree_after_a_new_game(uci):
    def tree(*lines):
        infos, _, _ = uci.go(*lines, f"position fen {MIDDLEGAME}", "go depth 8")
        return [(info["depth"], info["nodes"], info["pv"]) for info in infos]

    first = tree()
    assert tree() != first
    for order in ("ucinewgame", "setoption name Clear Hash"):
        assert tree(order) == first


@pytest.mark.parametrize("fen", [
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -"])
def test_tree_is_that_of_the_other_dialogue(uci, gui, fen):
    thoughts, move = gui.think(f"setboard {fen}", "sd 8", "go")
    infos, _, best = uci.go(f"position fen {fen}", "go depth 8")
    assert best["move"] == move
    ours = [(int(i["depth"]), int(i["score"]), int(i["nodes"])) for i in infos
            if int(i["depth"]) >= 6 and not i["bound"]]
    assert ours == [(depth, score, nodes) for depth, score, _, nodes, _ in thoughts]


# ---------------------------------------------------------------------------
# Bad input
# ---------------------------------------------------------------------------

@pytest.mark.parametrize("text, why", [
    ("fen", "the board field is missing"), ("", "neither startpos nor fen"),
    ("fen k6/8/8/8/8/8/8/K7 w - -", "the board is not eight ranks of eight squares"),
    ("fen k7/8/8/8/8/8/8/K71 w - -", "the board is not eight ranks of eight squares"),
    ("fen k7/8/8/8/8/8/8/8/K7 w - -", "the board is not eight ranks of eight squares"),
    ("fen k7/8/8/8/8/8/8/K6K w - -", "there is not one king of each colour"),
    ("fen k7/8/8/8/8/8/8/K6P w - -", "a pawn stands on a last rank"),
    ("fen k7/8/8/8/8/8/8/K6R x - -", "the side to move is neither w nor b"),
    ("fen k6R/8/8/8/8/8/8/K7 w - -", "the side that has moved is in check"),
    ("fen k7/8/8/8/8/8/8/K7 w KX -", "the castling field is neither - nor made of KQkq"),
    ("fen k7/8/8/8/8/8/8/K7 w - e3", "the en-passant field is neither - nor behind a double step"),
])
def test_bad_positions_leave_the_game(uci, text, why):
    uci.send("position startpos moves e2e4 e7e5 g1f3")
    assert uci.go(f"position {text}", "go depth 1")[1] == [f"info string not a position: {why}"]
    assert uci.go("go depth 1 searchmoves b8c6")[2]["move"] == "b8c6"


def test_illegal_moves_end_the_game_before_them(uci):
    _, strings, best = uci.go("position startpos moves e2e4 e7e5 e1e3\x01 d2d4",
                              "go depth 1 searchmoves g1f3")
    assert strings == ["info string illegal move 'e1e3?': the game ends before it"]
    assert best["move"] == "g1f3"
    # A pinned knight; and no more than the head of a long word is quoted.
    for move, told in (("e2c3", "e2c3"), ("x" * 90, "x" * 40)):
        game = f"position fen 4k3/4r3/8/8/8/8/4N3/4K3 w - - moves {move}"
        strings = uci.go(game, "go depth 1")[1]
        assert strings == [f"info string illegal move '{told}': the game ends before it"]


def test_words_without_sense_and_lines_of_any_length(uci):
    uci.write(b"\0\n\xff\xfe isready\njoho debug on\nstop\nponderhit\ngo\x00 depth 1\nstop\n"
              b"setoption\nsetoption name\nsetoption name MultiPV value\nposition\nregister x\n")
    assert uci.line() == "readyok"
    assert uci.answer()[2]["move"] != "0000"
    assert uci.sync() == ["info string not a position: neither startpos nor fen"]
    uci.send("x" * 3_000_000, "x " * 700_000)
    assert uci.sync() == []
    uci.go("go searchmoves " + "e2e4 " * 150_000 + "depth 1")
    uci.send("position startpos moves " + "g1f3 g8f6 f3g1 f6g8 " * 40_000)
    assert uci.go("go depth 1")[2]["move"] != "0000"
    assert uci.sync() == []
