"""Games for tools/analyse: read through pgn-extract, given back with what the engine thinks, and
drawn. Scores are centipawns for White; a mate in N plies is 32767 - N."""
import collections
import html
import re
import shutil
import subprocess
import textwrap

INITIAL_FEN = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"
MATE = 32767
MAX_MATE_PLIES = 1000
LOST = 1000  # centipawns: what lies beyond is lost one way or another, and costs nothing more

Game = collections.namedtuple("Game", "tags start moves result")  # moves in coordinates

# What is known of a move: both notations, the score after it, the depth of the search before, what
# the move costs its side, and the better lines as (score, SAN moves) where it costs much.
Verdict = collections.namedtuple("Verdict", "san score depth cost better")


def read_games(path, encoding):
    """The games of a PGN file without comments and variations, and pgn-extract's complaints of
    those that are left out. Raises OSError when there is no pgn-extract."""
    program = shutil.which("pgn-extract") or shutil.which("pgn-extract", path="/usr/games")
    if not program:
        raise FileNotFoundError("pgn-extract is missing (apt-get install pgn-extract)")
    done = subprocess.run([program, "-s", "-Wuci", "-C", "-N", "-V", str(path)],
                          stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False,
                          **encoding)
    games = []
    for tags, text in re.findall(r"((?:^\[.*\]\n)+)\n((?:.+\n)+)", done.stdout, re.M):
        pairs = dict(re.findall(r'^\[(\w+) "(.*)"\]$', tags, re.M))
        *moves, result = text.split()
        moves = [move.lower() for move in moves]
        games.append(Game(pairs, pairs.get("FEN", INITIAL_FEN), moves, result))
    return games, [line for line in done.stderr.splitlines() if re.search("File .*Line|move", line)]


def searches(game):
    """What the engine is to search: the game's positions, each by its start and its moves."""
    return [" moves ".join(filter(None, [game.start, " ".join(game.moves[:count])]))
            for count in range(len(game.moves) + 1)]


def starts_with_white(game):
    return game.start.split()[1] == "w"


def judge(game, results, sans, notation, threshold):
    """A verdict on every move. `results` are those of searches(), `sans` the moves as SAN."""
    def bounded(score):
        return max(-LOST, min(LOST, score))

    verdicts = []
    for ply, san in enumerate(sans):
        sign = 1 if (ply % 2 == 0) == starts_with_white(game) else -1
        before, after = results[ply], results[ply + 1]
        played = game.moves[ply]
        best = before["lines"][0][1][:1] if before["lines"] else []
        cost = 0 if [played] == best else max(0, bounded(before["score"]) -
                                              bounded(-after["score"]))
        better = []
        if cost >= threshold:
            for score, line in before["lines"]:
                words = notation.moves(game.start, game.moves[:ply] + line)[ply:]
                if line[0] != played:
                    better.append((sign * score, [word for _, word in words]))
        verdicts.append(Verdict(san, -sign * after["score"], before["depth"], cost, better))
    return verdicts


def mark(cost, threshold):
    """The sign behind a move that costs so many centipawns."""
    for factor, sign in ((6, "??"), (2, "?"), (1, "?!")):
        if cost >= factor * threshold:
            return sign
    return ""


def score_text(score):
    """A score for a person: pawns, or moves to a mate."""
    plies = MATE - abs(score)
    if plies > MAX_MATE_PLIES:
        return f"{score / 100:+.2f}"
    return "mate" if plies == 0 else f"{'+' if score > 0 else '-'}M{(plies + 1) // 2}"


