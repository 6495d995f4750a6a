"""The console, as a person at a terminal and a script at a pipe see it."""
import os
import re
import signal
import termios

import pexpect
import pytest

from conftest import GREETING, PROMPT, REFUSAL, START, console_session, diagram

AFTER_E4 = "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR"
AFTER_E4_E5 = "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR"

HELP = (" " * 49 + """
 q, quit, exit    = exit program
 e2e4, e7e8q      = do a move
 new              = new game
 d                = print board
 auto             = auto-play 30 move
 test             = test diverse positions 60 s, 
 r                = undo a move
 c                = change color to play
 dos              = force
 go               = computer play
 n                = level (1=10s, 2=20s.. 13=ply
""" + " " * 49 + "\n")

REPORT = re.compile(r"\n\n  Mi jugada: .*\n\n(?:  .*\n)+\n  Crono = \d+ seg, Pos/Seg = \d+\n")

SUITE = [
    ("\n\n LCT mov Cd5-f6+ ", "2b1r1k1/r4ppp/p7/2pNP3/4Q3/q6P/2P2PP1/3RR1K1"),
    ("\n\n LCT mov  Af4xh6 ", "rq2rbk1/6p1/p2p2Pp/1p1Rn3/4PB2/6Q1/PPP1B3/2K3R1"),
    ("\n\n TEST MODULAR 12, (Elio Marsan)   mov = Ab4!  ev > 1.0 ",
     "2r2r1k/1bb1q1pp/1np5/pp2n2P/5N1N/P7/1P3PP1/K1Q1BBRR"),
    ("\n\n ULTRAFRONTERA 1 (JT Olmo.Prado) mov = Ab1-a2, para llevar el Rey a a6 ",
     "k7/B7/1P6/1P2np2/1P1p1p2/1Pp2p1p/2P4p/1BK4B"),
    ("\n\n ULTRAFRONTERA 2 (JT Olmo.Prado)  mov = Rg8-f8, ev optima Mate ",
     "6k1/4p1p1/1p2P1P1/1P2p3/1p2P3/1P2p1p1/4P1P1/5BK1"),
    ("\n\n ULTRAFRONTERA 3 (JT Olmo.Prado)  mov = Dh2-h3 ",
     "4k3/8/p7/Pp3p1p/1Pp1pPpP/2PpP1P1/3P1KNQ/R3BNRB"),
    ("\n\n ULTRAFRONTERA 3 (JT Olmo.Prado)  Un mov de Rey, ev optima 0.0 ",
     "8/4kb1r/2p3p1/rpPp1pPp/pP1PpP1P/P3P3/2K5/8"),
    ("\n\n TEST MODULAR 6,(Elio Marsan) Mate en 11     mov Af1-b5!    ",
     "k7/Pp1p4/1K2p3/5p1p/6pP/8/8/5B2"),
    ("\n\n Fuente ??, mate-10 ,  mov = De2-h5+!! ",
     "2qbr1n1/3b1kp1/2pBpn1p/1p2PP2/p2P4/1BP5/P3Q1PP/4RRK1"),
    ("\n\n TEST MODULAR 8, (Elio Marsan) mov = Tf6-f8!!, ev mate en 7 ",
     "8/7r/5Rp1/6p1/5pPk/5P1p/5P1K/8"),
    ("\n\n TEST MODULAR 4, (Elio Marsan)    mov = De3-h6+!!, ev mate ",
     "r1b2r2/3pNpkp/3pn1p1/2pN3P/2PnP3/q3QP2/4BKP1/1R5R"),
    ("\n\n COMPOSICION PROPIA, mov = Th2xh7, ev optima mate  ",
     "3r1bk1/6pp/3p1pP1/3pp3/8/1K1Pp3/PPP4R/5bR1"),
    ("\n\n LCT II-25-2,     mov = De1-h4+  ev > 2.0  ",
     "rnbq4/p1r2p1k/1p1p1Pp1/1BpPn3/P7/2P5/6PP/R1B1QRK1"),
]


def lines(*commands):
    return "".join(command + "\n" for command in commands)


def game(text, *commands):
    """A script that enters the moves of a game without answers, then gives commands."""
    return lines("dos", *text.split(), *commands)


# What the moves of such a script print.
def game_echo(text):
    return PROMPT + " Jugador-Jugador SI" + PROMPT * len(text.split())


TAIL = "x" * 10_000

