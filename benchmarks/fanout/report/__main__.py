"""report FOLDER: prints the tables of the figures in a folder as Markdown, and writes the data of the plots there."""

import pathlib
import sys

import tables
from figures import LOADS, SERVERS, SUBSCRIBERS, Figures, Place

PERCENTS = ["1", "5", "10", "25", "50", "75", "90", "95", "99", "99.9"]


def write_curve(file, figures, places, figure, server):
    """By subscribers: median, least and most, in µs."""
    points = [(place.subscribers, figures.of(place, figure, server)) for place in places]
    lines = [f"{count} {seen.median / 1000} {seen.least / 1000} {seen.most / 1000}\n" for count, seen in points if seen]
    if lines:
        file.write_text("".join(lines), encoding="utf-8")


def write_latencies(file, figures, server):
    place = Place("paced", "W64", 64)
    points = [(figures.of(place, f"latency{percent}", server), percent) for percent in PERCENTS]
    lines = [f"{seen.median / 1000} {percent}\n" for seen, percent in points if seen]
    if lines:
        file.write_text("".join(lines), encoding="utf-8")


def write_plots(folder, figures):
    for server in SERVERS:
        for load in LOADS:
            places = figures.places("paced", [load], SUBSCRIBERS)
            write_curve(folder / f"cost.{load}.{server}", figures, places, "cpu", server)
            write_curve(folder / f"held.{load}.{server}", figures, places, "held50", server)
        write_latencies(folder / f"latency.{server}", figures, server)


def print_paced(figures):
    tables.cpu_and_skipped(figures)
    tables.ratios(figures, "As a ratio; spread is what a second minimal gives to the first:", "paced", "cpu")
    tables.table(figures, "Engine's thread held for each event, paced, p50 (µs):", "paced", "held50")
    tables.ratios(figures, "As a ratio:", "paced", "held50")
    tables.table(figures, "The same, p99.9 (µs):", "paced", "held99.9")
    tables.ratios(figures, "As a ratio:", "paced", "held99.9")
    tables.table(figures, "Latency from the event to the client, paced, p50 (µs):", "paced", "latency50")
    tables.ratios(figures, "As a ratio:", "paced", "latency50")
    tables.table(figures, "The same, p99 (µs):", "paced", "latency99")


def print_closed(figures):
    tables.table(figures, "CPU of the server for each delivered message, closed loop (µs):", "closed", "cpu")
    tables.ratios(figures, "As a ratio:", "closed", "cpu")
    tables.table(figures, "Engine's thread held for each event, closed loop, p50 (µs):", "closed", "held50")
    tables.table(figures, "Latency, closed loop, p99 (µs):", "closed", "latency99")


def main(folder):
    figures = Figures(sorted(folder.glob("figures*.csv")) + sorted(folder.glob("instructions*.csv")))
    print(f"Medians of {figures.rounds()} rounds, with the least and the most.")
    tables.goal_table(figures)
    print_paced(figures)
    if figures.places("closed"):
        print_closed(figures)
    tables.memory(figures)
    tables.instructions(figures)
    write_plots(folder, figures)


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]))
