"""The scripts around the program: ./play, what installs packages, what packs the tree. Compilers
and package manager are scripts that only keep a record, so that nothing is built or installed."""
import os
import shutil
import signal
import subprocess
import tarfile
import time

import pytest

from conftest import PATIENCE, REPOSITORY

# Stands for the compiler's driver: a "build" writes a program that says when it was built. Two
# builds of one folder at a time spoil each other.
CMAKE = """#!/bin/bash
echo "$@" >>"$RECORD"
while [ $# -gt 0 ]; do
    case $1 in
        -S) tree=$2; shift;;
        -B) folder=$2; mkdir -p "$2"
            echo "CMAKE_HOME_DIRECTORY:INTERNAL=$tree" >"$2/CMakeCache.txt"; : >"$2/Makefile"
            shift;;
        --build) build=$2; shift;;
    esac
    shift
done
[ -n "$build" ] || exit 0
mkdir "$build/being-built" || { echo overlap >>"$RECORD"; exit 1; }
mktemp >/dev/null
echo >>"$RECORD.files" # bash outlives SIGINT while a child that ends well is running
sleep "${DURATION-0.3}"
for program in tarsimo tarsimo-uci tarsimo-bench; do
    printf '#!/bin/sh\\necho "$0"\\n' >"$build/$program"
    chmod +x "$build/$program"
done
rmdir "$build/being-built"
"""


def write_script(path, text):
    path.write_text(text)
    path.chmod(0o755)


@pytest.fixture(name="bench")
def fixture_bench(tmp_path):
    """A folder of stand-ins first in the path, and what ./play runs with."""
    programs = tmp_path / "programs"
    programs.mkdir()
    write_script(programs / "cmake", CMAKE)
    for name in ("c++", "make"):
        write_script(programs / name, "#!/bin/sh\nexit 1\n")
    (tmp_path / "temporary").mkdir()
    return {**os.environ, "PATH": f"{programs}:{os.environ['PATH']}",
            "RECORD": str(tmp_path / "record"), "TMPDIR": str(tmp_path / "temporary")}


def make_tree(folder):
    """As much of the source tree as ./play looks at."""
    folder.mkdir(parents=True)
    for name in ("board", "eval", "search", "control", "tools"):
        (folder / name).mkdir()
    for name in ("play", "CMakeLists.txt", "tools/install-packages", "tools/check-path"):
        shutil.copy2(REPOSITORY / name, folder / name)
    return folder


def play(tree, bench):
    return subprocess.run([tree / "play"], env=bench, capture_output=True, text=True,
                          timeout=PATIENCE, check=False)


def record(bench):
    with open(bench["RECORD"], encoding="utf-8") as lines:
        return lines.read().splitlines()


def test_two_at_once_build_once(tmp_path, bench):
    tree = make_tree(tmp_path / "tree")
    starts = [subprocess.Popen([tree / "play"], env=bench, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, text=True) for _ in range(3)]
    for process in starts:
        output, errors = process.communicate(timeout=PATIENCE)
        assert process.returncode == 0, errors
        assert output == f"{tree}/build/tarsimo\n"
    assert "overlap" not in record(bench)
    assert sum("--target tarsimo tarsimo-uci tarsimo-bench" in line for line in record(bench)) == 1


def test_profile_is_recorded_elsewhere(tmp_path, bench):
    tree = make_tree(tmp_path / "tree")
    assert play(tree, bench).returncode == 0
    folders = [line for line in record(bench) if "PROFILE=record" in line]
    assert folders and all(f"-B {tree}/build/recording" in line for line in folders)


@pytest.mark.parametrize("name", ["a [b] c", "*", "[a-z]*", "x.y+z$", "'"])
def test_a_path_is_no_pattern(tmp_path, bench, name):
    tree = make_tree(tmp_path / name / "tree")
    assert play(tree, bench).returncode == 0
    before = record(bench)
    assert play(tree, bench).stdout == f"{tree}/build/tarsimo\n"
    assert record(bench) == before, "built again"
    # Nor does a changed source throw away what is built of the others.
    (tree / "build" / "kept").touch()
    (tree / "board" / "new.cpp").touch()
    assert play(tree, bench).returncode == 0
    assert record(bench) != before and (tree / "build" / "kept").exists()


@pytest.mark.parametrize("name", ['a"b', "a;b", "a#b", "a:b", "a\\b", "a[b", "a]b[", "a\tb"])
def test_a_path_that_cannot_be_built_in_is_told_in_one_sentence(tmp_path, bench, name):
    tree = make_tree(tmp_path / name)
    done = play(tree, bench)
    assert done.returncode == 1 and done.stdout == ""
    assert done.stderr.count("\n") == 1 and "cannot be built in" in done.stderr
    assert not os.path.exists(bench["RECORD"])


