"""Rough surroundings: descriptors closed or full, short memory, the stop key, a busy GUI."""
import os
import signal
import subprocess
import threading

import pexpect
import pytest

from conftest import ENGINE, PATIENCE, PROMPT, run, wait_until
from test_console import attributes, begin_long_search

NO_MEMORY = "ERROR: Couldn't allocate memory for hash table.\n"


@pytest.mark.parametrize("limit, redirections, output", [
    ("", "", PROMPT), ("", "<&-", PROMPT), ("", "</", PROMPT),
    ("", ">&-", ""), ("", ">/dev/full", ""), ("", "<&- >&- 2>&-", ""),
    ("ulimit -v 61440;", "", NO_MEMORY), ("ulimit -v 204800;", "", NO_MEMORY),
])
def test_no_descriptor_and_no_memory(limit, redirections, output):
    printed, complaint = run("sh", "-c", f"{limit} exec {ENGINE} {redirections}", status=1)
    assert complaint == ""
    assert PROMPT in printed if output == PROMPT else printed == output


def test_zero_bytes_without_a_line_are_no_input():
    output, complaint = run(ENGINE, status=1, input="\0" * 1_000_000)
    assert output.endswith(PROMPT) and complaint == ""


def in_background(work):
    thread = threading.Thread(target=work)
    thread.start()
    return thread


@pytest.mark.parametrize("blocking", [True, False])
def test_reader_that_falls_behind_loses_nothing(blocking):
    """The answers fill the pipe, and the engine waits; then everything comes in order. So it does
    when another program has made the pipe or terminal non-blocking."""
    pings = "".join(f"ping {number}\n" for number in range(30000))
    reader, writer = os.pipe()
    os.set_blocking(writer, blocking)
    with subprocess.Popen([ENGINE], stdin=subprocess.PIPE, stdout=writer) as process:
        os.close(writer)
        feeder = in_background(lambda: (process.stdin.write(f"xboard\n{pings}quit\n".encode()),
                                        process.stdin.close()))
        feeder.join(1)
        with open(reader, encoding="latin-1") as output:
            pongs = output.read().split(PROMPT)[1]
        feeder.join(PATIENCE)
        assert process.wait(PATIENCE) == 0
    assert pongs == pings.replace("ping", "pong")


def test_reader_that_leaves_a_full_pipe_ends_the_engine(gui):
    def flood():
        try:
            while True:
                gui.process.stdin.write(b"ping 1\n" * 1000)
        except BrokenPipeError:
            pass

    writer = in_background(flood)
    writer.join(1)
    gui.process.stdout.close()
    assert gui.process.wait(PATIENCE) == 1
    writer.join(PATIENCE)


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
    taken over. At first without bg."""
    shell = begin_job(ENGINE)
    begin_long_search(shell)
    shell.expect_exact("Ply (10)")  # from here on a root move takes some looks at the keyboard
    in_play = attributes(shell)
    for in_background_too in (False, True, True):
        shell.sendcontrol("z")
        shell.expect_exact("Stopped")
        shell.expect_exact("ready ")
        if in_background_too:
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
    while shell.expect_exact(["Stopped", pexpect.TIMEOUT], timeout=1) == 1:
        shell.sendline("")  # the shell tells it before its next prompt
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
    writer = in_background(flood)
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


def test_tables_get_their_memory_while_nobody_speaks(gui):
    """From the first game on."""
    assert gui.ask("protover 2", "accepted setboard", "post", "hard")[-1].endswith("done=1")
    assert gui.memory() < 16 << 10
    gui.send("new", "level 0 5 0")
    wait_until(lambda: gui.memory() >= 256 << 10, gui.process)
    assert gui.sync() == []


@pytest.mark.parametrize("script", [
    "go", "xboard\ngo", "e2e4", "xboard\nsetboard 6k1/5ppp/8/8/8/8/8/R3K3 w - -\ngo",
    "xboard\nsetboard 7k/5K2/6Q1/8/8/8/8/8 b - -\ngo",
    "xboard\nsetboard rnbqkbnr/pppp1Qpp/8/4p3/4P3/8/PPPP1PPP/RNB1KBNR b KQkq -\ngo",
])
def test_what_needs_no_search_needs_no_tables(script):
    """Fixed opening replies, the end of a game, a mate found at once, a move without choice."""
    with subprocess.Popen([ENGINE], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as process:
        process.stdin.write(f"{script}\n".encode())
        process.stdin.close()
        process.stdout.read()
        _, _, usage = os.wait4(process.pid, 0)
        process.returncode = 0
    assert usage.ru_maxrss < 64 << 10


def test_signals_that_a_shell_ignores_reach_what_the_tests_start():
    """In the background of a shell, and under nohup, the tests start what they try as usual."""
    status, _ = run("cat", "/proc/self/status")
    ignored = int(status.split("SigIgn:")[1].split()[0], 16)
    assert [number.name for number in (signal.SIGINT, signal.SIGHUP, signal.SIGTERM)
            if ignored >> (number - 1) & 1] == []
