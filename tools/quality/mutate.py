"""Measures how good the tests are: puts single defects into copies of src/, one at a time, and sees whether a
test fails. The sources themselves are never touched; all work is done in build/mutants.

Each mutant meets the unit tests of its folder first, then those of the folders that stand on it, then the
tests of the whole daemon; the first failure kills it. One that takes far longer than the sources themselves
is killed too, and so is a removed lock that Clang's thread-safety analysis reports. One that does not compile
is replaced by another. The same seed and sources give the same mutants. What was found is kept: a run that is
interrupted goes on where it was."""

import argparse
import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import resource
import subprocess
import sys
import threading
import time

from mutation import draw
from survivors import read_judged, show

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
WORK = ROOT / "build/mutants"
# The folders of src/, each standing on those before it.
FOLDERS = ["core", "packet", "config", "net", "telnet", "tesk", "dorn", "aams"]
# Tests of the daemon as a program: the folder of tests/system/ and what has to be built for it.
SYSTEM = {
    "gateway": ["gateway_tests", "teskd"],
    "noise": ["noise_tests"],
    "trouble": ["disk_trouble_tests", "power_cut_tests"],
    "faults": ["fault_tests", "teskd_failing"],
}
# What the mutants depend on, as far as an earlier measurement may be taken over.
MEASURED = ("src/", "tests/", "tools/tesksim", "tools/quality")
BUILD_SECONDS = 1800  # for one mutant; every test stands on some headers
MEMORY = 8 << 30      # bytes that a test's process may have; a mutant that asks for more fails
DISK = 1 << 30        # and bytes of /tmp
FREE_SECONDS = 60     # of a stage, beside four times what it takes without a defect


class Hang(Exception):
    """A command took longer than it may."""


def limit():
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def privileges():
    """Root stays root, for tests that are other users, but cannot touch the machine itself; others become root in
    a name space of their own, where there are no other users."""
    if os.geteuid() != 0:
        return ["--unshare-user", "--cap-add", "ALL"]
    dropped = ["CAP_SYS_TIME", "CAP_SYS_BOOT", "CAP_SYS_MODULE", "CAP_SYS_RAWIO"]
    return ["--cap-add", "ALL", *(word for capability in dropped for word in ("--cap-drop", capability))]


class Tree:
    """A copy of the working tree with a build of its own."""

    def __init__(self, number, jobs):
        self.path = WORK / f"tree{number}"
        self.build = self.path / "build/mutants"
        self.jobs = jobs
        self.bounds = {}
        self.broken = []

    def copy(self, files):
        """Takes over what has changed, and nothing else, so that only that is built again."""
        for folder in ("src", "tests", "tools"):
            for path in (self.path / folder).rglob("*"):
                if path.is_file() and str(path.relative_to(self.path)) not in files:
                    path.unlink()
        for name, (content, mode) in files.items():
            target = self.path / name
            if not target.exists() or target.read_bytes() != content:
                target.parent.mkdir(parents=True, exist_ok=True)
                target.write_bytes(content)
                target.chmod(mode)

    def configure(self):
        # Tests are listed when they are run: a mutant that ends before that must still build.
        subprocess.run(["cmake", "--preset", "mutants", "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"],
                       cwd=self.path, check=True, stdout=subprocess.DEVNULL)

    def make(self, targets):
        """Whether the targets can be built."""
        command = ["cmake", "--build", str(self.build), "-j", str(self.jobs), "--target", *targets]
        try:
            done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                  timeout=BUILD_SECONDS)
        except subprocess.TimeoutExpired as problem:
            raise Hang from problem
        return done.returncode == 0

    def sandboxed(self, command):
        """A defect must reach neither the machine nor other tests: own processes, own network, nothing but
        the copy can be written. Looking up an address wants one that is not loopback's."""
        return ["bwrap", *privileges(), "--unshare-pid", "--unshare-net", "--unshare-ipc", "--die-with-parent",
                "--ro-bind", "/", "/", "--dev", "/dev", "--proc", "/proc",
                "--size", str(DISK), "--tmpfs", "/tmp",
                "--bind", str(self.build), str(self.build), "--chdir", str(self.path),
                "sh", "-c", 'ip address add 203.0.113.1/32 dev lo && exec "$@"', "sh", *command]

    def run(self, stage, bound, *options):
        """Whether the tests of a stage pass within so many seconds. One that fails is given another chance,
        so that a busy machine kills no mutant."""
        command = ["ctest", "--test-dir", str(self.build / "tests" / stage.path), "--parallel", str(self.jobs * 3),
                   "--repeat", "until-pass:2", "--timeout", "60", *options]
        if self.broken:
            command += ["--exclude-regex", "^(" + "|".join(map(re.escape, self.broken)) + ")( |$)"]
        try:
            done = subprocess.run(self.sandboxed(command), stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                  stdin=subprocess.DEVNULL, timeout=bound, preexec_fn=limit, text=True,
                                  errors="replace")
        except subprocess.TimeoutExpired as problem:
            raise Hang from problem
        return done.returncode == 0, done.stdout

    def make_all(self, stages):
        """Everything, on all processors, for all to see."""
        targets = [target for stage in stages for target in stage.targets]
        subprocess.run(["cmake", "--build", str(self.build), "--target", *targets], check=True)

    def measure(self, stages, digest):
        """Runs all tests without a defect: how long they take, and which of them fail here in any case. What
        was found by an earlier run with the same files is taken over."""
        kept = WORK / "undefective.json"
        if kept.exists() and (found := json.loads(kept.read_text()))["digest"] == digest:
            self.bounds, self.broken = found["bounds"], found["broken"]
        for stage in stages:
            if stage.folder in self.bounds:
                continue
            print(f"Running the tests of {stage.folder} without a defect ...", flush=True)
            began = time.monotonic()
            passed, output = self.run(stage, 3600)
            self.bounds[stage.folder] = FREE_SECONDS + 4 * (time.monotonic() - began)
            if not passed:
                self.broken += failed_tests(output)
                if not self.run(stage, 3600)[0]:
                    sys.exit(f"Tests of {stage.folder} fail without a defect:\n{output[-2000:]}")
            kept.write_text(json.dumps({"digest": digest, "bounds": self.bounds, "broken": self.broken}))


