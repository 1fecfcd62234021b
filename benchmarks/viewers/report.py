"""report.py FOLDER: prints the tables of the figures in a folder, as corvalux-bench-viewers writes them, as Markdown."""

import collections
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "fanout/report"))
from figures import Figures, Place, spread_of  # noqa: E402
from tables import entry, head, ratio_entry, row  # noqa: E402

SERVERS = ["gateway", "gateway-tcp", "frames", "frames-acks", "mosquitto", "nats-server", "module"]
COUNTS = [64, 256, 1000]
MS, US, KIB = 1e6, 1e3, 1024

# A limit on a figure of the gateway, or on its ratio to another server's; for several counts the worst median counts.
Goal = collections.namedtuple("Goal", "what limit mode counts figure other unit")
GOALS = [
    *(Goal("CPU an update to the floor", limit, "paced", [count], "cpu", "frames", 1)
      for count, limit in ((64, 1.4), (256, 1.5), (1000, 1.7))),
    *(Goal("the same without what it needs to follow the device", limit, "paced", [count], "handout", "frames", 1)
      for count, limit in ((64, 1.4), (256, 1.5), (1000, 1.7))),
    Goal("CPU an update to nats-server", 0.60, "paced", COUNTS, "cpu", "nats-server", 1),
    Goal("CPU an update to mosquitto", 1.05, "paced", COUNTS, "cpu", "mosquitto", 1),
    Goal("latency p50 to the module", 1.0, "paced", COUNTS, "latency50", "module", 1),
    Goal("memory a viewer, idle, KiB", 8, "memory", [1000], "idle", None, KIB),
    Goal("memory a viewer, streaming, KiB", 8, "memory", [1000], "streaming", None, KIB),
    Goal("all present values after subscribing, 20 viewers stalled, ms", 200, "stalled", [64], "join", None, MS),
    Goal("longest gap of a healthy viewer, 20 viewers stalled, ms", 40, "stalled", [64], "gap", None, MS),
]


def place(mode, count):
    return Place(mode, "W64", count)


def measured(figures, mode):
    counts = sorted({at.subscribers for at, _, _ in figures.values if at.mode == mode})
    return [place(mode, count) for count in counts]


def handout_ratio(figures, at):
    """Of handing out alone; the floor does nothing else."""
    mine, floor = figures.values.get((at, "handout", "gateway"), {}), figures.values.get((at, "cpu", "frames"), {})
    return spread_of([mine[r] / floor[r] for r in mine if r in floor])


def seen(figures, goal, at):
    if goal.figure == "handout":
        return handout_ratio(figures, at)
    if goal.other:
        return figures.ratio(at, goal.figure, "gateway", goal.other)
    return figures.of(at, goal.figure, "gateway")


def goal_row(figures, goal):
    spreads = [(spread, count) for count in goal.counts if (spread := seen(figures, goal, place(goal.mode, count)))]
    if not spreads:
        return
    worst, count = max(spreads, key=lambda each: each[0].median)
    value = ratio_entry(worst) if goal.other else entry(worst, goal.unit)
    row(goal.what, count, f"{goal.limit:g}", value, "met" if worst.median / goal.unit <= goal.limit else "missed")


def table(figures, title, mode, figure, unit, servers=None):
    head(title, ["viewers", *(servers or SERVERS)])
    for at in measured(figures, mode):
        row(at.subscribers, *(entry(figures.of(at, figure, kind), unit) for kind in servers or SERVERS))


def ratios(figures, title, figure):
    others = SERVERS[1:]
    head(title, ["viewers", *(f"to {kind}" for kind in others), "spread"])
    for at in measured(figures, "paced"):
        row(at.subscribers, *(ratio_entry(figures.ratio(at, figure, "gateway", kind)) for kind in others),
            ratio_entry(figures.ratio(at, figure, "frames-again", "frames")))


def main(folder):
    figures = Figures([folder / "figures.csv"])
    print(f"Medians of {figures.rounds()} rounds, with the least and the most.")
    head("", ["what", "viewers", "at most", "gateway", ""])
    for goal in GOALS:
        goal_row(figures, goal)
    table(figures, "CPU of the server for each delivered message (µs):", "paced", "cpu", US)
    table(figures, "What it needs to follow the device, for each event, measured without viewers (µs):", "paced", "alone", US, SERVERS[:2])
    ratios(figures, "The gateway's as a ratio; spread is what a second floor gives to the first:", "cpu")
    table(figures, "Latency from the event to the viewer, p50 (µs):", "paced", "latency50", US)
    table(figures, "The same, p99 (µs):", "paced", "latency99", US)
    table(figures, "Of the messages, the share that came; the rest was merged:", "paced", "delivered", 1)
    table(figures, "Longest time without a message of any of 64 viewers, while 20 others read nothing (ms):", "stalled",
          "gap", MS)
    for state in ("idle", "streaming"):
        table(figures, f"Resident memory for each viewer, {state} (KiB):", "memory", state, KIB)


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]))
