"""Files of positions: every one searched once, whatever stops the run, and tests scored right."""
import os
import re
import shutil
import signal
import subprocess
import time
import xml.etree.ElementTree
from pathlib import Path

import pytest

from conftest import (PATIENCE, REPOSITORY, assert_no_process_with, default_signals,
                      processes_with)
from conftest import UCI_ENGINE as ENGINE

ANALYSE = REPOSITORY / "tools" / "analyse"
SUITE = REPOSITORY / "tests" / "data" / "tactics.epd"

POSITIONS = """\
# Mate in one, and a move that mates as well.
k7/8/K7/8/8/8/8/6Q1 w - - bm Qg8# Qa7; id "mate; or mate";
k7/8/K7/8/8/8/8/6Q1 w - - bm Qb6; id "no mate";

4k3/8/8/3q4/8/8/8/3QK3 w - - 12 40 am Qd2; id "takes";
4k3/8/8/3q4/8/8/8/3QK3 w - - am Qxd5; bm d1d5; id "takes, and should not"; c0 "kept";
8/P6k/8/8/8/8/8/K7 w - - 0 1
8/P6k/8/8/8/8/8/K7 w - - 0 1
r3k2r/8/8/8/8/8/8/R3K2R b KQkq -
"""

# A login program that stays at home, in a folder that stands for the other machine's. What it
# runs sees the variables of a login there and none of this machine's.
SSH = """\
#!/bin/sh
while :; do
    case $1 in
        -[olpSi]) shift 2;;
        -*) shift;;
        *) break;;
    esac
done
echo "$1" >> "$OTHER_MACHINE/logins"
shift
[ "$1" != -- ] || shift
cd "$OTHER_MACHINE" && exec env -i HOME="$OTHER_MACHINE" PATH=/usr/bin:/bin SHELL=/bin/sh \
    OTHER_MACHINE="$OTHER_MACHINE" ELSEWHERE=yes sh -c "$*"
"""

# An engine that does not start on the other machine from a file of this one.
LOCAL_ENGINE = """\
#!/bin/sh
case $ELSEWHERE$0 in
    yes"$OTHER_MACHINE"/*|/*) exec "%s";;
esac
exit 1
"""


@pytest.fixture
def analyse(tmp_path):
    """Run the tool on a text of positions: what it printed and the lines of results."""

    def run(text, *options, status=0, **environment):
        (tmp_path / "in.epd").write_text(text)
        done = subprocess.run([ANALYSE, "in.epd", "--engine", ENGINE, *options], cwd=tmp_path,
                              env={**os.environ, "PARALLEL_HOME": str(tmp_path), **environment},
                              capture_output=True, text=True, timeout=100, check=False)
        assert done.returncode == status, done.stdout + done.stderr
        results = tmp_path / "in.epd.results"
        lines = results.read_text().splitlines() if results.exists() else []
        return done.stdout + done.stderr, lines

    return run


def stand_in(folder, script):
    """A script in the engine's place, with the other programs beside it."""
    (folder / "engine").write_text(script)
    (folder / "engine").chmod(0o755)
    (folder / "tarsimo-san").symlink_to(Path(ENGINE).resolve().with_name("tarsimo-san"))
    return str(folder / "engine")


def operations(line):
    return dict(re.findall(r'(\w+) ("[^"]*"|[^;"]+);', line.split(None, 4)[4]))