class Stage:
    """The tests of a folder, and what has to be built for them."""

    def __init__(self, group, folder, targets):
        self.path = f"{group}/{folder}"
        self.folder = folder
        self.targets = targets


def stages_of(file):
    """The stages that a mutant of this file meets, in their order."""
    folder = file.split("/")[1]
    units = [Stage("unit", name, [f"{name}_tests"]) for name in FOLDERS[FOLDERS.index(folder):]]
    return units + [Stage("system", name, targets) for name, targets in SYSTEM.items()]


def failed_tests(output):
    """Names in ctest's closing list of what has failed, without the values of parameters."""
    listed = output.partition("The following tests FAILED:")[2]
    return [line.split(" - ", 1)[1].split(" ")[0] for line in listed.split("\n") if " - " in line]


def passes_clang(tree, file):
    """Whether Clang's thread-safety analysis finds nothing in this file."""
    command = ["clang++", "-std=c++20", "-fsyntax-only", "-Wall", "-Wthread-safety", "-Werror",
               "-Wno-pragma-once-outside-header", "-Isrc", "-x", "c++", file]
    return subprocess.run(command, cwd=tree.path, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0


def stamp(tree, stage):
    """Changes when the programs of a stage are built anew."""
    return [path.stat().st_mtime_ns for path in (tree.build / target for target in stage.targets) if path.exists()]


def kill(tree, mutant):
    """Who kills the mutant that stands in the tree: None for nobody, "" when it does not compile."""
    if not tree.make(["teskd"]):
        return ""
    if mutant.operator == "removed lock" and not passes_clang(tree, mutant.file):
        return "thread-safety analysis"
    for stage in stages_of(mutant.file):
        before = stamp(tree, stage)
        if not tree.make(stage.targets):
            return ""
        # Programs that have no part of a main or its objects are as they were. The daemon has always changed.
        if stage.folder not in SYSTEM and stamp(tree, stage) == before:
            continue
        try:
            if not tree.run(stage, tree.bounds[stage.folder], "--stop-on-failure")[0]:
                return f"{stage.folder} tests"
        except Hang:
            return f"{stage.folder} tests (time)"
    return None


def digest_of(texts):
    return hashlib.sha256(json.dumps(texts, sort_keys=True).encode()).hexdigest()[:16]


class Results:
    """What is known of the mutants, also from an earlier run with the same seed and sources."""

    def __init__(self, seed, sources):
        self.path = WORK / f"seed{seed}-{digest_of(sources)}.jsonl"
        self.known = {}
        if self.path.exists():
            for line in self.path.read_text().splitlines():
                entry = json.loads(line)
                self.known[entry["mutant"]] = entry

    @staticmethod
    def name(mutant):
        return f"{mutant.file}:{mutant.start}-{mutant.end}:{mutant.after}"

    def add(self, mutant, text, killer, seconds):
        before, after = mutant.lines(text)
        entry = {"mutant": self.name(mutant), "file": mutant.file, "line": mutant.line(text),
                 "operator": mutant.operator, "before": before, "after": after, "killer": killer,
                 "seconds": round(seconds, 1)}
        self.known[entry["mutant"]] = entry
        with self.path.open("a") as out:
            out.write(json.dumps(entry) + "\n")
        return entry


class Run:
    """Takes mutants from the drawing until enough have compiled."""

    def __init__(self, arguments, sources, trees):
        self.arguments = arguments
        self.sources = sources
        self.trees = trees
        self.drawing = draw(sources, arguments.seed)
        self.results = Results(arguments.seed, sources)
        self.lock = threading.Condition()
        self.open = 0
        self.counted = []

    def next(self):
        """The next mutant, once it is sure that it is needed: those drawn are always the same."""
        with self.lock:
            while self.open > 0 and len(self.counted) + self.open >= self.arguments.count:
                self.lock.wait()
            mutant = None
            if len(self.counted) < self.arguments.count:
                mutant = next(self.drawing, None)
            self.open += mutant is not None
            return mutant

    def finish(self, entry):
        with self.lock:
            self.open -= 1
            if entry["killer"] != "":
                self.counted.append(entry)
                print(f"{len(self.counted):4} {entry['killer'] or 'SURVIVES':24} {entry['seconds']:6.1f} s  "
                      f"{entry['file']}:{entry['line']}: {entry['before']}  ->  {entry['after']}", flush=True)
            self.lock.notify_all()

    def work(self, tree):
        while (mutant := self.next()) is not None:
            entry = self.results.known.get(Results.name(mutant))
            if entry is None or (entry["killer"] is None and self.arguments.again):
                entry = self.attempt(tree, mutant)
            self.finish(entry)

    def attempt(self, tree, mutant):
        text = self.sources[mutant.file]
        path = tree.path / mutant.file
        began = time.monotonic()
        path.write_text(mutant.apply(text))
        try:
            killer = kill(tree, mutant)
        except Hang:
            killer = ""  # of the compiler
        finally:
            path.write_text(text)
        with self.lock:
            return self.results.add(mutant, text, killer, time.monotonic() - began)

    def all(self):
        with concurrent.futures.ThreadPoolExecutor(len(self.trees)) as pool:
            for done in [pool.submit(self.work, tree) for tree in self.trees]:
                done.result()
        return self.counted


def working_tree():
    """Content and mode of every file by name, as they are now: they may change while the mutants are tried."""
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT, check=True,
                            stdout=subprocess.PIPE, text=True).stdout
    paths = {name: ROOT / name for name in listed.split("\n") if name and (ROOT / name).is_file()}
    return {name: (path.read_bytes(), path.stat().st_mode) for name, path in paths.items()}


