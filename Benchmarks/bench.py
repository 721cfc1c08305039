#!/usr/bin/python3 -B
"""Measures the tool and the framework against their peers and limits, and fails unless all bounds are kept.

Scripts/bench calls it, isolated, with the parts or rows to measure. Without any it measures all of them and writes
Documentation/Performance.md."""

import argparse
import os
import subprocess
import sys
import tempfile
from pathlib import Path
from typing import Callable, NamedTuple

sys.dont_write_bytecode = True

import figures
import page
import surroundings
from rows import Bench, Memory, Rival, at_most, merge

# The exit status; argparse takes that of what can't be measured for wrong words.
MISSED, NOT_MEASURED, NOT_SETTLED = 1, 2, 3

PROJECT = Path(__file__).resolve().parents[1]
SCHEMA = "Schemas/Halvorn-Configuration-2501.json"

COMPILING_LIMIT = "the process table, and the schema parsed and compiled"
READING_LIMIT = "the processes' names and the schema's text"


def get_help_limit(bench, *further):
    """The command of the limit of -Help, which writes as much as the tool."""
    return [str(bench.folder / "HelpLimit"), str(bench.get_help_size()), str(bench.folder / SCHEMA), *further]


def measure_help(bench, _, names):
    [name] = names
    # The limit that compiles does more than the tool, beside which 1.3 was demanded. The other is the fair one, and its
    # bound our own; Documentation/Performance.md says what the tool needs beyond it.
    rivals = [Rival("peer", "`/bin/true`", at_most(1.6), ["/bin/true"]),
              Rival("limit", COMPILING_LIMIT, at_most(1.3), get_help_limit(bench, "compile")),
              Rival("limit", READING_LIMIT, at_most(1.6), get_help_limit(bench))]
    rows, memory = bench.compare_programs(name, [bench.tool, "-Help"], rivals, os.environ, 401)
    return rows, [Memory(f"`-Help`, beside {rival.name}", *zip(memory[0], used))
                  for rival, used in zip(rivals[1:], memory[2:], strict=True)]


def measure_opengl(bench, folder, names):
    [name] = names
    rivals = [Rival("peer", "`glxinfo -B`", at_most(0.9), ["glxinfo", "-B"]),
              Rival("limit", "the same context", at_most(1.1), [str(bench.folder / "OpenGlLimit")])]
    with surroundings.start_screen(folder) as environment:
        rows, memory = bench.compare_programs(name, [bench.tool, "-CheckOpenGL"], rivals, environment, 101)
    return rows, [Memory(f"{name}, beside the same context", *zip(memory[0], memory[2]))]


AMONG_PROCESSES = "`-Help` among 2,000 processes"
FURTHER_PROCESS = "A further process at a start, 100 to 10,000"


def measure_processes(bench, _, names):
    # It compares as many bytes as the kernel keeps of a name, and finds nothing.
    rivals = [Rival("peer", "`pgrep -x`", at_most(0.7), ["pgrep", "-x", "TovraFieldhostS"], status=1),
              Rival("limit", READING_LIMIT, at_most(1.3), get_help_limit(bench))]

    def measure(name, count, rounds, size):
        with surroundings.start_processes(bench.folder / "Sleepers", count):
            return bench.compare_programs(name, [bench.tool, "-Help"], rivals, os.environ, rounds, size)[0]

    rows = []
    if AMONG_PROCESSES in names:
        rows += measure(AMONG_PROCESSES, 2_000, 31, 0)
    if FURTHER_PROCESS in names:
        rows += merge(measure(FURTHER_PROCESS, count, rounds, count)
                      for count, rounds in ((100, 51), (1_000, 51), (10_000, 15)))
    return rows, []


def measure_windows(bench, folder, names):
    with surroundings.start_desktop(folder) as environment:
        return bench.run_benchmark("ProcessWindows", environment, names), []


def measure_displays(bench, folder, names):
    with surroundings.start_monitors(folder) as environment:
        return bench.run_benchmark("Displays", environment, names), []


def measure_text(bench, _, names):
    return bench.run_benchmark("Text", os.environ, names), []


def measure_threads(bench, _, names):
    return bench.run_benchmark("Threads", os.environ, names), []


def measure_log(bench, _, names):
    return bench.run_benchmark("Log", os.environ, names), []


def measure_configuration(bench, _, names):
    return bench.run_benchmark("Configuration", os.environ, names), []


class Part(NamedTuple):
    """Rows that are measured in the same surroundings."""

    measure: Callable  # with the bench, a temporary folder and the names of the rows; gives rows and memory
    seconds: dict  # of each row, what it takes on two cores


