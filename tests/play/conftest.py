"""The other side of the engine: a person at a terminal, a script at a pipe, a GUI.

Every wait has a timeout of its own; a wait that runs out fails with what came until then.
The timeouts are upper limits against hangs, generous for a slow machine.
"""
import os
import re
import signal
import subprocess
import sys
import time
from pathlib import Path

import pexpect
import pytest

REPOSITORY = Path(__file__).resolve().parents[2]
sys.path.append(str(REPOSITORY / "tools" / "common"))
import engine_client  # noqa: E402, where it is is known only now

ENGINE = os.environ.get("TARSIMO", str(REPOSITORY / "build" / "tarsimo"))
UCI_ENGINE = f"{ENGINE}-uci"
SANITIZED_ENGINE = os.environ.get("TARSIMO_SANITIZED", ENGINE)
PATIENCE = 20.0

QUIET_POSITION = "r1bqk2r/ppp2ppp/2np1n2/2b1p3/2B1P3/2NP1N2/PPP2PPP/R1BQK2R w KQkq -"
ILLEGAL_POSITION = "tellusererror Illegal position"

PROMPT = "Su jugada: "
REFUSAL = "Jugada ilegal o Comando no reconocido\n"
START = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR"
FRAME = "   +---+---+---+---+---+---+---+---+\n"


def pytest_configure(config):
    config.addinivalue_line("markers", "alone: measures time, so that no other test may run beside")
    # Debian's place for xboard and pgn-extract.
    os.environ["PATH"] = os.environ.get("PATH", os.defpath) + os.pathsep + "/usr/games"
    # What the tests start takes over which signals are ignored. A shell ignores some for a command
    # in the background, and nohup another; the engine is tried as a person starts it.
    for number in (signal.SIGHUP, signal.SIGTERM, signal.SIGTSTP, signal.SIGTTIN, signal.SIGTTOU):
        signal.signal(number, signal.SIG_DFL)
    signal.signal(signal.SIGINT, signal.default_int_handler)


THINKING = re.compile(r"(\d+) {1,6}(-?\d+) (\d+) (\d+) {4}"
                      r"((?:[ NBRQK][a-h][1-8][-x][a-h][1-8] ){1,12})")
MOVE = re.compile(r"move ([a-h][1-8][a-h][1-8][qrbn]?)  ")


def wait_until(condition, process=None):
    """Look again and again until a condition holds; the process, if given, has to run till then."""
    deadline = time.monotonic() + PATIENCE
    while not condition():
        assert time.monotonic() < deadline and (process is None or process.poll() is None)
        time.sleep(0.02)


def run(*command, status=0, timeout=PATIENCE, **options):
    """Run a command that is to end with a status: what it printed, and what it complained of."""
    options = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options}
    if "input" not in options:
        options.setdefault("stdin", subprocess.DEVNULL)
    done = subprocess.run([str(word) for word in command], timeout=timeout, check=False,
                          encoding="latin-1", **options)
    assert done.returncode == status, (command, done.returncode, done.stdout, done.stderr)
    return done.stdout or "", done.stderr or ""


def write_script(path, text):
    """A program that is a text."""
    path.write_text(text, encoding="latin-1")
    path.chmod(0o755)
    return path


def processes_with(text):
    """Command lines of living processes that hold a text."""
    found = []
    for entry in Path("/proc").glob("[0-9]*/cmdline"):
        try:
            line = entry.read_bytes().replace(b"\0", b" ").decode(errors="replace")
        except OSError:
            continue
        if text in line:
            found.append(line)
    return found


def assert_no_process_with(text):
    """Wait until the last one has ended."""
    wait_until(lambda: processes_with(text) == [])


def diagram(placement, white_to_move=True):
    """The board that the console shows for the placement field of a FEN text."""
    rows = []
    for rank, row in zip(range(8, 0, -1), placement.split("/")):
        row = re.sub(r"\d", lambda blanks: " " * int(blanks[0]), row)
        cells = (("|*" if c.islower() else "| ") + dict(zip("PNBRQK", "PCATDR")).get(c.upper(), " ")
                 + " " for c in row)
        rows.append(f" {rank} {''.join(cells)}|\n{FRAME}")
    mover = " BLANCAS JUEGAN \n" if white_to_move else " NEGRAS JUEGAN  \n"
    return f"\n{FRAME}{''.join(rows)}     a   b   c   d   e   f   g   h \n\n{mover}"


