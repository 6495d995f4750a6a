"""Matches: the referee against engines that misbehave, the pool against processes that die, the
figures against such as are known."""
import os
import re
import shlex
import signal
import subprocess
import sys
import time
from pathlib import Path

import pytest

from conftest import ENGINE, PATIENCE

ENVIRONMENT = {**os.environ, "PATH": os.environ.get("PATH", "") + os.pathsep + "/usr/games"}
MATCH = os.environ.get("TARSIMO_MATCH", str(Path(ENGINE).with_name("tarsimo-match")))

# A CECP engine for tests. Its arguments are features, moves and what to do after them. Among the
# moves, "0.5" is a pause in seconds and "+50" a thinking line with that score. It notes the lines
# that it gets.
SCRIPTED = r'''
import os, sys, time
features, moves, last = sys.argv[1], sys.argv[2].split(), sys.argv[3]
heard = open(f"heard-{os.getpid()}", "w")
def say(text):
    print(text, flush=True)
turn = going = 0
def answer():
    global turn
    while turn < len(moves):
        word = moves[turn]
        turn += 1
        if word[0] in "+-":
            say(f"5. {int(word)} 1 10\te2e4")
        elif word[0] == "0":
            time.sleep(float(word))
        else:
            return say("move " + word)
    if last == "crash":
        os.kill(os.getpid(), 11)
    elif last == "flood":
        while True:
            say("x" * 1000)
    elif last == "mute":
        time.sleep(100)
    elif last == "murder":
        os.kill(os.getppid(), 9)
    else:
        say(last.replace("\\n", "\n").replace("\\0", "\0"))
for line in iter(sys.stdin.readline, ""):
    line = line.strip()
    print(line, file=heard, flush=True)
    word = line.removeprefix("usermove ").split(" ")[0]
    if word == "protover":
        say("garbage: \xff\x00 move\nIllegal move: xboard\nprompt: feature " + features + " done=1")
    elif word == "ping":
        say("pong 999\n" + line.replace("ping", "pong") + "\n" + line.replace("ping", "pong"))
    elif word == "new":
        turn = going = 0
    elif word == "sd":
        say("Illegal move: sd 1")
    elif word == "setboard" and "refuse" in last:
        say("tellusererror Illegal position")
    elif word == "quit":
        break
    elif word == "go":
        going = 1
        answer()
    elif going and word[:1] in "abcdefgh" and word[1:2].isdigit():
        answer()
'''


@pytest.fixture
def scripted(tmp_path):
    """The command line of a scripted engine called NAME."""
    program = tmp_path / "scripted.py"
    program.write_text(SCRIPTED)

    def command(name, moves, last, features="ping=1 setboard=1"):
        return f"{name}=" + shlex.join([sys.executable, str(program), features, moves, last])

    return command


@pytest.fixture
def play(tmp_path):
    """Run a match in a folder of its own: status, output and PGN."""

    def run(*arguments, status=0):
        done = subprocess.run([MATCH, "-p", "games.pgn", *arguments], cwd=tmp_path,
                              capture_output=True, text=True, timeout=120, check=False)
        assert done.returncode == status, done.stdout + done.stderr
        pgn = tmp_path / "games.pgn"
        return done.stdout, pgn.read_text() if pgn.exists() else ""

    return run


def faults(output):
    """Counts by engine: time, illegal, refused, claims, crashes, silent."""
    rows = re.findall(r"^(\S+)((?: +\d+){6})  +[\d.]+ +[\d.]+ +[\d.]+$", output, re.M)
    return {name: [int(n) for n in counts.split()] for name, counts in rows}


def check_pgn(tmp_path, games):
    """pgn-extract replays every game by itself."""
    done = subprocess.run(["pgn-extract", "-r", "games.pgn"], cwd=tmp_path, env=ENVIRONMENT,
                          capture_output=True, text=True, timeout=PATIENCE, check=False)
    assert done.returncode == 0, done.stderr
    assert re.search(rf"^{games} games? matched out of {games}\.$", done.stderr, re.M), done.stderr


# --- figures -----------------------------------------------------------------

