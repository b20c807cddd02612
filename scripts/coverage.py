#!/usr/bin/env python3
"""Prints how many lines of the library's own sources the tests reached: coverage.py BUILD_FOLDER SOURCE_FOLDER PERCENT

A line counts as reached when any program reached it. Sources that no program ran count with all their lines. Fails
when the total is under PERCENT."""

import collections
import concurrent.futures
import json
import os
import pathlib
import subprocess
import sys

GCOV = "x86_64-w64-mingw32-gcov-posix"


def line_counts(notes):
    """The files of one object's gcov report; without counters beside it every line was executed 0 times."""
    report = subprocess.run([GCOV, "--json-format", "--stdout", notes.name], cwd=notes.parent,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
    if report.returncode != 0:
        sys.exit(f"{GCOV} failed for {notes}: {report.stderr.decode(errors='replace').strip()}")
    return [document for line in report.stdout.splitlines() if line.strip() for document in [json.loads(line)]]


def collect(build, sources):
    counts = collections.defaultdict(dict)
    notes = sorted(build.rglob("*.gcno"))
    if not notes:
        sys.exit(f"no coverage notes under {build}: was it built with the coverage preset?")
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for documents in pool.map(line_counts, notes):
            for document in documents:
                folder = pathlib.Path(document["current_working_directory"])
                for entry in document["files"]:
                    path = pathlib.Path(os.path.normpath(folder / entry["file"]))
                    if sources not in path.parents or build in path.parents:
                        continue
                    lines = counts[path]
                    for line in entry["lines"]:
                        number = line["line_number"]
                        lines[number] = max(lines.get(number, 0), line["count"])
    return counts


def main():
    build, sources, wanted = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve(), float(sys.argv[3])
    counts = collect(build, sources)
    all_lines = all_reached = 0
    print(f"{'lines':>7} {'reached':>8} {'%':>7}  file")
    for path, lines in sorted(counts.items()):
        reached = sum(1 for count in lines.values() if count > 0)
        missed = [str(number) for number, count in sorted(lines.items()) if count == 0]
        all_lines += len(lines)
        all_reached += reached
        tail = f"   not reached: {' '.join(missed[:12])}{' ...' if len(missed) > 12 else ''}" if missed else ""
        print(f"{len(lines):7} {reached:8} {100 * reached / len(lines) if lines else 100:7.1f}  "
              f"{path.relative_to(sources.parent)}{tail}")
    if all_lines == 0:
        sys.exit(f"no line of {sources} was compiled for coverage")
    percent = 100 * all_reached / all_lines
    print(f"{all_lines:7} {all_reached:8} {percent:7.1f}  line coverage of {sources.name}")
    if percent < wanted:
        sys.exit(f"line coverage is {percent:.1f} %, under {wanted:g} %")


main()
