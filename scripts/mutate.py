#!/usr/bin/env python3
"""Puts the small errors of tests/mutation/*.txt into a copy of the checkout one at a time: which do the tests catch?

    mutate.py --check           whether each entry's old text still stands in its file, exactly once
    mutate.py --compile         whether each entry not tried yet compiles
    mutate.py [WORD...]         tries the entries (those with one of the words in file or text) that were not tried yet
    mutate.py --area [WORD...]  the same with the entries' own tests alone; the others are left for a later run
    mutate.py --table           what is known by now

The copy, its build, its Wine prefix and the results are in build/mutation. An entry is

    Quorline/base/Utf8.cpp: foundation_test documents_test
        why people write it
    -old text, part of a line or several lines
    +new text
    equivalent: why no test can tell (only where that is so)

The tests that are named are run first; when they pass, every other test of "make test" that the file has a part in.
Entries are parted by an empty line, and a line that begins with '#' is a comment."""

import argparse
import collections
import json
import os
import pathlib
import re
import shlex
import signal
import subprocess
import sys
import time

from mutation_lists import ROOT, check, fail, fits, identify, read_lists

WORK = ROOT / "build/mutation"
COPY = WORK / "checkout"
BUILD = COPY / "build/debug"
PREFIX = COPY / "build/prefix"
RESULTS = WORK / "results.json"
REGISTRY = ["system.reg", "user.reg", "userdef.reg"]
LEAST_SECONDS = 30  # for a test, however quick it is without the error

# The copy


def run(*command, cwd=None, **options):
    return subprocess.run(command, cwd=cwd or COPY, text=True, errors="replace", stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL, check=False, **options)


def refresh_copy():
    """Writes what differs, so that only that is built again; takes back an error that an earlier run has left."""
    listed = run("git", "ls-files", "-zco", "--exclude-standard", cwd=ROOT).stdout.split("\0")
    files = {name for name in listed if name and (ROOT / name).is_file()}
    for name in files:
        source, target = ROOT / name, COPY / name
        if not target.exists() or target.read_bytes() != source.read_bytes():
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(source.read_bytes())
            target.chmod(source.stat().st_mode)
    for top in COPY.iterdir():
        for target in [] if top.name == "build" else [top, *top.rglob("*")]:
            if target.is_file() and str(target.relative_to(COPY)) not in files:
                target.unlink()


def configure(arguments):
    refresh_copy()
    deps = COPY / "build/deps"
    deps.parent.mkdir(exist_ok=True)
    if not deps.is_symlink():
        deps.symlink_to("../../../deps")
    # An error may leave something unused, which is no reason to refuse it.
    made = run("cmake", "--preset", "debug", "-DQUORLINE_WERROR=OFF", *arguments)
    if made.returncode:
        fail(f"the copy cannot be configured:\n{made.stdout}")


def warm_prefix():
    """The prefix with nothing running in it, and its registry as it was when it was made."""
    wine = COPY / "scripts/wine-run.sh"
    run(wine, "--stop")
    kept = WORK / "registry"
    if not kept.exists():
        run(wine, "cmd", "/c", "exit")
        run(wine, "--stop")
        kept.mkdir()
        for name in REGISTRY:
            (kept / name).write_bytes((PREFIX / name).read_bytes())
    for name in REGISTRY:
        (PREFIX / name).write_bytes((kept / name).read_bytes())


class Program:
    """A test of ctest's, with the programs that it is made of."""

    def __init__(self, listed):
        self.name = listed["name"]
        self.targets = [os.path.relpath(word, BUILD) for word in listed["command"]
                        if word.startswith(str(BUILD)) and word.endswith(".exe")]
        self.inputs = set(run("ninja", "-t", "inputs", *self.targets, cwd=BUILD).stdout.splitlines())

    def has_part(self, path):
        """Whether a file takes part in it. A header may do so everywhere: nobody knows before all is built."""
        return path.endswith(".h") or str(COPY / path) in self.inputs


def list_tests():
    listed = json.loads(run("ctest", "--preset", "debug", "--show-only=json-v1").stdout)["tests"]
    # The others build packages and projects of their own, which are no tests of small errors.
    tests = [Program(test) for test in listed if any(word.endswith(".exe") for word in test.get("command", []))]
    return {test.name: test for test in tests}


# Trying


