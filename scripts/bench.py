#!/usr/bin/env python3
"""Runs the benchmarks of a build and prints what the library costs beside its peers: bench.py BUILD_FOLDER OUTPUT_FOLDER.

Every program measures both sides of a row in turn (bench/Contest.h), several times. The table shows the median of each,
the ratio's median and its spread over the repetitions. results.json holds all of it, growth.svg the rows that have
sizes. Ends with 0 whether the goals are met or not: a figure is no test.
"""

import json
import math
import re
import statistics
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
WINE = ROOT / "scripts" / "wine-run.sh"
# In this order; a program that takes long is repeated less often.
PROGRAMS = {
    "format_bench": 5,
    "log_bench": 5,
    "pattern_bench": 5,
    "script_bench": 5,
    "signature_bench": 5,
    "store_bench": 5,
    "memory_bench": 1,
    "search_bench": 2,
    "load_bench": 5,
    "host_bench": 3,
}
NAME = re.compile(r"^(?P<what>.*?)\|(?P<peer>.*?)(?:/(?P<size>\d+))?(?:/iterations:\d+)?(?:/repeats:\d+)?$")


def run_program(program, repetitions, raw):
    """The repetitions of one program, as Google Benchmark tells them."""
    out = raw / f"{program.stem}.json"
    # In the folder of the programs, where the DLLs and the peers are. A raw path would need Wine's spelling.
    command = [WINE, f"./{program.name}", f"--benchmark_repetitions={repetitions}", "--benchmark_format=json"]
    with open(out, "w", encoding="utf-8") as stream:
        subprocess.run(command, check=True, cwd=program.parent, stdout=stream)
    return json.loads(out.read_text(encoding="utf-8"))["benchmarks"]


def rows_of(program, benchmarks):
    """One row for each name and size, with what its repetitions gave."""
    rows = {}
    for entry in benchmarks:
        if entry["run_type"] != "iteration":
            continue
        if entry.get("error_occurred"):
            sys.exit(f"{program}: {entry['name']}: {entry['error_message']}")
        name = NAME.match(entry["name"])
        size = int(name["size"]) if name["size"] else None
        row = rows.setdefault((name["what"], name["peer"], size), {
            "program": program, "what": name["what"], "peer": name["peer"], "size": size, "goal": entry["goal"],
            "unit": "B" if "bytes" in entry else "ns", "proves": entry.get("proves") == 1, "ours": [], "other": [], "ratio": []})
        for key in ("ours", "other", "ratio"):
            row[key].append(entry[key])
        for key in ("allocations", "allocation_goal", "first"):
            if key in entry:
                row[key] = entry[key]
    return list(rows.values())


def judge(row):
    """Adds medians, spread and verdict."""
    ratios = row["ratio"]
    row["medians"] = {key: statistics.median(row[key]) for key in ("ours", "other", "ratio")}
    row["spread"] = [min(ratios), max(ratios)]
    met = row["medians"]["ratio"] <= row["goal"]
    if "allocation_goal" in row:
        met = met and row["allocations"] <= row["allocation_goal"]
    row["verdict"] = "shown" if row["goal"] == 0 else ("met" if met else "MISSED")


def mark_limits(rows):
    """A goal that is missed for what is not the library's own: another row, with that on both sides, keeps to it.

    By its best repetition: where the goal is a draw, chance decides between the others."""
    for row in rows:
        if row["verdict"] != "MISSED":
            continue
        for proof in rows:
            if not proof["proves"] or (proof["what"], proof["size"]) != (row["what"], row["size"]):
                continue
            if proof["spread"][0] <= row["goal"] and row.get("allocations", 0) <= proof.get("allocations", 0):
                row["verdict"] = f"limited: beside '{proof['peer']}' {proof['medians']['ratio']:.2f}"


def families(rows):
    """Rows that differ in their size alone, the smallest first."""
    found = {}
    for row in rows:
        if row["size"] is not None:
            found.setdefault((row["what"], row["peer"]), []).append(row)
    return [sorted(family, key=lambda row: row["size"]) for family in found.values() if len(family) > 1]


def order(family, side):
    """The exponent of the growth between the two largest sizes, and what one more costs there."""
    small, large = family[-2], family[-1]
    few, many = small["medians"][side], large["medians"][side]
    exponent = math.log(max(many, 1e-9) / max(few, 1e-9)) / math.log(large["size"] / small["size"])
    return exponent, (many - few) / (large["size"] - small["size"])


def amount(value, unit):
    steps = [(1e9, "s"), (1e6, "ms"), (1e3, "us"), (1, "ns")] if unit == "ns" else [(1e6, "MB"), (1e3, "kB"), (1, "B")]
    for factor, name in steps:
        if abs(value) >= factor:
            return f"{value / factor:.3g} {name}"
    return f"{value:.3g} {steps[-1][1]}"


