"""Matches: the referee against engines that misbehave, the pool against processes that die, the
figures against such as are known."""
import os
import re
import resource
import shlex
import signal
import subprocess
import sys
import time
from pathlib import Path

import pytest

from conftest import ENGINE, PATIENCE, UCI_ENGINE, assert_no_process_with, default_signals

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


# The same under UCI. Among its moves "+50" is an info line, "#-2" one with a mate.
SCRIPTED_UCI = r'''
import os, sys, time
options, moves, last = sys.argv[1], sys.argv[2].split(), sys.argv[3]
turn = 0
def say(text):
    print(text, flush=True)
for line in iter(sys.stdin.readline, ""):
    word = line.split(" ")[0].strip()
    if word == "uci":
        say("garbage: \xff\x00 bestmove\nid name x\n" + options + "\nuciok\nreadyok")
    elif word == "isready":
        say("readyok")
    elif word == "ucinewgame":
        turn = 0
    elif word == "quit":
        break
    elif word == "go":
        while turn < len(moves) and moves[turn][0] in "+-#":
            score = moves[turn]
            score = "mate " + score[1:] if score[0] == "#" else "cp " + score.lstrip("+")
            say(f"info depth 5 seldepth 9 multipv 1 score {score} nodes 10 pv e2e4\n"
                f"info depth 6 multipv 2 score cp 7\ninfo depth 7 score cp 8 upperbound\n"
                f"info string depth 9 score cp 9")
            turn += 1
        if turn < len(moves):
            say("bestmove " + moves[turn] + " ponder a7a6")
            turn += 1
        elif last == "crash":
            os.kill(os.getpid(), 11)
        elif last == "mute":
            time.sleep(100)
        else:
            say(last.replace("\\n", "\n"))
'''


@pytest.fixture
def scripted_uci(tmp_path):
    """The command line of a scripted UCI engine called NAME."""
    program = tmp_path / "scripted-uci.py"
    program.write_text(SCRIPTED_UCI)

    def command(name, moves, last, options=""):
        return f"{name}=uci:" + shlex.join([sys.executable, str(program), options, moves, last])

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


# --- UCI ---------------------------------------------------------------------

@pytest.mark.parametrize("last, kind, reason", [
    ("bestmove e2e5", ILLEGAL, "illegal move: e2e5"),
    ("bestmove 0000", ILLEGAL, "illegal move: 0000"),
    ("bestmove (none)", ILLEGAL, "illegal move: (none)"),
    ("bestmove", ILLEGAL, "illegal move: none"),
    ("crash", CRASH, "crash: signal 11"),
    ("mute", TIME, "time forfeit"),
    ("move g1f3\\nbestmoves g1f3\\ninfo string bestmove g1f3\\nreadyok", TIME, "time forfeit"),
])
def test_fault_of_a_uci_engine(play, scripted, scripted_uci, tmp_path, last, kind, reason):
    output, pgn = play("-n", "1", "-t", "0.4", "-o", "-", scripted_uci("bad", "e2e4", last),
                       scripted("good", "e7e5 b8c6", "resign"), status=1)
    assert faults(output) == {"bad": [int(i == kind) for i in range(6)], "good": [0] * 6}, output
    assert '[Result "0-1"]' in pgn and f'[Termination "{reason}"' in pgn
    check_pgn(tmp_path, 1)


def test_scores_of_uci_engines_are_exact_and_of_the_best_line(play, scripted_uci):
    output, pgn = play("-n", "1", "-t", "5", "-o", "-", "--resign", "900,2",
                       scripted_uci("a", "+950 e2e4 #3 g1f3", ""),
                       scripted_uci("b", "-950 e7e5 #-2 b8c6", ""))
    assert "score +1 =0 -0" in output and "adjudication: both scores agree" in pgn
    assert re.findall(r"\{(\S+)/5 ", pgn) == ["+9.50", "-9.50", "+1000.03", "-1000.02"]


def told(tmp_path, name):
    log = (tmp_path / "logs" / f"{name}-1.log").read_text()
    return re.findall(r"^ *[0-9.]+ > (.*)", log, re.M)


OPTIONS = "\n".join(["option name Hash type spin default 16 min 8 max 32",
                     "option name Threads type spin default 4 min 1 max 8",
                     "option name Move Overhead type spin default 30 min 0 max 5000",
                     "option name Clear Hash type button"])


