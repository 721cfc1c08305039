"""Rows of figures: read from the lines of the benchmark programs, and made of the times of whole programs."""

import subprocess
from dataclasses import dataclass, field
from functools import cached_property
from statistics import median

import figures


@dataclass
class Row:
    """Our work and what it is compared with."""

    name: str
    kind: str  # "peer" or "limit"
    rival: str
    bound: float
    sizes: dict = field(default_factory=dict)  # of each size, the rounds; one of 0 where nothing grows

    @cached_property
    def ratio(self):
        return figures.estimate(self.sizes)

    @cached_property
    def interval(self):
        return figures.interval(self.sizes)

    @property
    def verdict(self):
        return figures.judge(*self.interval, self.bound)


@dataclass
class Memory:
    """What a program and its limit have resident at most, in KiB, and how often they fault a page in."""

    name: str
    resident: tuple
    faults: tuple


def to_numbers(text):
    return [int(number) for number in text.split()]


def read_rows(lines):
    """Of lines as Comparison.h prints them. Lines for several sizes of the same comparison make one row."""
    rows = {}
    for line in lines:
        name, kind, rival, bound, size, *times = line.rstrip("\n").split("\t")
        row = rows.setdefault((name, kind, rival), Row(name, kind, rival, float(bound)))
        columns = [to_numbers(column) for column in times if column]
        row.sizes[int(size)] = list(zip(*columns, strict=True))
    return list(rows.values())


class Bench:
    """The programs of a build."""

    def __init__(self, folder):
        self.folder = folder
        self.tool = str(folder / "TovraFieldhostSetupTool")

    def run_benchmark(self, name, environment, *arguments):
        lines = subprocess.run([self.folder / f"{name}Benchmark", *arguments], env=environment, check=True, text=True,
                               stdout=subprocess.PIPE).stdout.splitlines()
        return read_rows(lines)

    def run_programs(self, rounds, commands, environment):
        """Their times, page faults and resident sets."""
        words = [word for command in commands for word in ("--", *command)][1:]
        lines = subprocess.run([self.folder / "Programs", str(rounds), *words], env=environment, check=True, text=True,
                               stdout=subprocess.PIPE).stdout.splitlines()
        return [[to_numbers(column) for column in line.split("\t")] for line in lines]

    def compare_programs(self, name, ours, rivals, environment, rounds, size=0):
        """A row for each rival, given as (kind, name, bound, command); and what all programs use of memory."""
        results = self.run_programs(rounds, [ours, *(rival[3] for rival in rivals)], environment)
        rows = [Row(name, kind, rival, bound, {size: list(zip(results[0][0], result[0], strict=True))})
                for (kind, rival, bound, _), result in zip(rivals, results[1:], strict=True)]
        return rows, [(median(resident), median(faults)) for _, faults, resident in results]


def merge(groups):
    """Rows of the same comparisons at several sizes, as one row each."""
    merged = {}
    for row in (row for group in groups for row in group):
        merged.setdefault((row.name, row.kind, row.rival), row).sizes.update(row.sizes)
    return list(merged.values())
