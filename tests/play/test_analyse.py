"""Files of positions: every one searched once, whatever stops the run, and tests scored right."""
import os
import re
import shutil
import signal
import subprocess
import xml.etree.ElementTree
from pathlib import Path

import pytest

from conftest import (PATIENCE, REPOSITORY, assert_no_process_with, processes_with, run, wait_until,
                      write_script)
from conftest import UCI_ENGINE as ENGINE

ANALYSE = REPOSITORY / "tools" / "analyse"
BARE_KING = "k7/8/K7/8/8/8/8/6Q1 w - -"
SUITE = REPOSITORY / "tests" / "data" / "tactics.epd"

POSITIONS = f"""\
# Mate in one, and a move that mates as well.
{BARE_KING} bm Qg8# Qa7; id "mate; or mate";
{BARE_KING} bm Qb6; id "no mate";

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
    """Run the tool on a text: what it printed, and the lines of results."""

    def start(text, *options, status=0, name="in.epd", **environment):
        (tmp_path / name).write_text(text, encoding="latin-1")
        said = run(ANALYSE, name, "--engine", ENGINE, *options, status=status, cwd=tmp_path,
                   timeout=100, env={**os.environ, "PARALLEL_HOME": str(tmp_path), **environment})
        results = tmp_path / "in.epd.results"
        text = results.read_text(encoding="latin-1") if results.exists() else ""
        return "".join(said), text.split("\n")[:-1]

    return start


def stand_in(folder, script):
    """A script in the engine's place, with the other programs beside it."""
    (folder / "tarsimo-san").symlink_to(Path(ENGINE).resolve().with_name("tarsimo-san"))
    return str(write_script(folder / "engine", script))


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

    # Again: nothing is left to do, or the one of two equal lines that is missing: the last one had
    # only half been written. With a position more, only that one.
    assert analyse(POSITIONS, "--depth", "7")[1] == lines
    twins = sorted(lines[1:], key=lambda line: line.startswith("8/P6k"))
    kept = [lines[0], *twins[:-1]]
    (tmp_path / "in.epd.results").write_text("\n".join([*kept, twins[-1][:50]]))
    lines = analyse(POSITIONS, "--depth", "7")[1]
    assert len(lines) == 8 and lines[:-1] == kept
    more = analyse(POSITIONS + "8/8/8/8/8/4k3/4p3/4K3 b - -\n", "--depth", "7")[1]
    assert more[:-1] == lines and more[-1].startswith("8/8/8/8/8/4k3/4p3/4K3 b - - bm K")

    # Other limits are another run, and what is no file of results is left alone.
    assert "comes from another run" in analyse(POSITIONS, "--depth", "6", status=2)[0]
    for text, complaint in (("# analyse --depth 2\nnonsense\n", "is damaged"),
                            ("diary\n", "not a file of results")):
        (tmp_path / "in.epd.results").write_text(text)
        assert complaint in analyse(POSITIONS, "--depth", "2", status=2)[0]
        assert (tmp_path / "in.epd.results").read_text() == text


# A name and blanks of other alphabets in two encodings, and every byte but newline and quote.
NAMES = ["R\xe9ti", "R\xc3\xa9ti", "\xe2\x80\xa8 \xc2\x85 \xc2\xa0", "\x85\xa0\x1c\x0c",
         "".join(chr(byte) for byte in range(256) if chr(byte) not in '\r\n"')]


def test_bytes_of_names_pass_unchanged(analyse):
    positions = [f'{BARE_KING} bm Qb6; id "{name}";' for name in NAMES]
    positions[0] += " c0 R\xe9;"
    for _ in range(2):  # and again, from the results
        output, (_, *lines) = analyse("\n".join(positions) + "\n", "--depth", "2", LC_ALL="C")
        assert len(lines) == len(positions)
        for position, name in zip(positions, NAMES):
            assert sum(line.startswith(position) for line in lines) == 1
            assert f"  {name}: Q" in output


@pytest.mark.parametrize("sent, status", [(signal.SIGINT, 130), (signal.SIGTERM, 143),
                                          (signal.SIGHUP, 129), (signal.SIGKILL, -9)])
