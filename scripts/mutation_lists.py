"""The lists of small errors, tests/mutation/*.txt: one for each room, see mutate.py."""

import collections
import hashlib
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LISTS = ROOT / "tests/mutation"

Entry = collections.namedtuple("Entry", "room line path tests why old new equivalent")


def fail(text):
    sys.exit(f"mutate: {text}")


def parse(room, line, block):
    """One entry from its lines; the errors in it end the program."""
    where = f"{room}.txt:{line}"
    head = re.fullmatch(r"(\S+): (\S.*)", block[0])
    if not head:
        fail(f"{where}: 'FILE: TEST...' is expected")
    parts = {" ": [], "-": [], "+": []}
    equivalent = None
    for text in block[1:]:
        if text.startswith("equivalent: "):
            equivalent = text.removeprefix("equivalent: ")
        elif text[0] in parts:
            parts[text[0]].append(text[1:])
        else:
            fail(f"{where}: what is '{text}'?")
    why = " ".join(text.strip() for text in parts[" "])
    old, new = "\n".join(parts["-"]), "\n".join(parts["+"])
    if not why or not old or old == new:
        fail(f"{where}: an entry has a reason, an old text and another new one")
    return Entry(room, line, head[1], head[2].split(), why, old, new, equivalent)


def read_lists():
    entries = []
    for file in sorted(LISTS.glob("*.txt")):
        block, first = [], 0
        for number, text in enumerate(file.read_text().splitlines() + [""], 1):
            if text.startswith("#"):
                continue
            if text:
                first = first if block else number
                block.append(text)
            elif block:
                entries.append(parse(file.stem, first, block))
                block = []
    return entries


def identify(entry):
    return hashlib.sha256("\0".join([entry.path, entry.old, entry.new]).encode()).hexdigest()[:12]


def fits(entry):
    file = ROOT / entry.path
    return file.exists() and file.read_text().count(entry.old) == 1


def check(entries):
    """Whether every entry can be put in; tells which cannot."""
    troubles = []
    seen = {}
    for entry in entries:
        if not fits(entry):
            troubles.append(f"{entry.room}.txt:{entry.line}: the old text does not stand once in {entry.path}")
        if (other := seen.setdefault(identify(entry), entry)) is not entry:
            troubles.append(f"{entry.room}.txt:{entry.line}: the same as {other.room}.txt:{other.line}")
    for trouble in troubles:
        print(trouble, file=sys.stderr)
    print(f"{len(entries)} mutations, {len(troubles)} that cannot be put in")
    return not troubles
