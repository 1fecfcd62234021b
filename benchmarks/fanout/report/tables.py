"""Markdown of the figures."""

import goals
from figures import SERVERS, Place


def short(number):
    return f"{number:.0f}" if number >= 100 else f"{number:.1f}" if number >= 10 else f"{number:.2f}"


def entry(spread, scale=1):
    if not spread:
        return "–"
    return f"{short(spread.median / scale)} ({short(spread.least / scale)}–{short(spread.most / scale)})"


def ratio_entry(spread):
    return f"{spread.median:.2f} ({spread.least:.2f}–{spread.most:.2f})" if spread else "–"


def row(*cells):
    print("| " + " | ".join(str(cell) for cell in cells) + " |")


def head(title, names, texts=1):
    print(f"\n{title}\n" if title else "")
    row(*names)
    print("|" + "---|" * texts + "--:|" * (len(names) - texts))


def table(figures, title, mode, figure, scale=1000):
    head(title, ["load", "subscribers", *SERVERS])
    for place in figures.places(mode):
        row(place.load, place.subscribers, *(entry(figures.of(place, figure, kind), scale) for kind in SERVERS))


def ratios(figures, title, mode, figure):
    head(title, ["load", "subscribers", *(f"to {kind}" for kind in SERVERS[1:]), "spread"])
    for place in figures.places(mode):
        row(place.load, place.subscribers,
            *(ratio_entry(figures.ratio(place, figure, "module", kind)) for kind in SERVERS[1:]),
            ratio_entry(figures.ratio(place, figure, "minimal-again", "minimal")))


def percent(share):
    return "–" if share is None else f"{share:.2f}"


def cpu_and_skipped(figures):
    """A server that skips has less to send: its CPU is read beside what it skipped."""
    head("CPU of the server for each delivered message, paced (µs), and of a hundred messages those skipped:",
         ["load", "subscribers", *SERVERS])
    for place in figures.places("paced"):
        row(place.load, place.subscribers,
            *(f"{entry(figures.of(place, 'cpu', kind), 1000)}, {percent(goals.skipped(figures, place, kind))}"
              for kind in SERVERS))


def memory(figures):
    place = Place("memory", "W64", 1000)
    head("Resident memory for each subscriber, of 1000 (KiB):", ["server", "idle", "streaming"])
    for kind in SERVERS:
        row(kind, *(entry(figures.of(place, state, kind), 1024) for state in ("idle", "streaming")))
    for name, kind in (("module to minimal", "module"), ("spread", "minimal-again")):
        row(name, *(ratio_entry(figures.ratio(place, state, kind, "minimal")) for state in ("idle", "streaming")))


def instructions(figures):
    place = Place("callgrind", "W64", 64)
    if not figures.of(place, "instructions", "module"):
        return
    head("User instructions for each delivered message, W64, 64 subscribers, closed loop, counted by callgrind:",
         [*SERVERS[:3], "module to minimal", "spread"], 0)
    row(*(entry(figures.of(place, "instructions", kind)) for kind in SERVERS[:3]),
        ratio_entry(figures.ratio(place, "instructions", "module", "minimal")),
        ratio_entry(figures.ratio(place, "instructions", "minimal-again", "minimal")))


def at(place):
    return f"{place.load}, {place.subscribers}"


def verdict(mine, limit, minimal):
    """As minimal: a second minimal does no better. A goal below 1 asks for more than minimal."""
    if mine <= limit:
        return "met"
    return "as minimal" if limit >= 1 and mine <= minimal else "missed"


def goal_row(figures, goal):
    mine = goals.worst(figures, goal, "module")
    if not mine:
        return
    instead = goals.worst(figures, goal, "minimal-again" if goal.other == "minimal" else "minimal")
    row(goal.what, at(mine[1]), f"{goal.limit:.2f}", ratio_entry(mine[0]),
        f"{instead[0].median:.2f} at {at(instead[1])}" if instead else "–",
        verdict(mine[0].median, goal.limit, instead[0].median if instead and goal.other == "minimal" else 0))


def goal_table(figures):
    print("\nThe goals, as ratios; paced but where it says otherwise. Where one is for several places, the worst of their"
          "\nmedians counts. *Minimal instead* is the same with minimal, or a second one, in the module's place: what the"
          "\nlibrary or chance gives. *As minimal*: missed, but by no more than that.")
    head("", ["what", "place", "at most", "module", "minimal instead", ""], 2)
    for goal in goals.GOALS:
        goal_row(figures, goal)
    mean, instead = (goals.latency_mean(figures, kind) for kind in ("module", "minimal-again"))
    if mean:
        row("latency p50 to minimal, geometric mean", "all", f"{goals.LATENCY_MEAN_LIMIT:.2f}", f"{mean:.2f}",
            f"{instead:.2f}" if instead else "–", verdict(mean, goals.LATENCY_MEAN_LIMIT, instead or 0))
    skipping = goals.skipping_places(figures)
    row("messages skipped, where minimal skips none", f"to {goals.NEVER_SKIPPED_UP_TO}", "none",
        "; ".join(at(place) for place in skipping) or "none", "", "missed" if skipping else "met")
