"""The arrows between the folders of src/: which folder includes headers of which other one.

They are drawn from the includes and compared with the table in section "Layers" of docs/architecture.md. That
lists the folders from the ground up, and behind each the folders whose headers it includes. A folder may
include headers only of those in rows before its own, so that no circle of folders is possible; files of one
folder that include each other in a circle are found, too.

    python3 -B tools/quality/arrows.py      shows the arrows, and fails when a rule is broken
"""

import re
import sys
from pathlib import Path

PAGE = "docs/architecture.md"
INCLUDE = re.compile(r'\s*#\s*include\s*"([^"]+)"')
ROW = re.compile(r"\| `([^`]+)/` \|.*\| ([^|]*) \|$")


def folder_of(file):
    return file.rpartition("/")[0]


def includes_of(text):
    """(line number, file) of each include in quotes."""
    matches = [(number, INCLUDE.match(line)) for number, line in enumerate(text.split("\n"), 1)]
    return [(number, match.group(1)) for number, match in matches if match]


def read_table(page):
    """Folders that each folder is said to include from, in the order of the rows."""
    section = page.partition("\n## Layers\n")[2].partition("\n## ")[0]
    rows = [match.groups() for match in map(ROW.match, section.split("\n")) if match]
    return {folder: set(re.findall(r"[a-z/]+", cell)) for folder, cell in rows}


def arrows_of(sources):
    """Folders that each folder includes from. sources: texts by their paths below src/."""
    arrows = {folder_of(file): set() for file in sources}
    for file, text in sources.items():
        arrows[folder_of(file)] |= {folder_of(target) for _, target in includes_of(text)} - {folder_of(file)}
    return arrows


def upward(sources, order):
    """Includes that run up, and those of files that are not in src/, whose folder nobody knows."""
    problems = []
    for file, text in sorted(sources.items()):
        for number, target in includes_of(text):
            place, own, other = f"src/{file}:{number}: ", folder_of(file), folder_of(target)
            if target not in sources:
                problems.append(f"{place}there is no src/{target}")
            elif own in order and other in order and order.index(other) > order.index(own):
                problems.append(f"{place}includes {target}, but {other}/ is a higher layer than {own}/")
    return problems


def circles(sources):
    """Files that include each other in a circle, each circle once, as the way around it."""
    found, done = [], set()

    def follow(file, way):
        if file in way:
            found.append("a circle of includes: " + " -> ".join(way[way.index(file):] + [file]))
        elif file not in done:
            for _, target in includes_of(sources.get(file, "")):
                follow(target, way + [file])
            done.add(file)

    for file in sorted(sources):
        follow(file, [])
    return found


def listed(folders, order):
    known = [folder for folder in order if folder in folders]
    return ", ".join(known + sorted(set(folders) - set(known))) or "–"


def differences(arrows, table):
    """Where the table does not say what the includes do."""
    order = list(table)
    problems = [f"{PAGE}: there is no folder src/{folder}/" for folder in table if folder not in arrows]
    for folder in sorted(arrows):
        if folder not in table:
            problems.append(f"{PAGE}: the table has no row for {folder}/")
        elif arrows[folder] != table[folder]:
            problems.append(f"{PAGE}: {folder}/ includes from {listed(arrows[folder], order)}; "
                            f"the table says {listed(table[folder], order)}")
    return problems


def check(sources, page):
    """What breaks the rules, as lines of text."""
    table = read_table(page)
    return upward(sources, list(table)) + circles(sources) + differences(arrows_of(sources), table)


def main():
    root = Path(__file__).resolve().parents[2]
    page = (root / PAGE).read_text(encoding="utf-8")
    files = [file for file in (root / "src").rglob("*") if file.suffix in (".cpp", ".h")]
    sources = {file.relative_to(root / "src").as_posix(): file.read_text(encoding="utf-8") for file in files}
    arrows, order = arrows_of(sources), list(read_table(page))
    for folder in order + sorted(set(arrows) - set(order)):
        print(f"{folder + '/':10} -> {listed(arrows.get(folder, set()), order)}")
    problems = check(sources, page)
    print("\n".join(problems), file=sys.stderr, end="\n" if problems else "")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
