"""The tuning tools one after the other, as somebody would use them: games, positions, a second
opinion, weights, a trace. The strong engine is a script that answers by rule."""
import re
import shutil
import statistics
from functools import partial

import pytest

import conftest
from conftest import ENGINE, REPOSITORY, write_script

BUILD = ENGINE.rsplit("/", 1)[0]
SCRIPTS = REPOSITORY / "tools" / "tuning"
run = partial(conftest.run, timeout=120)

# Scores 10 centipawns a blank-free character of the placement; mates rank 8 when it is bare.
OTHER_ENGINE = """#!/usr/bin/python3
import sys
for line in sys.stdin:
    words = line.split()
    if words[0] == "uci":
        print("id name judge\\nuciok")
    elif words[0] == "isready":
        print("readyok")
    elif words[0] == "position":
        fen = words[2:]
    elif words[0] == "go":
        score = "mate -3" if fen[0].startswith("8/") else f"cp {10 * len(fen[0])}"
        print(f"info depth 1 score {score} nodes {words[2]}\\n"
              f"info depth 2 score cp 77 upperbound\\nbestmove a1a2")
    sys.stdout.flush()
"""


def cut(path, size):
    """Leave the file as if a run had been stopped in the middle of a line."""
    path.write_bytes(path.read_bytes()[:size])


@pytest.fixture(name="games", scope="module")
def played_games(tmp_path_factory):
    path = tmp_path_factory.mktemp("tuning") / "games"
    run(f"{BUILD}/tarsimo-selfplay", path, "--games", 40, "--nodes", 100, "--workers", 1)
    return path