GREETING = "\n   Tarsimo II version 2023, febrero 2023 " + diagram(START)


def console_session(script, timeout=PATIENCE):
    """Feed a script through a pipe; what was printed after the greeting, and the exit status."""
    data = script if isinstance(script, bytes) else script.encode("latin-1")
    done = subprocess.run([ENGINE], input=data, capture_output=True, timeout=timeout, check=False)
    output = done.stdout.decode("latin-1")
    assert output.startswith(GREETING), f"greeting: {output[:1200]!r}"
    assert done.stderr == b""
    return output[len(GREETING):], done.returncode


class Interface(engine_client.Engine):
    """An engine with the lines that it has sent. A broken pipe is no signal to it, so that it has
    to notice by itself that nobody listens."""

    def __init__(self, engine):
        super().__init__(engine, restore_signals=False)

    def take(self, count):
        """The next characters, exactly so many."""
        deadline = time.monotonic() + PATIENCE
        while len(self.buffer) < count:
            assert self.receive(deadline), f"the output ended: {self.buffer!r}"
        taken, self.buffer = self.buffer[:count], self.buffer[count:]
        return taken.decode("latin-1")

    def line(self, timeout=PATIENCE):
        """The next line without its newline; None at the end of the output."""
        try:
            return super().line(timeout)
        except engine_client.Gone:
            assert self.buffer == b"", f"a line without its end: {self.buffer!r}"
            return None

    def until(self, wanted):
        """The lines before one that equals `wanted`."""
        lines = []
        while (line := self.line()) != wanted:
            assert line is not None, f"the output ended before {wanted!r}: {lines[-20:]!r}"
            lines.append(line)
        return lines

    def end(self, timeout=PATIENCE):
        """The remaining lines and the exit status of an engine that is to end by itself."""
        lines = []
        while (line := self.line(timeout)) is not None:
            lines.append(line)
        return lines, self.process.wait(timeout)


class Gui(Interface):
    """An engine under CECP."""

    def __init__(self, engine=ENGINE):
        super().__init__(engine)
        self.pings = 1000
        self.send("xboard")
        self.take(len(GREETING + PROMPT))

    def sync(self):
        """The lines that came before the answer to a ping. For an engine that does not think."""
        self.pings += 1
        self.send(f"ping {self.pings}")
        return self.until(f"pong {self.pings}")

    def ask(self, *lines):
        """Send lines that need no thought; the lines of the answer."""
        self.send(*lines)
        return self.sync()

    def think(self, *lines):
        """Send lines, await the move; the thinking lines before it and the move."""
        self.send(*lines)
        return self.await_move()

    def await_move(self):
        thoughts = []
        while not (move := MOVE.fullmatch(line := self.line() or "")):
            thoughts.append(self.thought(line))
        return thoughts, move[1]

    @staticmethod
    def thought(line):
        """A thinking line as (depth, score, centiseconds, nodes, variation)."""
        match = THINKING.fullmatch(line)
        assert match, f"no thinking line: {line!r}"
        return *map(int, match.groups()[:4]), re.sub("[NBRQKx-]", "", match[5]).split()


@pytest.fixture
def new_gui():
    guis = []

    def start():
        guis.append(Gui())
        return guis[-1]

    yield start
    for gui in guis:
        gui.close()


@pytest.fixture
def gui(new_gui):
    return new_gui()


@pytest.fixture
def assert_legal(new_gui):
    """Replay moves in a second engine that only checks them."""
    referee = new_gui()

    def check(moves, fen=None):
        referee.send("new", f"setboard {fen}" if fen else "force", "force", *moves)
        assert referee.sync() == [], f"illegal: {moves!r} from {fen or 'the initial position'}"

    return check


@pytest.fixture
def terminal():
    """The engine on a pseudo-terminal, at its first prompt."""
    child = pexpect.spawn(ENGINE, encoding="latin-1", timeout=PATIENCE, dimensions=(50, 200))
    child.delaybeforesend = None
    yield child
    child.close(force=True)
