"""The scripts around the program: ./play, what installs packages, what packs the tree. Compilers
and package manager are scripts that only keep a record, so that nothing is built or installed."""
import os
import shutil
import signal
import subprocess
import tarfile

import pytest

from conftest import PATIENCE, REPOSITORY, run, wait_until, write_script

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


def stand_ins(folder, **scripts):
    """An environment in which scripts stand for programs."""
    programs = folder / "programs"
    programs.mkdir()
    for name, text in scripts.items():
        write_script(programs / name, text)
    return {**os.environ, "PATH": f"{programs}:{os.environ['PATH']}"}


@pytest.fixture(name="bench")
def fixture_bench(tmp_path):
    """What ./play runs with."""
    (tmp_path / "temporary").mkdir()
    idle = "#!/bin/sh\nexit 1\n"
    return {**stand_ins(tmp_path, cmake=CMAKE, make=idle, **{"c++": idle}),
            "RECORD": str(tmp_path / "record"), "TMPDIR": str(tmp_path / "temporary")}


def make_tree(folder):
    """As much of the source tree as ./play looks at."""
    for name in ("board", "eval", "search", "control", "tools"):
        (folder / name).mkdir(parents=True)
    for name in ("play", "CMakeLists.txt", "tools/install-packages", "tools/check-path"):
        shutil.copy2(REPOSITORY / name, folder / name)
    return folder


def record(bench):
    with open(bench["RECORD"], encoding="utf-8") as lines:
        return lines.read().splitlines()


def test_three_at_once_build_once(tmp_path, bench):
    """The profile is recorded in a folder of its own."""
    tree = make_tree(tmp_path / "tree")
    starts = [subprocess.Popen([tree / "play"], env=bench, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, text=True) for _ in range(3)]
    for process in starts:
        output, errors = process.communicate(timeout=PATIENCE)
        assert process.returncode == 0, errors
        assert output == f"{tree}/build/tarsimo\n"
    done = record(bench)
    assert "overlap" not in done
    assert sum("--target tarsimo tarsimo-uci tarsimo-bench" in line for line in done) == 1
    recordings = [line for line in done if "PROFILE=record" in line]
    assert recordings and all(f"-B {tree}/build/recording" in line for line in recordings)


@pytest.mark.parametrize("name", ["a [b] c", "*", "x.y+z$", "'"])
def test_a_path_is_no_pattern(tmp_path, bench, name):
    tree = make_tree(tmp_path / name / "tree")
    run(tree / "play", env=bench)
    before = record(bench)
    assert run(tree / "play", env=bench)[0] == f"{tree}/build/tarsimo\n"
    assert record(bench) == before, "built again"
    # Nor does a changed source throw away what is built of the others.
    (tree / "build" / "kept").touch()
    (tree / "board" / "new.cpp").touch()
    run(tree / "play", env=bench)
    assert record(bench) != before and (tree / "build" / "kept").exists()


@pytest.mark.parametrize("name", ['a"b', "a;b", "a#b", "a:b", "a\\b", "a[b", "a]b[", "a\tb"])
def test_a_path_that_cannot_be_built_in_is_told_in_one_sentence(tmp_path, bench, name):
    output, complaint = run(make_tree(tmp_path / name) / "play", status=1, env=bench)
    assert output == "" and complaint.count("\n") == 1 and "cannot be built in" in complaint
    assert not os.path.exists(bench["RECORD"])


@pytest.mark.parametrize("sent", [signal.SIGINT, signal.SIGTERM, signal.SIGKILL])
def test_an_interrupted_build_leaves_nothing_in_the_temporary_folder(tmp_path, bench, sent):
    tree = make_tree(tmp_path / "tree")
    process = subprocess.Popen([tree / "play"], env={**bench, "DURATION": "30"},
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                               start_new_session=True)
    wait_until(lambda: os.path.exists(bench["RECORD"] + ".files"), process)
    os.killpg(process.pid, sent)
    assert process.wait(PATIENCE) != 0
    assert os.listdir(bench["TMPDIR"]) == []
    # The half-made build is no obstacle.
    shutil.rmtree(tree / "build" / "recording", ignore_errors=True)
    shutil.rmtree(tree / "build" / "being-built", ignore_errors=True)
    assert run(tree / "play", env=bench)[0] == f"{tree}/build/tarsimo\n"
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
    stand_ins(tmp_path, id=f"#!/bin/sh\necho {user}\n", **({"apt-get": apt} if apt else {}))
    for name in ("bash", "sh", "cat", "env", "grep", "head", "tail", "mktemp", "cp", "rm", "seq",
                 "sed"):
        (programs / name).symlink_to(shutil.which(name))
    output, complaint = run(shutil.which("bash"), REPOSITORY / "tools" / "install-packages",
                            "no-such-package", "nor-this-one", status=1,
                            env={"PATH": str(programs), "TMPDIR": str(tmp_path)})
    lines = complaint.splitlines()
    assert output == "" and len(lines) <= 2
    assert all(word in lines[-1] for word in ["no-such-package nor-this-one", *words]), lines[-1]


def test_tarball_is_the_source_tree(tmp_path):
    """Packed without version control from a copy with litter, and complete enough to pack again."""
    copy = tmp_path / "copy"
    sources = run(REPOSITORY / "tools" / "source-files")[0].splitlines()
    assert "check" in sources and "board/make.cpp" in sources
    for name in sources:
        (copy / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(REPOSITORY / name, copy / name)
    for litter in ("build-check/x.cpp", "board/make.cpp~", "tests/play/__pycache__/x.pyc",
                   "own notes.txt"):
        (copy / litter).parent.mkdir(parents=True, exist_ok=True)
        (copy / litter).touch()
    path = run(copy / "packaging" / "make-tarball", tmp_path,
               env=stand_ins(tmp_path, git="#!/bin/sh\nexit 128\n"))[0].strip()
    with tarfile.open(path) as tarball:
        members = {member.name: member for member in tarball}
    folder = os.path.basename(path)[:-len(".tar.gz")]
    assert sorted(members) == sorted(f"{folder}/{name}" for name in sources)
    assert all(members[f"{folder}/{name}"].mode & 0o111 for name in ("play", "check"))


def test_no_source_at_all_is_an_error():
    output, complaint = run(REPOSITORY / "tools" / "source-files", "*.no-such-kind", status=1)
    assert output == "" and "no file" in complaint


@pytest.mark.parametrize("script", ["packaging/build-deb", "packaging/make-tarball",
                                    "packaging/test-bare", "tools/static-checks", "check"])
def test_help_only_helps(tmp_path, script):
    worker = f"#!/bin/sh\ntouch '{tmp_path}/done'\nexit 1\n"
    output, complaint = run(
        REPOSITORY / script, "--help", env=stand_ins(tmp_path, **dict.fromkeys(
            ("apt-get", "sudo", "cmake", "dpkg-buildpackage", "debootstrap"), worker)))
    assert len(output) > 50 and complaint == ""
    assert not (tmp_path / "done").exists()