PARTS = {
    "help": Part(measure_help, {"`-Help`": 5}),
    "opengl": Part(measure_opengl, {"`-CheckOpenGL`": 24}),
    "processes": Part(measure_processes, {AMONG_PROCESSES: 4, FURTHER_PROCESS: 16}),
    "windows": Part(measure_windows, {"The window under a point, of 200": 5, "All windows with names, of 200": 9,
                                      "A further window with its name, 10 to 1,000": 33}),
    "displays": Part(measure_displays, {"Refresh of 3 monitors": 1, "`GetDisplay` among 32 displays": 1}),
    "text": Part(measure_text, {"GUID to value and back": 1, "`BytesToHex`": 1, "`Base64Decode`": 1,
                                "`Utf8ToUtf16` of ASCII": 1, "`Utf8ToUtf16` of mixed text": 1,
                                "`Utf8ToUtf16` without ASCII": 1}),
    "threads": Part(measure_threads, {"A thread's life": 2}),
    "log": Part(measure_log, {"A log line": 2, "A log line, from 8 threads": 2, "A filtered statement": 2,
                              "A start among 10,000 files": 4, "The search for a dump file": 16,
                              "A further thread that logs, 1 to 32": 4,
                              "A further file in the log's folder, 100 to 100,000": 16}),
    "configuration": Part(measure_configuration,
                          {"A further byte of configuration, 1 KB to 3 MB": 3,
                           "A further byte of configuration without a schema, 1 KB to 100 MB": 10,
                           "A configuration of 100 MB, which is refused": 9}),
}


def choose(words):
    """The names of the rows to measure, by their parts: of each word those of the part of that name, or else those that
    contain it; all if there are no words. A word that chooses nothing is an error."""
    def is_chosen_by(word, part, name):
        return word == part if word in PARTS else word in name

    rows = [(part, name) for part, (_, seconds) in PARTS.items() for name in seconds]
    for word in words:
        if not any(is_chosen_by(word, *row) for row in rows):
            raise ValueError(f"no part is called '{word}', and no row's name contains it")
    chosen = {}
    for part, name in rows:
        if not words or any(is_chosen_by(word, part, name) for word in words):
            chosen.setdefault(part, []).append(name)
    return chosen


def list_rows():
    for part, (_, seconds) in PARTS.items():
        for name, needed in seconds.items():
            print(f"{part:16}{name:68}{needed:4} s")


def print_estimate(chosen):
    seconds = sum(PARTS[part].seconds[name] for part, names in chosen.items() for name in names)
    count = sum(len(names) for names in chosen.values())
    print(f"{count} row{'s' if count > 1 else ''}, about {seconds // 60}:{seconds % 60:02} minutes", flush=True)


def print_rows(rows, memory):
    for row in rows:
        low, high = row.interval
        bound = f"at most {row.bound.ratio:g}" if row.bound.ratio else "no bound"
        print(f"{row.name:48} {row.rival:40} {row.ratio:7.3f} ({low:.3f} to {high:.3f})  {bound:12} {row.verdict}",
              flush=True)
    for row in memory:
        print(f"{row.name:48} {row.resident[0]:.0f} of {row.resident[1]:.0f} KiB, "
              f"{row.faults[0]:.0f} of {row.faults[1]:.0f} page faults", flush=True)


def measure(chosen, folder):
    """The rows and the memory of what is chosen, printed as soon as a part is measured."""
    bench = Bench(PROJECT / "build/release/bin")
    # Benchmarks leave nothing behind if they fail.
    os.environ["HOME"] = os.environ["TMPDIR"] = str(folder)
    rows, memory = [], []
    for part, names in chosen.items():
        part_rows, part_memory = PARTS[part].measure(bench, folder, names)
        print_rows(part_rows, part_memory)
        rows += part_rows
        memory += part_memory
    return rows, memory


def conclude(rows):
    """Says which rows are not kept, and returns the exit status: MISSED if one is missed, or else NOT_SETTLED if one is
    not settled."""
    for verdict in (figures.MISSED, figures.NOT_SETTLED):
        for row in rows:
            if row.verdict == verdict:
                print(f"{verdict}: {row.name}, {row.rival}")
    verdicts = {row.verdict for row in rows}
    return MISSED if figures.MISSED in verdicts else NOT_SETTLED if figures.NOT_SETTLED in verdicts else 0


def main():
    parser = argparse.ArgumentParser(prog="Scripts/bench", description="Measures all rows or those that are chosen.")
    parser.add_argument("words", nargs="*", metavar="word",
                        help=f"a part: {', '.join(PARTS)}; or a text that the names of rows contain")
    parser.add_argument("--list", action="store_true", help="print the parts, their rows, and how long these take")
    arguments = parser.parse_args()
    if arguments.list:
        list_rows()
        return 0
    try:
        chosen = choose(arguments.words)
    except ValueError as error:
        parser.error(str(error))
    print_estimate(chosen)
    try:
        with tempfile.TemporaryDirectory() as folder:
            rows, memory = measure(chosen, Path(folder))
    except (RuntimeError, OSError, subprocess.SubprocessError) as error:
        print(f"Scripts/bench: {error}", file=sys.stderr)
        return NOT_MEASURED
    if not arguments.words:
        page.write(PROJECT / "Documentation/Performance.md", rows, memory)
    return conclude(rows)


if __name__ == "__main__":
    sys.exit(main())