def test_results_and_scores(analyse, tmp_path):
    output, lines = analyse(POSITIONS, "--depth", "7", "-j", "2")
    assert lines[0] == "# analyse --depth 7"
    by_id = {operations(line).get("id", line[:4]): operations(line) for line in lines[1:]}
    assert len(lines) == 8 and len(by_id) == 6

    mate = by_id['"mate; or mate"']
    assert mate["pm"] == mate["pv"] and mate["pm"] in ("Qg8#", "Qa7#", "Qb7#")
    assert mate["bm"] == "Qg8# Qa7" and mate["ce"] == "32766"
    assert by_id['"takes"']["pm"] == "Qxd5" and "bm" not in by_id['"takes"']
    assert by_id['"takes, and should not"']["c0"] == '"kept"'
    queen = by_id["8/P6"]
    assert "pm" not in queen and queen["pv"].startswith(queen["bm"])
    assert (queen["acd"], int(queen["ce"]) > 500, int(queen["acn"]) > 0) == ("7", True, True)
    assert sum(line.startswith("8/P6k/8/8/8/8/8/K7 w - - bm") for line in lines) == 2
    assert re.match(r"[RK]", by_id["r3k2"]["bm"]) and set(by_id["r3k2"]) >= {"acs", "c9"}

    assert re.search(r"^solved 2 of 4 \(50\.0 %\), found in 0\.\d\d s on average", output, re.M)
    assert re.search(r"^  no mate: Q\w\d# \(bm Qb6\)\n"
                     r"  takes, and should not: Qxd5 \(bm d1d5 am Qxd5\)$", output, re.M)
    assert re.search(r"^\[#{24}\] 7 of 7, ", output, re.M)

    # Again: nothing is left to do, or the one of two equal lines that is missing. With a position
    # more, only that one.
    assert analyse(POSITIONS, "--depth", "7")[1] == lines
    twins = sorted(lines[1:], key=lambda line: line.startswith("8/P6k"))
    (tmp_path / "in.epd.results").write_text("\n".join([lines[0], *twins[:-1]]) + "\n")
    lines = analyse(POSITIONS, "--depth", "7")[1]
    assert len(lines) == 8 and lines[:-1] == [lines[0], *twins[:-1]]
    more = analyse(POSITIONS + "8/8/8/8/8/4k3/4p3/4K3 b - -\n", "--depth", "7")[1]
    assert more[:-1] == lines and more[-1].startswith("8/8/8/8/8/4k3/4p3/4K3 b - - bm K")
    assert "comes from another run" in analyse(POSITIONS, "--depth", "6", status=2)[0]


# A name and blanks of other alphabets in two encodings, and every byte but newline and quote.
NAMES = [b"R\xe9ti", "R\u00e9ti".encode(), "\u2028 \u0085 \u00a0".encode(), b"\x85\xa0\x1c\x0c",
         bytes(set(range(256)) - set(b'\n"'))]


def test_bytes_of_names_pass_unchanged(analyse, tmp_path):
    lines = [b'k7/8/K7/8/8/8/8/6Q1 w - - bm Qb6; id "' + name + b'";' for name in NAMES]
    lines[0] += b" c0 R\xe9;"
    (tmp_path / "in.epd").write_bytes(b"\r\n".join(lines) + b"\r\n")
    for _ in range(2):  # and again, from the results
        done = subprocess.run([ANALYSE, "in.epd", "--engine", ENGINE, "--depth", "2"], cwd=tmp_path,
                              env={**os.environ, "LC_ALL": "C"}, capture_output=True, timeout=100,
                              check=False)
        assert done.returncode == 0, done
        results = (tmp_path / "in.epd.results").read_bytes().split(b"\n")[1:-1]
        assert len(results) == len(lines)
        for line in lines:
            assert sum(result.startswith(line) for result in results) == 1, line
        for name in NAMES:
            assert b"  " + name + b": Q" in done.stdout


@pytest.mark.parametrize("sent, status", [(signal.SIGTERM, 143), (signal.SIGHUP, 129),
                                          (signal.SIGKILL, -9)])
def test_a_signal_ends_all_searches(tmp_path, sent, status):
    (tmp_path / "in.epd").write_text(POSITIONS)
    engine = stand_in(tmp_path, "")
    shutil.copy(ENGINE, engine)
    running = subprocess.Popen([ANALYSE, "in.epd", "--time", "1000", "--engine", engine, "-j", "2"],
                               cwd=tmp_path, stderr=subprocess.PIPE, text=True,
                               preexec_fn=default_signals)
    deadline = time.monotonic() + PATIENCE
    while len(processes_with(engine)) < 5:  # the run, parallel, two workers, an engine
        assert time.monotonic() < deadline and running.poll() is None
        time.sleep(0.05)
    running.send_signal(sent)
    complaint = running.communicate(timeout=PATIENCE)[1]
    assert running.returncode == status and "Traceback" not in complaint
    assert sent == signal.SIGKILL or "the same command goes on" in complaint
    assert_no_process_with(str(tmp_path))


