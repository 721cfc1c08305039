#!/usr/bin/env python3
"""Measures the tool and the framework against their peers and limits, and fails if a bound is missed.

Scripts/bench calls it, isolated, with the names of the parts to measure. Without one it measures all of them and writes
Documentation/Performance.md."""

import argparse
import os
import sys
import tempfile
from pathlib import Path

sys.dont_write_bytecode = True

# pylint: disable=wrong-import-position
import figures
import page
import surroundings
from rows import Bench, Memory, merge

PROJECT = Path(__file__).resolve().parents[1]
SCHEMA = "Schemas/Halvorn-Configuration-2501.json"


def measure_help(bench, _):
    limit = str(bench.folder / "HelpLimit")
    rivals = [("peer", "`/bin/true`", 1.6, ["/bin/true"]),
              ("limit", "the processes' names and the schema", 1.3, [limit, str(bench.folder / SCHEMA)]),
              ("limit", "the processes' names alone", 0, [limit])]
    rows, memory = bench.compare_programs("`-Help`", [bench.tool, "-Help"], rivals, os.environ, 401)
    return rows, [Memory("`-Help`, limit with the schema", *zip(memory[0], memory[2])),
                  Memory("`-Help`, limit without it", *zip(memory[0], memory[3]))]


def measure_opengl(bench, folder):
    rivals = [("peer", "`glxinfo -B`", 0.9, ["glxinfo", "-B"]),
              ("limit", "the same context", 1.1, [str(bench.folder / "OpenGlLimit")])]
    with surroundings.start_screen(folder) as environment:
        rows, memory = bench.compare_programs("`-CheckOpenGL`", [bench.tool, "-CheckOpenGL"], rivals, environment, 101)
    return rows, [Memory("`-CheckOpenGL`", *zip(memory[0], memory[2]))]


def measure_processes(bench, _):
    peer = ["pgrep", "-x", "TovraFieldhostS"]  # It compares as many bytes as the kernel keeps of a name.
    limit = [str(bench.folder / "HelpLimit"), str(bench.folder / SCHEMA)]

    def measure(name, count, rounds, size):
        rivals = [("peer", "`pgrep -x`", 0.7, peer), ("limit", "the processes' names", 0, limit)]
        with surroundings.start_processes(bench.folder / "Sleepers", count):
            return bench.compare_programs(name, [bench.tool, "-Help"], rivals, os.environ, rounds, size)[0]

    growth = merge(measure("A further process at a start, 100 to 10,000", count, rounds, count)
                   for count, rounds in ((100, 51), (1_000, 51), (10_000, 15)))
    return measure("`-Help` among 2,000 processes", 2_000, 31, 0) + growth, []


def measure_windows(bench, folder):
    with surroundings.start_desktop(folder) as environment:
        return (bench.run_benchmark("ProcessWindows", environment) +
                bench.run_benchmark("ProcessWindows", environment, "growth")), []


def measure_displays(bench, folder):
    with surroundings.start_monitors(folder) as environment:
        return bench.run_benchmark("Displays", environment), []


def measure_text(bench, _):
    return bench.run_benchmark("Text", os.environ), []


def measure_threads(bench, _):
    return bench.run_benchmark("Threads", os.environ), []


def measure_log(bench, _):
    return bench.run_benchmark("Log", os.environ) + bench.run_benchmark("Log", os.environ, "growth"), []


def measure_configuration(bench, _):
    return bench.run_benchmark("Configuration", os.environ), []


PARTS = {"help": measure_help, "opengl": measure_opengl, "processes": measure_processes, "windows": measure_windows,
         "displays": measure_displays, "text": measure_text, "threads": measure_threads, "log": measure_log,
         "configuration": measure_configuration}


def print_rows(rows, memory):
    for row in rows:
        low, high = row.interval
        bound = f"at most {row.bound:g}" if row.bound else ""
        print(f"{row.name:48} {row.rival:40} {row.ratio:7.3f} ({low:.3f} to {high:.3f})  {bound:12} {row.verdict}",
              flush=True)
    for row in memory:
        print(f"{row.name:48} {row.resident[0]:.0f} of {row.resident[1]:.0f} KiB, "
              f"{row.faults[0]:.0f} of {row.faults[1]:.0f} page faults", flush=True)


def conclude(rows):
    """Says which rows are not kept, and returns the exit status: 1 if a bound is missed."""
    for verdict in (figures.MISSED, figures.NOT_SETTLED):
        for row in rows:
            if row.verdict == verdict:
                print(f"{verdict}: {row.name}, {row.rival}")
    return int(any(row.verdict == figures.MISSED for row in rows))


def main():
    parser = argparse.ArgumentParser(prog="Scripts/bench", description="Measures all parts or those that are named.")
    parser.add_argument("parts", nargs="*", metavar="part", help=", ".join(PARTS))
    chosen = parser.parse_args().parts
    for part in chosen:
        if part not in PARTS:
            parser.error(f"There is no part {part}, but {', '.join(PARTS)}.")
    bench = Bench(PROJECT / "build/release/bin")
    rows, memory = [], []
    with tempfile.TemporaryDirectory() as name:
        os.environ["HOME"] = name
        for part in chosen or PARTS:
            part_rows, part_memory = PARTS[part](bench, Path(name))
            print_rows(part_rows, part_memory)
            rows += part_rows
            memory += part_memory
    if not chosen:
        page.write(PROJECT / "Documentation/Performance.md", rows, memory)
    return conclude(rows)


if __name__ == "__main__":
    sys.exit(main())
