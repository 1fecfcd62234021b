"""The module's cost goals, and whether it meets them."""

import collections
import statistics

from figures import LOADS, SUBSCRIBERS

# A limit on the ratio of the module's figure to another server's. For several places, the worst median counts.
Goal = collections.namedtuple("Goal", "what limit mode loads subscribers figure other")


def _paced(what, load, figure, other, limits):
    return [Goal(what, limit, "paced", [load], [count], figure, other) for count, limit in limits.items()]


GOALS = [
    *_paced("CPU a message to minimal", "W64", "cpu", "minimal", {1: 1.00, 8: 0.92, 64: 0.72, 256: 0.78, 1000: 0.70}),
    *_paced("CPU a message to minimal", "WL", "cpu", "minimal", {64: 0.85}),
    *_paced("CPU a message to nats-server", "W64", "cpu", "nats-server", {64: 0.90, 256: 0.88}),
    *_paced("CPU a message to nats-server", "WL", "cpu", "nats-server", {64: 0.45}),
    *_paced("engine thread held to minimal, p50", "W64", "held50", "minimal", {64: 0.88, 1000: 0.75}),
    Goal("engine thread held to minimal, p99.9", 1.00, "paced", LOADS, SUBSCRIBERS, "held99.9", "minimal"),
    Goal("latency p50 to minimal, worst place", 1.25, "paced", LOADS, SUBSCRIBERS, "latency50", "minimal"),
    Goal("CPU a message to minimal, closed loop", 1.00, "closed", LOADS, SUBSCRIBERS, "cpu", "minimal"),
    Goal("user instructions a message to minimal", 1.03, "callgrind", ["W64"], [64], "instructions", "minimal"),
    Goal("memory a subscriber to minimal, idle", 1.05, "memory", ["W64"], [1000], "idle", "minimal"),
    Goal("memory a subscriber to minimal, streaming", 1.05, "memory", ["W64"], [1000], "streaming", "minimal"),
]
LATENCY_MEAN_LIMIT = 1.05
NEVER_SKIPPED_UP_TO = 256


def worst(figures, goal, server):
    """The greatest median and where it is; None where nothing was measured."""
    seen = [(figures.ratio(place, goal.figure, server, goal.other), place)
            for place in figures.places(goal.mode, goal.loads, goal.subscribers)]
    seen = [entry for entry in seen if entry[0]]
    return max(seen, key=lambda entry: entry[0].median) if seen else None


def latency_mean(figures, server):
    """The geometric mean of the median latencies' ratios to minimal, over all paced places."""
    ratios = [figures.ratio(place, "latency50", server, "minimal") for place in figures.places("paced")]
    ratios = [ratio.median for ratio in ratios if ratio]
    return statistics.geometric_mean(ratios) if ratios else None


def skipped(figures, place, server):
    """How many of a hundred paced messages never came, over all rounds."""
    shares = figures.values.get((place, "delivered", server), {}).values()
    return 100 * (1 - statistics.fmean(shares)) if shares else None


def skipping_places(figures):
    """Where the module skips more than minimal, of those where none shall."""
    places = [place for place in figures.places("paced") if place.subscribers <= NEVER_SKIPPED_UP_TO]
    return [place for place in places
            if (skipped(figures, place, "module") or 0) > max(skipped(figures, place, kind) or 0
                                                              for kind in ("minimal", "minimal-again"))]