@pytest.mark.parametrize("sent", [signal.SIGINT, signal.SIGTERM, signal.SIGKILL])
def test_an_interrupted_build_leaves_nothing_in_the_temporary_folder(tmp_path, bench, sent):
    tree = make_tree(tmp_path / "tree")
    process = subprocess.Popen([tree / "play"], env={**bench, "DURATION": "30"},
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                               start_new_session=True)
    deadline = time.monotonic() + PATIENCE
    while not os.path.exists(bench["RECORD"] + ".files"):
        assert time.monotonic() < deadline and process.poll() is None
        time.sleep(0.02)
    os.killpg(process.pid, sent)
    assert process.wait(PATIENCE) != 0
    assert os.listdir(bench["TMPDIR"]) == []
    # The half-made build is no obstacle.
    shutil.rmtree(tree / "build" / "recording", ignore_errors=True)
    shutil.rmtree(tree / "build" / "being-built", ignore_errors=True)
    assert play(tree, bench).stdout == f"{tree}/build/tarsimo\n"
    assert not (tree / "build" / "temporary").exists()


APT_WITHOUT_NETWORK = """#!/bin/sh
for i in $(seq 200); do
    echo "Err:$i http://deb.debian.org/debian bookworm InRelease"
    echo "  Temporary failure resolving 'deb.debian.org'"
done
echo "E: Failed to fetch http://deb.debian.org/debian/pool/main/x.deb" >&2
exit 100
"""
APT_WITHOUT_THE_PACKAGE = """#!/bin/sh
echo "E: Unable to locate package no-such-package" >&2
exit 100
"""


@pytest.mark.parametrize("apt, user, words", [
    (APT_WITHOUT_NETWORK, 0, ["cannot be reached", "apt-get install"]),
    (APT_WITHOUT_THE_PACKAGE, 0, ["Unable to locate package", "apt-get install"]),
    (None, 0, ["no apt-get", "TARSIMO_INSTALL=no"]),
    (APT_WITHOUT_NETWORK, 1000, ["no sudo", "apt-get install"]),
], ids=["no-network", "no-such-package", "no-apt", "no-sudo"])
def test_missing_packages_are_told_in_a_closing_line(tmp_path, apt, user, words):
    programs = tmp_path / "programs"
    programs.mkdir()
    for name in ("bash", "sh", "cat", "env", "grep", "head", "tail", "mktemp", "cp", "rm", "seq",
                 "sed"):
        (programs / name).symlink_to(shutil.which(name))
    write_script(programs / "id", f"#!/bin/sh\necho {user}\n")
    if apt:
        write_script(programs / "apt-get", apt)
    done = subprocess.run([shutil.which("bash"), REPOSITORY / "tools" / "install-packages",
                           "no-such-package", "nor-this-one"],
                          env={"PATH": str(programs), "TMPDIR": str(tmp_path)},
                          capture_output=True, text=True, timeout=PATIENCE, check=False)
    lines = done.stderr.splitlines()
    assert done.returncode == 1 and done.stdout == "" and len(lines) <= 2
    assert "no-such-package nor-this-one" in lines[-1]
    assert all(word in lines[-1] for word in words), lines[-1]


def test_tarball_is_the_source_tree(tmp_path):
    """Packed without version control, from a copy with litter, and complete enough to pack again."""
    copy = tmp_path / "copy"
    sources = subprocess.run([REPOSITORY / "tools" / "source-files"], capture_output=True,
                             text=True, check=True).stdout.splitlines()
    assert "check" in sources and "board/make.cpp" in sources
    for name in sources:
        (copy / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(REPOSITORY / name, copy / name)
    for litter in ("build-check/x.cpp", "board/make.cpp~", "tests/play/__pycache__/x.pyc",
                   "own notes.txt"):
        (copy / litter).parent.mkdir(parents=True, exist_ok=True)
        (copy / litter).touch()
    programs = tmp_path / "programs"
    programs.mkdir()
    write_script(programs / "git", "#!/bin/sh\nexit 128\n")
    path = subprocess.run([copy / "packaging" / "make-tarball", tmp_path], capture_output=True,
                          env={**os.environ, "PATH": f"{programs}:{os.environ['PATH']}"},
                          text=True, check=True).stdout.strip()
    with tarfile.open(path) as tarball:
        members = {member.name: member for member in tarball}
    folder = os.path.basename(path)[:-len(".tar.gz")]
    assert sorted(members) == sorted(f"{folder}/{name}" for name in sources)
    assert all(members[f"{folder}/{name}"].mode & 0o111 for name in ("play", "check"))


def test_no_source_at_all_is_an_error():
    done = subprocess.run([REPOSITORY / "tools" / "source-files", "*.no-such-kind"],
                          capture_output=True, text=True, check=False)
    assert done.returncode == 1 and done.stdout == "" and "no file" in done.stderr


@pytest.mark.parametrize("script", ["packaging/build-deb", "packaging/make-tarball",
                                    "packaging/test-bare", "tools/static-checks", "check"])
def test_help_only_helps(tmp_path, script):
    programs = tmp_path / "programs"
    programs.mkdir()
    for name in ("apt-get", "sudo", "cmake", "dpkg-buildpackage", "debootstrap"):
        write_script(programs / name, f"#!/bin/sh\ntouch '{tmp_path}/done'\nexit 1\n")
    done = subprocess.run([REPOSITORY / script, "--help"], capture_output=True, text=True,
                          env={**os.environ, "PATH": f"{programs}:{os.environ['PATH']}"},
                          timeout=PATIENCE, check=False)
    assert done.returncode == 0 and len(done.stdout) > 50 and done.stderr == ""
    assert not (tmp_path / "done").exists()
