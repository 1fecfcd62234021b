"""The figures that corvalux-bench-fanout writes: round,server,subscribers,load,mode,figure,value."""

import collections
import csv
import statistics

SERVERS = ["module", "minimal", "ordinary", "floor", "mosquitto", "nats-server", "redis-server"]
LOADS = ["WS", "W64", "WL"]
SUBSCRIBERS = [1, 8, 64, 256, 1000]

# The conditions of a measurement.
Place = collections.namedtuple("Place", "mode load subscribers")
# Over the rounds.
Spread = collections.namedtuple("Spread", "median least most")


def spread_of(values):
    return Spread(statistics.median(values), min(values), max(values)) if values else None


class Figures:
    def __init__(self, files):
        self.values = collections.defaultdict(dict)  # by place, figure and server: the round's value
        for file in files:
            with open(file, newline="", encoding="utf-8") as lines:
                for row in csv.DictReader(lines):
                    place = Place(row["mode"], row["load"], int(row["subscribers"]))
                    self.values[place, row["figure"], row["server"]][int(row["round"])] = float(row["value"])

    def rounds(self):
        return max(max(values) for values in self.values.values())

    def places(self, mode, loads=None, subscribers=None):
        """Those where the module was measured, in the order of the tables."""
        measured = {place for place, _, server in self.values if server == "module" and place.mode == mode}
        wanted = (Place(mode, load, count) for load in loads or LOADS for count in subscribers or SUBSCRIBERS)
        return [place for place in wanted if place in measured]

    def of(self, place, figure, server):
        return spread_of(list(self.values.get((place, figure, server), {}).values()))

    def ratios(self, place, figure, server, other):
        """A ratio compares figures of the same round."""
        mine, others = (self.values.get((place, figure, kind), {}) for kind in (server, other))
        return [mine[r] / others[r] for r in mine if others.get(r)]

    def ratio(self, place, figure, server, other):
        return spread_of(self.ratios(place, figure, server, other))