def write_game(game, verdicts, threshold):
    """The game as PGN with a score behind every move and a better line where one costs much."""
    fields = game.start.split()
    number = int(fields[5]) if len(fields) > 5 else 1
    words, white, numbered = [], starts_with_white(game), False

    def numbers(line, number, white):
        shown = []
        for index, san in enumerate(line):
            if white or index == 0:
                shown.append(f"{number}{'.' if white else '...'}")
            shown.append(san)
            number, white = number + (not white), not white
        return shown

    for verdict in verdicts:
        san = verdict.san + mark(verdict.cost, threshold)
        words += numbers([san], number, white) if white or not numbered else [san]
        numbered = True
        words.append(f"{{{score_text(verdict.score)}}}")
        for score, line in verdict.better:
            moves = numbers(line, number, white)
            words.append(f"({moves[0]} {moves[1]} {{{score_text(score)}}}"
                         f"{''.join(' ' + word for word in moves[2:])})")
        # After a comment the number of Black's move is given again.
        numbered = False
        number, white = number + (not white), not white
    tags = "".join(f'[{name} "{value}"]\n' for name, value in game.tags.items())
    text = textwrap.fill(" ".join([*words, game.result]), 79, break_long_words=False,
                         break_on_hyphens=False)
    return f"{tags}\n{text}\n\n"


# --- Plots ---------------------------------------------------------------------

WIDTH, HEIGHT, LEFT, RIGHT, TOP, BOTTOM = 720, 260, 44, 14, 34, 26
INK, SECOND = "#1f4b46", "#b5472f"


def height_of(score):
    """Where a score stands: even steps of winning chances, not of centipawns."""
    chance = 1 / (1 + 10 ** (-max(-3000, min(3000, score)) / 400))
    return TOP + (HEIGHT - TOP - BOTTOM) * (1 - chance)


def draw_game(game, verdicts, threshold):
    """The scores of a game over its moves as SVG; moves that cost much are named."""
    step = (WIDTH - LEFT - RIGHT) / max(len(verdicts), 1)
    points = [(LEFT + step * (ply + 1), height_of(v.score)) for ply, v in enumerate(verdicts)]
    names = " – ".join(game.tags.get(side, "?") for side in ("White", "Black"))
    # A name may hold what no XML may.
    names = re.sub("[^\t -\ud7ff\ue000-\ufffd\U00010000-\U0010ffff]", "?", names)
    level = height_of(0)
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}" '
           f'viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" font-size="11">',
           f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
           f'<text x="{LEFT}" y="18" font-size="13">{html.escape(names)}  '
           f'{html.escape(game.result)}</text>']
    for pawns in (5, 2, 1, 0, -1, -2, -5):
        y = height_of(100 * pawns)
        out.append(f'<path d="M{LEFT} {y:.1f}H{WIDTH - RIGHT}" stroke="#ccc"/>'
                   f'<text x="{LEFT - 6}" y="{y + 4:.1f}" text-anchor="end">'
                   f'{f"{pawns:+d}" if pawns else "0"}</text>')
    fields = game.start.split()
    first = 2 * int(fields[5] if len(fields) > 5 else 1) - starts_with_white(game)
    every = 10 if len(verdicts) > 40 else 5 if len(verdicts) > 16 else 1
    for ply, (x, _) in enumerate(points):
        move, is_black = divmod(first + ply + 1, 2)
        if not is_black and move % every == 0:
            out.append(f'<text x="{x:.1f}" y="{HEIGHT - 8}" text-anchor="middle">{move}</text>')
    if points:
        line = "".join(f"L{x:.1f} {y:.1f}" for x, y in points)
        out.append(f'<path d="M{LEFT} {level:.1f}{line}V{level:.1f}Z" fill="{INK}" '
                   'fill-opacity="0.15"/>'
                   f'<path d="M{LEFT} {level:.1f}{line}" fill="none" stroke="{INK}" '
                   'stroke-width="1.5"/>')
    for (x, y), verdict in zip(points, verdicts):
        sign = mark(verdict.cost, threshold)
        if sign in ("?", "??"):
            # On the side of the point where the line seldom is.
            anchor, text_x = ("start", x + 7) if x < WIDTH * 0.85 else ("end", x - 7)
            text_y = y + 14 if y < TOP + 24 else y - 5
            out.append(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3.5" fill="{SECOND}"/>'
                       f'<text x="{text_x:.1f}" y="{text_y:.1f}" fill="{SECOND}" '
                       f'text-anchor="{anchor}">{html.escape(verdict.san + sign)}</text>')
    return "\n".join([*out, "</svg>", ""])
