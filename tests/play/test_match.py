"""Matches: the referee against engines that misbehave, the pool against processes that die, the
figures against such as are known."""
import os
import re
import resource
import shlex
import signal
import subprocess
import sys
from pathlib import Path

import pytest

from conftest import (ENGINE, PATIENCE, UCI_ENGINE, assert_no_process_with, run, wait_until,
                      write_script)

MATCH = os.environ.get("TARSIMO_MATCH", str(Path(ENGINE).with_name("tarsimo-match")))

# An engine for tests. Its arguments are "uci:" or nothing for CECP, options or features, moves, and
# what to do after them. Among the moves, "0.5" is a pause in seconds, "+50" a thinking line with
# that score and "#-2" one with a mate. It records the lines that it gets.
SCRIPTED = r'''
import os, sys, time
uci, features, moves, last = sys.argv[1], sys.argv[2], sys.argv[3].split(), sys.argv[4]
heard = open(f"heard-{os.getpid()}", "w")
turn = going = 0
def say(text):
    print(text, flush=True)
def think(score):
    if not uci:
        return say(f"5. {int(score)} 1 10\te2e4")
    score = "mate " + score[1:] if score[0] == "#" else "cp " + score.lstrip("+")
    say(f"info depth 5 seldepth 9 multipv 1 score {score} nodes 10 pv e2e4\n"
        "info depth 6 multipv 2 score cp 7\ninfo depth 7 score cp 8 upperbound\n"
        "info string depth 9 score cp 9")
def answer():
    global turn
    while turn < len(moves):
        word = moves[turn]
        turn += 1
        if word[0] in "+-#":
            think(word)
        elif word[0] == "0":
            time.sleep(float(word))
        else:
            return say(f"bestmove {word} ponder a7a6" if uci else "move " + word)
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
    if word == "protover" and not uci:
        say("garbage: \xff\x00 move\nIllegal move: xboard\nprompt: feature " + features + " done=1")
    elif word == "uci" and uci:
        say("garbage: \xff\x00 bestmove\nid name x\n" + features + "\nuciok\nreadyok")
    elif word == "isready":
        say("readyok")
    elif word == "ping":
        say("pong 999\n" + line.replace("ping", "pong") + "\n" + line.replace("ping", "pong"))
    elif word in ("new", "ucinewgame"):
        turn = going = 0
    elif word == "sd":
        say("Illegal move: sd 1")
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
    """The command line of a scripted engine called NAME; with "uci:" it is one of that protocol."""
    program = tmp_path / "scripted.py"
    program.write_text(SCRIPTED)

    def command(name, moves, last, features="ping=1 setboard=1", protocol=""):
        return f"{name}={protocol}" + shlex.join(
            [sys.executable, str(program), protocol, features, moves, last])

    return command


@pytest.fixture
def play(tmp_path):
    """Run a match in a folder of its own: its output and PGN."""

    def match(*arguments, status=0):
        output, _ = run(MATCH, "-p", "games.pgn", *arguments, status=status, cwd=tmp_path,
                        timeout=120)
        pgn = tmp_path / "games.pgn"
        return output, pgn.read_text() if pgn.exists() else ""

    return match


def faults(output):
    """Counts by engine: time, illegal, refused, claims, crashes, silent."""
    rows = re.findall(r"^(\S+)((?: +\d+){6})  +[\d.]+ +[\d.]+ +[\d.]+$", output, re.M)
    return {name: [int(n) for n in counts.split()] for name, counts in rows}


def check_pgn(tmp_path, games):
    """pgn-extract replays every game by itself."""
    _, said = run("pgn-extract", "-r", "games.pgn", cwd=tmp_path)
    assert re.search(rf"^{games} games? matched out of {games}\.$", said, re.M), said


def told(tmp_path, name):
    """What the match has sent to an engine, by its log."""
    log = (tmp_path / "logs" / f"{name}-1.log").read_text()
    return re.findall(r"^ *[0-9.]+ > (.*)", log, re.M)


# --- figures -----------------------------------------------------------------

@pytest.mark.parametrize("pairs, sprt, expected", [
    # Pair scores 0, 2 x 1/4, 3 x 1/2, 3/4, 3 x 1: mean 23/40; the squared distances from it sum
    # to 1.13125, so the error of the mean is sqrt(1.13125 / 9 / 10) = 0.1121. The interval of
    # the score is 0.3553 .. 0.7947, and 400 log10(p / (1 - p)) turns scores to Elo.
    ("1,2,3,1,3", None, "+52.5 [-103.5, +235.2], 95 % interval from 10 pairs, stronger with 74.8"),
    # All pairs alike: other outcomes have a probability up to 1 - 0.025^(1/n).
    ("0,0,4,0,0", None, "+0.0 [-242.1, +242.1], 95 % interval from 4 pairs, stronger with 50.0"),
    ("0,0,0,0,1", None, "+inf [-636.4, +inf], 95 % interval from 1 pairs, stronger with 50.0"),
    # For small differences the ratio is close to n (s1 - s0) (2 mean - s0 - s1) / (2 variance):
    # 2.06, 3.61, -0.08.
    ("10,40,100,60,20", "0,10", "ratio 2.02 of (-2.94, 2.94), undecided"),
    ("30,200,400,260,60", "0,5", "ratio 3.57 of (-2.94, 2.94), elo1 accepted"),
    ("60,260,400,200,30", "0,5", "(-2.94, 2.94), elo0 accepted"),
])
def test_figures(play, pairs, sprt, expected):
    output, _ = play("--pairs", pairs, *(["--sprt", sprt] if sprt else []))
    assert expected in output


# --- single games ------------------------------------------------------------

TIME, ILLEGAL, REFUSED, CLAIM, CRASH, SILENT = range(6)


@pytest.mark.parametrize("protocol, last, kind, reason", [
    ("", "move e2e5", ILLEGAL, "illegal move: e2e5"),
    ("", "move \xff{}\"", ILLEGAL, "illegal move"),
    ("", "1-0 {White mates}", CLAIM, "false claim: 1-0 (White mates)"),
    ("", "Illegal move: e7e5", REFUSED, "refused move: Illegal move: e7e5"),
    ("", "crash", CRASH, "crash: signal 11"),
    ("", "flood", TIME, "time forfeit"),
    ("", "12 34 nonsense\\nmove\\nIllegal move: zzz\\n\\0\\ntellics say hello", TIME,
     "time forfeit"),
    ("uci:", "bestmove e2e5", ILLEGAL, "illegal move: e2e5"),
    ("uci:", "bestmove", ILLEGAL, "illegal move: none"),
    ("uci:", "crash", CRASH, "crash: signal 11"),
    ("uci:", "mute", TIME, "time forfeit"),
    ("uci:", "move g1f3\\nbestmoves g1f3\\ninfo string bestmove g1f3\\nreadyok", TIME,
     "time forfeit"),
])
def test_fault_of_white(play, scripted, tmp_path, protocol, last, kind, reason):
    """After a good move White fails; Black, a sound engine, is given the game and no blame."""
    output, pgn = play("-n", "1", "-t", "0.4", "-o", "-",
                       scripted("bad", "e2e4", last, protocol=protocol),
                       scripted("good", "e7e5 b8c6", "resign"), status=1)
    assert faults(output) == {"bad": [int(i == kind) for i in range(6)], "good": [0] * 6}, output
    assert "score +0 =0 -1" in output
    assert '[Result "0-1"]' in pgn and f'[Termination "{reason}' in pgn
    check_pgn(tmp_path, 1)


@pytest.mark.parametrize("fen, white, black, last, score, reason", [
    (None, "f2f3 g2g4", "e7e5 d8h4", "", "+0 =0 -1", "checkmate"),
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


def test_scores_of_uci_engines_are_exact_and_of_the_best_line(play, scripted):
    output, pgn = play("-n", "1", "-t", "5", "-o", "-", "--resign", "900,2",
                       scripted("a", "+950 e2e4 #3 g1f3", "", protocol="uci:"),
                       scripted("b", "-950 e7e5 #-2 b8c6", "", protocol="uci:"))
    assert "score +1 =0 -0" in output and "adjudication: both scores agree" in pgn
    assert re.findall(r"\{(\S+)/5 ", pgn) == ["+9.50", "-9.50", "+1000.03", "-1000.02"]


PAWN_ENDING = "4k3/8/8/8/8/8/4P3/4K3 w - - 3 9"
OPTIONS = "\n".join(["option name Hash type spin default 16 min 8 max 32",
                     "option name Threads type spin default 4 min 1 max 8",
                     "option name Move Overhead type spin default 30 min 0 max 5000",
                     "option name Clear Hash type button"])


@pytest.mark.parametrize("control, first, later", [
    ("2/30+0.5", r"go wtime 30000 btime 30000 winc 500 binc 500 movestogo 2",
     r"go wtime (?P<clock>\d+) btime 30[0-5]\d\d winc 500 binc 500 movestogo 1"),
    ("st=1.5", "go movetime 1500", "go movetime 1500"),
    ("nodes=5000", "go nodes 5000", "go nodes 5000"),
])
def test_what_uci_engines_are_told(play, scripted, tmp_path, control, first, later):
    (tmp_path / "openings").write_text(PAWN_ENDING)
    play("-n", "1", "-t", control, "-o", "openings", "--log", "logs",
         "--option", "white:Move Overhead=100", "--option", "white:Clear Hash",
         scripted("white", "e1d1 Kd1-e1", "bestmove 0000", OPTIONS, "uci:"),
         scripted("black", "e8d8 d8e8", "", "", "uci:"), status=1)
    talk = told(tmp_path, "white")
    start = f"position fen {PAWN_ENDING}"
    assert talk[:9] == [
        "uci", "setoption name Hash value 32", "setoption name Threads value 1",
        "setoption name Move Overhead value 100", "setoption name Clear Hash", "isready",
        "ucinewgame", "isready", start]
    assert talk[9] == first and talk[10] == f"{start} moves e1d1 e8d8"
    second = re.fullmatch(later, talk[11])
    assert second and ("/" not in control or 29000 < int(second["clock"]) <= 30500)
    assert talk[12] == f"{start} moves e1d1 e8d8 d1e1 d8e8"
    assert told(tmp_path, "black")[:5] == [
        "uci", "isready", "ucinewgame", "isready", f"{start} moves e1d1"]


@pytest.mark.alone
def test_what_cecp_engines_are_told(play, scripted, tmp_path):
    """In order, and with the clock of a second control."""
    (tmp_path / "openings").write_text(PAWN_ENDING)
    play("-n", "1", "-t", "2/30+1", "-o", "openings", "--memory", "64", "--log", "logs",
         scripted("white", "e1d1 0.2 d1e1", "resign",
                  "ping=1 setboard=1 usermove=1 memory=1 smp=1 name=\"a b\""),
         scripted("black", "e8d8 d8e8", "resign", "ping=1 setboard=1 time=0"))
    talk = told(tmp_path, "white")
    white = [line for line in talk if not line.startswith("ping ")]
    assert white[:19] == [
        "xboard", "protover 2", "accepted ping", "accepted setboard", "accepted usermove",
        "accepted memory", "accepted smp", "accepted name", "accepted done", "memory 64",
        "cores 1", "force", "new", "post", "easy", "force", f"setboard {PAWN_ENDING}",
        "level 2 0:30 1", "time 3000"]
    assert talk[talk.index("level 2 0:30 1") + 1].startswith("ping ")
    assert white[19:21] == ["otim 3000", "go"]
    assert white[23] == "usermove e8d8" and white[26] == "usermove d8e8"
    assert white[-3:] == ["force", "result 0-1 {resignation}", "quit"]
    clocks = [int(line.split()[1]) for line in white if line.startswith("time ")]
    assert 3000 < clocks[1] <= 3100 and 6100 < clocks[2] <= 6180
    black = told(tmp_path, "black")
    assert [line for line in black if re.fullmatch(r"go|([a-h][1-8]){2}|o?tim.*", line)] == [
        "e1d1", "go", "d1e1"]


# --- the whole match ---------------------------------------------------------

@pytest.mark.alone
def test_one_engine_under_both_protocols(play, tmp_path):
    """Positions and moves as openings, two workers: every opening with both colours."""
    (tmp_path / "openings").write_text(
        "# mate in two for White, an en-passant square of no use, castling, a promotion\n\n"
        "e2e4 c7c5 Nf3 d6\n"
        "k7/8/2K5/8/8/8/8/1R6 w - -\n"
        "r3k2r/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/R3K2R w KQkq e6 0 7\n"
        "7k/P7/8/8/8/8/7p/K7 b - - bm h1q; id \"race\";\n")
    output, pgn = play("-n", "8", "-j", "2", "-t", "2+0.05", "--margin", "100", "-o",
                       "openings", f"cecp={ENGINE}", f"talk=uci:{UCI_ENGINE}")
    assert faults(output) == {"cecp": [0] * 6, "talk": [0] * 6}, output
    check_pgn(tmp_path, 8)
    rounds = re.findall(r'\[Round "(\d)\.(\d)"\]\n\[White "(\w+)"\]\n\[Black "(\w+)"\]', pgn)
    assert sorted(rounds) == sorted(
        (pair, game, *(("cecp", "talk") if game == "1" else ("talk", "cecp")))
        for pair in "1234" for game in "12")
    assert pgn.count("1. e4 c5 2. Nf3 d6") == 2
    assert pgn.count('[FEN "r3k2r/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/R3K2R w KQkq - 0 7"]') == 2
    assert_no_process_with(str(tmp_path))


def test_new_processes(play, scripted, tmp_path):
    """An engine that wants it, and every engine on demand, is started anew for each game."""
    engines = (scripted("once", "", "resign", "ping=1 reuse=0"), scripted("often", "", "resign"))
    for options, starts in ([], [4, 1]), (["--restart"], [4, 4]):
        output, _ = play("-n", "4", "-t", "5", "-o", "-", "--log", "logs", *options, *engines)
        assert "pairs by points 0 .. 2: 0 0 2 0 0" in output, "White has lost every game"
        assert [told(tmp_path, name).count("protover 2") for name in ("once", "often")] == starts
        for log in (tmp_path / "logs").iterdir():
            log.unlink()


def test_worker_dies(play, scripted, tmp_path):
    """An engine that takes the referee with it: two tries, and the match goes on without."""
    output, _ = play("-n", "1", "-t", "3", "-o", "-", scripted("bad", "", "murder"),
                     scripted("good", "e7e5", "resign"), status=1)
    assert "0 of 1 games" in output and "games abandoned: 1" in output
    assert_no_process_with(str(tmp_path))


def start_match(folder, *arguments, **options):
    """A match in the background, once an engine is to move."""
    match = subprocess.Popen([MATCH, "-o", "-", "-p", "games.pgn", *arguments], cwd=folder,
                             stdout=subprocess.PIPE, text=True, **options)
    wait_until(lambda: any("go\n" in heard.read_text() for heard in folder.glob("heard-*")), match)
    return match


@pytest.mark.parametrize("sent, status", [
    (signal.SIGINT, 130), (signal.SIGTERM, 143), (signal.SIGHUP, 129), (signal.SIGKILL, -9)])
def test_interruption(scripted, tmp_path, sent, status):
    """A signal gives the partial result and a status of its own; even after a kill nobody stays,
    grandchildren included."""
    engine = scripted("slow", "", "mute")
    wrapped = engine.replace("=", "=" + shlex.join(["sh", "-c", "trap '' TERM; \"$@\"; :", "sh"])
                             + " ", 1)
    match = start_match(tmp_path, "-n", "9", "-j", "2", "-t", "sd=1", wrapped, engine)
    match.send_signal(sent)
    output, _ = match.communicate(timeout=PATIENCE)
    assert match.returncode == status
    assert sent == signal.SIGKILL or ("stopped" in output and "0 of 9 games" in output)
    assert_no_process_with(str(tmp_path))


def test_a_match_under_nohup_outlives_its_terminal(scripted, tmp_path):
    match = start_match(tmp_path, "-n", "1", "-t", "5", scripted("a", "0.9 e2e4", "resign"),
                        scripted("b", "0.5 e7e5", "resign"),
                        preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
    match.send_signal(signal.SIGHUP)
    output, _ = match.communicate(timeout=PATIENCE)
    assert match.returncode == 0 and "1 of 1 games" in output


# --- what cannot be played ---------------------------------------------------

NO_ENGINE = "it answered neither protover nor go"


@pytest.mark.parametrize("white, engine, message", [
    (True, "{python} -c 'import time; time.sleep(60)'", NO_ENGINE),
    (False, "cat", NO_ENGINE),
    (True, "yes move", NO_ENGINE),
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
    output, complaint = run(MATCH, "-p", "games.pgn", "-n", "2", "-t", "0.5", "-o", "-", *engines,
                            status=2, cwd=tmp_path, timeout=60)
    assert output == ""
    assert re.fullmatch(rf"tarsimo-match: stranger:? does not speak CECP.*{message}\n", complaint)
    assert (tmp_path / "games.pgn").read_text() == ""
    assert_no_process_with(str(tmp_path))


def test_an_engine_of_the_first_protocol_version_plays(play, tmp_path):
    """No features, no pong, nothing but moves: it speaks all the same, and then may be late."""
    for name, move in ("old", "e2e4"), ("reply", "e7e5"):
        write_script(tmp_path / name, "#!/bin/sh\nwhile read -r line; do case $line in\n"
                     f"go) echo move {move};; e7e5) sleep 60;; quit) break;; esac; done\n")
    output, _ = play("-n", "1", "-t", "0.5", "-o", "-", "./old", "./reply", status=1)
    assert faults(output) == {"old": [1, 0, 0, 0, 0, 0], "reply": [0] * 6}, output


@pytest.mark.parametrize("pgn, output, complaint", [
    ("/dev/full", os.devnull, "cannot write /dev/full: No space left on device\n"),
    ("games.pgn", "/dev/full", "cannot write the output\n"),
])
def test_full_disk(scripted, tmp_path, pgn, output, complaint):
    """The match is played, one sentence says what is lost, and so does the status."""
    with open(output, "w", encoding="ascii") as report:
        _, said = run(MATCH, "-p", pgn, "-n", "4", "-t", "5", "-o", "-",
                      scripted("a", "", "resign"), scripted("b", "e7e5", "resign"), status=2,
                      cwd=tmp_path, stdout=report)
    assert said.count(complaint) == 1
    assert pgn == "games.pgn" or "4 of 4 games are not in /dev/full" in said


def test_half_a_game_is_taken_back_from_a_full_disk(scripted, tmp_path):
    """A limit of the file's size stands for the disk: whole games stay, the rest is not begun."""
    def limit():
        resource.setrlimit(resource.RLIMIT_FSIZE, (700, 700))
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)

    _, said = run(MATCH, "-p", tmp_path / "games.pgn", "-n", "4", "-t", "5", "-o", "-",
                  scripted("a", "", "resign"), scripted("b", "", "resign"), status=2,
                  cwd=tmp_path, preexec_fn=limit)
    lost = int(re.search(r"(\d) of 4 games are not in", said)[1])
    assert 1 <= lost <= 3
    check_pgn(tmp_path, 4 - lost)
    assert (tmp_path / "games.pgn").read_text().endswith("\n\n")


@pytest.mark.parametrize("arguments, message", [
    (["a"], "usage"),
    (["--sprt", "5,0", "a", "b"], "--sprt 5,0"),
    (["--pairs", "1,2,3"], "5 numbers"),
    (["-t", "nodes=9", "uci:a", "b"], "--tc nodes=9: b is no UCI engine"),
    (["--option", "b:Hash=1", "uci:a", "b"], "b is no UCI engine"),
    (["--option", "a:Bach=1", f"a=uci:{UCI_ENGINE}", ENGINE], "a: has no option Bach"),
    (["a=uci:sed -u s/.*/no/", ENGINE], "a: does not speak UCI: no uciok"),
    (["--log", "/proc/version", ENGINE, ENGINE], "/proc/version: Not a directory"),
    ([ENGINE, "/nowhere/engine"], "No such file"),
    ([ENGINE, "uci:false"], "false: ended before the first game, exit status 1"),
])
def test_what_cannot_be_played(tmp_path, arguments, message):
    assert message in run(MATCH, *arguments, status=2, cwd=tmp_path)[1]


@pytest.mark.parametrize("openings, message", [
    ("# nothing\n", "no openings in openings"),
    ("e2e4\ne2e5\n", "line 2: not a legal move: e2e5"),
    ("8/8/8/8/8/8/8/K5kR b - - x\n8/8/8/8/8/8/7R/K6k w - -\n", "in check"),
    ("e2e4\n\x1b[2J\x00\n", "line 2: not a legal move: ?[2J?"),
    ("7k/8/8/8/8/8/8/K7 w - -\n", "the game is over: insufficient"),
])
def test_openings_that_cannot_be_played(tmp_path, openings, message):
    (tmp_path / "openings").write_text(openings)
    assert message in run(MATCH, "-o", "openings", ENGINE, ENGINE, status=2, cwd=tmp_path)[1]
