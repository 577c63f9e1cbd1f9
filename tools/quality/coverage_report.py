"""What gcovr has counted, as a table for each folder, and the lines that no test runs.

Lines that no test can run are listed in a file, with the reason. A block of it is

    == src/folder/File.cpp: the reason
    a line of the source, or several that follow each other

The lines are compared as text, without their indentation, so a block stays true wherever its lines move to.
Those of them that are run, wholly, count like any other.
"""

import re
from dataclasses import dataclass, field

from mutation import code_of

DECISION = re.compile(r"\b(if|while|for|case)\b|\?|&&|\|\|")
SWITCH = re.compile(r"\bswitch\b")


@dataclass
class Exempt:
    """Lines of a file that need no test."""
    file: str
    reason: str
    lines: list = field(default_factory=list)

    def places(self, source):
        """Numbers of the lines that this block stands for, counted from 1."""
        texts = [line.strip() for line in source.split("\n")]
        size = len(self.lines)
        found = set()
        for first in range(len(texts) - size + 1):
            if size > 0 and texts[first:first + size] == self.lines:
                found.update(range(first + 1, first + size + 1))
        return found


def read_exempt(text):
    """The blocks of a list. Lines before the first one, blank ones and those with "#" first are comments."""
    blocks = []
    for line in text.split("\n"):
        line = line.strip()
        if line.startswith("== "):
            file, _, reason = line[3:].partition(": ")
            blocks.append(Exempt(file, reason))
        elif blocks and line and not line.startswith("#"):
            blocks[-1].lines.append(line)
    return blocks


@dataclass
class Count:
    """How many there are and how many of them were run."""
    total: int = 0
    run: int = 0

    def add(self, was_run):
        self.total += 1
        self.run += bool(was_run)

    def percent(self):
        return 100.0 * self.run / self.total if self.total else 100.0


@dataclass
class Report:
    lines: dict = field(default_factory=dict)      # Count by folder
    branches: dict = field(default_factory=dict)   # Count by folder
    uncovered: dict = field(default_factory=dict)  # line numbers by file
    half: dict = field(default_factory=dict)       # numbers of run lines with a branch that is never taken
    exempt: list = field(default_factory=list)     # (block, the uncovered lines that it stands for)
    stale: list = field(default_factory=list)      # blocks whose lines are gone, or are run

    def sum(self, counts):
        return Count(sum(c.total for c in counts.values()), sum(c.run for c in counts.values()))


def folder_of(file):
    return file.rsplit("/", 1)[0]


def branches_taken(branches, code):
    """For each branch of a line that the source decides about, whether it was taken. The compiler makes others,
    for what may throw, for what was thrown and for what is made at its first use: they stand on lines without
    a decision, or are no pair of going on and of going elsewhere."""
    if SWITCH.search(code):
        return [branch["count"] > 0 for branch in branches if not branch["throw"]]
    taken = []
    if DECISION.search(code):
        for pair in zip(branches[::2], branches[1::2]):
            if not any(branch["throw"] for branch in pair) and sum(branch["fallthrough"] for branch in pair) == 1:
                taken += [branch["count"] > 0 for branch in pair]
    return taken


def evaluate(data, sources, blocks):
    """The report on what gcovr wrote (its JSON, parsed), with the texts of the sources by name. Exempt lines,
    and the branches on them, are not counted."""
    report = Report()
    exempted = {}
    for block in blocks:
        exempted.setdefault(block.file, []).append((block, block.places(sources.get(block.file, ""))))
    not_run = {}
    for file in sorted(data["files"], key=lambda entry: entry["file"]):
        name = file["file"]
        lines = report.lines.setdefault(folder_of(name), Count())
        branches = report.branches.setdefault(folder_of(name), Count())
        codes = code_of(sources.get(name, "")).split("\n")
        exempt_here = set().union(*(places for _, places in exempted.get(name, [])))
        for line in file["lines"]:
            number = line["line_number"]
            if line.get("gcovr/noncode"):
                continue
            taken = branches_taken(line["branches"], codes[number - 1])
            if line["count"] == 0 or not all(taken):
                not_run.setdefault(name, set()).add(number)
            if number in exempt_here and number in not_run.get(name, set()):
                continue
            lines.add(line["count"])
            for was_taken in taken:
                branches.add(was_taken)
            if line["count"] == 0:
                report.uncovered.setdefault(name, []).append(number)
            elif not all(taken):
                report.half.setdefault(name, []).append(number)
    for name, entries in exempted.items():
        for block, places in entries:
            missed = sorted(places & not_run.get(name, set()))
            (report.exempt if missed else report.stale).append((block, missed))
    return report


def ranges(numbers):
    """[1, 2, 3, 7] as "1-3, 7"."""
    parts = []
    for number in numbers:
        if parts and parts[-1][1] == number - 1:
            parts[-1][1] = number
        else:
            parts.append([number, number])
    return ", ".join(str(a) if a == b else f"{a}-{b}" for a, b in parts)


def row(name, lines, branches):
    return (f"{name:14}{lines.run:7} of {lines.total:5} {lines.percent():6.2f} %"
            f"{branches.run:8} of {branches.total:5} {branches.percent():6.2f} %")


def show(report, sources, with_branches):
    """The report as lines of text."""
    out = [f"{'folder':14}{'lines run':>24}{'branches taken':>25}"]
    out += [row(name, report.lines[name], report.branches[name]) for name in sorted(report.lines)]
    out.append(row("all", report.sum(report.lines), report.sum(report.branches)))
    out += ["", "Lines that no test runs:"]
    for name, numbers in report.uncovered.items():
        texts = sources[name].split("\n")
        out += [f"  {name}:{number}: {texts[number - 1].strip()}" for number in numbers]
    if not report.uncovered:
        out.append("  none")
    if with_branches:
        out += ["", "Lines with a branch that no test takes:"]
        out += [f"  {name}: {ranges(numbers)}" for name, numbers in report.half.items()]
    if report.exempt:
        out += ["", "Not counted:"]
        out += [f"  {block.file}:{ranges(missed)}: {block.reason}" for block, missed in report.exempt]
    if report.stale:
        out += ["", "Listed, but gone or run by a test:"]
        out += [f"  {block.file}: {' / '.join(block.lines)}" for block, _ in report.stale]
    return out