@pytest.mark.parametrize("pairs, sprt, expected", [
    # Pair scores 0, 2 x 1/4, 3 x 1/2, 3/4, 3 x 1: mean 23/40; the squared distances from it sum
    # to 1.13125, so the error of the mean is sqrt(1.13125 / 9 / 10) = 0.1121. The interval of
    # the score is 0.3553 .. 0.7947, and 400 log10(p / (1 - p)) turns scores to Elo.
    ("1,2,3,1,3", None, "+52.5 [-103.5, +235.2], 95 % interval from 10 pairs, stronger with 74.8"),
    ("3,1,3,2,1", None, "-52.5 [-235.2, +103.5], 95 % interval from 10 pairs, stronger with 25.2"),
    # All pairs alike: other outcomes have a probability up to 1 - 0.025^(1/n).
    ("0,0,4,0,0", None, "+0.0 [-242.1, +242.1], 95 % interval from 4 pairs, stronger with 50.0"),
    ("0,0,0,0,1", None, "+inf [-636.4, +inf], 95 % interval from 1 pairs, stronger with 50.0"),
    # For small differences the ratio is close to n (s1 - s0) (2 mean - s0 - s1) / (2 variance):
    # 2.06, 3.61, -0.08.
    ("10,40,100,60,20", "0,10", "ratio 2.02 of (-2.94, 2.94), undecided"),
    ("30,200,400,260,60", "0,5", "ratio 3.57 of (-2.94, 2.94), elo1 accepted"),
    ("100,0,0,0,100", "0,10", "ratio -0.08 of (-2.94, 2.94), undecided"),
    ("60,260,400,200,30", "0,5", "(-2.94, 2.94), elo0 accepted"),
])
def test_figures(play, pairs, sprt, expected):
    output, _ = play("--pairs", pairs, *(["--sprt", sprt] if sprt else []))
    assert expected in output


# --- faults ------------------------------------------------------------------

TIME, ILLEGAL, REFUSED, CLAIM, CRASH, SILENT = range(6)


@pytest.mark.parametrize("last, kind, reason", [
    ("move e2e5", ILLEGAL, "illegal move: e2e5"),
    ("move \xff{}\"", ILLEGAL, "illegal move"),
    ("1-0 {White mates}", CLAIM, "false claim: 1-0 (White mates)"),
    ("1/2-1/2 {Draw by repetition}", CLAIM, "false claim"),
    ("Illegal move: e7e5", REFUSED, "refused move: Illegal move: e7e5"),
    ("crash", CRASH, "crash: signal 11"),
    ("mute", TIME, "time forfeit"),
    ("flood", TIME, "time forfeit"),
    ("12 34 nonsense\\nmove\\nIllegal move: zzz\\n\\0\\ntellics say hello", TIME, "time forfeit"),
])
def test_fault_of_white(play, scripted, tmp_path, last, kind, reason):
    """After a good move White fails; Black, a sound engine, is given the game and no blame."""
    output, pgn = play("-n", "1", "-t", "0.4", "-o", "-", scripted("bad", "e2e4", last),
                       scripted("good", "e7e5 b8c6", "resign"), status=1)
    assert faults(output) == {"bad": [int(i == kind) for i in range(6)], "good": [0] * 6}, output
    assert "score +0 =0 -1" in output
    assert '[Result "0-1"]' in pgn and f'[Termination "{reason}' in pgn
    check_pgn(tmp_path, 1)


@pytest.mark.parametrize("fen, white, black, last, score, reason", [
    (None, "f2f3 g2g4", "e7e5 d8h4", "", "+0 =0 -1", "checkmate"),
    (None, "f2f3 g2g4", "e7e5", "0-1 {Black mates}", "+0 =0 -1", "claim: 0-1 (Black mates)"),
    (None, "e2e4", "e7e5", "resign", "+0 =0 -1", "resignation"),
    (None, "e2e4 g1f3", "e7e5", "1-0 {Black resigns}", "+1 =0 -0", "resignation"),
    (None, "g1f3 f3g1 g1f3 Nf3-g1", "Ng8f6 f6g8 g8f6 f6g8", "", "+0 =1 -0",
     "threefold repetition"),
    (None, "g1f3 f3g1 g1f3 f3g1", "g8f6 f6g8 g8f6", "1/2-1/2 {third}", "+0 =1 -0",
     "claim: 1/2-1/2"),
    # The rook's step takes a castling right away: the first position does not come again.
    ("r3k3/8/8/8/8/8/8/4K2R w K - 0 1", "h1h2 h2h1 h1h2 h2h1 h1h2", "e8d8 d8e8 e8d8 d8e8 e8d8",
     "", "+0 =1 -0", "threefold repetition"),
    ("4k3/8/8/8/8/8/8/4K2R w - - 97 80", "Rh1-h2 h2-h1", "e8-d8", "", "+0 =1 -0",
     "fifty-move rule"),
    ("7k/8/8/6Q1/8/8/8/K7 w - - 0 1", "Qg6", "", "", "+0 =1 -0", "stalemate"),
    ("7k/P7/8/8/8/8/8/K7 w - - 0 1", "a7a8=N", "h8g8", "", "+0 =1 -0", "insufficient material"),
    (None, "+950 e2e4 +950 g1f3", "-950 e7e5 -901 b8c6", "", "+1 =0 -0", "adjudication: both"),
    (None, "+950 e2e4 +950 g1f3 +950 f1c4", "-950 e7e5 -899 b8c6", "resign", "+1 =0 -0",
     "resignation"),
    (None, "+10 e2e4 -9 g1f3 +0 f1c4", "+3 e7e5 +0 b8c6", "resign", "+0 =1 -0",
     "adjudication: both scores are level"),
])
def test_ends_without_fault(play, scripted, tmp_path, fen, white, black, last, score, reason):
    (tmp_path / "openings").write_text(fen or "")
    output, pgn = play("-n", "1", "-t", "5", "-o", "openings" if fen else "-", "--draw", "10,2,2",
                       "--resign", "900,2", scripted("a", white, "resign"),
                       scripted("b", black, last))
    assert f"score {score}" in output and f'[Termination "{reason}' in pgn, output + pgn
    check_pgn(tmp_path, 1)


