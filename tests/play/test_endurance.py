"""A long life: one very long game, and very many games in one process.

$TARSIMO_ENDURANCE multiplies their length: 1 if not set, 10 for the full tests, which take
minutes.
"""
import os
import random

from conftest import ILLEGAL_POSITION, QUIET_POSITION, wait_until

LENGTH = int(os.environ.get("TARSIMO_ENDURANCE", "1"))

KNIGHTS_DANCE = ["g1f3", "g8f6", "f3g1", "f6g8"]


def settled_memory(gui):
    """Resident kB at the beginning of a game, as soon as the tables have got their memory, which
    they do while nobody speaks."""
    assert gui.ask("new") == []
    readings = []

    def settled():
        readings.append(gui.memory())
        return len(readings) > 25 and len(set(readings[-25:])) == 1

    wait_until(settled)
    return readings[-1]


def test_very_long_game(gui):
    """Knights out and home again, an answer now and then, and at last all the way back that the
    engine remembers."""
    rounds, cycles = 10, 50 * LENGTH
    assert gui.ask("new", "force") == []
    for _ in range(rounds):
        assert gui.ask(*KNIGHTS_DANCE * cycles) == []
        assert gui.think("sd 2", "go")[1][1] in "12"
        assert gui.ask("force", "undo") == []
    half_moves = rounds * cycles * len(KNIGHTS_DANCE)

    # Behind the moves that it remembers a take-back is ignored, and at least 3,000 it remembers:
    # after an odd number of them Black is to move.
    remembered = min(half_moves - 1, 3001)
    assert gui.ask(*["undo"] * remembered) == []
    assert gui.ask("h2h3") == ["Error (unknown command): h2h3"]
    assert gui.ask("undo", "h2h3") == (
        [] if half_moves > remembered + 1 else ["Error (unknown command): h2h3"])
    assert gui.ask(*["remove"] * half_moves) == []
    assert gui.ask("new", "force", *KNIGHTS_DANCE, "e2e4") == []


def test_many_games_in_constant_memory(gui):
    """New games, set-ups, refused ones among them, and a few fast moves in each."""
    dice = random.Random(20230214)

    def play_games(count):
        for _ in range(count):
            moves = ["e2e4", "d2d4", "c2c4", "g1f3"]
            match dice.randrange(4):
                case 0:
                    assert gui.ask("new") == []
                case 1:
                    assert gui.ask("new", "setboard x", "setboard Kkk/8 b") == (
                        [ILLEGAL_POSITION] * 2)
                case _:
                    assert gui.ask("new", f"setboard {QUIET_POSITION}") == []
                    moves = ["c1g5", "e1g1", "c3d5", "a2a3"]
            gui.think("sd 3", dice.choice(moves))
            for _ in range(dice.randrange(4)):
                gui.think("go")
            assert gui.ask("force", "remove", "undo", "result *") == []

    play_games(20)
    before = settled_memory(gui)
    play_games(100 * LENGTH)
    after = settled_memory(gui)
    print(f"kB before {before} and after {after}")
    assert after <= before + 256
