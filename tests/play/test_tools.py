"""Every tool under bad conditions: asked for help, given nonsense, files that are none, no place
for its output, a signal in the middle of its work. The answer is a sentence and a status, and
nothing is left behind."""
import os
import random
import re
import shutil
import signal
import subprocess
from pathlib import Path

import pytest

from conftest import (ENGINE, PATIENCE, REPOSITORY, SANITIZED_ENGINE, START, UCI_ENGINE,
                      assert_no_process_with, run, wait_until, write_script)

BUILD = Path(ENGINE).resolve().parent
SANITIZED = Path(SANITIZED_ENGINE).resolve().parent
SOAK = REPOSITORY / "tools/soak"
ANALYSE = REPOSITORY / "tools/analyse"
DIRECTIONS = REPOSITORY / "tools" / "tuning" / "directions.txt"
SECOND_OPINION = REPOSITORY / "tools/tuning/second-opinion"

START_FEN = f"{START} w KQkq - 0 1"
GAME = f"{START_FEN[:-4]};e2e4/35 e7e5/-20 g1f3/30 b8c6/-25 f1b5/28 a7a6/-30 b5a4/25;0.5\n"

PROGRAMS = sorted(path for path in BUILD.glob("tarsimo-*")
                  if path.is_file() and os.access(path, os.X_OK)
                  and not path.name.endswith("-tests") and path.name != "tarsimo-uci")
SCRIPTS = [path for path in [*(REPOSITORY / "tools").rglob("*"), REPOSITORY / "fuzz/run"]
           if path.is_file() and os.access(path, os.X_OK) and path.suffix == ""
           and path.name not in ("check-path", "install-packages", "source-files", "static-checks")]


def assert_is_sentence(complaint):
    """A line or a few, for a person, however wild the input was."""
    assert re.fullmatch(r"([ -~]+\n){1,4}", complaint) and len(complaint) < 1000, ascii(complaint)
    assert not re.search("Traceback|Sanitizer|runtime error", complaint), complaint


# --- help ---------------------------------------------------------------------

def test_the_list_of_tools_is_whole():
    names = {path.name for path in PROGRAMS + SCRIPTS}
    assert names >= {"tarsimo-perft", "tarsimo-bench", "tarsimo-mates", "tarsimo-match",
                     "tarsimo-san", "tarsimo-tree", "tarsimo-trace", "tarsimo-tune",
                     "tarsimo-spsa", "tarsimo-selfplay", "tarsimo-positions", "tarsimo-margins", "tarsimo-judgement",
                     "analyse", "games-from-pgn",
                     "combinations", "soak", "plot-figures", "plot-errors", "second-opinion", "run"}


@pytest.mark.parametrize("tool", PROGRAMS + SCRIPTS, ids=lambda path: path.name)
def test_help_and_misuse(tool, tmp_path):
    if tool.name == "tarsimo-micro":
        pytest.skip("its command line is that of the benchmark library")
    output, complaint = run(tool, "--help", cwd=tmp_path)
    assert output.startswith("usage") and complaint == ""
    output, complaint = run(tool, "--no-such-option", "x", "y", "z", status=2, cwd=tmp_path)
    assert output == "" and "usage" in complaint
    assert list(tmp_path.iterdir()) == []


# --- positions ----------------------------------------------------------------

@pytest.mark.parametrize("fen, why", [
    ("nonsense", "not eight ranks of eight squares"),
    ("4k3/8/8/8/8/8/8/4K3 w", "the castling field"),
    ("\x1b[2J" + "9" * 10000, "not eight ranks of eight squares"),
], ids=lambda text: ascii(text[:30]))
def test_no_figures_of_another_position(fen, why):
    """What is no position must not be answered with figures of the initial one."""
    for command in ("tarsimo-perft", fen, 2), ("tarsimo-trace", fen):
        output, complaint = run(BUILD / command[0], *command[1:], status=2)
        assert output == "" and why in complaint
        assert_is_sentence(complaint)
    for command in f"eval {fen}", f"{fen} ; 2 ; -100 ; 100":
        output, _ = run(BUILD / "tarsimo-tree", command, status=2)
        assert output.startswith("not understood") and why in output