def prepare(count, jobs, files, under):
    """Copies that are built and measured."""
    trees = [Tree(number, jobs) for number in range(count)]
    stages = stages_of("src/core/x")
    first = min(FOLDERS.index(name.split("/")[1]) if name.count("/") > 1 else 0 for name in under)
    for tree in trees:
        tree.copy(files)
        tree.configure()
        tree.make_all(stages[first:])
    trees[0].measure(stages[first:], digest_of({name: content.hex() for name, (content, _) in files.items()
                                                if name.startswith(MEASURED)}))
    for tree in trees[1:]:
        tree.bounds, tree.broken = trees[0].bounds, trees[0].broken
    if trees[0].broken:
        print("Left out, for they fail without a defect: " + ", ".join(trees[0].broken))
    return trees


def main():
    parser = argparse.ArgumentParser(prog="script/mutate", description=__doc__)
    parser.add_argument("count", metavar="N", nargs="?", type=int, default=20, help="mutants that compile; 20")
    parser.add_argument("--seed", type=int, default=1, help="which ones; 1")
    parser.add_argument("--in", dest="under", action="append", metavar="PATH",
                        help="sources whose name begins so, src/dorn/ or src/core/Timer.cpp; all of src/")
    parser.add_argument("--again", action="store_true", help="test the survivors of an earlier run once more")
    parser.add_argument("--trees", type=int, default=2, help="mutants at the same time; 2")
    arguments = parser.parse_args()
    arguments.under = arguments.under or ["src/"]
    WORK.mkdir(parents=True, exist_ok=True)
    files = working_tree()
    sources = {name: content.decode() for name, (content, _) in files.items()
               if name.startswith(tuple(arguments.under)) and name.startswith("src/")
               and name.endswith((".cpp", ".h"))}
    if not sources:
        sys.exit("No source has such a name.")
    jobs = max(1, (os.cpu_count() or 1) // arguments.trees)
    trees = prepare(arguments.trees, jobs, files, sources)
    counted = Run(arguments, sources, trees).all()
    judged = read_judged((ROOT / "tools/quality/judged_mutants.txt").read_text())
    print("\n".join(show(counted, judged)))


if __name__ == "__main__":
    main()
