"""The table of the mutants that no test killed, and what was judged of them before.

A mutant that changes nothing that anybody could see is equivalent to the sources: no test can kill it. Such
ones are listed in a file, with the reason. A block of it is

    == src/folder/File.cpp: the reason
    the line as it is in the source
    the line as it would be

compared as text, with all blanks taken for one.
"""


def read_judged(text):
    """Reasons by (file, before, after). Lines before the first block, blank ones and those with "#" first are
    comments."""
    judged = {}
    block = []
    lines = [" ".join(line.split()) for line in text.split("\n")]
    for line in lines:
        if line.startswith("== "):
            file, _, reason = line[3:].partition(": ")
            block = [file, reason]
        elif block and line and not line.startswith("#"):
            block.append(line)
            if len(block) == 4:
                judged[(block[0], block[2], block[3])] = block[1]
    return judged


def percent(part, whole):
    return f"{100.0 * part / whole:.1f} %" if whole else "-"


def score(title, entries):
    killed = sum(entry["killer"] is not None for entry in entries)
    return f"  {title:22}{killed:4} of {len(entries):4}  {percent(killed, len(entries))}"


def show(entries, judged):
    """What came of the mutants, as lines of text: the survivors, then how many were killed."""
    entries = sorted(entries, key=lambda entry: (entry["file"], entry["line"], entry["after"]))
    equivalent, survivors = [], []
    for entry in entries:
        if entry["killer"] is None:
            reason = judged.get((entry["file"], entry["before"], entry["after"]))
            (survivors if reason is None else equivalent).append((entry, reason))
    out = ["", "Survivors:" if survivors else "No survivors."]
    for title, found in (("", survivors), ("Equivalent:", equivalent)):
        if title and found:
            out += ["", title]
        for entry, reason in found:
            out.append(f"  {entry['file']}:{entry['line']}: {entry['operator']}" + (f": {reason}" if reason else ""))
            out += [f"      {entry['before']}", f"   -> {entry['after']}"]
    out += ["", "Killed:"]
    for key in ("operator", "folder"):
        for name in sorted({group(entry, key) for entry in entries}):
            out.append(score(name, [entry for entry in entries if group(entry, key) == name]))
        out.append("")
    out.append(score("all", entries))
    left = [entry for entry in entries if entry not in [e for e, _ in equivalent]]
    if equivalent:
        out.append(score("without equivalent", left))
    return out


def group(entry, key):
    return entry["file"].rsplit("/", 1)[0] if key == "folder" else entry[key]