def test_blanks_are_no_fields():
    loose = "  4k3/8/8/8/8/8/4P3/4K3  b\t-   -  0 1"
    assert "total 5\n" in run(BUILD / "tarsimo-perft", loose, 1)[0]
    assert run(BUILD / "tarsimo-trace", loose)[0].startswith("4k3/8/8/8/8/8/4P3/4K3 b - -\n")


@pytest.mark.parametrize("counts, status, message", [
    (";D1 5", 0, "positions 1 mismatches 0"),
    (";D1 6", 1, "depth 1: 5 instead of 6"),
    (";bm Kd2;", 2, "line 2: not a depth and its count"),
    ("", 2, "line 2: a position without counts"),
])
def test_perft_suites(tmp_path, counts, status, message):
    (tmp_path / "suite.epd").write_text(f"# bare kings\n4k3/8/8/8/8/8/8/4K3 w - - {counts}\n")
    output, complaint = run(BUILD / "tarsimo-perft", tmp_path / "suite.epd", status=status)
    assert message in (complaint if status == 2 else output)


# --- files --------------------------------------------------------------------

def make_hostile(folder, kind):
    path = folder / "hostile"
    if kind == "folder":
        path.mkdir()
    elif kind == "device":
        path.symlink_to("/dev/zero")
    elif kind != "missing":
        path.write_bytes({
            "random bytes": random.Random(7).randbytes(100_000),
            "zeros": bytes(100_000),
            "a line without end": b"e2e4 " * 500_000,
            "empty": b"",
            "no kings": b"8/8/8/8/8/8/8/8 w - -;0.5\n" * 3,
        }[kind])
    return path


@pytest.fixture(name="readers")
def commands_that_read(tmp_path):
    """For each tool that reads a file the command line around its name."""
    output = tmp_path / "output"
    output.mkdir()
    weights = REPOSITORY / "eval/weights.inc"
    match = [SANITIZED / "tarsimo-match", "-p", output / "pgn"]

    def commands(path):
        yield SANITIZED / "tarsimo-perft", path
        yield SANITIZED / "tarsimo-positions", path, output / "positions"
        yield SANITIZED / "tarsimo-margins", path
        yield SANITIZED / "tarsimo-judgement", path
        yield SANITIZED / "tarsimo-tune", path, output, "--list", weights
        yield SANITIZED / "tarsimo-tune", "none", output, "--list", path
        yield SANITIZED / "tarsimo-spsa", path, output, "--list", weights
        yield SANITIZED / "tarsimo-spsa", DIRECTIONS, output, "--list", path
        yield *match, "-o", path, ENGINE, ENGINE
        yield ANALYSE, path, "--depth", 1, "--engine", UCI_ENGINE, "-o", output / "results"
        yield SECOND_OPINION, path, output / "judged", "--engine", shutil.which("cat")
        yield REPOSITORY / "tools/tuning/plot-errors", path, output / "picture.png"
        yield REPOSITORY / "tools/plot-figures", path

    return commands


@pytest.mark.parametrize("kind", ["missing", "folder", "device", "random bytes", "zeros", "empty",
                                  "a line without end", "no kings"])
def test_files_that_are_none(readers, tmp_path, kind):
    path = make_hostile(tmp_path, kind)
    for command in readers(path):
        output, complaint = run(*command, status=2, cwd=tmp_path)
        assert output == "", command
        assert_is_sentence(complaint)
        assert "hostile" in complaint or Path(command[0]).name == "tarsimo-perft", complaint
    for command in (SANITIZED / "tarsimo-san",), (BUILD / "tarsimo-tree", "--pin"):
        if kind == "folder":
            stdin = os.open(path, os.O_RDONLY)
            assert_is_sentence(run(*command, status=2, stdin=stdin)[1])
            os.close(stdin)


