"""Positions that no game of chess brings, one after another in one process, best with sanitizers on
($TARSIMO_SANITIZED). After each of them a normal game goes on.

$TARSIMO_HOSTILE_MS is the time for a search of each position, 300 ms if not set.
"""
import os

import pytest

from conftest import ILLEGAL_POSITION, SANITIZED_ENGINE, Gui

SEARCH_MS = int(os.environ.get("TARSIMO_HOSTILE_MS", "300"))
STALEMATE = "1/2-1/2 {Stalemate}"

MOVES, MATED, STUCK, REFUSED = "moves", "mated", "stuck", "refused"

EMPTY_RANKS = "/8/8/8/8/"
EVERY_BYTE = "".join(chr(c) for c in range(256) if c != ord("\n"))
POSITIONS = {
    "62 queens of one colour": ("QQQQkQQQ/" + "QQQQQQQQ/" * 6 + "QQQQKQQQ w", MOVES),
    "62 queens against the king": ("QQQQkQQQ/" + "QQQQQQQQ/" * 6 + "QQQQKQQQ b", MATED),
    "23 queens per side": (
        "qqqqkqqq/qqqqqqqq/qqqqqqqq/8/8/QQQQQQQQ/QQQQQQQQ/QQQQKQQQ w", MOVES),
    "16 rooks, bishops and knights per side": (
        "rrrrkrrr/bbbbbbbb/nnnnnnnn/8/8/NNNNNNNN/BBBBBBBB/RRRRKRRR b", MOVES),
    "218 moves": ("R6R/3Q4/1Q4Q1/4Q3/2Q4Q/Q4Q2/pp1Q4/kBNN1KB1 w - - 0 1", MOVES),
    "all pawns on the seventh, pieces behind": (
        "nbrqkrbn/PPPPPPPP/8/8/8/8/pppppppp/NBRQKRBN b - -", MOVES),
    "pawns on the first and last rank": (f"PPPPkPPP/8{EMPTY_RANKS}8/ppppKppp w - -", MOVES),
    "pawns on their own last rank": (f"ppppkppp/8{EMPTY_RANKS}8/PPPPKPPP b - -", MOVES),
    "62 pawns of both colours": ("ppppkppp/" + "pppppppp/" * 3 + "PPPPPPPP/" * 3 + "PPPPKPPP w",
                                 MOVES),
    "pawns in stripes": ("pPpPkPpP/" + "PpPpPpPp/pPpPpPpP/" * 3 + "PpPpKpPp b - a3", STUCK),
    "64 kings": ("kkkkkkkk/" * 4 + "KKKKKKKK/" * 4 + " w - -", REFUSED),
    "kings side by side": ("8/8/8/3kK3/8/8/8/8 w - -", MOVES),
    "bare kings": ("8/8/3k4/8/8/3K4/8/8 b - - 99 999", MOVES),
    "castling letters without kings at home": (
        "r5kr/8/8/8/8/8/8/RK5R b KKQQkkqq----K - 0 1", MOVES),
    "en passant without pawns": ("4k3/8/8/8/8/8/8/4K3 w - e6 0 1", MOVES),
    "en passant on an occupied square": ("4k3/8/4n3/3PpP2/8/8/8/4K3 w - e6 0 1", MOVES),
    "en passant of the own colour": ("4k3/8/8/8/3pPp2/8/8/4K3 w - e3 0 1", MOVES),
    "en passant of a knight": ("4k3/8/8/3PnP2/8/8/8/4K3 w - e6 0 1", MOVES),
    "both kings to be taken": ("4k3/4R3/8/8/8/8/4r3/4K3 b - -", MOVES),
    "too long ranks": ("4k3qqqqqqqq/8/8/8/8/8/8/4K3QQQQQQQQ w - -", MOVES),
    "10,000 queens": ("q" * 10_000 + " w - -", REFUSED),
    "10,000 castling letters": ("4k3/8/8/8/8/8/8/4K3 w " + "KQkq" * 2_500 + " e6", MOVES),
    "bytes of every value": (f"4k3/8/8/8/8/8/8/4K3 w {EVERY_BYTE}", MOVES),
    "bytes of every value for a placement": (EVERY_BYTE, REFUSED),
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