def test_a_signal_ends_all_searches(tmp_path, sent, status):
    (tmp_path / "in.epd").write_text(POSITIONS)
    engine = stand_in(tmp_path, "")
    shutil.copy(ENGINE, engine)
    running = subprocess.Popen([ANALYSE, "in.epd", "--time", "1000", "--engine", engine, "-j", "2"],
                               cwd=tmp_path, stderr=subprocess.PIPE, text=True,
                               start_new_session=True)
    # The run, parallel, two workers, an engine.
    wait_until(lambda: len(processes_with(engine)) >= 5, running)
    if sent == signal.SIGINT:
        os.killpg(running.pid, sent)  # as Ctrl-C does
    else:
        running.send_signal(sent)
    complaint = running.communicate(timeout=PATIENCE)[1]
    assert running.returncode == status and "Traceback" not in complaint
    assert sent == signal.SIGKILL or "the same command goes on" in complaint
    assert_no_process_with(str(tmp_path))


def test_several_lines_and_a_number_of_nodes(analyse):
    options = ("--nodes", "3000", "--multipv", "2")
    _, lines = analyse("8/P6k/8/8/8/8/8/K7 w - -\n", *options)
    assert lines[0] == "# analyse --nodes 3000 --multipv 2"
    found = operations(lines[1])
    assert found["bm"] == found["pv"].split()[0] and found["pv2"].split()[0] != found["bm"]
    assert int(found["ce"]) >= int(found["ce2"]) and "pv3" not in found
    assert 0 < int(found["acn"]) < 10000
    # What was found is no part of the position.
    assert analyse("8/P6k/8/8/8/8/8/K7 w - -\n", *options)[1] == lines


def test_bounds_are_no_scores_and_mates_count_in_plies(analyse, tmp_path):
    engine = stand_in(tmp_path, """#!/bin/sh
while read -r word rest; do
    case $word in
        uci) echo uciok;;
        isready) echo readyok;;
        quit) exit;;
        go) echo "info depth 5 seldepth 8 multipv 1 score cp 30 nodes 10 time 1 pv e1d1 e5e4"
            echo "info depth 6 score cp 400 lowerbound nodes 90 pv e1f1"
            echo "info depth 5 multipv 2 score mate -3 nodes 25 pv e1f1"
            echo "info string depth 9 score cp 99 pv e1f2"
            echo "bestmove e1d1 ponder e5e4";;
    esac
done
""")
    _, lines = analyse("8/8/8/4k3/8/8/4P3/4K3 w - -\n", "--depth", "5", "--engine", engine)
    found = operations(lines[1])
    assert {name: found[name] for name in ("bm", "ce", "pv", "ce2", "pv2", "acd", "acn")} == {
        "bm": "Kd1", "ce": "30", "pv": "Kd1 Ke4", "ce2": "-32761", "pv2": "Kf1", "acd": "5",
        "acn": "25"}


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


def analyse_games(analyse, *options, text=GAMES, status=0):
    text = text.encode().decode("latin-1")
    return analyse(text, "--depth", "4", "-j", "2", *options, status=status, name="in.pgn")[0]