def test_a_file_of_somebody_else_is_not_written_over(tmp_path):
    """Tools that go on where their output ends first look whose it is."""
    (tmp_path / "games").write_text(GAME)
    (tmp_path / "positions").write_text(f"{START_FEN};0.5\n")
    engine = shutil.which("cat")
    for text in ("diary", "diary\nof a person\n", "\0" * 5000):
        (tmp_path / "diary").write_text(text)
        for command in ((BUILD / "tarsimo-selfplay", "diary", "--games", 1),
                        (SECOND_OPINION, "positions", "diary", "--engine", engine),
                        (ANALYSE, "positions", "-o", "diary", "--depth", 1, "--engine",
                         UCI_ENGINE)):
            _, complaint = run(*command, status=2, cwd=tmp_path)
            assert_is_sentence(complaint)
            assert (tmp_path / "diary").read_text() == text, command
    _, complaint = run(BUILD / "tarsimo-positions", "games", "games", status=2, cwd=tmp_path)
    assert "games itself" in complaint and (tmp_path / "games").read_text() == GAME


# --- outputs ------------------------------------------------------------------

@pytest.mark.parametrize("place", ["/nowhere/file", "/proc/file"])
def test_no_place_for_the_output_is_noticed_before_the_work(tmp_path, place):
    (tmp_path / "games").write_text(GAME * 1000)
    (tmp_path / "positions").write_text(f"{START_FEN};0.5\n" * 1000)
    folder = Path(place).parent
    for command in ((BUILD / "tarsimo-positions", "games", place),
                    (BUILD / "tarsimo-selfplay", place),
                    (BUILD / "tarsimo-tune", "positions", folder, "--list",
                     REPOSITORY / "eval/weights.inc"),
                    (BUILD / "tarsimo-spsa", DIRECTIONS, folder, "--list",
                     REPOSITORY / "eval/weights.inc"),
                    (SECOND_OPINION, "positions", place, "--engine", shutil.which("cat")),
                    (ANALYSE, "games", "-o", place, "--depth", 1, "--engine", UCI_ENGINE)):
        if command[0] == ANALYSE:
            (tmp_path / "games").write_text(START_FEN + "\n")
        output, complaint = run(*command, status=2, cwd=tmp_path)
        assert output == "" and f"{folder}/" in complaint
        assert not re.search(r"\d of \d", complaint), "work had begun"
        assert_is_sentence(complaint)


def test_a_full_disk_is_noticed_in_the_middle_of_the_work(tmp_path):
    run(BUILD / "tarsimo-selfplay", "games", "--games", 4, "--nodes", 50, cwd=tmp_path)
    for command in (("tarsimo-positions", "games", "/dev/full"),
                    ("tarsimo-selfplay", "/dev/full", "--games", 1)):
        output, complaint = run(BUILD / command[0], *command[1:], status=2, cwd=tmp_path)
        assert output == "" and "cannot write /dev/full" in complaint


@pytest.mark.parametrize("command", [
    (BUILD / "tarsimo-perft", START_FEN, 1), (BUILD / "tarsimo-bench", 1),
    (BUILD / "tarsimo-mates", "KQK", 1, 1), (BUILD / "tarsimo-trace", START_FEN),
    (BUILD / "tarsimo-tree", f"eval {START_FEN}"), (BUILD / "tarsimo-margins", "positions"),
    (BUILD / "tarsimo-match", "--pairs", "1,2,3,2,1"), (BUILD / "tarsimo-match", "--help"),
    (BUILD / "tarsimo-san",), (SOAK, "load", 1, ENGINE),
    (ANALYSE, "test.epd", "--depth", 1, "--engine", UCI_ENGINE),
], ids=lambda command: " ".join(str(word) for word in command).rsplit("/", 1)[-1][:30])
def test_a_full_output_is_no_success(tmp_path, command):
    (tmp_path / "positions").write_text(f"{START_FEN};0.5\n")
    (tmp_path / "test.epd").write_text("k7/8/K7/8/8/8/8/6Q1 w - - bm Qb6;\n")
    (tmp_path / "lines").write_text(f"{START_FEN}\te2e4\n")
    with open("/dev/full", "w", encoding="ascii") as full, \
            open(tmp_path / "lines", encoding="ascii") as lines:
        _, complaint = run(*command, status=2, cwd=tmp_path, stdin=lines, stdout=full)
    # The progress of analyse comes before.
    assert "rite the output" in complaint or "No space left" in complaint, complaint
    assert "Traceback" not in complaint and "Exception" not in complaint