@pytest.mark.parametrize("control, first, later", [
    ("2/30+0.5", r"go wtime 30000 btime 30000 winc 500 binc 500 movestogo 2",
     r"go wtime (?P<clock>\d+) btime 30[0-5]\d\d winc 500 binc 500 movestogo 1"),
    ("st=1.5", "go movetime 1500", "go movetime 1500"),
    ("sd=7", "go depth 7", "go depth 7"),
    ("nodes=5000", "go nodes 5000", "go nodes 5000"),
])
def test_what_uci_engines_are_told(play, scripted_uci, tmp_path, control, first, later):
    (tmp_path / "openings").write_text("4k3/8/8/8/8/8/4P3/4K3 w - - 3 9\n")
    play("-n", "1", "-t", control, "-o", "openings", "--log", "logs",
         "--option", "white:Move Overhead=100", "--option", "white:Clear Hash",
         scripted_uci("white", "e1d1 Kd1-e1", "bestmove 0000", OPTIONS),
         scripted_uci("black", "e8d8 d8e8", ""), status=1)
    talk = told(tmp_path, "white")
    start = "position fen 4k3/8/8/8/8/8/4P3/4K3 w - - 3 9"
    assert talk[:9] == [
        "uci", "setoption name Hash value 32", "setoption name Threads value 1",
        "setoption name Move Overhead value 100", "setoption name Clear Hash", "isready",
        "ucinewgame", "isready", start]
    assert talk[9] == first and talk[10] == f"{start} moves e1d1 e8d8"
    second = re.fullmatch(later, talk[11])
    assert second and ("/" not in control or 29000 < int(second["clock"]) <= 30500)
    assert talk[12] == f"{start} moves e1d1 e8d8 d1e1 d8e8"
    black = told(tmp_path, "black")
    assert black[:4] == ["uci", "isready", "ucinewgame", "isready"]
    assert black[4] == f"{start} moves e1d1"


@pytest.mark.alone
def test_one_engine_under_both_protocols(play, tmp_path):
    """Openings of moves and of a position, both colours, a clock."""
    (tmp_path / "openings").write_text("e2e4 c7c5 Nf3 d6\nk7/P7/2K5/8/8/8/8/1R6 w - -\n")
    output, pgn = play("-n", "8", "-t", "2+0.1", "--margin", "5", "-o", "openings", f"cecp={ENGINE}",
                       f"talk=uci:{UCI_ENGINE}")
    assert faults(output) == {"cecp": [0] * 6, "talk": [0] * 6}, output
    check_pgn(tmp_path, 8)
    assert pgn.count("1. e4 c5 2. Nf3 d6") == 4


# --- the whole match ---------------------------------------------------------

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
    assert_no_process_with(str(tmp_path))


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
    assert_no_process_with(str(tmp_path))


@pytest.mark.parametrize("sent, status", [
    (signal.SIGINT, 130), (signal.SIGTERM, 143), (signal.SIGHUP, 129), (signal.SIGKILL, -9)])
def test_interruption(scripted, tmp_path, sent, status):
    """A signal gives the partial result and a status of its own; even after a kill nobody stays,
    grandchildren included."""
    engine = scripted("slow", "", "mute")
    wrapped = engine.replace("=", "=" + shlex.join(["sh", "-c", "trap '' TERM; \"$@\"; :", "sh"])
                             + " ", 1)
    match = subprocess.Popen([MATCH, "-n", "9", "-j", "2", "-t", "sd=1", "-o", "-",
                              "-p", str(tmp_path / "games.pgn"), wrapped, engine],
                             cwd=tmp_path, stdout=subprocess.PIPE, text=True,
                             preexec_fn=default_signals)
    deadline = time.monotonic() + PATIENCE
    while "go" not in "".join(f.read_text() for f in tmp_path.glob("heard-*")).split():
        assert time.monotonic() < deadline and match.poll() is None
        time.sleep(0.05)
    match.send_signal(sent)
    output, _ = match.communicate(timeout=PATIENCE)
    assert match.returncode == status
    assert sent == signal.SIGKILL or ("stopped" in output and "0 of 9 games" in output)
    assert_no_process_with(str(tmp_path))


