"""Rows of figures: read from the lines of the benchmark programs, and made of the times of whole programs."""

import subprocess
from dataclasses import dataclass, field
from functools import cached_property
from statistics import median
from typing import NamedTuple

import figures


class Bound(NamedTuple):
    """The highest ratio of our time to a rival's, 0 for none, and why there is none."""

    ratio: float
    reason: str


def at_most(ratio):
    """The bound of a rival that does the same work."""
    return Bound(ratio, "")


@dataclass
class Row:
    """Our work and what it is compared with."""

    name: str
    kind: str  # "peer" or "limit"
    rival: str
    bound: Bound
    sizes: dict = field(default_factory=dict)  # of each size, the rounds; one of 0 where nothing grows

    def __post_init__(self):
        if bool(self.bound.ratio) == bool(self.bound.reason):
            raise ValueError(f"{self.name}, {self.rival}: a row has a bound, or a reason why it has none.")

    @cached_property
    def ratio(self):
        return figures.estimate(self.sizes)

    @cached_property
    def interval(self):
        return figures.interval(self.sizes)

    @property
    def verdict(self):
        return figures.judge(*self.interval, self.bound.ratio)


@dataclass
class Memory:
    """What a program and its limit have resident at most, in KiB, and how often they fault a page in."""

    name: str
    resident: tuple
    faults: tuple


class Rival(NamedTuple):
    """A program that ours is compared with, and the status that it ends with."""

    kind: str
    name: str
    bound: Bound
    command: list
    status: int = 0


def to_numbers(text):
    return [int(number) for number in text.split()]


def read_rows(lines):
    """Of lines as Comparison.h prints them. Lines for several sizes of the same comparison make one row."""
    rows = {}
    for line in lines:
        name, kind, rival, ratio, reason, size, *times = line.rstrip("\n").split("\t")
        row = rows.setdefault((name, kind, rival), Row(name, kind, rival, Bound(float(ratio), reason)))
        columns = [to_numbers(column) for column in times if column]
        row.sizes[int(size)] = list(zip(*columns, strict=True))
    return list(rows.values())


def run(command, environment):
    """The lines that a program prints. One that fails has said why on the standard error stream."""
    result = subprocess.run(command, env=environment, check=False, text=True, stdout=subprocess.PIPE)
    if result.returncode != 0:
        raise RuntimeError(f"{command[0]} ended with status {result.returncode}, so nothing is known of its times.")
    return result.stdout.splitlines()


class Bench:
    """The programs of a build."""

    def __init__(self, folder):
        self.folder = folder
        self.tool = str(folder / "TovraFieldhostSetupTool")

    def run_benchmark(self, program, environment, names):
        """The rows of these names, each measured by a process of its own."""
        rows = []
        for name in names:
            found = read_rows(run([str(self.folder / f"{program}Benchmark"), name], environment))
            if {row.name for row in found} != {name}:
                raise RuntimeError(f"{program}Benchmark knows no row '{name}'.")
            rows += found
        return rows

    def run_programs(self, rounds, programs, environment):
        """The times, page faults and resident sets of programs, given with the statuses that they have to end with."""
        words = [word for command, status in programs for word in ("--", str(status), *command)][1:]
        return [[to_numbers(column) for column in line.split("\t")]
                for line in run([str(self.folder / "Programs"), str(rounds), *words], environment)]

    def compare_programs(self, name, ours, rivals, environment, rounds, size=0):
        """A row for each rival; and what all programs use of memory."""
        results = self.run_programs(rounds, [(ours, 0), *((rival.command, rival.status) for rival in rivals)],
                                    environment)
        rows = [Row(name, rival.kind, rival.name, rival.bound, {size: list(zip(results[0][0], result[0], strict=True))})
                for rival, result in zip(rivals, results[1:], strict=True)]
        return rows, [(median(resident), median(faults)) for _, faults, resident in results]

    def get_help_size(self):
        """How many bytes the help of the tool has."""
        return len(subprocess.run([self.tool, "-Help"], check=True, stdout=subprocess.PIPE).stdout)


def merge(groups):
    """Rows of the same comparisons at several sizes, as one row each."""
    merged = {}
    for row in (row for group in groups for row in group):
        merged.setdefault((row.name, row.kind, row.rival), row).sizes.update(row.sizes)
    return list(merged.values())
