"""The statistics of the benchmarks. Times are lists, one value for each round; all programs of a round ran in turn."""

import math
import random
from statistics import median

RESAMPLES = 1000
# With some fifty rows, an interval that misses once in twenty would decide two or three of them wrongly in each run.
CONFIDENCE = 0.99

KEPT, MISSED, NOT_SETTLED, NO_BOUND = "kept", "missed", "not settled", ""


def divide(dividend, divisor):
    """A divisor that noise has made nothing or less decides nothing."""
    return dividend / divisor if divisor > 0 else math.inf


def ratio(rounds):
    """The median of the rounds' ratios, each of (ours, theirs). Where each round also has the time of their mere start,
    it is the ratio of the medians, theirs less that of the start: the difference within one round is mostly noise."""
    if len(rounds[0]) == 2:
        return median(divide(ours, theirs) for ours, theirs in rounds)
    ours, theirs, start = (median(column) for column in zip(*rounds))
    return divide(ours, theirs - start)


def slope(points):
    """The slope of the line through (size, time) that has the least squares."""
    middle = sum(size for size, _ in points) / len(points)
    return (sum((size - middle) * time for size, time in points) /
            sum((size - middle) ** 2 for size, _ in points))


def slope_ratio(sizes):
    """The ratio of the slopes of our time and theirs, each through the medians at each size. A start takes the same time
    at all sizes, so it is in no slope."""
    ours, theirs = (slope([(size, median(measured[column] for measured in rounds)) for size, rounds in sizes.items()])
                    for column in (0, 1))
    return divide(ours, theirs)


def estimate(sizes):
    """The ratio of what was measured: {size: rounds}, of which rows without growth have one, 0."""
    return slope_ratio(sizes) if len(sizes) > 1 else ratio(next(iter(sizes.values())))


def interval(sizes):
    """Where the ratio lies with that confidence: the estimates for rounds that are drawn anew, with replacement, from
    those of each size. The same rounds always give the same interval."""
    source = random.Random(1)
    estimates = sorted(estimate({size: source.choices(rounds, k=len(rounds)) for size, rounds in sizes.items()})
                       for _ in range(RESAMPLES))
    left_out = round(RESAMPLES * (1 - CONFIDENCE) / 2)
    return estimates[left_out], estimates[-1 - left_out]


def judge(low, high, bound):
    """Whether the bound, 0 for none, is kept; not settled if it lies between the ends of the interval."""
    if not bound:
        return NO_BOUND
    if high <= bound:
        return KEPT
    return MISSED if low > bound else NOT_SETTLED
