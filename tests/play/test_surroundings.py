"""Rough surroundings: descriptors closed or full, short memory, the stop key, a busy GUI."""
import resource
import subprocess
import threading

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


def test_memory_before_the_first_search_is_small(gui):
    assert gui.sync() == []
    with open(f"/proc/{gui.process.pid}/statm", encoding="ascii") as file:
        resident = int(file.read().split()[1]) * resource.getpagesize()
    assert resident < 16 << 20