def test_games_come_back_with_scores_marks_and_plots(analyse, tmp_path):
    output = analyse_games(analyse)
    assert "Failed to make move 2. Ke3" in output
    assert f"[{24 * '#'}] 13 of 13" in output
    written = (tmp_path / "in-analysed.pgn").read_text(encoding="utf-8")
    assert '[Event "Caf\u00e9 \\"x\\" <&>"]' in written and "note" not in written
    first, second = (" ".join(game.split("\n\n")[1].split())
                     for game in written.split('[White "X"]'))
    level = r"\{[+-]\d\.\d\d\}"
    assert re.match(rf"1\. e4 {level} 1\.\.\. e5 {level} 2\. Bc4 ", first), first
    # Whatever the engine prefers, it stops the mate; the move played costs all that counts.
    assert re.search(rf"3\.\.\. Nf6\?\? \{{\+M1\}} \(3\.\.\. (?!Nf6)\S+ {level} 4\. ", first), first
    assert first.endswith("4. Qxf7# {mate} 1-0")
    assert re.match(r"60\.\.\. Kg8 \{\+M\d\} 61\. Qf4", second), second
    assert re.search(r"62\. Qf7\?\? \{\+0\.00\} \(62\. Q\S+# \{\+M1\}\) 1/2-1/2$", second), second

    # Another reader takes it, with all variations.
    _, said = run("pgn-extract", "-r", "in-analysed.pgn", cwd=tmp_path)
    assert "2 games matched out of 2." in said

    picture = xml.etree.ElementTree.parse(tmp_path / "in-analysed-1.svg")
    texts = [node.text for node in picture.iter("{http://www.w3.org/2000/svg}text")]
    assert texts[0] == "R\u00e9ti & <Co> \u2013 B  1-0"
    assert "Nf6??" in texts and "Qxf7#" not in texts
    assert (tmp_path / "in-analysed-2.svg").exists()

    # Again with another threshold, from what has been found: nothing is searched.
    results = tmp_path / "in-analysed.pgn.results"
    before = results.read_text()
    assert "of 13" not in analyse_games(analyse, "--threshold", "5000")
    assert results.read_text() == before
    again = (tmp_path / "in-analysed.pgn").read_text(encoding="utf-8")
    assert "{+M1}" in again and "Nf6??" not in again and "(3..." not in again

    # A run that was stopped goes on, past a line that was only half written.
    lines = before.splitlines()
    results.write_text("\n".join(lines[:10] + [lines[10][:50]]))
    assert f"[{16 * '#'}{8 * '.'}] 9 of 13" in analyse_games(analyse)
    assert (tmp_path / "in-analysed.pgn").read_text(encoding="utf-8") == written


def test_games_that_cannot_be_analysed(analyse, tmp_path):
    assert "holds no game" in analyse_games(analyse, text="nothing\n", status=2)
    (tmp_path / "in-analysed.pgn").write_text("diary")
    assert "not from an earlier run" in analyse_games(analyse, status=2)
    assert (tmp_path / "in-analysed.pgn").read_text() == "diary"
    assert "the games themselves" in analyse_games(analyse, "-o", "in.pgn", status=2)


# --- limits, complaints, machines ---------------------------------------------

@pytest.mark.alone
def test_time_is_used_up(analyse):
    """All the seconds go into the search, fractions too, and the answer is the last thought."""
    middle = "r1bq1rk1/ppp2ppp/2np1n2/2b1p3/2B1P3/2NP1N2/PPP2PPP/R1BQ1RK1 w - - 0 1\n"
    line = operations(analyse(middle, "--time", "1.5")[1][-1])
    assert line["acs"] in ("1", "2") and line["pv"].startswith(line["bm"])
    assert int(line["acd"]) >= 6 and 0 <= float(line["c9"].split()[1].strip('"')) <= 2.5


@pytest.mark.parametrize("line, complaint", [
    ("not a position", "neither FEN nor EPD"),
    ("8/8/8/8/8/8/8/8 w - -", "not one king of each colour"),
    ("8/8/8/8/8/k7/p7/K7 w - -", "has no move"),
    (f"{BARE_KING} bm Qh9;", "bm Qh9 is not a legal move"),
    (f'{BARE_KING} id "open;', "not an operation"),
])
def test_bad_lines_are_named_before_anything_is_searched(analyse, line, complaint):
    output, lines = analyse(POSITIONS + line + "\n", "--depth", "2", status=2)
    number = POSITIONS.count("\n") + 1
    assert lines == [] and re.search(rf"^in\.epd:{number}: .*{complaint}", output, re.M), output


def test_bad_options(analyse):
    for options in ("", "--depth 61", "--time -1", "--time x", "--depth 3 --time 1",
                    "--depth 3 --multipv 65", "--depth 3 -j 0", "--depth 3 --engine ./none"):
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
    write_script(tmp_path / "ssh", SSH)
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