# --- programs that are missing, and processes that stay ------------------------

def test_soak_without_an_engine(tmp_path):
    text = write_script(tmp_path / "text", "no program")
    for mode in "traffic", "uci", "load":
        for engine in tmp_path / "missing", tmp_path, text:
            _, complaint = run(SOAK, mode, 5, engine, status=2)
            assert_is_sentence(complaint)
            assert f"cannot run {engine}" in complaint


def test_soak_finds_no_fault_by_uci():
    output, _ = run(SOAK, "uci", 3, UCI_ENGINE)
    assert "without a fault" in output
    assert re.search(r"^stop: \d+ times; .* worst [\d.]+$", output, re.M)


def test_random_combinations():
    """Of what the programs do, their surroundings, what arrives and what interrupts them."""
    output, _ = run(REPOSITORY / "tools/combinations", 40, 1, SANITIZED, timeout=600)
    assert output.startswith("40 of") and output.endswith(" 0 failed\n")


def test_combinations_without_programs(tmp_path):
    assert_is_sentence(run(REPOSITORY / "tools/combinations", 1, 1, tmp_path, status=2)[1])


@pytest.mark.parametrize("mode", ["traffic", "uci", "load"])
def test_soak_with_an_engine_that_dies(tmp_path, mode):
    """The fault is told, with the talk, and no busy process stays."""
    engine = write_script(tmp_path / "engine", "#!/bin/sh\nexit 3\n")
    _, complaint = run(SOAK, mode, 5, engine, status=1)
    assert "the engine ended with 3" in complaint and "Traceback" not in complaint
    assert_no_process_with(str(tmp_path))


@pytest.mark.parametrize("mode", ["traffic", "load"])
@pytest.mark.parametrize("sent, status", [(signal.SIGTERM, 143), (signal.SIGINT, 130),
                                          (signal.SIGKILL, -9)])
def test_soak_that_is_stopped_leaves_nothing(tmp_path, mode, sent, status):
    engine = tmp_path / "engine"
    engine.symlink_to(Path(ENGINE).resolve())
    running = subprocess.Popen([SOAK, mode, "1000", engine], stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, text=True)
    children = Path(f"/proc/{running.pid}/task/{running.pid}/children")
    wanted = 2 if mode == "traffic" else 1 + (os.cpu_count() or 1)
    wait_until(lambda: len(children.read_text().split()) >= wanted, running)
    running.send_signal(sent)
    _, complaint = running.communicate(timeout=PATIENCE)
    assert running.returncode == status and "Traceback" not in complaint
    assert_no_process_with(f" {running.pid} ")
    assert_no_process_with(str(tmp_path))


@pytest.mark.parametrize("engine, complaint", [
    ("#!/bin/sh\nexit 3\n", "ended with 3"),
    ("#!/bin/sh\necho uciok; exec sleep 0\n", "ended with"),
    ("#!/bin/sh\nwhile read word; do echo uciok readyok; echo readyok; echo bestmove; done\n",
     "gave no score"),
])
def test_second_opinion_of_somebody_who_has_none(tmp_path, engine, complaint):
    (tmp_path / "positions").write_text(f"{START_FEN};0.5\n")
    other = write_script(tmp_path / "engine", engine)
    _, answer = run(SECOND_OPINION, "positions", "judged", "--engine", other, status=2,
                    cwd=tmp_path)
    assert complaint in answer
    assert_is_sentence(answer)
    assert_no_process_with(str(tmp_path))


def test_selfplay_workers_end_with_their_parent(tmp_path):
    """Even when it is killed; what it has written is whole games and the start of one."""
    games = tmp_path / "games"
    running = subprocess.Popen([BUILD / "tarsimo-selfplay", games, "--games", "100000", "--nodes",
                                "50", "--workers", "3"], stderr=subprocess.DEVNULL)
    wait_until(lambda: games.exists() and games.read_text().count("\n") >= 4, running)
    running.kill()
    running.wait(PATIENCE)
    assert_no_process_with(str(games))
