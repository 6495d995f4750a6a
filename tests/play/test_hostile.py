"""Positions and lines that no game of chess brings, one after another in one process, best with
sanitizers on ($TARSIMO_SANITIZED). After each of them a normal game goes on.

$TARSIMO_HOSTILE_MS is the time for a search of each position, 300 ms if not set.
"""
import os

import pytest

from conftest import PROMPT, REFUSAL, SANITIZED_ENGINE, Gui, console_session

SEARCH_MS = int(os.environ.get("TARSIMO_HOSTILE_MS", "300"))
ILLEGAL_POSITION = "tellusererror Illegal position"
STALEMATE = "1/2-1/2 {Stalemate}"

MOVES, MATED, STUCK, REFUSED = "moves", "mated", "stuck", "refused"

EMPTY_RANKS = "/8/8/8/8/"
POSITIONS = {
    "62 queens of one colour": ("QQQQkQQQ/" + "QQQQQQQQ/" * 6 + "QQQQKQQQ w", MOVES),
    "62 queens against the king": ("QQQQkQQQ/" + "QQQQQQQQ/" * 6 + "QQQQKQQQ b", MATED),
    "62 queens of both colours": ("qQqQkQqQ/" + "QqQqQqQq/qQqQqQqQ/" * 3 + "QqQqKqQq w", MATED),
    "62 queens, ranks of each colour": ("qqqqkqqq/" + "qqqqqqqq/QQQQQQQQ/" * 3 + "QQQQKQQQ b", MOVES),
    "9 queens per side": (f"qqqqkqqq/qq6{EMPTY_RANKS}QQ6/QQQQKQQQ w", MOVES),
    "25 queens per side, open": ("qqqqkqqq/qqqqqqqq/qqqqqqqq/8/8/QQQQQQQQ/QQQQQQQQ/QQQQKQQQ w", MOVES),
    "16 rooks, bishops and knights per side": (
        "rrrrkrrr/bbbbbbbb/nnnnnnnn/8/8/NNNNNNNN/BBBBBBBB/RRRRKRRR b", MOVES),
    "62 knights": ("nnnnknnn/" + "nnnnnnnn/" * 3 + "NNNNNNNN/" * 3 + "NNNNKNNN w", MOVES),
    "62 bishops": ("bbbbkbbb/" + "bbbbbbbb/" * 3 + "BBBBBBBB/" * 3 + "BBBBKBBB b", MOVES),
    "218 moves": ("R6R/3Q4/1Q4Q1/4Q3/2Q4Q/Q4Q2/pp1Q4/kBNN1KB1 w - - 0 1", MOVES),
    "218 moves, the other side": ("R6R/3Q4/1Q4Q1/4Q3/2Q4Q/Q4Q2/pp1Q4/kBNN1KB1 b - - 0 1", STUCK),
    "all pawns on the seventh": ("8/PPPPPPPP/8/k6K/8/8/pppppppp/8 w - -", MOVES),
    "all pawns on the seventh, pieces behind": (
        "nbrqkrbn/PPPPPPPP/8/8/8/8/pppppppp/NBRQKRBN b - -", MOVES),
    "pawns on the first and last rank": (f"PPPPkPPP/8{EMPTY_RANKS}8/ppppKppp w - -", MOVES),
    "pawns on their own last rank": (f"ppppkppp/8{EMPTY_RANKS}8/PPPPKPPP b - -", MOVES),
    "62 pawns of one colour": ("PPPPkPPP/" + "PPPPPPPP/" * 6 + "PPPPKPPP w - -", MOVES),
    "62 pawns of both colours": ("ppppkppp/" + "pppppppp/" * 3 + "PPPPPPPP/" * 3 + "PPPPKPPP w",
                                 MOVES),
    "pawns in stripes": ("pPpPkPpP/" + "PpPpPpPp/pPpPpPpP/" * 3 + "PpPpKpPp b - a3", STUCK),
    "three kings": ("k6k/8/8/8/8/8/8/K7 w - -", REFUSED),
    "64 kings": ("kkkkkkkk/" * 4 + "KKKKKKKK/" * 4 + " w - -", REFUSED),
    "64 queens": ("qqqqqqqq/" * 4 + "QQQQQQQQ/" * 4 + " b - -", REFUSED),
    "no king": ("8/8/8/8/8/8/8/8 w - -", REFUSED),
    "one king": ("8/8/8/8/8/8/8/K7 b - -", REFUSED),
    "kings side by side": ("8/8/8/3kK3/8/8/8/8 w - -", MOVES),
    "bare kings": ("8/8/3k4/8/8/3K4/8/8 b - - 99 999", MOVES),
    "castling letters without rooks": ("4k3/8/8/8/8/8/8/4K3 w KQkq - 0 1", MOVES),
    "castling letters without kings at home": ("r5kr/8/8/8/8/8/8/RK5R b KKQQkkqq----K - 0 1", MOVES),
    "en passant without pawns": ("4k3/8/8/8/8/8/8/4K3 w - e6 0 1", MOVES),
    "en passant on an occupied square": ("4k3/8/4n3/3PpP2/8/8/8/4K3 w - e6 0 1", MOVES),
    "en passant of the own colour": ("4k3/8/8/8/3pPp2/8/8/4K3 w - e3 0 1", MOVES),
    "en passant of a knight": ("4k3/8/8/3PnP2/8/8/8/4K3 w - e6 0 1", MOVES),
    "en passant off the board": ("4k3/8/8/8/8/8/8/4K3 w - h9i3z0a1h8 0 1", MOVES),
    "king to be taken": ("4k3/4R3/8/8/8/8/8/4K3 w - -", MOVES),
    "both kings to be taken": ("4k3/4R3/8/8/8/8/4r3/4K3 b - -", MOVES),
    "king to be taken by a promotion": ("4k3/3P1P2/8/8/8/8/8/4K3 w - -", MOVES),
    "side to move mated in a corner": ("7k/6Q1/6K1/8/8/8/8/8 b - -", MATED),
    "no side": ("4k3/8/8/8/8/8/8/4K3", MOVES),
    "too many ranks": ("4k3/8/8/8/8/8/8/4K3/qqqqqqqq/QQQQQQQQ w - -", MOVES),
    "too long ranks": ("4k3qqqqqqqq/8/8/8/8/8/8/4K3QQQQQQQQ w - -", MOVES),
    "10,000 digits": ("8" * 10_000, REFUSED),
    "10,000 queens": ("q" * 10_000 + " w - -", REFUSED),
    "10,000 slashes": ("4k3/8/8/8/8/8/8/4K3 w - -" + "/" * 10_000, MOVES),
    "10,000 castling letters": ("4k3/8/8/8/8/8/8/4K3 w " + "KQkq" * 2_500 + " e6", MOVES),
    "10,000 blanks": ("4k3/8/8/8/8/8/8/4K3 w" + " " * 10_000 + "KQkq", MOVES),
    "bytes of every value": ("4k3/8/8/8/8/8/8/4K3 w "
                             + "".join(chr(c) for c in range(256) if c != ord("\n")), MOVES),
    "bytes of every value for a placement": (
        "".join(chr(c) for c in range(256) if c != ord("\n")), REFUSED),
}


