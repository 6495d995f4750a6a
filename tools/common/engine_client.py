"""An engine at the end of two pipes, for the scripts here and for the tests.

`Engine` is the process with its lines, whatever it speaks; `Cecp` and `Uci` know as much of their
protocols as several of them need. A program that copies itself to other machines copies this file
along. Texts are Latin-1 on both sides, so that every byte passes.
"""
import os
import re
import select
import subprocess
import time
from collections import deque

PATIENCE = 60.0  # seconds for an answer that takes no thought
STEP = 1.0  # seconds between looks whether anybody still needs the answer


class EngineError(Exception):
    """The engine does not do what it is to do; the text says what, for a person."""


class Late(EngineError):
    """Nothing came in time."""


class Gone(EngineError):
    """The engine has ended or closed its side of a pipe."""


class Engine:
    """A process that is sent lines and sends lines.

    `talk` holds the last lines said on both sides. With `wanted`, a function, a wait ends with
    an EngineError once that returns false: then nobody needs the answer any more. Other options go
    to Popen.
    """

    def __init__(self, command, wanted=lambda: True, **options):
        self.process = subprocess.Popen([command], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        bufsize=0, **options)
        self.wanted = wanted
        self.buffer = b""
        self.talk = deque(maxlen=60)

    def write(self, data):
        """Send bytes as they are."""
        try:
            self.process.stdin.write(data)
        except BrokenPipeError:
            raise Gone(self.how_it_ended()) from None

    def send(self, *lines):
        """Send lines in one write, as a GUI's packet may hold several."""
        self.talk.extend("> " + line for line in lines)
        self.write("".join(line + "\n" for line in lines).encode("latin-1"))

    def receive(self, deadline):
        """Await more output; False at its end. Raises Late when none comes until `deadline`, a
        time of the monotonic clock or None."""
        while True:
            if not self.wanted():
                raise EngineError("the run was stopped")
            wait = STEP if deadline is None else min(deadline - time.monotonic(), STEP)
            if select.select([self.process.stdout], [], [], max(wait, 0))[0]:
                break
            if deadline is not None and time.monotonic() >= deadline:
                raise Late(f"nothing more arrived; the last was {self.buffer[-400:]!r}")
        data = os.read(self.process.stdout.fileno(), 65536)
        self.buffer += data
        return data != b""

    def line(self, timeout=PATIENCE):
        """The next line without its newline. Raises Late after `timeout` seconds (None: never),
        Gone at the end of the output."""
        deadline = None if timeout is None else time.monotonic() + timeout
        while b"\n" not in self.buffer:
            if not self.receive(deadline):
                raise Gone(self.how_it_ended())
        line, self.buffer = self.buffer.split(b"\n", 1)
        text = line.decode("latin-1")
        self.talk.append("< " + text)
        return text

    def match(self, pattern, timeout=PATIENCE):
        """The match of the first line that fits, but for blanks at its end; the lines before it
        are dropped."""
        deadline = time.monotonic() + timeout
        while True:
            try:
                text = self.line(max(deadline - time.monotonic(), 0))
            except Late:
                raise Late(f"no answer like {pattern!r}") from None
            if found := re.fullmatch(pattern, text.rstrip()):
                return found

    def how_it_ended(self):
        """A sentence for an engine that has closed its side of a pipe."""
        try:
            return f"the engine ended with {self.process.wait(5)}"
        except subprocess.TimeoutExpired:
            return "the engine closed its pipes"

    def memory(self):
        """Resident memory in kB."""
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as status:
            resident = re.search(r"VmRSS:\s+(\d+)", status.read())
        if not resident:
            raise Gone(self.how_it_ended())
        return int(resident[1])

    def close(self):
        """End the process at once."""
        for pipe in (self.process.stdin, self.process.stdout):
            pipe.close()
        self.process.kill()
        self.process.wait(PATIENCE)


class Cecp(Engine):
    """An engine under CECP."""

    def begin(self):
        """Bring it into the protocol. To be called before anything else."""
        self.pings = 0
        self.send("xboard", "protover 2")
        self.match(r"feature.*done=1")

    def ping(self, *lines):
        """Send lines and a ping behind them; the answer that will come when they are done with."""
        self.pings += 1
        self.send(*lines, f"ping {self.pings}")
        return f"pong {self.pings}"

    def sync(self):
        """Wait until everything sent is done with."""
        self.match(self.ping())

    def go(self, *lines):
        """Send lines that make it move: the move, None when the game is over."""
        return self.match(rf"move (\S+)|{self.ping(*lines)}")[1]


class Uci(Engine):
    """An engine under UCI."""

    def begin(self):
        """Bring it into the protocol. To be called before anything else."""
        self.send("uci")
        self.match("uciok")

    def sync(self):
        """Wait for the answer to isready."""
        self.send("isready")
        self.match("readyok")
