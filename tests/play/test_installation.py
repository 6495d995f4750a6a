"""What an installation brings: complete, in its places, and of one version with the program."""
import os
import re
import subprocess
from pathlib import Path
from xml.etree import ElementTree

from conftest import ENGINE, GREETING, PATIENCE, REPOSITORY, UCI_ENGINE, Interface

PACKAGING = REPOSITORY / "packaging"
UCI_PAGE = PACKAGING / "tarsimo-uci.6"


def test_manual_page_has_every_command():
    """The commands as the two loops compare them, against the page's lists."""
    console = re.findall(r'line == "(\w+)"', (REPOSITORY / "control/console.cpp").read_text())
    protocol = (REPOSITORY / "control/cecp.cpp").read_text()
    commands = re.findall(r'^    \{"(\S+)", \w+, (?:true|false), (?:true|false)\},', protocol, re.M)
    assert len(console) > 12 and len(commands) > 30

    page = (PACKAGING / "tarsimo.6").read_text(encoding="utf-8")
    at_console, under_protocol = (
        set(re.findall(r"[\w.?]+", " ".join(re.findall(r"^\.It Ic (.*)", section, re.M))))
        for section in re.search(r"\.Sh CONSOLE COMMANDS(.*)\.Sh CECP COMMANDS(.*)\.Sh FILES",
                                 page, re.S).groups())
    assert {name.lower() for name in console} - at_console == set()
    assert set(commands) - under_protocol == set()
    unknown = at_console - {name.lower() for name in console}
    assert unknown == set(), "commands that the console does not have"
    # On the page alone: the words for arguments and the two that are read during a search.
    arguments = {word for word in under_protocol if word.isupper()} | {"Ar", "Ic", "exit"}
    assert under_protocol - set(commands) - arguments == set()


def test_manual_page_of_uci_has_every_word_and_option():
    source = (REPOSITORY / "control/uci.cpp").read_text()
    commands = re.findall(r'^    \{"(\w+)", \w+, Timing::', source, re.M)
    limits = re.findall(r'word == "(\w+)"\) (?:read_number|order|next)', source)
    options = re.findall(r"option name ([\w ]+) type", source)
    assert len(commands) > 10 and len(limits) > 11 and len(options) > 5

    page = UCI_PAGE.read_text(encoding="utf-8")

    def listed(begin, end, macro):
        section = re.search(rf"\.Sh {begin}\n(.*)\.Sh {end}", page, re.S)[1]
        items = re.findall(rf"^\.It {macro} ([\w ,]+?)(?: (?:Ar|Cm|Op) .*)?$", section, re.M)
        return {name for names in items for name in names.split(" , ")}

    assert listed("COMMANDS", "OPTIONS", "Ic") == set(commands)
    assert listed("COMMANDS", "OPTIONS", "Cm") == set(limits)
    assert listed("OPTIONS", "FILES", "Cm") == set(options)


def test_example_of_the_manual_page_is_what_the_engine_says():
    """All but the speed; the lines left out in the middle are marked on the page."""
    example = re.search(r"\$ tarsimo-uci\n(.*?)\.Ed", UCI_PAGE.read_text(encoding="utf-8"), re.S)[1]
    shown = example.splitlines()
    typed = [line for line in shown if line.split()[0] in ("position", "go", "quit")]
    engine = Interface(UCI_ENGINE)
    engine.send(*typed)
    lines, status = engine.end()
    engine.close()
    said = iter(re.sub(r"nps \d+|time \d+", "", line) for line in lines)
    for line in shown:
        if line not in (*typed, "[...]"):
            assert re.sub(r"nps \d+|time \d+", "", line) in said, line
    assert (status, next(said, None)) == (0, None)


def test_one_version_everywhere():
    version = re.search(r"version (\d+)", GREETING)[1]
    places = {
        "CMakeLists.txt": rf"project\(tarsimo VERSION {version} ",
        "CHANGELOG.md": rf"^## \[{version}\] - {version}-",
        "LICENSE": rf"^Copyright \(c\) {version} ",
        "packaging/debian/changelog": rf"\Atarsimo \({version}-\d+\)",
        "packaging/debian/copyright": rf"^Copyright: {version} ",
        "packaging/org.tarsimo.tarsimo.metainfo.xml": rf'<release version="{version}" ',
        "control/cecp.cpp": rf'Tarsimo_II %s\\"\\n", "{version}"',
        "control/uci.cpp": rf'"id name Tarsimo II {version}"',
    }
    for name, pattern in places.items():
        text = (REPOSITORY / name).read_text(encoding="utf-8")
        assert re.search(pattern, text, re.M), f"{name} has another version"


def test_installed_files_fit_together(tmp_path):
    build = Path(ENGINE).resolve().parent
    subprocess.run(["cmake", "--install", build, "--prefix", tmp_path], check=True,
                   timeout=PATIENCE, stdout=subprocess.DEVNULL)
    share = tmp_path / "share"
    names = {str(path.relative_to(tmp_path)) for path in tmp_path.rglob("*") if path.is_file()}

    # xboard starts what the engine file names, and looks for a logo of that name.
    engine_file = (share / "games/plugins/xboard/tarsimo.eng").read_text().splitlines()
    assert engine_file == ["plugin spec 0.0", "tarsimo", "chess"]
    logo = (share / "games/plugins/logos/tarsimo.png").read_bytes()
    width, height = (int.from_bytes(logo[i:i + 4], "big") for i in (16, 20))
    assert width == 2 * height

    desktop = dict(re.findall(r"^(\w+)=(.*)$",
                              (share / "applications/tarsimo.desktop").read_text(), re.M))
    assert (desktop["Exec"], desktop["Terminal"]) == ("tarsimo", "true")
    icon = share / f"icons/hicolor/scalable/apps/{desktop['Icon']}.svg"
    assert ElementTree.parse(icon).getroot().tag.endswith("svg")
    metadata = ElementTree.parse(next((share / "metainfo").iterdir())).getroot()
    assert metadata.findtext("launchable") == "tarsimo.desktop"

    program = tmp_path / "games/tarsimo"
    done = subprocess.run([program], input="q\n", capture_output=True, text=True,
                          timeout=PATIENCE, check=False, cwd=tmp_path,
                          env={"PATH": os.environ["PATH"]})
    assert done.stdout.startswith(GREETING) and done.returncode == 1
    assert {"share/man/man6/tarsimo.6", "share/man/man6/tarsimo-uci.6",
            "share/doc/tarsimo/README.md"} <= names

    done = subprocess.run([f"{program}-uci"], input="uci\nquit\n", capture_output=True, text=True,
                          timeout=PATIENCE, check=False, cwd=tmp_path, env={})
    assert done.stdout.startswith("id name Tarsimo II ") and done.returncode == 0
    assert {binary.text for binary in metadata.iterfind("provides/binary")} == {
        path.name for path in program.parent.iterdir()}


def test_links_of_the_pages_lead_somewhere():
    pages = [REPOSITORY / "README.md", REPOSITORY / "CHANGELOG.md",
             *(REPOSITORY / "docs").glob("*.md")]
    for page in pages:
        for target in re.findall(r"\]\(([^)#]+)\)", page.read_text(encoding="utf-8")):
            assert target.startswith("https:") or (page.parent / target).exists(), (page, target)
