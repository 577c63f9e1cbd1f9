"""Makes the changes that docs/changing.md shows, in a copy of the tree, and runs the page's commands there.

A fenced block whose head names a file is a step of a change: "```diff PATH" edits the file, any other language
creates it. In a diff the lines that stay and those that go must stand in the file exactly once; "@@" separates
places. The blocks "```sh" of the section are run when all its steps are made.

The copy is mounted over the tree and its build directory, for these commands alone. So the build finds the
objects of the tree's own build and compiles only what the change concerns, and the tree stays as it is.
"""

import argparse
import dataclasses
import os
import pathlib
import subprocess
import sys
import tempfile
import time

PAGE = "docs/changing.md"
SECTIONS = {
    "request": "A new request type",
    "notification": "A new notification",
    "setting": "A new setting",
}
BUILD = "build/release"
FENCE = "```"
LARGEST_EXTRA = 2 << 20  # bytes; larger files of the build are copied only if a target needs them
HEADERS = "tests/CMakeFiles/teskd_test_headers.dir/TestHeaders.cpp.o"  # no test's input, but built before all
COMPILED = (".o", ".a", ".gch", ".deb")


class Stale(Exception):
    """The page does not fit the tree."""


@dataclasses.dataclass
class Block:
    language: str
    path: str  # empty for a block that is no step
    lines: list
    line: int  # of the page, where the block begins


def blocks(page, heading):
    """The fenced blocks of a section, up to the next heading of its level."""
    found, inside, current = [], False, None
    for number, line in enumerate(page.splitlines(), 1):
        if current is None and line.startswith("## "):
            inside = line == f"## {heading}"
        elif line.startswith(FENCE) and current is None and inside:
            language, _, path = line[len(FENCE):].partition(" ")
            current = Block(language, path.strip(), [], number)
        elif line.startswith(FENCE) and current is not None:
            found.append(current)
            current = None
        elif current is not None:
            current.lines.append(line)
    return found


def places(lines):
    """What a diff takes out and puts in, place by place."""
    place = ([], [])
    result = [place]
    for line in lines:
        mark, rest = (line[:1] or " "), line[1:]
        if line.startswith("@@"):
            place = ([], [])
            result.append(place)
            continue
        if mark not in " +-":
            raise Stale(f"a line of a diff begins with '{mark}'")
        if mark != "+":
            place[0].append(rest)
        if mark != "-":
            place[1].append(rest)
    return result


def edited(text, lines):
    for before, after in places(lines):
        old = "".join(f"{line}\n" for line in before)
        count = ("\n" + text).count("\n" + old)
        if count != 1:
            raise Stale(f"these lines stand there {count} times, not once:\n{old}")
        at = ("\n" + text).index("\n" + old)
        text = text[:at] + "".join(f"{line}\n" for line in after) + text[at + len(old):]
    return text


def make(block, root):
    """Makes one step in the tree below the root."""
    file = root / block.path
    try:
        if block.language == "diff":
            file.write_text(edited(file.read_text(), block.lines))
        elif file.exists():
            raise Stale("it is there already")
        else:
            file.write_text("\n".join(block.lines) + "\n")
    except (Stale, OSError) as problem:
        raise Stale(f"{PAGE}:{block.line}: {block.path}: {problem}") from problem


def change(page, name, root):
    """Makes a change; returns the files that it creates and the commands behind it."""
    found = blocks(page, SECTIONS[name])
    steps = [block for block in found if block.path]
    commands = [line for block in found if block.language == "sh" for line in block.lines]
    if not steps or not commands:
        raise Stale(f"{PAGE}: the section \"{SECTIONS[name]}\" shows no change or no command")
    for step in steps:
        make(step, root)
    return [step.path for step in steps if step.language != "diff"], commands


def targets(commands):
    """What the commands build."""
    result = []
    for command in commands:
        words = command.split()
        if "--target" in words:
            result += words[words.index("--target") + 1:]
    return result


def run(command, **options):
    return subprocess.run(command, check=True, text=True, **options)


def output(command, root):
    return run(command, cwd=root, stdout=subprocess.PIPE).stdout


def copy(root, files, destination):
    """With their times, so that the build sees nothing to do."""
    names = "".join(f"{file}\0" for file in files)
    run(["xargs", "-0", "cp", "-a", "--parents", "-t", destination], cwd=root, input=names)


def sources(root):
    listed = output(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], root)
    return [name for name in listed.split("\0") if name and (root / name).exists()]


def built(build, wanted):
    """What the targets are made from, and the build's own small files."""
    inputs = output(["ninja", "-t", "inputs", *wanted], build).splitlines() + [HEADERS]
    needed = {name for name in inputs if not name.startswith("/") and (build / name).exists()}
    for folder, folders, names in os.walk(build):
        folders[:] = [name for name in folders if name not in ("packages", "_CPack_Packages")]
        for name in names:
            file = pathlib.Path(folder) / name
            own = name in ("build.ninja", ".ninja_deps", ".ninja_log")
            if own or (file.suffix not in COMPILED and file.lstat().st_size < LARGEST_EXTRA):
                needed.add(str(file.relative_to(build)))
    return sorted(needed)


def prepare(root, wanted):
    if not (root / BUILD / "build.ninja").exists():
        run(["cmake", "--preset", "release"], cwd=root, stdout=subprocess.DEVNULL)
    run(["cmake", "--build", "--preset", "release", "--target", *wanted], cwd=root)


def try_change(name, root):
    page = (root / PAGE).read_text()
    with tempfile.TemporaryDirectory(dir=root / "build", prefix="walkthrough-") as temporary:
        tree, objects = pathlib.Path(temporary) / "tree", pathlib.Path(temporary) / "objects"
        tree.mkdir()
        objects.mkdir()
        copy(root, sources(root), tree)
        created, commands = change(page, name, tree)
        wanted = targets(commands)
        prepare(root, wanted)
        copy(root / BUILD, built(root / BUILD, wanted), objects)
        (tree / BUILD).mkdir(parents=True, exist_ok=True)
        if created:
            run(["clang-format", "--dry-run", "--Werror", *created], cwd=tree)
        run(["bwrap", "--unshare-user", "--die-with-parent", "--dev-bind", "/", "/",
             "--bind", tree, root, "--bind", objects, root / BUILD, "--chdir", root,
             "--", "sh", "-euxc", "\n".join(commands)])


def main():
    parser = argparse.ArgumentParser(
        prog="script/walkthrough",
        description=f"Makes the changes that {PAGE} shows in a copy of the tree, builds them and runs their "
                    "tests. The tree stays as it is.")
    parser.add_argument("change", nargs="*", metavar="CHANGE",
                        help=f"{', '.join(SECTIONS)}; all of them without it")
    names = parser.parse_args().change or list(SECTIONS)
    for name in names:
        if name not in SECTIONS:
            parser.error(f"no change is called '{name}'; there are {', '.join(SECTIONS)}")
    root = pathlib.Path.cwd()
    (root / "build").mkdir(exist_ok=True)
    for name in names:
        start = time.monotonic()
        try:
            try_change(name, root)
        except (Stale, subprocess.CalledProcessError) as problem:
            sys.exit(f"walkthrough: {name}: failed: {problem}")
        print(f"walkthrough: {name}: passed in {time.monotonic() - start:.0f} s", flush=True)


if __name__ == "__main__":
    main()