def build(tests, jobs):
    """The compiler's first complaint, empty when there is none."""
    targets = sorted({target for test in tests for target in test.targets})
    made = run("cmake", "--build", str(BUILD), "-j", str(jobs), "--target", *targets)
    if made.returncode == 0:
        return ""
    complaints = [line for line in made.stdout.splitlines() if "error" in line.lower() or "undefined" in line]
    return (complaints or ["the build failed"])[0].strip()


def run_test(name, seconds, only=""):
    """Seconds that it took, or None with what failed."""
    environment = dict(os.environ, GTEST_FAIL_FAST="1")
    if only:
        environment["GTEST_FILTER"] = only
    begin = time.monotonic()
    command = ["ctest", "--test-dir", str(BUILD), "-R", f"^{re.escape(name)}$", "--output-on-failure"]
    with subprocess.Popen(command, cwd=BUILD, text=True, errors="replace", stdout=subprocess.PIPE, env=environment,
                          stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL, start_new_session=True) as process:
        try:
            output, _ = process.communicate(timeout=seconds)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            run(COPY / "scripts/wine-run.sh", "--stop")
            process.communicate()
            return None, "takes too long"
    if process.returncode == 0:
        return time.monotonic() - begin, ""
    # The case that failed or, of a program that ended in the middle of one, that was running.
    cases = re.findall(r"\[  FAILED  \] ([\w/]+\.[\w/]+)", output) or re.findall(r"\[ RUN      \] (\S+)", output)
    cases = [case for case in cases if "DISABLED_" not in case]
    return None, cases[-1] if cases else "fails"


class Trial:
    def __init__(self, arguments):
        self.arguments = arguments
        configure(shlex.split(arguments.cmake))
        self.tests = list_tests()
        self.known = load_results()
        warm_prefix()

    def limit(self, test):
        """Seconds for a test, by what it takes without an error: found out once, when it is first asked."""
        times = self.known["seconds"]
        if test.name not in times:
            if trouble := build([test], self.arguments.jobs):
                fail(f"{test.name} cannot be built: {trouble}")
            for _ in range(3):
                seconds, failed = run_test(test.name, 1200)
                if seconds is not None:
                    break
            else:
                fail(f"{test.name} fails without any error put in: {failed}")
            times[test.name] = round(seconds, 1)
            save_results(self.known)
        return max(LEAST_SECONDS, 5 * times[test.name])

    def catches(self, test):
        """What of a test fails, twice: a loaded machine lets one fail now and then."""
        limit = self.limit_of[test.name]
        _, failed = run_test(test.name, limit)
        if not failed:
            return ""
        warm_prefix()
        only = failed if "." in failed else ""
        _, again = run_test(test.name, limit, only)
        warm_prefix()
        return f"{test.name}: {failed}" if again else ""

    def attempt(self, tests):
        if not tests:
            return ""
        if trouble := build(tests, self.arguments.jobs):
            return f"invalid: {trouble}"
        for test in tests:
            if failed := self.catches(test):
                return f"caught by {failed}"
        return ""

    def try_entry(self, entry, state):
        """The entry's new state: "caught by TEST", "survived", "survived its area" or "invalid: COMPLAINT"."""
        for name in entry.tests:
            if name not in self.tests:
                fail(f"{entry.room}.txt:{entry.line}: there is no test '{name}'")
        area = [self.tests[name] for name in entry.tests]
        others = [test for test in self.tests.values() if test not in area and test.has_part(entry.path)]
        others.sort(key=lambda test: self.known["seconds"].get(test.name, 60))
        # Tests that were written since may see what survived.
        first = [] if state == "survived its area" and not self.arguments.again else area
        rest = [] if self.arguments.area else others
        self.limit_of = {test.name: self.limit(test) for test in first + rest}

        file = COPY / entry.path
        right = file.read_text()
        try:
            file.write_text(right.replace(entry.old, entry.new))
            complete = "survived its area" if self.arguments.area and others else "survived"
            return self.attempt(first) or self.attempt(rest) or complete
        finally:
            file.write_text(right)

    def run(self, entries):
        for number, entry in enumerate(entries, 1):
            key = identify(entry)
            state = self.known["states"].get(key, "")
            begin = time.monotonic()
            self.known["states"][key] = self.try_entry(entry, state)
            save_results(self.known)
            print(f"{number}/{len(entries)} {entry.room}.txt:{entry.line} {entry.path}, "
                  f"{time.monotonic() - begin:.0f} s: {self.known['states'][key]}", flush=True)