# Scripts whose whole output is known, to the byte.
TRANSCRIPTS = {
    "help": (lines("help", "AyUdA"), (PROMPT + HELP) * 2),
    "silent commands": (lines("ponder", "r", "c", "new"), PROMPT * 4),
    "level": (lines("n", "3", "N", " 7x", "n", "-2", "n", "tres", "n", "", "n", "9" * 30),
              "".join(f"{PROMPT} Nivel: Nivel= {ms} segundos\n"
                      for ms in (3000, 7000, -2000, 0, 0, 2147483000))),
    "level by depth": (lines("n", "13", "4", "n", "13", "x"), (PROMPT + " Nivel:  Ply: ") * 2),
    "refusals": (lines("quit ", " d", "d ", "hola", "", "e2", "e2e5", "i2i4", "e9e8", "e7e5",
                       "h1h3", "q\r"), (PROMPT + REFUSAL) * 12),
    "two players": (lines("dos", "E2e4", "e7E5x", "d", "dos"),
                    PROMPT + " Jugador-Jugador SI" + PROMPT * 3 + diagram(AFTER_E4_E5)
                    + PROMPT + " Jugador-Jugador NO"),
    "new game": (lines("dos", "e2e4", "new", "d", "dos"),
                 PROMPT + " Jugador-Jugador SI" + PROMPT * 3 + diagram(START)
                 + PROMPT + " Jugador-Jugador SI"),
    "take back all but the first": (lines("dos", "e2e4", "e7e5", "g1f3", "r", "r", "r", "d"),
                                    game_echo("e2e4 e7e5 g1f3") + PROMPT
                                    + diagram(AFTER_E4_E5) + PROMPT + diagram(AFTER_E4, False)
                                    + PROMPT * 2 + diagram(AFTER_E4, False)),
    "change of colour": (lines("c", "d", "e2e4", "c", "d"),
                         PROMPT * 2 + diagram(START, False) + PROMPT + REFUSAL + PROMPT * 2
                         + diagram(START)),
    # The square named is the king's after the move.
    "black king left in check": (
        game("e2e4 d7d6 f1b5", "a7a6", "e8d7", "c7c6", "d"),
        game_echo("e2e4 d7d6 f1b5")
        + PROMPT + "\nRey negro en e8 en jaque\n" + REFUSAL
        + PROMPT + "\nRey negro en d7 en jaque\n" + REFUSAL + PROMPT * 2
        + diagram("rnbqkbnr/pp2pppp/2pp4/1B6/4P3/8/PPPP1PPP/RNBQK1NR")),
    "mate on the board": (game("f2f3 e7e5 g2g4 d8h4", "go", "auto"),
                          game_echo("f2f3 e7e5 g2g4 d8h4")
                          + PROMPT + "\n MATE!!...\n" + PROMPT + "\n MATE!!...\n" * 30),
    "lines far too long": (
        lines(TAIL, "dos", "e2e4" + TAIL, "d", "n", "3" + TAIL) + "d" * 300,
        PROMPT + REFUSAL + PROMPT + " Jugador-Jugador SI" + PROMPT * 2 + diagram(AFTER_E4, False)
        + PROMPT + " Nivel: Nivel= 3000 segundos\n" + PROMPT + REFUSAL),
    "every byte value": (
        b"".join(bytes([value]) * 5 + b"\n" for value in range(256) if value != ord("\n")),
        (PROMPT + REFUSAL) * 255),
    "nothing": ("", ""),
    **{f"way out {way}": (lines(way, "d"), "") for way in ("q", "quit", "Exit", "EXIT")},
    "line without an end": ("d\nd", (PROMPT + diagram(START)) * 2),
}


@pytest.mark.parametrize("name", TRANSCRIPTS)
def test_transcript(name):
    script, expected = TRANSCRIPTS[name]
    output, status = console_session(script)
    assert output == expected + PROMPT
    assert status == 1


def test_board_is_shown_before_and_after_the_answer():
    output, _ = console_session("E2e4\n")
    assert "\n\n  Mi jugada: Pe7-e5\n\n  Razoring           0 " in output
    assert REPORT.split(output) == [PROMPT + diagram(AFTER_E4, False),
                                    diagram(AFTER_E4_E5) + PROMPT]