def test_stopped_games_go_on_as_if_never_stopped(games, tmp_path):
    again = tmp_path / "games"
    shutil.copy(games, again)
    cut(again, games.stat().st_size // 2)
    play = (f"{BUILD}/tarsimo-selfplay", again, "--games", 40, "--nodes", 100, "--workers", 3)
    assert re.search("40 of 40 games", run(*play)[1])
    assert again.read_text() == games.read_text()
    assert "other settings" in run(*play, "--seed", 2, status=2)[1]
    assert again.read_text() == games.read_text()


def test_games_move_weights_the_same_for_any_number_of_workers(tmp_path):
    directions = SCRIPTS / "directions.txt"
    listed = REPOSITORY / "eval" / "weights.inc"
    at_once, stopped = tmp_path / "at-once", tmp_path / "stopped"
    spsa = (f"{BUILD}/tarsimo-spsa", "--list", listed, "--nodes", 20, "--gain", 0.2, directions)
    for folder, *parts in ((at_once, (32, 1)), (stopped, (16, 3), (32, 2))):
        folder.mkdir()
        for pairs, workers in parts:
            run(*spsa, folder, "--pairs", pairs, "--workers", workers)
    for name in ("steps.tsv", "weights.inc"):
        assert (at_once / name).read_text() == (stopped / name).read_text()
    steps = dict(line.split("\t") for line in (at_once / "steps.tsv").read_text().splitlines())
    assert steps.pop("pairs") == "32"
    assert any(float(step) != 0 for step in steps.values())
    # A step of "pawn-eg" adds six centipawns to what a pawn is worth in the endgame, on the mean of
    # all squares.
    before, after = (
        statistics.mean(int(eg) for eg in re.findall(
            r"S\(-?\d+, (-?\d+)\)", text.split("PAWN_ON_SQUARE")[1].split("WEIGHTS")[0]))
        for text in (listed.read_text(), (at_once / "weights.inc").read_text()))
    assert abs(after - before - 6 * float(steps["pawn-eg"])) <= 0.1
    assert after != before

    (stopped / "start.inc").write_text(listed.read_text() + "\n")
    assert "start.inc is not the list in use" in run(*spsa, stopped, status=2)[1]
    (at_once / "steps.tsv").write_text("pairs\t32\npawn-mg\t1\n")
    assert "not of these directions" in run(*spsa, at_once, status=2)[1]
    for line in ("danger KING_DANGERS both scale 1", "danger KING_DANGER both scale",
                 "danger KING_DANGER both add 1 0", "danger KING_DANGER both spread 1 40"):
        (tmp_path / "bad").write_text(line + "\n")
        assert "line 1: not a change" in run(*spsa[:-1], tmp_path / "bad", at_once, status=2)[1]


def test_from_games_to_weights(games, tmp_path):
    positions, judged, other = tmp_path / "positions", tmp_path / "judged", tmp_path / "judge"
    run(f"{BUILD}/tarsimo-positions", games, positions, "--per-game", 30)
    lines = positions.read_text().splitlines()
    assert len(lines) > 300 and len(set(lines)) == len(lines)
    assert {line.split(";")[1] for line in lines} == {"0", "0.5", "1"}

    # Several blocks; a stopped run goes on.
    lines = (lines * 10)[:2500]
    positions.write_text("\n".join(lines) + "\n")
    write_script(other, OTHER_ENGINE)
    ask = (SCRIPTS / "second-opinion", positions, judged, "--engine", other, "--nodes", 5)
    run(*ask)
    whole = judged.read_text()
    for line, answer in zip(lines, whole.splitlines(), strict=True):
        placement, mover = line.split()[:2]
        score = -3000 if placement.startswith("8/") else min(10 * len(placement), 3000)
        assert answer == f"{line};{score if mover == 'w' else -score}"
    cut(judged, len(whole) * 2 // 3)
    run(*ask)
    assert judged.read_text() == whole

    weights = REPOSITORY / "eval" / "weights.inc"
    tune = (f"{BUILD}/tarsimo-tune", judged, tmp_path, "--list", weights)
    output = run(*tune, "--passes", 5, "--freeze", "BISHOP_PAIR,HANGING")[0]
    assert re.search("target +0.50 result, 0.50 second opinion", output)
    before, after = weights.read_text(), (tmp_path / "weights.inc").read_text()
    assert before != after and before.count("WEIGHTS(") == after.count("WEIGHTS(")
    for kept in ("BISHOP_PAIR", "HANGING"):
        group = re.compile(rf"^WEIGHTS\({kept},.*?\)\)$", re.M | re.S)
        assert group.search(before)[0] == group.search(after)[0]
    errors = [row.split("\t") for row in (tmp_path / "errors.tsv").read_text().splitlines()]
    assert [row[0] for row in errors] == ["pass", *"012345"]
    assert float(errors[-1][1]) < float(errors[1][1])
    run(SCRIPTS / "plot-errors", tmp_path / "errors.tsv", tmp_path / "errors.png")
    assert (tmp_path / "errors.png").stat().st_size > 1000


def test_trace_adds_up():
    fen = "r1bq1rk1/2p1bppp/p1np1n2/1p2p3/4P3/1BP2N1P/PP1P1PP1/RNBQR1K1 b - -"
    output = run(f"{BUILD}/tarsimo-trace", fen)[0]
    table = output.split("-" * 70)[1]
    lead = float(re.search(r"lead of white +(\S+)", output)[1])
    assert sum(float(row.split()[-1]) for row in table.strip().splitlines()) == pytest.approx(
        lead, abs=0.05 * table.count("\n"))
    assert -float(re.search(r"side to move +(\S+)", output)[1]) == pytest.approx(lead - 12, abs=3)
    assert "draw by rule" in run(f"{BUILD}/tarsimo-trace", "8/8/8/3k4/8/8/1K3B2/8 w - -")[0]


def test_judgement(games, tmp_path):
    positions, judged = tmp_path / "positions", tmp_path / "judged"
    run(f"{BUILD}/tarsimo-positions", games, positions)
    lines = positions.read_text().splitlines()
    # Opinions by rule: nothing that an evaluation could know.
    judged.write_text("".join(f"{line};{(i % 2 * 2 - 1) * 100}\n" for i, line in enumerate(lines)))
    rows = run(f"{BUILD}/tarsimo-judgement", judged)[0].splitlines()[2:]
    figures = {row[:20].strip(): [float(word) for word in row[20:].split()] for row in rows}
    assert figures["all"][0] == len(lines)
    assert figures["all"][0] == sum(figures[name][0] for name in (
        "material even", "a pawn up", "two pawns up"))
    assert abs(figures["all"][4]) < 0.3
    judged_by_another = REPOSITORY / "tests/data/judged.txt"
    everything = run(f"{BUILD}/tarsimo-judgement", judged_by_another)[0].splitlines()[2].split()
    assert float(everything[5]) > 0.8
    judged.write_text(lines[0] + "\n")
    assert "opinion" in run(f"{BUILD}/tarsimo-judgement", judged, status=2)[1]


def test_games_of_other_programs(tmp_path):
    (tmp_path / "games.pgn").write_text(
        '[White "R\u00e9ti"]\n[Result "1-0"]\n\n1. e4 {best} e5 2. Nf3 (2. f4) Nc6 1-0\n\n'
        '[Result "*"]\n\n1. d4 *\n\n'
        '[FEN "4k3/P7/8/8/8/8/8/4K3 w - - 3 40"]\n[SetUp "1"]\n[Result "1/2-1/2"]\n\n'
        "40. a8=Q+ Kd7 1/2-1/2\n", encoding="latin-1")
    convert = (SCRIPTS / "games-from-pgn", "games.pgn", "games")
    assert run(*convert, cwd=tmp_path)[0] == "2 games\n"
    assert (tmp_path / "games").read_text().splitlines() == [
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -;e2e4/0 e7e5/0 g1f3/0 b8c6/0;1",
        "4k3/P7/8/8/8/8/8/4K3 w - -;a7a8q/0 e8d7/0;0.5"]
    assert "File exists" in run(*convert, cwd=tmp_path, status=2)[1]
    run(f"{BUILD}/tarsimo-positions", "games", "positions", cwd=tmp_path)


def test_bad_words_are_refused(games, tmp_path):
    for command in (("tarsimo-selfplay", "x", "--games", "many"),
                    ("tarsimo-positions", games, "y", "--what", "1"),
                    ("tarsimo-spsa", SCRIPTS / "directions.txt", ".", "--reach", "far"),
                    ("tarsimo-tune", games, ".", "--freeze", "NO_SUCH_GROUP")):
        output, complaint = run(f"{BUILD}/{command[0]}", *command[1:], status=2, cwd=tmp_path)
        assert output == "" and complaint.strip() and list(tmp_path.iterdir()) == []