def find_user(path, commands):
    """A source that is compiled and has the file in it; None when there is none."""
    if not path.endswith(".h"):
        return str(COPY / path) if str(COPY / path) in commands else None
    name = re.escape(pathlib.Path(path).name)
    included = re.compile(rf'#include "(\S*/)?{name}"')
    return next((user for user in sorted(commands) if included.search(pathlib.Path(user).read_text())), None)


def compile_entry(entry, commands):
    """The compiler's first complaint about the error alone; empty when there is none."""
    user = find_user(entry.path, commands)
    if user is None:
        return "nothing that is compiled includes it"
    words = shlex.split(commands[user]["command"])
    at = words.index("-o")
    words = words[:at] + words[at + 2:]
    file = COPY / entry.path
    right = file.read_text()
    try:
        file.write_text(right.replace(entry.old, entry.new))
        made = run(*words, "-fsyntax-only", "-Wno-error", cwd=commands[user]["directory"])
    finally:
        file.write_text(right)
    errors = [line for line in made.stdout.splitlines() if "error" in line]
    return (errors or ["it does not compile"])[0] if made.returncode else ""


def compile_entries(entries, arguments):
    configure(shlex.split(arguments.cmake))
    known = load_results()
    # Some headers are made by the build.
    run("cmake", "--build", str(BUILD), "--target", "Quorline", "QuorlineHost", "QuorlineSigner")
    commands = {command["file"]: command for command in json.loads((BUILD / "compile_commands.json").read_text())}
    bad = 0
    for entry in entries:
        if known["states"].get(identify(entry)):
            continue
        if complaint := compile_entry(entry, commands):
            bad += 1
            print(f"{entry.room}.txt:{entry.line}: {complaint}", flush=True)
    print(f"{len(entries)} mutations, {bad} that do not compile")
    return not bad


# The results


def load_results():
    return json.loads(RESULTS.read_text()) if RESULTS.exists() else {"states": {}, "seconds": {}}


def save_results(known):
    part = RESULTS.with_suffix(".part")
    part.write_text(json.dumps(known, indent=1, sort_keys=True))
    part.replace(RESULTS)


def print_table(entries):
    states = load_results()["states"]
    kinds = ["caught", "survived", "open", "equivalent", "invalid", "stale"]
    rooms = collections.defaultdict(collections.Counter)
    for entry in entries:
        state = states.get(identify(entry), "")
        kind = ("stale" if not fits(entry) else "equivalent" if entry.equivalent
                else "open" if state in ("", "survived its area") else state.partition(" ")[0].rstrip(":"))
        rooms[entry.room][kind] += 1
        if kind in ("survived", "invalid") or state == "survived its area" and not entry.equivalent:
            print(f"{entry.room}.txt:{entry.line} {entry.path}: {state}; {entry.why}")
    print(f"{'room':14} {'number':>6} " + " ".join(f"{kind:>10}" for kind in kinds) + f" {'caught, %':>9}")
    for room, counts in [*rooms.items(), ("all", sum(rooms.values(), collections.Counter()))]:
        tried = counts["caught"] + counts["survived"]
        score = f"{100 * counts['caught'] / tried:.1f}" if tried else "-"
        numbers = " ".join(f"{counts[kind]:10}" for kind in kinds)
        print(f"{room:14} {sum(counts.values()):6} {numbers} {score:>9}")


def main():
    # What is put in is taken out again when this is ended.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("words", nargs="*", metavar="WORD")
    for name in ("check", "compile", "area", "table"):
        parser.add_argument(f"--{name}", action="store_true")
    parser.add_argument("--again", action="store_true", help="also those that survived or were invalid before")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--cmake", default="", help="more arguments for configuring the copy")
    arguments = parser.parse_args()

    entries = read_lists()
    if arguments.check:
        sys.exit(0 if check(entries) else 1)
    if arguments.table:
        return print_table(entries)
    check(entries)
    words = arguments.words or [""]
    chosen = [entry for entry in entries if not entry.equivalent and fits(entry) and
              any(word in f"{entry.room} {entry.path} {entry.old}" for word in words)]
    COPY.mkdir(parents=True, exist_ok=True)
    if arguments.compile:
        sys.exit(0 if compile_entries(chosen, arguments) else 1)
    states = load_results()["states"]
    unfinished = {""} if arguments.area else {"", "survived its area"}

    def is_open(entry):
        state = states.get(identify(entry), "")
        return state in unfinished or arguments.again and not state.startswith("caught")

    Trial(arguments).run([entry for entry in chosen if is_open(entry)])
    print_table(entries)


if __name__ == "__main__":
    main()