@pytest.fixture(scope="module")
def survivor():
    """One engine for all cases."""
    guis = []

    def current():
        if not guis or guis[-1].process.poll() is not None:
            guis.append(Gui(SANITIZED_ENGINE))
        return guis[-1]

    yield current
    for gui in guis:
        gui.close()


def play_a_normal_game(gui):
    """A few moves with every special one among them, an answer, and a mate."""
    assert gui.ask("new", "force", "e2e4", "a7a6", "e4e5", "d7d5", "e5d6", "g8f6", "d6c7", "e7e6",
                   "g1f3", "f8e7", "f1e2", "e8g8", "c7b8n", "undo", "c7d8q", "undo", "c7b8r",
                   "a8b8", "e1g1") == []
    assert gui.ask("a1a8", "e8g8", "b8b6") == [
        f"Error (unknown command): {move}" for move in ("a1a8", "e8g8", "b8b6")]
    assert len(gui.think("sd 3", "go")[1]) == 4
    assert gui.think("setboard 6k1/5ppp/8/8/8/8/8/R3K3 w - -", "go")[1] == "a1a8"


@pytest.mark.parametrize("name", POSITIONS)
def test_position_is_searched_and_a_normal_game_goes_on(survivor, name):
    fen, outcome = POSITIONS[name]
    gui = survivor()
    # With as much time as the opponent a twentieth of the clock is spent.
    clock = SEARCH_MS * 20 // 10
    answer = gui.ask("new", "force", "level 0 5 0", f"otim {clock}", f"setboard {fen}")
    assert answer == ([ILLEGAL_POSITION] if outcome == REFUSED else [])
    gui.send(f"time {clock}", "go")
    if outcome in (MOVES, REFUSED):
        _, move = gui.await_move()
        if outcome == REFUSED:
            assert move[1] in "12", "the initial position stands"
        gui.send("analyze", "exit")  # ends by itself where there is nothing to think about
        gui.sync()
    else:
        assert gui.sync() == ([STALEMATE] if outcome == STUCK else [])
    gui.ask("force", "remove", "undo", "white", "undo", "black", "undo", "exit")
    play_a_normal_game(gui)


# What a person, or a cat, may type: no line of it is a command.
@pytest.mark.parametrize("line", [
    "x" * 10_000, "e2e5" * 2_500, " " * 10_000, "\0" * 100, "\xff" * 300, "%n%s%d" * 50,
    "setboard 8/8/8/8/8/8/8/8", "e9e9", "\x1b[A", "-1",
], ids=lambda line: ascii(line[:12]))
def test_typed_line_is_refused_and_the_game_goes_on(line):
    output, status = console_session("\n".join(["dos", "e2e4", *[line] * 20, "e7e5", "q"]),
                                     engine=SANITIZED_ENGINE)
    assert status == 1
    assert output == (PROMPT + " Jugador-Jugador SI" + PROMPT * 2 + (REFUSAL + PROMPT) * 20
                      + PROMPT)


@pytest.mark.parametrize("answer", ["9" * 10_000, "-" * 10_000, "-" + "9" * 50, "13\n" + "9" * 300,
                                    "13\n-1", "\0", "\xff"], ids=lambda text: ascii(text[:6]))
def test_any_level_can_be_played(answer):
    output, status = console_session(f"n\n{answer}\ne2e4\nx\n", engine=SANITIZED_ENGINE)
    assert status == 1 and output.count("Mi jugada: Pe7-e5") == 1