def test_a_damaged_file_of_results_is_left_alone(analyse, tmp_path):
    for text, complaint in (("# analyse --depth 2\nnonsense\n", "is damaged"),
                            ("diary\n", "not a file of results")):
        (tmp_path / "in.epd.results").write_text(text)
        assert complaint in analyse(POSITIONS, "--depth", "2", status=2)[0]
        assert (tmp_path / "in.epd.results").read_text() == text


def test_a_stopped_run_goes_on(analyse, tmp_path):
    """Stopped by Ctrl-C, and with a last line that was only half written."""
    long_position = "r1bqkb1r/pppp1ppp/2n2n2/4p3/4P3/2N2N2/PPPP1PPP/R1BQKB1R w KQkq -\n"
    quick = POSITIONS.replace("bm Qb6; ", "")
    (tmp_path / "in.epd").write_text(quick + long_position)
    results = tmp_path / "in.epd.results"
    options = ["--time", "2", "--engine", ENGINE, "-j", "1"]
    running = subprocess.Popen([ANALYSE, "in.epd", *options], cwd=tmp_path,
                               stderr=subprocess.PIPE, text=True, start_new_session=True,
                               preexec_fn=default_signals)
    deadline = time.monotonic() + PATIENCE
    while not results.exists() or results.read_text().count("\n") < 3:
        assert time.monotonic() < deadline and running.poll() is None
        time.sleep(0.05)
    os.killpg(running.pid, signal.SIGINT)
    assert "the same command goes on" in running.communicate(timeout=PATIENCE)[1]
    assert running.returncode == 130

    before = results.read_text()
    results.write_text(before + "k7/8/K7/8/8/8/8/6Q1 w - - bm Qb7#; ac")
    _, lines = analyse(quick, "--time", "2", "-j", "2")
    assert len(lines) == 8 and "\n".join(lines).startswith(before)


def test_several_lines_and_a_number_of_nodes(analyse):
    fen = "8/P6k/8/8/8/8/8/K7 w - -"
    options = ("--nodes", "3000", "--multipv", "2")
    _, lines = analyse(fen + "\n", *options)
    assert lines[0] == "# analyse --nodes 3000 --multipv 2"
    found = operations(lines[1])
    assert found["bm"] == found["pv"].split()[0] and found["pv2"].split()[0] != found["bm"]
    assert int(found["ce"]) >= int(found["ce2"]) and "pv3" not in found
    assert 0 < int(found["acn"]) < 10000
    # What was found is no part of the position, and other limits are another run.
    assert analyse(fen + "\n", *options)[1] == lines
    assert "comes from another run" in analyse(fen + "\n", "--nodes", "3000", status=2)[0]


def test_bounds_are_no_scores_and_mates_count_in_plies(analyse, tmp_path):
    (tmp_path / "talk").write_text(
        "info depth 5 seldepth 8 multipv 1 score cp 30 nodes 10 nps 9 time 1 pv e1d1 e5e4\n"
        "info depth 6 score cp 400 lowerbound nodes 90 pv e1f1\n"
        "info depth 5 multipv 2 score mate -3 nodes 25 pv e1f1\n"
        "info string depth 9 score cp 99 pv e1f2\n"
        "bestmove e1d1 ponder e5e4\n")
    engine = stand_in(tmp_path, "#!/bin/sh\nwhile read -r word rest; do case $word in\n"
                      "uci) echo uciok;; isready) echo readyok;; quit) exit;;\n"
                      "go) cat talk;; esac; done\n")
    _, lines = analyse("8/8/8/4k3/8/8/4P3/4K3 w - -\n", "--depth", "5", "--engine", engine)
    found = operations(lines[1])
    assert (found["bm"], found["ce"], found["pv"]) == ("Kd1", "30", "Kd1 Ke4")
    assert (found["ce2"], found["pv2"]) == ("-32761", "Kf1")
    assert (found["acd"], found["acn"]) == ("5", "25")


# --- games --------------------------------------------------------------------

