"""What an installation brings: complete, in its places, and of one version with the program."""
import re
from pathlib import Path
from xml.etree import ElementTree

import pytest

from conftest import ENGINE, GREETING, REPOSITORY, UCI_ENGINE, Interface, run

PACKAGING = REPOSITORY / "packaging"
UCI_PAGE = PACKAGING / "tarsimo-uci.6"


def listed(page, section, macro):
    """The words of the items in a section of a manual page, without their arguments."""
    text = (PACKAGING / page).read_text(encoding="utf-8")
    body = re.search(rf"\.Sh {section}\n(.*?)\.Sh ", text, re.S)[1]
    items = "\n".join(re.findall(rf"^\.It {macro} (.*)", body, re.M))
    words = re.findall(r"[\w.?]+", re.sub(r"(Ar|Cm|Op) .*?(?= ,|$)", "", items, flags=re.M))
    return {word.lower() for word in words if word != "Ic"}


@pytest.mark.parametrize("source, pattern, least, page, section, macro, more", [
    ("console", r'line == "(\w+)"', 12, "tarsimo.6", "CONSOLE COMMANDS", "Ic", set()),
    # One more is read during an analysis alone.
    ("cecp", r'^    \{"(\S+)", \w+, (?:true|false), ', 30, "tarsimo.6", "CECP COMMANDS", "Ic",
     {"exit"}),
    ("uci", r'^    \{"(\w+)", \w+, Timing::', 10, "tarsimo-uci.6", "COMMANDS", "Ic", set()),
    ("uci", r'word == "(\w+)"\) (?:read_number|order|next)', 11, "tarsimo-uci.6", "COMMANDS", "Cm",
     set()),
    ("uci", r"option name ([\w ]+) type", 5, "tarsimo-uci.6", "OPTIONS", "Cm", set()),
])
def test_manual_pages_have_every_word(source, pattern, least, page, section, macro, more):
    """As the loops compare them, and no other."""
    text = (REPOSITORY / f"control/{source}.cpp").read_text()
    names = re.findall(pattern, text, re.M)
    assert len(names) > least
    words = set(" ".join(names).lower().split())
    assert words | more == listed(page, section, macro)


def test_example_of_the_manual_page_is_what_the_engine_says():
    """All but the speed; the lines left out in the middle are marked on the page."""
    example = re.search(r"\$ tarsimo-uci\n(.*?)\.Ed", UCI_PAGE.read_text(encoding="utf-8"), re.S)[1]
    shown = example.splitlines()
    typed = [line for line in shown if line.split()[0] in ("position", "go", "quit")]
    engine = Interface(UCI_ENGINE)
    *asked, farewell = typed
    *answers, best_move = (line for line in shown if line not in (*typed, "[...]"))
    engine.send(*asked)
    said = iter(re.sub(r"nps \d+|time \d+", "", line) for line in engine.until(best_move))
    for line in answers:
        assert re.sub(r"nps \d+|time \d+", "", line) in said, line
    engine.send(farewell)
    assert engine.end() == ([], 0)
    engine.close()


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
    run("cmake", "--install", build, "--prefix", tmp_path)
    share = tmp_path / "share"
    names = {str(path.relative_to(tmp_path)) for path in tmp_path.rglob("*") if path.is_file()}

    # xboard starts what the engine file names, and looks for a logo of that name.
    engine_file = (share / "games/plugins/xboard/tarsimo.eng").read_text().splitlines()
    assert engine_file == ["plugin spec 0.0", "tarsimo", "chess"]

    desktop = dict(re.findall(r"^(\w+)=(.*)$",
                              (share / "applications/tarsimo.desktop").read_text(), re.M))
    assert (desktop["Exec"], desktop["Terminal"]) == ("tarsimo", "true")
    icon = share / f"icons/hicolor/scalable/apps/{desktop['Icon']}.svg"
    assert ElementTree.parse(icon).getroot().tag.endswith("svg")
    metadata = ElementTree.parse(next((share / "metainfo").iterdir())).getroot()
    assert metadata.findtext("launchable") == "tarsimo.desktop"

    program = tmp_path / "games/tarsimo"
    assert run(program, input="q\n", status=1, cwd=tmp_path, env={})[0].startswith(GREETING)
    introduction, _ = run(f"{program}-uci", input="uci\nquit\n", cwd=tmp_path, env={})
    assert introduction.startswith("id name Tarsimo II ")
    assert {"share/man/man6/tarsimo.6", "share/man/man6/tarsimo-uci.6",
            "share/doc/tarsimo/README.md", "share/games/plugins/logos/tarsimo.png"} <= names
    assert {binary.text for binary in metadata.iterfind("provides/binary")} == {
        path.name for path in program.parent.iterdir()}


def test_links_of_the_pages_lead_somewhere():
    pages = [REPOSITORY / "README.md", REPOSITORY / "CHANGELOG.md",
             *(REPOSITORY / "docs").glob("*.md")]
    for page in pages:
        for target in re.findall(r"\]\(([^)#]+)\)", page.read_text(encoding="utf-8")):
            assert target.startswith("https:") or (page.parent / target).exists(), (page, target)
