#!/usr/bin/env python3
"""Fails on an include that points upwards, or from one room to its neighbour, and on files that need each other's headers.

A folder is a room, and one that is not in the list belongs to the room around it. docs/architecture.md draws them."""

import os
import re
import subprocess
import sys

# From the ground up: a room may include what stands below its own line. The library's own folder and ScriptExecution are
# one room with two doors.
LEVELS = [
    ["Quorline/base"],
    ["Quorline/com", "Quorline/IntlHelper/format"],
    ["Quorline/logging"],
    ["Quorline/config", "Quorline/Common", "Quorline/security", "Quorline/IntlHelper"],
    ["Quorline/protection"],
    ["Quorline"],
    ["signer/common", "host/session", "host/common"],
    ["signer/asn1", "host/worker"],
    ["signer/crypto"],
    ["signer/certificates"],
    ["signer/cms"],
    ["signer"],
    ["signer/com", "host/command"],
    ["host/watch"],
]
# Files that name each other all the same: the store writes its own info file, whose writer describes a store; a runner
# has the site that an engine reports to, and the site tells the runner.
CIRCLES = [
    {"Quorline/InternalDocumentStore", "Quorline/ScriptExecution/DocumentStoreInfo"},
    {"Quorline/InternalDocumentStore", "Quorline/ScriptExecution/DocumentStoreXMLWriter"},
    {"Quorline/ScriptExecution/ScriptRunner", "Quorline/ScriptExecution/TalvinorClientScriptSite"},
]
LEVEL_OF = {room: level for level, rooms in enumerate(LEVELS) for room in rooms}


def room_of(folder):
    while folder not in LEVEL_OF:
        folder = os.path.dirname(folder) or sys.exit(f"no room holds {folder}: name it in {__file__}")
    return folder


def included_files(file, known):
    """What a file includes of ours: beside it, or below one of the folders that the build gives the compiler."""
    for number, line in enumerate(open(file, encoding="utf-8"), 1):
        if match := re.match(r'#include "([^"]+)"', line):
            for folder in (os.path.dirname(file), "Quorline", "Quorline/include", "signer", "host/session", "host/common", "host/command", "host"):
                if (target := os.path.normpath(os.path.join(folder, match[1]))) in known:
                    yield number, target
                    break


def main():
    patterns = [f"{top}/*.{kind}" for top in ("Quorline", "signer", "host") for kind in ("h", "cpp")]
    listed = subprocess.check_output(["git", "ls-files", *patterns], text=True).split()
    known = {file for file in listed if os.path.exists(file)}
    # The public headers of a room are the room's.
    inside = {file: file.replace("Quorline/include/", "Quorline/") for file in known}
    faults, needs = [], {}
    for file in sorted(known):
        for line, target in included_files(file, known):
            here, there = (room_of(os.path.dirname(inside[each])) for each in (file, target))
            if here != there and LEVEL_OF[there] >= LEVEL_OF[here]:
                faults.append(f"{file}:{line}: {here} does not stand on {there}")
            unit, needed = (os.path.splitext(inside[each])[0] for each in (file, target))
            needs.setdefault(unit, set()).add(needed)

    def search(unit, path):
        for needed in sorted(needs.get(unit, ())):
            if needed == unit or {unit, needed} in CIRCLES:
                continue
            if needed in path:
                faults.append("circle: " + " > ".join([*path[path.index(needed) :], needed]))
            elif needed not in searched:
                search(needed, [*path, needed])
        searched.add(unit)

    searched = set()
    for unit in sorted(needs):
        if unit not in searched:
            search(unit, [unit])
    print("\n".join(faults), end="\n" if faults else "")
    return bool(faults)


if __name__ == "__main__":
    sys.exit(main())