def test_a_match_under_nohup_outlives_its_terminal(scripted, tmp_path):
    def ignore_hangup():
        default_signals()
        signal.signal(signal.SIGHUP, signal.SIG_IGN)

    engines = (scripted("a", "0.9 e2e4", "resign"), scripted("b", "0.5 e7e5", "resign"))
    match = subprocess.Popen([MATCH, "-n", "1", "-t", "5", "-o", "-", "-p", "games.pgn", *engines],
                             cwd=tmp_path, stdout=subprocess.PIPE, text=True,
                             preexec_fn=ignore_hangup)
    deadline = time.monotonic() + PATIENCE
    while "go" not in "".join(f.read_text() for f in tmp_path.glob("heard-*")).split():
        assert time.monotonic() < deadline and match.poll() is None
        time.sleep(0.05)
    match.send_signal(signal.SIGHUP)
    output, _ = match.communicate(timeout=PATIENCE)
    assert match.returncode == 0 and "1 of 1 games" in output


@pytest.mark.parametrize("white, engine, message", [
    (True, "{python} -c 'import time; time.sleep(60)'", "it answered neither protover nor go"),
    (False, "cat", "it answered neither protover nor go"),
    (True, "yes move", "it answered neither protover nor go"),
    (True, "sed -n /go/q", "it answered neither protover nor go"),
    (False, "{python} uci.py", "but UCI: write uci: before its command"),
])
def test_a_program_that_is_no_engine_loses_no_game(scripted, tmp_path, white, engine, message):
    """It is called what it is, and the match cannot be played."""
    (tmp_path / "uci.py").write_text(
        "import sys\n"
        "for line in iter(sys.stdin.readline, ''):\n"
        "    print('uciok' if line == 'uci\\n' else 'Unknown command', flush=True)\n")
    stranger = "stranger=" + engine.format(python=sys.executable)
    sound = scripted("sound", "e2e4", "mute")
    engines = (stranger, sound) if white else (sound, stranger)
    done = subprocess.run([MATCH, "-p", "games.pgn", "-n", "2", "-t", "0.5", "-o", "-", *engines],
                          cwd=tmp_path, capture_output=True, text=True, timeout=60, check=False)
    assert done.returncode == 2 and done.stdout == "", done
    assert re.fullmatch(rf"tarsimo-match: stranger:? does not speak CECP.*{message}\n",
                        done.stderr), done.stderr
    assert (tmp_path / "games.pgn").read_text() == ""
    assert_no_process_with(str(tmp_path))


def test_an_engine_of_the_first_protocol_version_plays(play, tmp_path):
    """No features, no pong, nothing but moves: it speaks all the same, and then may be late."""
    (tmp_path / "old.py").write_text(
        "import sys, time\n"
        "for line in iter(sys.stdin.readline, ''):\n"
        "    if line == 'go\\n': print('move e2e4', flush=True)\n"
        "    if line == 'e7e5\\n': time.sleep(60)\n"
        "    if line == 'quit\\n': break\n")
    (tmp_path / "reply.py").write_text(
        (tmp_path / "old.py").read_text().replace("e2e4", "e7e5"))
    output, _ = play("-n", "1", "-t", "0.5", "-o", "-", f"old={sys.executable} old.py",
                     f"reply={sys.executable} reply.py", status=1)
    assert faults(output) == {"old": [1, 0, 0, 0, 0, 0], "reply": [0] * 6}, output


@pytest.mark.parametrize("pgn, output, complaint", [
    ("/dev/full", None, "cannot write /dev/full: No space left on device\n"),
    ("games.pgn", "/dev/full", "cannot write the output\n"),
])
def test_full_disk(scripted, tmp_path, pgn, output, complaint):
    """The match is played, one sentence says what is lost, and so does the status."""
    engines = (scripted("a", "", "resign"), scripted("b", "e7e5", "resign"))
    with open(output or os.devnull, "w", encoding="ascii") as report:
        done = subprocess.run([MATCH, "-p", pgn, "-n", "4", "-t", "5", "-o", "-", *engines],
                              cwd=tmp_path, stdout=report, stderr=subprocess.PIPE, text=True,
                              timeout=PATIENCE, check=False)
    assert done.returncode == 2 and done.stderr.count(complaint) == 1, done
    assert output or "4 of 4 games are not in /dev/full" in done.stderr


