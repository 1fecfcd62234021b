"""report.py FOLDER: prints the tables of the figures in a folder, as `scripts/benchmark --fleet` collects them, as Markdown."""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "fanout/report"))
from figures import Figures, Place, spread_of  # noqa: E402
from tables import entry, head, ratio_entry, row  # noqa: E402

MS, US, MB = 1e6, 1e3, 1e6
DEVICES = 200
RACK = Place("rack", "devhost", DEVICES)
MODES = {"many": (Place("many", "devhost", DEVICES), "200 devices, 25 a second each"),
         "one": (Place("one", "devhost", 1), "1 device, 500 a second")}
FAULTS = {"its device's gateway is killed": "the gateway that speaks is killed",
          "a NATS server is killed": "NATS servers killed and started again: 1"}


def engine(viewers):
    return Place("paced", "W64", viewers)


class Report:
    def __init__(self, folder):
        self.figures = Figures([folder / "figures.csv"])
        self.viewers = max((at.subscribers for at, _, server in self.figures.values if server == "fleet"), default=0)

    def rounds_of(self, place, figure, server):
        return self.figures.values.get((place, figure, server), {})

    def held_ratio(self, figure, server, viewers):
        """Of the same round."""
        mine, direct = self.rounds_of(engine(viewers), figure, server), self.rounds_of(engine(1), figure, "direct")
        return spread_of([mine[number] / direct[number] for number in mine if number in direct])

    def growth(self, server):
        """Of memory from the first round to the last."""
        sizes = self.rounds_of(RACK, "memory", server)
        return spread_of([sizes[max(sizes)] / sizes[min(sizes)]]) if sizes else None

    def goal(self, what, limit, spread, unit=None):
        """A ratio, unless it has a unit."""
        if not spread:
            return
        value = entry(spread, unit) if unit else ratio_entry(spread)
        row(what, f"{limit:g}", value, "met" if spread.median / (unit or 1) <= limit else "missed")

    def goals(self):
        figures = self.figures
        head("", ["what", "at most", "measured", ""])
        self.goal(f"engine's thread held with {self.viewers} viewers at three gateways, to one subscriber and no gateway",
                  1.05, self.held_ratio("held50", "fleet", self.viewers))
        self.goal(f"a gateway that publishes {DEVICES} devices, cores", 1, figures.of(RACK, "cores", "publishing"), 1)
        self.goal("its memory at the end, to that at the beginning", 1.05, self.growth("publishing"))
        self.goal("from gateway to gateway, added latency p50, ms", 1, figures.of(engine(3), "added50", "fleet"), MS)
        for place, name in MODES.values():
            self.goal(f"publishing a message, to the plain client's: {name}", 1.2,
                      figures.ratio(place, "message", "gateway", "plain"))
        for what, name in FAULTS.items():
            self.goal(f"viewer's gap when {what}, s; nothing older is shown", 2,
                      figures.of(Place("gaps", "devhost", 1), "gap", name), 1)

    def engine_table(self):
        head("The engine's thread for an event, p50 (µs), and the share of messages that came to the viewers:",
             ["subscriber of the engine", "held", "its CPU time", "held, as a ratio", "came"])
        lines = [("one, no gateway", "direct", 1), ("the same again", "direct-again", 1),
                 ("gateway of a fleet, 3 viewers", "fleet", 3),
                 (f"gateway of a fleet, {self.viewers} viewers", "fleet", self.viewers)]
        for name, server, viewers in lines:
            held, cpu, came = (self.figures.of(engine(viewers), figure, server)
                               for figure in ("held50", "heldcpu50", "delivered"))
            row(name, entry(held, US), entry(cpu, US), ratio_entry(self.held_ratio("held50", server, viewers)),
                ratio_entry(came))

    def rack_table(self):
        head(f"{DEVICES} devices of 4 KB, 25 a second:", ["program", "cores", "MB", "its growth"])
        names = {"publishing": "gateway that follows the devices and publishes them",
                 "receiving": "gateway that gets them from NATS", "nats-server": "nats-server"}
        for server, name in names.items():
            row(name, entry(self.figures.of(RACK, "cores", server)), entry(self.figures.of(RACK, "memory", server), MB),
                ratio_entry(self.growth(server)))
        share = self.figures.of(RACK, "delivered", "receiving")
        print(f"\nShare of the messages that came there: {ratio_entry(share)}.")

    def publishing_table(self):
        head("CPU for a message (µs):", ["messages", "to follow the device", "to publish it, in addition", "plain client",
                                        "plain client, one at a time", "published a second"])
        for place, name in MODES.values():
            of = self.figures.of
            servers = [("following", "gateway"), ("message", "gateway"), ("message", "plain"), ("message", "plain-singly")]
            row(name, *(entry(of(place, *each), US) for each in servers), entry(of(place, "published", "gateway")))

    def latency_table(self):
        head("Latency from the event to three viewers, one at each gateway, and how much later at the second (ms):",
             ["", "p50", "p99"])
        for name, figure in (("all three", "latency"), ("added", "added")):
            row(name, *(entry(self.figures.of(engine(3), figure + share, "fleet"), MS) for share in ("50", "99")))


def main(folder):
    report = Report(folder)
    print(f"Medians of {report.figures.rounds()} rounds, with the least and the most.")
    report.goals()
    report.engine_table()
    report.rack_table()
    report.publishing_table()
    report.latency_table()


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]))