# --- the whole match ---------------------------------------------------------

def left_behind(tmp_path):
    """Command lines of living processes that name the test's folder."""
    found = []
    for entry in Path("/proc").glob("[0-9]*/cmdline"):
        try:
            line = entry.read_bytes().replace(b"\0", b" ").decode(errors="replace")
        except OSError:
            continue
        if str(tmp_path) in line:
            found.append(line)
    return found


def assert_nobody_left(tmp_path):
    deadline = time.monotonic() + PATIENCE
    while left_behind(tmp_path) and time.monotonic() < deadline:
        time.sleep(0.05)
    assert left_behind(tmp_path) == []


def test_engine_against_itself(play, tmp_path):
    """Positions and moves as openings, two workers: every opening with both colours."""
    (tmp_path / "openings").write_text(
        "# mate in two for White, an en-passant square of no use, castling, a promotion\n\n"
        "e2e4 c7c5 Nf3 d6\n"
        "k7/8/2K5/8/8/8/8/1R6 w - -\n"
        "r3k2r/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/R3K2R w KQkq e6 0 7\n"
        "7k/P7/8/8/8/8/7p/K7 b - - bm h1q; id \"race\";\n")
    output, pgn = play("-n", "8", "-j", "2", "-t", "sd=3", "-o", "openings", f"new={ENGINE}",
                       f"old={ENGINE}")
    assert faults(output) == {"new": [0] * 6, "old": [0] * 6}
    check_pgn(tmp_path, 8)
    rounds = re.findall(r'\[Round "(\d)\.(\d)"\]\n\[White "(\w+)"\]\n\[Black "(\w+)"\]', pgn)
    assert sorted(rounds) == sorted(
        (pair, game, *(("new", "old") if game == "1" else ("old", "new")))
        for pair in "1234" for game in "12")
    assert pgn.count("1. e4 c5 2. Nf3 d6") == 2
    assert pgn.count('[FEN "r3k2r/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/R3K2R w KQkq - 0 7"]') == 2
    # The same engine at the same depth plays the same games: each pair is level.
    assert "pairs by points 0 .. 2: 0 0 4 0 0" in output
    assert_nobody_left(tmp_path)


@pytest.mark.alone
def test_talk_and_clocks(play, scripted, tmp_path):
    """What engines are told, in order, and the clock of a second control."""
    (tmp_path / "openings").write_text("4k3/8/8/8/8/8/4P3/4K3 w - - 3 9\n")
    play("-n", "1", "-t", "2/30+1", "-o", "openings", "--memory", "64", "--log", "logs",
         scripted("white", "e1d1 0.2 d1e1", "resign",
                  "ping=1 setboard=1 usermove=1 memory=1 smp=1 name=\"a b\""),
         scripted("black", "e8d8 d8e8", "resign", "ping=1 setboard=1 time=0"))

    def told(name):
        return re.findall(r"> (.*)", (tmp_path / "logs" / f"{name}-1.log").read_text())

    talk = told("white")
    white = [line for line in talk if not line.startswith("ping ")]
    assert white[:19] == [
        "xboard", "protover 2", "accepted ping", "accepted setboard", "accepted usermove",
        "accepted memory", "accepted smp", "accepted name", "accepted done", "memory 64",
        "cores 1", "force", "new", "post", "easy", "force",
        "setboard 4k3/8/8/8/8/8/4P3/4K3 w - - 3 9", "level 2 0:30 1", "time 3000"]
    assert talk[talk.index("level 2 0:30 1") + 1].startswith("ping ")
    assert white[19:21] == ["otim 3000", "go"]
    assert white[23] == "usermove e8d8" and white[26] == "usermove d8e8"
    assert white[-3:] == ["force", "result 0-1 {resignation}", "quit"]
    clocks = [int(line.split()[1]) for line in white if line.startswith("time ")]
    assert 3000 < clocks[1] <= 3100 and 6100 < clocks[2] <= 6180
    heard = [line for line in told("black") if re.fullmatch(r"go|([a-h][1-8]){2}|o?tim.*", line)]
    assert heard == ["e1d1", "go", "d1e1"]