def test_auto_plays_thirty_legal_half_moves(assert_legal):
    output, status = console_session("n\n13\n1\nauto\n")
    reported = re.findall(r"  Mi jugada: [PCATDR]([a-h][1-8])[-x]([a-h][1-8])([CATD]?)", output)
    assert len(reported) == 30 and status == 1
    assert_legal([a + b + promoted.lower() for a, b, promoted in reported])
    assert output.count("BLANCAS JUEGAN") == output.count("NEGRAS JUEGAN") == 15


def test_thinking_as_the_console_shows_it():
    output, _ = console_session(game("e2e4 e7e5 g1f3", "n", "13", "8", "go"))
    report = re.search(r"\n\n  Mi jugada: ([PCATDR])(\w\w)[-x](\w\w)\n\n  Razoring", output)
    progress = re.findall(
        r" Ply \(([ \d]\d)\)  Analizando\.\.\((\d+)\) [PCATDR]\w\w[-x]\w\w \r  ", output)
    assert (progress[0], progress[-1][0]) == ((" 1", "1"), " 8")
    thoughts = re.findall(
        r" {52}\r([ \d]\d\)  [ \d]\d:[ \d]\d  [- \d]\d\.\d\d +\d+ n/s  .*)\n", output)
    assert thoughts and len(thoughts) == output.count(" n/s ")
    for thought in thoughts:
        assert re.search(r"n/s  (\w\w[-x]\w\w ){1,8}$", thought), thought
    assert report[2] == thoughts[-1].split("n/s  ")[1][:2]


def test_suite():
    # A key that waits stops each search at its first look at the keyboard.
    output, status = console_session("test\nd\n", timeout=60)
    parts = output.removeprefix(PROMPT)
    for number, (caption, placement) in enumerate(SUITE):
        mover = "b" if number == 4 else "w"
        start = caption + "\n" + diagram(placement, mover == "w")
        assert parts.startswith(start), f"position {number + 1}: {parts[:1500]!r}"
        thinking, parts = REPORT.split(parts[len(start):], maxsplit=1)
        assert "Analizando" in thinking and "+---+" not in thinking
    assert parts.startswith(PROMPT + "\n   +---+") and parts.endswith(PROMPT)
    assert status == 1


def test_protocol_is_entered_in_either_case():
    assert console_session("XBoard\nping 3\n") == (PROMPT + "pong 3\n", 1)


# ---------------------------------------------------------------------------
# At a terminal
# ---------------------------------------------------------------------------

def attributes(terminal):
    return termios.tcgetattr(terminal.child_fd)


def begin_long_search(terminal):
    terminal.expect_exact(PROMPT)
    for command, answer in (("n", " Nivel: "), ("600", "Nivel= 600000 segundos\r\n" + PROMPT),
                            ("e2e4", "Mi jugada: Pe7-e5"), ("g1f3", "Analizando")):
        terminal.sendline(command)
        terminal.expect_exact(answer)


def leave(terminal):
    terminal.expect(pexpect.EOF)
    terminal.wait()
    return terminal.exitstatus


def test_terminal_shows_greeting_and_prompt_at_once(terminal):
    terminal.expect_exact(PROMPT)
    assert terminal.before == GREETING.replace("\n", "\r\n")
    terminal.sendline("n")
    terminal.expect_exact("n\r\n Nivel: ")
    terminal.sendline("13")
    terminal.expect_exact("13\r\n Ply: ")
    terminal.sendline("3")
    terminal.expect_exact("3\r\n" + PROMPT)
    terminal.sendeof()
    assert leave(terminal) == 1


def test_key_stops_the_search_and_begins_the_next_line(terminal):
    before = attributes(terminal)
    begin_long_search(terminal)
    terminal.send("d")
    terminal.expect(r"Mi jugada: [PCATDR]\w\w[-x]\w\w")
    terminal.expect_exact(PROMPT)
    assert attributes(terminal) == before

    terminal.sendline("os")
    terminal.expect_exact(" Jugador-Jugador SI" + PROMPT)
    assert attributes(terminal) == before
    terminal.sendline("q")
    assert leave(terminal) == 1
    assert attributes(terminal) == before


def test_interrupt_leaves_the_terminal_as_it_was(terminal):
    before = attributes(terminal)
    begin_long_search(terminal)
    os.kill(terminal.pid, signal.SIGINT)
    leave(terminal)
    assert terminal.signalstatus == signal.SIGINT
    assert attributes(terminal) == before


def test_vanished_terminal_ends_the_program(terminal):
    begin_long_search(terminal)
    pid = terminal.pid
    terminal.close(force=False)
    with pytest.raises(ProcessLookupError):
        os.kill(pid, 0)