# Other games' notes go; a game with an illegal move is named and left out; the third begins with
# Black's move and ends in stalemate.
GAMES = """\
[Event "Caf\u00e9 \\"x\\" <&>"]
[White "R\u00e9ti & <Co>"]
[Black "B"]
[Result "1-0"]

1. e4 {note} e5 2. Bc4 (2. Nf3 Nc6) Nc6 3. Qh5 Nf6?? 4. Qxf7# 1-0

[White "X"]
[Black "Y"]
[Result "*"]

1. e4 e5 2. Ke3 *

[White "X"]
[Black "Y"]
[SetUp "1"]
[FEN "7k/8/6K1/8/8/8/5Q2/8 b - - 5 60"]
[Result "1/2-1/2"]

60... Kg8 61. Qf4 Kh8 62. Qf7 1/2-1/2

"""


@pytest.fixture
def analyse_games(tmp_path):
    def run(*options, status=0, text=GAMES):
        (tmp_path / "in.pgn").write_text(text, encoding="utf-8")
        done = subprocess.run([ANALYSE, "in.pgn", "--engine", ENGINE, "--depth", "4", "-j", "2",
                               *options], cwd=tmp_path, capture_output=True, text=True,
                              timeout=200, check=False)
        assert done.returncode == status, done.stdout + done.stderr
        return done.stdout + done.stderr

    return run


def test_games_come_back_with_scores_marks_and_plots(analyse_games, tmp_path):
    output = analyse_games()
    assert "Failed to make move 2. Ke3" in output
    assert f"[{24 * '#'}] 13 of 13" in output
    written = (tmp_path / "in-analysed.pgn").read_text(encoding="utf-8")
    assert '[Event "Caf\u00e9 \\"x\\" <&>"]' in written and "note" not in written
    first, second = written.split('[White "X"]')
    moves = " ".join(first.split("\n\n")[1].split())
    level = r"\{[+-]\d\.\d\d\}"
    assert re.match(rf"1\. e4 {level} 1\.\.\. e5 {level} 2\. Bc4 ", moves), moves
    # Whatever the engine prefers, it stops the mate; the move played costs all that counts.
    assert re.search(rf"3\.\.\. Nf6\?\? \{{\+M1\}} \(3\.\.\. (?!Nf6)\S+ {level} 4\. ", moves), moves
    assert moves.endswith("4. Qxf7# {mate} 1-0")
    moves = " ".join(second.split("\n\n")[1].split())
    assert re.match(r"60\.\.\. Kg8 \{\+M\d\} 61\. Qf4", moves), moves
    assert re.search(r"62\. Qf7\?\? \{\+0\.00\} \(62\. Q\S+# \{\+M1\}\) 1/2-1/2$", moves), moves

    # Another reader takes it, with all variations.
    check = subprocess.run(["pgn-extract", "-r", "in-analysed.pgn"], cwd=tmp_path, text=True,
                           env={"PATH": os.environ["PATH"] + ":/usr/games"}, capture_output=True,
                           check=False)
    assert "2 games matched out of 2." in check.stderr, check.stderr

    picture = xml.etree.ElementTree.parse(tmp_path / "in-analysed-1.svg")
    texts = [node.text for node in picture.iter("{http://www.w3.org/2000/svg}text")]
    assert texts[0] == "R\u00e9ti & <Co> \u2013 B  1-0"
    assert "Nf6??" in texts and "Qxf7#" not in texts
    assert (tmp_path / "in-analysed-2.svg").exists()

    # Again with another threshold, from what has been found: nothing is searched.
    before = (tmp_path / "in-analysed.pgn.results").read_text()
    assert "of 13" not in analyse_games("--threshold", "5000")
    assert (tmp_path / "in-analysed.pgn.results").read_text() == before
    again = (tmp_path / "in-analysed.pgn").read_text(encoding="utf-8")
    assert "{+M1}" in again and "Nf6??" not in again and "(3..." not in again

    # A run that was stopped goes on, past a line that was only half written.
    lines = before.splitlines()
    (tmp_path / "in-analysed.pgn.results").write_text("\n".join(lines[:10] + [lines[10][:50]]))
    assert f"[{16 * '#'}{8 * '.'}] 9 of 13" in analyse_games()
    assert (tmp_path / "in-analysed.pgn").read_text(encoding="utf-8") == written


def test_games_that_cannot_be_analysed(analyse_games, tmp_path):
    assert "holds no game" in analyse_games(text="nothing\n", status=2)
    (tmp_path / "in-analysed.pgn").write_text("diary")
    assert "not from an earlier run" in analyse_games(status=2)
    assert (tmp_path / "in-analysed.pgn").read_text() == "diary"
    assert "the games themselves" in analyse_games("-o", "in.pgn", status=2)


