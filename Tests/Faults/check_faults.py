#!/usr/bin/python3 -B
"""Runs the tool under faults of its surroundings, and fails on an end that is not allowed.

check_faults.py <program> [--sample] [--seed N] [--part TEXT] [--family TEXT] [--option TEXT] [--case TEXT]
    [--limit SECONDS] [--write FILE]

--sample runs a fixed share of the cases; --part, --family, --option and --case run those alone that are named so, and
may be given several times. --limit is the time of a run in seconds. --write puts the tables into a document;
those of a part stand in for the numbers of the same faults and options. It can't be had of a sample or single cases.

It ends other processes of the tool's name, so it must run isolated: Scripts/check-faults does that.
"""

import argparse
import os
import random
import signal
import sys
import tempfile
import time
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from functools import partial
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "Support"))

import servers
import signals
import surroundings
import system_calls
from kinds import NOT_MET, describe, find_kind
from rights import Rights
from runs import OPTIONS, TIME_LIMIT, Case, Runner
from tables import FORBIDDEN, write_document
from xserver import XServer

# With --sample, one case of so many in each family.
SHARES = {"system calls": 15, "signals at system calls": 10, "signals": 10, "reports": 4, "process 1": 5,
          "servers": 25, "limits": 4, "streams": 3, "homes": 4, "schemas": 3, "folders": 3, "users": 1}


START_SERVER = partial(XServer, "-noreset", "-screen", "0", "1024x768x24")


def get_cases(runner, rights, options):
    tool_options = options.option or OPTIONS
    makers = [
        ("signals", lambda: signals.get_cases(runner, options.seed, tool_options)),
        ("surroundings", lambda: surroundings.get_cases(runner, options.seed, tool_options, rights)),
        ("servers",
         lambda: servers.get_cases(runner, options.seed, START_SERVER) if servers.OPTION in tool_options else []),
        ("system calls", lambda: system_calls.get_cases(runner, tool_options)),
    ]
    numbers = Counter()
    for part, make in makers:
        if options.part and part not in options.part:
            continue
        for case in make():
            numbers[case.family] += 1
            if options.sample and numbers[case.family] % SHARES[case.family] != 0:
                continue
            if (not options.family or case.family in options.family) and (
                    not options.case or any(text in case.name for text in options.case)):
                yield case


def get_right_results(runner):
    """What each option answers without a fault. Tests/Tool compares these documents with their literal bytes."""
    results = {}
    for option in OPTIONS:
        result = runner.run(Case("", option, option, display=runner.display))
        expected = {"-cba": 255}.get(option, 0)
        if result.status != expected or not result.output or result.errors:
            raise RuntimeError(f"{option} is not answered even without a fault: {result}")
        results[option] = result
    return results


def print_bad(case, result, end):
    print(f"{FORBIDDEN}: {case.family}: {case.name!a}: {end}", flush=True)
    print(f"    fault: {result.fault or NOT_MET}; {result.seconds:.1f} s", flush=True)
    if "other" in end.report:
        print("    " + ascii(result.errors[:400]), flush=True)
    if end.document == "wrong":
        print("    " + ascii(result.output[:400]), flush=True)


# After so many seconds the tool gives a silent server up. On a machine so busy that even a healthy one is silent for so
# long, an end says nothing about the fault, so a run that is not allowed and took so long is repeated.
PATIENCE = 5
ATTEMPTS = 3


def run_all(runner, cases, right):
    """The numbers of runs by family, option and kind, and of seconds by family."""
    totals = Counter()
    seconds = Counter()
    start = time.monotonic()

    def judge(case):
        for _ in range(ATTEMPTS):
            result = runner.run(case)
            end = describe(result, right[case.option], case.option)
            kind = find_kind(case, result.fault, end)
            if kind is not None or result.hangs or result.seconds < PATIENCE:
                break
            print(f"repeated, as it took {result.seconds:.1f} s: {case.family}: {case.name!a}: {end}", flush=True)
        return case, result, end, kind

    with ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        for number, (case, result, end, kind) in enumerate(pool.map(judge, cases), 1):
            if number % 500 == 0:
                print(f"{number} of {len(cases)} runs after {(time.monotonic() - start) / 60:.0f} minutes", flush=True)
            if kind is None:
                print_bad(case, result, end)
            name = f"{FORBIDDEN}: {end}" if kind is None else kind.name if result.is_met else NOT_MET
            totals[case.family, case.option, name] += 1
            seconds[case.family] += result.seconds
    return totals, seconds


# Up to which share of the faults of a family may not be met. Threads don't make the same calls each time, but many of
# them; of the signals at random moments some come too late. Documentation/Reliability.md says why so many.
MISSED = {"system calls": 0.3, "signals at system calls": 0.3, "signals": 0.5, "process 1": 0.5}


def find_unmet(totals):
    """The families of which too few faults were met."""
    counts = Counter()
    missed = Counter()
    for (family, _, kind), count in totals.items():
        counts[family] += count
        missed[family] += count if kind == NOT_MET else 0
    return [family for family, count in counts.items() if missed[family] > count * MISSED.get(family, 0)]


def read_options():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--sample", action="store_true")
    parser.add_argument("--seed", type=int)
    for name in ["--part", "--family", "--option", "--case"]:
        parser.add_argument(name, action="append")
    parser.add_argument("--limit", type=float, default=TIME_LIMIT)
    parser.add_argument("--write", type=Path)
    options = parser.parse_args()
    if options.write and (options.sample or options.case):
        parser.error("--write needs all cases.")
    if options.seed is None:
        options.seed = 1 if options.sample else random.randrange(2**32)
    return options


def restore_signals():
    """Lets no program begin with a signal ignored, as those do that a shell starts in the background."""
    # Python ignores these two itself, and not for the programs that it starts.
    for number in signal.valid_signals() - {signal.SIGPIPE, signal.SIGXFSZ}:
        if signal.getsignal(number) == signal.SIG_IGN:
            signal.signal(number, signal.SIG_DFL)


def main():
    options = read_options()
    restore_signals()
    # Threads that wait for the moment of a signal must not keep each other waiting.
    sys.setswitchinterval(0.0001)
    print(f"seed {options.seed}", flush=True)
    start = time.monotonic()
    with tempfile.TemporaryDirectory() as folder, START_SERVER() as server:
        os.chmod(folder, 0o755)
        rights = Rights(folder)
        runner = Runner(options.program, folder, options.limit)
        runner.display = server.display
        runner.trace_check = rights.trace_check
        right = get_right_results(runner)
        totals, seconds = run_all(runner, list(get_cases(runner, rights, options)), right)
    for (family, option, kind), count in totals.items():
        print(f"{family}, {option}, {kind}: {count}")
    for family, total in seconds.items():
        print(f"{family}: {total:.0f} s in all")
    minutes = (time.monotonic() - start) / 60
    summary = f"{sum(totals.values())} runs with seed {options.seed} in {minutes:.0f} minutes."
    print(summary)
    if options.write:
        is_whole = not (options.part or options.family or options.option)
        write_document(options.write, totals, OPTIONS, summary, is_whole)
    unmet = find_unmet(totals)
    if unmet:
        print(f"The faults were not met in: {', '.join(unmet)}.")
    return 1 if unmet or not totals or any(kind.startswith(FORBIDDEN) for _, _, kind in totals) else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except RuntimeError as error:
        sys.exit(f"check_faults.py: {error}")
