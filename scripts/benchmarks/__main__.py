"""Measures the library beside its limits and stand-ins, and prints the ratios: python3 scripts/benchmarks FOLDER ...

FOLDER is that of the built benchmark programs. Arguments that are not named below are Google Benchmark's.
"""

import argparse
import os
import pathlib
import sys

import calls
import machine
import measuring
import plot
import ratios
import report
import rows
import sizes

ROOT = pathlib.Path(__file__).resolve().parents[2]
STORED = ROOT / "bench" / "ratios.json"
PAGE = ROOT / "docs" / "performance.md"
PICTURE = ROOT / "docs" / "performance.svg"


def arguments():
    parser = argparse.ArgumentParser(prog="./dev bench", description="Prints ratios: the library's time over another's.")
    parser.add_argument("folder", type=pathlib.Path, help=argparse.SUPPRESS)
    parser.add_argument("--rows", help="names of the rows to measure, with commas between; all of them unless given")
    parser.add_argument("--check", action="store_true", help="fail where a ratio is 25 %% worse than in bench/ratios.json")
    parser.add_argument("--write", action="store_true", help="write bench/ratios.json, docs/performance.md and its plot")
    chosen, others = parser.parse_known_args()
    if chosen.write and chosen.rows:
        parser.error("--write takes all rows")
    return chosen, others


def chosen_rows(names):
    if names is None:
        return rows.ROWS
    known = {row.name: row for row in rows.ROWS}
    unknown = [name for name in names.split(",") if name not in known]
    if unknown:
        sys.exit(f"bench: no row '{unknown[0]}'; there are {', '.join(known)}")
    return [row for row in rows.ROWS if row.name in names.split(",")]


def whole_sections(folder):
    """What is counted besides the rows, as titles with lines."""
    return [
        ("System calls", calls.table(folder / "harvelstone_calls", folder)),
        ("Size", sizes.table(folder.parent)),
    ]


def write(measured_rows, sections, load_before):
    ratios.write(STORED, ratios.flat(measured_rows))
    part = report.measured_part(measured_rows, machine.description(ROOT, load_before), sections)
    PAGE.write_text(report.with_measured_part(PAGE.read_text(encoding="utf-8"), part), encoding="utf-8")
    PICTURE.write_text(plot.picture(report.bars(measured_rows)), encoding="utf-8")


def check(measured_rows):
    names = tuple(f"{row.name}/" for row, _ in measured_rows)
    stored = {name: ratio for name, ratio in ratios.read(STORED).items() if name.startswith(names)}
    lines = ratios.worse(stored, ratios.flat(measured_rows))
    for line in lines:
        print(f"worse: {line}", file=sys.stderr)
    return 1 if lines else 0


def main():
    chosen, others = arguments()
    load_before = os.getloadavg()[0]
    measured_rows = []
    try:
        for row in chosen_rows(chosen.rows):
            measured = measuring.run_row(chosen.folder / "harvelstone_bench", row, others)
            print("\n".join(report.row_lines(row, measured)), flush=True)
            measured_rows.append((row, measured))
    except measuring.Failed as failure:
        sys.exit(f"bench: {failure}")
    sections = [] if chosen.rows else whole_sections(chosen.folder)
    for title, lines in sections:
        print("\n".join([title, *lines]))
    if chosen.write:
        write(measured_rows, sections, load_before)
    return check(measured_rows) if chosen.check else 0


if __name__ == "__main__":
    sys.exit(main())