def test_half_a_game_is_taken_back_from_a_full_disk(scripted, tmp_path):
    """A limit of the file's size stands for the disk: whole games stay, the rest is not begun."""
    pgn = tmp_path / "games.pgn"
    command = [MATCH, "-p", str(pgn), "-n", "4", "-t", "5", "-o", "-",
               scripted("a", "", "resign"), scripted("b", "", "resign")]

    def limit():
        resource.setrlimit(resource.RLIMIT_FSIZE, (700, 700))
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)

    done = subprocess.run(command, cwd=tmp_path, capture_output=True, text=True,
                          timeout=PATIENCE, check=False, preexec_fn=limit)
    assert done.returncode == 2, done
    lost = int(re.search(r"(\d) of 4 games are not in", done.stderr)[1])
    assert 1 <= lost <= 3
    check_pgn(tmp_path, 4 - lost)
    assert pgn.read_text().endswith("\n\n")


@pytest.mark.parametrize("arguments, opening, message", [
    (["a"], None, "usage"),
    (["-t", "5;1", "a", "b"], None, "5;1"),
    (["-t", "sd=x", "a", "b"], None, "sd=x"),
    (["-n", "1e99", "a", "b"], None, "1e99"),
    (["-j", "-3", "a", "b"], None, "-3"),
    (["--sprt", "5,0", "a", "b"], None, "--sprt 5,0"),
    (["--pairs", "1,2,3"], None, "5 numbers"),
    (["a", "x="], None, "not an engine: x="),
    (["a", "x=uci:"], None, "not an engine: x=uci:"),
    (["-t", "nodes=9", "uci:a", "b"], None, "--tc nodes=9: b is no UCI engine"),
    (["--option", "b:Hash=1", "uci:a", "b"], None, "b is no UCI engine"),
    (["--option", "c:Hash=1", "uci:a", "b"], None, "no engine of that name"),
    (["--option", "Hash=1", "uci:a", "b"], None, "ENGINE:OPTION=VALUE is wanted"),
    (["--option", "a:Bach=1", f"a=uci:{UCI_ENGINE}", ENGINE], None, "a: has no option Bach"),
    (["a=uci:sed -u s/.*/no/", ENGINE], None, "a: does not speak UCI: no uciok"),
    (["uci:false", ENGINE], None, "false: ended before the first game, exit status 1"),
    (["-p", "/nowhere/x.pgn", ENGINE, ENGINE], None, "/nowhere/x.pgn"),
    (["-o", "/nowhere", ENGINE, ENGINE], None, "/nowhere"),
    (["-o", "/proc", ENGINE, ENGINE], None, "cannot read /proc: Is a directory"),
    (["-o", "/dev/zero", ENGINE, ENGINE], None, "/dev/zero, line 1: a line without end"),
    (["--log", "/proc/version", ENGINE, ENGINE], None, "/proc/version: Not a directory"),
    ([ENGINE, "/nowhere/engine"], None, "No such file"),
    ([ENGINE, "false"], None, "false: ended before the first game, exit status 1"),
    ([ENGINE, ENGINE], "# nothing\n", "no openings in openings"),
    ([ENGINE, ENGINE], "e2e4\ne2e5\n", "line 2: not a legal move: e2e5"),
    ([ENGINE, ENGINE], "8/8/8/8/8/8/8/K6k x - -\n", "line 1: the side to move"),
    ([ENGINE, ENGINE], "8/8/8/8/8/8/8/K5kR b - - x\n8/8/8/8/8/8/7R/K6k w - -\n", "in check"),
    ([ENGINE, ENGINE], "8/8/8/8/8/8/8/K5kP w - -\n", "line 1: a pawn stands on its first"),
    ([ENGINE, ENGINE], "8/8/8/8/8/8/8/8 w - -\n", "line 1: there is not one king of each"),
    ([ENGINE, ENGINE], "e2e4\n\x1b[2J\x00\n", "line 2: not a legal move: ?[2J?"),
    ([ENGINE, ENGINE], "7k/8/8/8/8/8/8/K7 w - -\n", "the game is over: insufficient"),
])
def test_what_cannot_be_played(tmp_path, arguments, opening, message):
    if opening:
        (tmp_path / "openings").write_text(opening)
        arguments = ["-o", "openings", *arguments]
    done = subprocess.run([MATCH, *arguments], cwd=tmp_path, capture_output=True, text=True,
                          timeout=PATIENCE, check=False)
    assert done.returncode == 2 and message in done.stderr, done
