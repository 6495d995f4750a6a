"""Whole games under a real GUI, which checks every move and ends the game by itself."""
import os
import re
import subprocess

import pytest

from conftest import ENGINE, PATIENCE

NATURAL_END = re.compile(r"X[Bb]oard adjudication: "
                         r"(Checkmate|Stalemate|repetition draw|Insufficient mating material|"
                         r"50-move rule)")

# No score, no move count and no "trivial" ending may end a game in place of the engine.
RULES = ("-testLegality true -testClaims true -checkMates true -materialDraws true "
         "-trivialDraws false -ruleMoves 50 -repeatsToDraw 3 "
         "-adjudicateLossThreshold 0 -adjudicateDrawMoves 0").split()
QUIET = ("-xexit -xpopup -animateMoving false -ringBellAfterMoves false "
         "-saveSettingsOnExit false").split()


@pytest.fixture(scope="module")
def display():
    """A virtual screen on a display number that is free."""
    read_end, write_end = os.pipe()
    server = subprocess.Popen(["Xvfb", "-displayfd", str(write_end), "-nolisten", "tcp"],
                              pass_fds=[write_end], stderr=subprocess.DEVNULL)
    os.close(write_end)
    with open(read_end, encoding="ascii") as ready:
        number = ready.readline().strip()  # an empty text if the server has failed
    assert number, "Xvfb does not start"
    yield f":{number}"
    server.terminate()
    server.wait(PATIENCE)


@pytest.mark.alone
@pytest.mark.parametrize("options, opening, least_moves", [
    # Sudden death, thinking on the opponent's time, from the initial position.
    ("-tc 0:02 -inc 0 -ponder", None, 15),
    # Moves per control; Black is to move and must mate.
    ("-tc 0:02 -mps 20 -xponder", "8/8/3q4/r3k3/8/8/3K4/8 b - - 0 1", 3),
])
def test_game_of_the_engine_against_itself(display, tmp_path, options, opening, least_moves):
    pgn, log = tmp_path / "game.pgn", tmp_path / "debug.txt"
    command = ["xboard", "-fcp", ENGINE, "-scp", ENGINE, "-mg", "1", *options.split(), *RULES,
               *QUIET, "-sgf", str(pgn), "-debugMode", "true", "-nameOfDebugFile", str(log)]
    if opening:
        (tmp_path / "start.fen").write_text(opening + "\n")
        command += ["-lpf", str(tmp_path / "start.fen"), "-lpi", "1"]
    environment = {**os.environ, "HOME": str(tmp_path), "DISPLAY": display}
    done = subprocess.run(command, env=environment, cwd=tmp_path, timeout=100, check=False,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, errors="replace")
    assert done.returncode == 0 and log.exists(), done.stdout[-2000:]
    talk = log.read_text(errors="replace")

    game = pgn.read_text()
    result = re.search(r'\[Result "(.*)"\]', game)[1]
    end = NATURAL_END.search(re.findall(r"{([^{}]*)}", game)[-1])
    assert end and result in ("1-0", "0-1", "1/2-1/2"), game
    assert not opening or (result, end[1]) == ("0-1", "Checkmate"), game
    assert max(map(int, re.findall(r"\b(\d+)\. ", game))) >= least_moves, game

    from_engines = re.findall(r"^\d+ <(?:first|second)\s*:(.*)", talk, re.M)
    assert sum("move " in line for line in from_engines) >= 2 * least_moves - 2
    faults = [line for line in from_engines if re.search(r"Error|tellusererror|en jaque", line)]
    assert faults == []
    assert bool(re.search(r">first\s*: easy", talk)) == ("-xponder" in options)