def test_new_processes(play, scripted, tmp_path):
    """An engine that wants it, and every engine on demand, is started anew for each game."""
    engines = (scripted("once", "", "resign", "ping=1 reuse=0"), scripted("often", "", "resign"))

    def starts(*options):
        play("-n", "4", "-t", "5", "-o", "-", "--log", "logs", *options, *engines)
        logs = [(tmp_path / "logs" / f"{name}-1.log") for name in ("once", "often")]
        counts = [log.read_text().count("> protover 2") for log in logs]
        for log in logs:
            log.unlink()
        return counts

    assert starts() == [4, 1] and starts("--restart") == [4, 4]


def test_worker_dies(play, scripted, tmp_path):
    """An engine that takes the referee with it: two tries, and the match goes on without."""
    output, _ = play("-n", "1", "-t", "3", "-o", "-", scripted("bad", "", "murder"),
                     scripted("good", "e7e5", "resign"), status=1)
    assert "0 of 1 games" in output and "games abandoned: 1" in output
    assert_nobody_left(tmp_path)


@pytest.mark.parametrize("sent, to_parent", [(signal.SIGINT, True), (signal.SIGKILL, False)])
def test_interruption(scripted, tmp_path, sent, to_parent):
    """Ctrl-C gives the partial result; even after a kill nobody stays, grandchildren included."""
    engine = scripted("slow", "", "mute")
    wrapped = engine.replace("=", "=" + shlex.join(["sh", "-c", "trap '' TERM; \"$@\"; :", "sh"])
                             + " ", 1)
    match = subprocess.Popen([MATCH, "-n", "9", "-j", "2", "-t", "sd=1", "-o", "-",
                              "-p", str(tmp_path / "games.pgn"), wrapped, engine],
                             cwd=tmp_path, stdout=subprocess.PIPE, text=True)
    deadline = time.monotonic() + PATIENCE
    while "go" not in "".join(f.read_text() for f in tmp_path.glob("heard-*")).split():
        assert time.monotonic() < deadline and match.poll() is None
        time.sleep(0.05)
    match.send_signal(sent)
    output, _ = match.communicate(timeout=PATIENCE)
    if to_parent:
        assert "stopped" in output and "0 of 9 games" in output and match.returncode == 0
    assert_nobody_left(tmp_path)


@pytest.mark.parametrize("arguments, opening, message", [
    (["a"], None, "usage"),
    (["-t", "5;1", "a", "b"], None, "5;1"),
    (["-t", "sd=x", "a", "b"], None, "sd=x"),
    (["-n", "1e99", "a", "b"], None, "1e99"),
    (["-j", "-3", "a", "b"], None, "-3"),
    (["--sprt", "5,0", "a", "b"], None, "--sprt 5,0"),
    (["--pairs", "1,2,3"], None, "5 numbers"),
    (["a", "x="], None, "no engine: x="),
    (["-p", "/nowhere/x.pgn", ENGINE, ENGINE], None, "/nowhere/x.pgn"),
    (["-o", "/nowhere", ENGINE, ENGINE], None, "/nowhere"),
    ([ENGINE, "/nowhere/engine"], None, "No such file"),
    ([ENGINE, "false"], None, "false: exit status 1"),
    ([ENGINE, ENGINE], "# nothing\n", "no opening"),
    ([ENGINE, ENGINE], "e2e4\ne2e5\n", "line 2: no legal move: e2e5"),
    ([ENGINE, ENGINE], "8/8/8/8/8/8/8/K6k x - -\n", "line 1: the side to move"),
    ([ENGINE, ENGINE], "8/8/8/8/8/8/8/K5kR b - - x\n8/8/8/8/8/8/7R/K6k w - -\n", "in check"),
    ([ENGINE, ENGINE], "8/8/8/8/8/8/8/K5kP w - -\n", "the board is none"),
    ([ENGINE, ENGINE], "7k/8/8/8/8/8/8/K7 w - -\n", "the game is over: insufficient"),
])
def test_what_cannot_be_played(tmp_path, arguments, opening, message):
    if opening:
        (tmp_path / "openings").write_text(opening)
        arguments = ["-o", "openings", *arguments]
    done = subprocess.run([MATCH, *arguments], cwd=tmp_path, capture_output=True, text=True,
                          timeout=PATIENCE, check=False)
    assert done.returncode == 2 and message in done.stderr, done