def table_of(rows):
    lines = ["| what | beside | ours | other's | ratio | spread | goal | |", "|---|---|--:|--:|--:|---|--:|---|"]
    for row in rows:
        what = row["what"] + (f" {row['size']:,}" if row["size"] is not None else "")
        extra = f", {row['allocations']:.0f} allocations" if "allocations" in row else ""
        if "first" in row:
            extra += f", the first in a process {amount(row['first'], 'ns')}"
        low, high = row["spread"]
        goal = f"{row['goal']:g}" if row["goal"] else ""
        medians = row["medians"]
        lines.append(f"| {what} | {row['peer']} | {amount(medians['ours'], row['unit'])}{extra} "
                     f"| {amount(medians['other'], row['unit'])} | {medians['ratio']:.2f} | {low:.2f} to {high:.2f} "
                     f"| {goal} | {row['verdict']} |")
    return lines


def growth_of(rows):
    lines = ["| what | between | order | of the other | one more | of the other |", "|---|---|--:|--:|--:|--:|"]
    for family in families(rows):
        unit = family[0]["unit"]
        (ours, one), (other, one_other) = order(family, "ours"), order(family, "other")
        lines.append(f"| {family[0]['what']} | {family[-2]['size']:,} and {family[-1]['size']:,} | n^{ours:.2f} "
                     f"| n^{other:.2f} | {amount(one, unit)} | {amount(one_other, unit)} |")
    return lines


def picture_of(rows):
    """Small log-log plots side by side: ours drawn through, the other dashed."""
    width, height, margin, columns = 360, 250, 46, 3
    shown = families(rows)
    sheet_height = height * math.ceil(len(shown) / columns)
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width * columns} {sheet_height}" '
             'font-family="sans-serif" font-size="11">', '<rect width="100%" height="100%" fill="white"/>']
    for index, family in enumerate(shown):
        left, top = (index % columns) * width, (index // columns) * height
        values = [row["medians"][side] for row in family for side in ("ours", "other")]
        x_range = [math.log10(family[0]["size"]), math.log10(family[-1]["size"])]
        y_range = [math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))]
        y_range[1] += y_range[0] == y_range[1]

        def x_of(size):
            return left + margin + (math.log10(size) - x_range[0]) / (x_range[1] - x_range[0]) * (width - 2 * margin)

        def y_of(value):
            return top + height - margin - (math.log10(value) - y_range[0]) / (y_range[1] - y_range[0]) * (height - 2 * margin)

        unit = family[0]["unit"]
        parts.append(f'<text x="{left + margin}" y="{top + 20}" font-weight="bold">{family[0]["what"]}</text>')
        parts.append(f'<text x="{left + margin}" y="{top + 34}" fill="#777">dashed: {family[0]["peer"]}</text>')
        for exponent in range(y_range[0], y_range[1] + 1):
            y = y_of(10**exponent)
            parts.append(f'<line x1="{left + margin}" x2="{left + width - margin}" y1="{y:.1f}" y2="{y:.1f}" stroke="#ddd"/>')
            parts.append(f'<text x="{left + margin - 4}" y="{y + 4:.1f}" text-anchor="end">{amount(10**exponent, unit)}</text>')
        for row in family:
            parts.append(f'<text x="{x_of(row["size"]):.1f}" y="{top + height - margin + 16}" '
                         f'text-anchor="middle">{row["size"]:,}</text>')
        for side, style in (("other", 'stroke="#777" stroke-dasharray="5 4"'), ("ours", 'stroke="#0a58a6"')):
            points = " ".join(f'{x_of(row["size"]):.1f},{y_of(row["medians"][side]):.1f}' for row in family)
            parts.append(f'<polyline points="{points}" fill="none" stroke-width="2" {style}/>')
    return "\n".join(parts + ["</svg>", ""])


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__.splitlines()[0])
    programs, out = Path(sys.argv[1]) / "bin", Path(sys.argv[2])
    wanted = re.compile(sys.argv[3] if len(sys.argv) == 4 else "")
    raw = out / "raw"
    raw.mkdir(parents=True, exist_ok=True)
    rows = []
    for program, repetitions in PROGRAMS.items():
        if not wanted.search(program):
            continue
        start = time.monotonic()
        rows += rows_of(program, run_program(programs / f"{program}.exe", repetitions, raw))
        print(f"{program}: {time.monotonic() - start:.0f} s", file=sys.stderr)
    for row in rows:
        judge(row)
    mark_limits(rows)
    (out / "results.json").write_text(json.dumps(rows, indent=1) + "\n", encoding="utf-8")
    (out / "growth.svg").write_text(picture_of(rows), encoding="utf-8")
    print("\n".join(table_of(rows) + [""] + growth_of(rows)))


if __name__ == "__main__":
    main()