@pytest.mark.alone
def test_time_is_used_up(analyse):
    """All the seconds go into the search, fractions too, and the answer is the last thought."""
    middle = "r1bq1rk1/ppp2ppp/2np1n2/2b1p3/2B1P3/2NP1N2/PPP2PPP/R1BQ1RK1 w - - 0 1\n"
    line = operations(analyse(middle, "--time", "1.5")[1][-1])
    assert line["acs"] in ("1", "2") and line["pv"].startswith(line["bm"])
    assert int(line["acd"]) >= 6 and 0 <= float(line["c9"].split()[1].strip('"')) <= 2.5


@pytest.mark.parametrize("line, complaint", [
    ("not a position", "neither FEN nor EPD"),
    ("8/8/8/8/8/8/8 w - -", "neither FEN nor EPD"),
    ("8/8/8/8/8/8/8/8 w - -", "not one king of each colour"),
    ("k7/8/K7/8/8/8/8/7Q w - -", "not to move is in check"),
    ("8/8/8/8/8/k7/p7/K7 w - -", "has no move"),
    ("k7/8/K7/8/8/8/8/6Q1 w - - bm Qh9;", "bm Qh9 is not a legal move"),
    ("k7/8/K7/8/8/8/8/6Q1 w - - bm Qg8 am;; id", "not an operation"),
    ('k7/8/K7/8/8/8/8/6Q1 w - - id "open;', "not an operation"),
])
def test_bad_lines_are_named_before_anything_is_searched(analyse, line, complaint):
    output, lines = analyse(POSITIONS + line + "\n", "--depth", "2", status=2)
    number = POSITIONS.count("\n") + 1
    assert lines == [] and re.search(rf"^in\.epd:{number}: .*{complaint}", output, re.M), output


@pytest.mark.parametrize("options", ["", "--depth 0", "--depth 61", "--time -1", "--time x",
                                     "--depth 3 --time 1", "--nodes 0", "--depth 3 --multipv 65",
                                     "--depth 3 --threshold 0", "--depth 3 -j 0",
                                     "--depth 3 --engine ./none"])
def test_bad_options(analyse, options):
    output, lines = analyse(POSITIONS, *options.split(), status=2)
    assert lines == [] and "analyse: " in output


def test_a_dying_engine_leaves_its_positions_for_later(analyse, tmp_path):
    engine = stand_in(tmp_path, f'#!/bin/sh\n[ -e reborn ] && exec "{ENGINE}"\nexit 1\n')
    options = ("--depth", "3", "--engine", engine)
    assert "7 positions were not searched" in analyse(POSITIONS, *options, status=1)[0]
    (tmp_path / "reborn").touch()
    assert len(analyse(POSITIONS, *options)[1]) == 8


@pytest.mark.parametrize("machines", ["1/elsewhere", "1/elsewhere,1/:"])
def test_other_machines(analyse, tmp_path, machines):
    (tmp_path / "ssh").write_text(SSH)
    (tmp_path / "ssh").chmod(0o755)
    other = tmp_path / "other"
    other.mkdir()
    _, lines = analyse(POSITIONS, "--depth", "3", "-j", "1", "--sshlogin", machines,
                       "--engine", stand_in(tmp_path, LOCAL_ENGINE % ENGINE),
                       PATH=f"{tmp_path}:{os.environ['PATH']}", OTHER_MACHINE=str(other))
    assert len(lines) == 8
    assert set((other / "logins").read_text().split()) == {"elsewhere"}
    assert [p for p in other.rglob("*") if p.is_file() and p.name != "logins"] == []


def test_the_suite_is_sound(analyse):
    """Every position has an id of its own and one best move; a search of some plies finds most."""
    text = SUITE.read_text()
    ids = re.findall(r'id "([^"]+)"', text)
    assert len(ids) == len(set(ids)) == text.count(" bm ") >= 30
    output, _ = analyse(text, "--depth", "9")
    solved, total = map(int, re.search(r"^solved (\d+) of (\d+) ", output, re.M).groups())
    assert total == len(ids) and solved >= 0.7 * total, output
