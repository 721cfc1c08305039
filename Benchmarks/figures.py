"""The statistics of the benchmarks. Times are lists, one value for each round; all programs of a round ran in turn."""

import math
import random
from statistics import median

RESAMPLES = 1000
# With some fifty rows, an interval that misses once in twenty would decide two or three of them wrongly in each run.
CONFIDENCE = 0.99

KEPT, MISSED, NOT_SETTLED, NO_BOUND = "kept", "missed", "not settled", ""


def divide(dividend, divisor):
    """Without end where noise has left nothing of the divisor."""
    return dividend / divisor if divisor > 0 else math.inf


def ratio(rounds):
    """The median of the rounds' ratios, each of (ours, theirs). Where each round also has the time of their mere start,
    it is the ratio of the medians of our time and of theirs less that of the start, as the difference within one round
    can be next to nothing."""
    if len(rounds[0]) == 2:
        return median(divide(ours, theirs) for ours, theirs in rounds)
    return divide(median(ours for ours, _, _ in rounds), median(theirs - start for _, theirs, start in rounds))


def slope(points):
    """The slope of the line through (size, time) that has the least squares."""
    middle = sum(size for size, _ in points) / len(points)
    return (sum((size - middle) * time for size, time in points) /
            sum((size - middle) ** 2 for size, _ in points))


def slope_ratio(sizes):
    """The ratio of the slopes of our time and theirs, each through the medians at all sizes. The time of a start is not
    subtracted: the same at all sizes, it is in no slope."""
    ours, theirs = (slope([(size, median(measured[column] for measured in rounds)) for size, rounds in sizes.items()])
                    for column in (0, 1))
    return divide(ours, theirs)


def estimate(sizes):
    """The ratio of what was measured: {size: rounds}, of which rows without growth have one, 0."""
    return slope_ratio(sizes) if len(sizes) > 1 else ratio(next(iter(sizes.values())))


def draw(source, rounds):
    """As many rounds, drawn with replacement. Neighbours are drawn together: a load lasts for several rounds, and these
    tell less than as many rounds at other times."""
    length = math.isqrt(len(rounds))
    starts = source.choices(range(len(rounds)), k=math.ceil(len(rounds) / length))
    return [rounds[(start + index) % len(rounds)] for start in starts for index in range(length)][:len(rounds)]


def interval(sizes):
    """Where the ratio lies with that confidence: the estimates for rounds that are drawn anew from those of each size
    (block bootstrap). The same rounds always give the same interval."""
    source = random.Random(1)
    estimates = sorted(estimate({size: draw(source, rounds) for size, rounds in sizes.items()})
                       for _ in range(RESAMPLES))
    left_out = round(RESAMPLES * (1 - CONFIDENCE) / 2)
    return estimates[left_out], estimates[-1 - left_out]


def judge(low, high, bound):
    """Whether the bound, 0 for none, is kept; not settled if it lies in the interval."""
    if not bound:
        return NO_BOUND
    if high <= bound:
        return KEPT
    # Without an end, their time is lost in that of their start.
    return MISSED if low > bound and high < math.inf else NOT_SETTLED
