"""Rough surroundings: descriptors closed or full, short memory, the stop key, a busy GUI."""
import os
import resource
import subprocess
import threading
import time

import pexpect
import pytest

from conftest import ENGINE, PATIENCE, PROMPT
from test_console import attributes, begin_long_search

NO_MEMORY = "ERROR: Couldn't allocate memory for hash table.\n"


def shell(redirections, limit=""):
    """Run the engine with redirections of the shell; status and output."""
    done = subprocess.run(["sh", "-c", f"{limit} exec {ENGINE} {redirections}"], timeout=PATIENCE,
                          stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
    assert done.stderr == ""
    return done.returncode, done.stdout


@pytest.mark.parametrize("redirections, talks", [
    ("", True), ("<&-", True), ("</", True), (">&-", False), (">/dev/full", False),
    ("<&- >&- 2>&-", False),
])
def test_no_descriptor_makes_it_hang(redirections, talks):
    status, output = shell(redirections)
    assert status == 1
    assert (PROMPT in output) == talks


def test_zero_bytes_without_a_line_are_no_input():
    done = subprocess.run([ENGINE], input=bytes(1_000_000), capture_output=True, timeout=PATIENCE,
                          check=False)
    assert (done.returncode, done.stderr) == (1, b"")
    assert done.stdout.decode().endswith(PROMPT)


@pytest.mark.parametrize("megabytes", [60, 200])
def test_no_memory_for_the_tables(megabytes):
    assert shell("", f"ulimit -v {megabytes * 1024};") == (1, NO_MEMORY)


def test_reader_that_falls_behind_loses_nothing(gui):
    """The engine's answers fill the pipe, and it waits; then everything comes in order."""
    count = 30000
    lines = "".join(f"ping {number}\n" for number in range(count)).encode()
    writer = threading.Thread(target=gui.process.stdin.write, args=(lines,))
    writer.start()
    writer.join(1)
    assert [gui.line() for _ in range(count)] == [f"pong {number}" for number in range(count)]
    writer.join(PATIENCE)
    assert gui.think("sd 4", "go")[1] == "d2d4"


def test_reader_that_leaves_a_full_pipe_ends_the_engine(gui):
    def flood():
        try:
            while True:
                gui.process.stdin.write(b"ping 1\n" * 1000)
        except BrokenPipeError:
            pass

    writer = threading.Thread(target=flood)
    writer.start()
    writer.join(1)
    gui.process.stdout.close()
    assert gui.process.wait(PATIENCE) == 1
    writer.join(PATIENCE)


def test_stop_key_of_a_shell_leaves_the_terminal_as_it_was_and_play_goes_on():
    shell = pexpect.spawn("bash", ["--norc", "--noprofile"], encoding="latin-1", timeout=PATIENCE)
    shell.delaybeforesend = None
    shell.sendline(f"PS1='ready'; {ENGINE}")
    begin_long_search(shell)
    before = attributes(shell)
    for _ in range(3):
        shell.sendcontrol("z")
        shell.expect_exact("Stopped")
        shell.expect_exact("ready")
        shell.sendline("fg")
        shell.expect_exact("Analizando")
        assert attributes(shell) == before
    shell.send("d")
    shell.expect_exact("Mi jugada: ")
    shell.expect_exact(PROMPT)
    shell.close(force=True)


def begin_job(command):
    """A shell with job control, in which a command has been started."""
    shell = pexpect.spawn("bash", ["--norc", "--noprofile"], encoding="latin-1", timeout=PATIENCE)
    shell.delaybeforesend = None
    shell.sendline("PS1='rea''dy '")
    shell.expect_exact("ready ")
    shell.sendline(command)
    return shell


def test_background_leaves_the_terminal_to_the_shell():
    """Ctrl-Z, bg and fg in a think: the shell's mode of the terminal is neither changed nor
    taken over."""
    shell = begin_job(ENGINE)
    begin_long_search(shell)
    shell.expect_exact("Ply (10)")  # from here on a root move takes some looks at the keyboard
    in_play = attributes(shell)
    for _ in range(3):
        shell.sendcontrol("z")
        shell.expect_exact("ready ")
        shell.sendline("bg")
        shell.expect_exact("ready ")
        for _ in range(5):
            shell.expect_exact("Analizando")
        assert attributes(shell) != in_play
        shell.sendline("jobs")
        shell.expect("Running|Stopped")
        assert shell.after == "Running"
        shell.expect_exact("ready ")
        shell.sendline("fg")
        shell.expect_exact(f"{ENGINE}\r\n")
        for _ in range(5):
            shell.expect_exact("Analizando")
        assert attributes(shell) == in_play
    shell.send("d")
    shell.expect_exact("Mi jugada: ")
    shell.expect_exact(PROMPT)
    shell.sendline("os")
    shell.expect_exact(" Jugador-Jugador SI" + PROMPT)
    assert attributes(shell) == in_play
    shell.close(force=True)


def test_start_in_the_background_goes_on_in_the_foreground():
    shell = begin_job(f"{ENGINE} &")
    shell.expect_exact(PROMPT)
    shell.sendline("")
    shell.expect("Stopped")
    shell.sendline("fg")
    shell.expect_exact(ENGINE)
    shell.sendline("dos")
    shell.expect_exact(" Jugador-Jugador SI" + PROMPT)
    shell.sendline("q")
    shell.expect_exact("ready ")
    shell.close(force=True)


def test_line_without_end_does_not_hold_the_search(gui, assert_legal):
    stop = threading.Event()

    def flood():
        while not stop.is_set():
            gui.write(b"x" * 65536)

    gui.send("force", "e2e4", "e7e5", "st 1", "go")
    writer = threading.Thread(target=flood)
    writer.start()
    try:
        _, move = gui.await_move()
    finally:
        stop.set()
        writer.join(PATIENCE)
    assert_legal(["e2e4", "e7e5", move])
    # The flood was one line, of which the first characters count.
    gui.write(b"\n")
    assert gui.sync() == ["Error (unknown command): " + "x" * 255] or gui.sync() == []
    assert gui.ask("undo", "undo") == []


def test_output_that_would_block_is_waited_for():
    """Another program has made the pipe or terminal non-blocking; its reader takes its time."""
    reader, writer = os.pipe()
    os.set_blocking(writer, False)
    with subprocess.Popen([ENGINE], stdin=subprocess.PIPE, stdout=writer) as process:
        os.close(writer)
        count = 30000
        script = "xboard\n" + "".join(f"ping {number}\n" for number in range(count)) + "quit\n"
        feeder = threading.Thread(target=lambda: (process.stdin.write(script.encode()),
                                                  process.stdin.close()))
        feeder.start()
        feeder.join(1)
        with open(reader, encoding="latin-1") as output:
            pongs = output.read().split(PROMPT)[1]
        feeder.join(PATIENCE)
        assert process.wait(PATIENCE) == 0
    assert pongs == "".join(f"pong {number}\n" for number in range(count))


def resident_bytes(gui):
    with open(f"/proc/{gui.process.pid}/statm", encoding="ascii") as file:
        return int(file.read().split()[1]) * resource.getpagesize()


def test_memory_before_the_first_game_is_small(gui):
    gui.send("protover 2", "accepted setboard", "post", "hard")
    gui.sync()
    assert resident_bytes(gui) < 16 << 20


def test_tables_are_provided_while_nobody_speaks(gui):
    gui.send("new", "level 0 5 0")
    deadline = time.monotonic() + PATIENCE
    while resident_bytes(gui) < 256 << 20:
        assert time.monotonic() < deadline, "the tables are still without memory"
        time.sleep(0.05)
    assert gui.sync() == []


@pytest.mark.parametrize("script", [
    "go\n", "xboard\ngo\n", "e2e4\n", "xboard\nsetboard 6k1/5ppp/8/8/8/8/8/R3K3 w - -\ngo\n",
    "xboard\nsetboard 7k/5K2/6Q1/8/8/8/8/8 b - -\ngo\n",
    "xboard\nsetboard rnbqkbnr/pppp1Qpp/8/4p3/4P3/8/PPPP1PPP/RNB1KBNR b KQkq -\ngo\n",
], ids=["first move", "first move under CECP", "first answer", "mate in one", "stalemate",
        "only move"])
def test_what_needs_no_search_needs_no_tables(script):
    """Fixed opening replies, the end of a game, a mate found at once, a move without choice."""
    with subprocess.Popen([ENGINE], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as process:
        process.stdin.write(script.encode())
        process.stdin.close()
        process.stdout.read()
        _, _, usage = os.wait4(process.pid, 0)
        process.returncode = 0
    assert usage.ru_maxrss < 64 << 10
