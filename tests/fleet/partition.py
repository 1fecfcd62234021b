"""partition.py DEVHOST GATEWAY: a fleet of two machines is cut in two without a word and joined again. Each side goes on with what
it reaches; afterwards all is as before; nobody is shown anything older than what was shown."""
import contextlib
import os
import sys
import time
from pathlib import Path

from harness import check, device, folder, wait_for
from machines import machines, start_server
from watch import SOON, Watch, start_gateway, states

LONG = 8  # seconds, after which the servers have noticed

EVERYTHING = dict.fromkeys(("left", "right", "shared"), "live")


class Halves:
    """Two machines with a gateway each, and viewers of all devices at both."""

    def __init__(self, place, two, ends):
        (first, second), shared = two, f"shared=unix:{place}/shared"
        for name in EVERYTHING:
            ends.enter_context(device(f"unix:{place}/{name}"))
        for machine, other in ((first, second), (second, first)):
            ends.enter_context(start_server(place, machine, [other]))
        self.gateways = {"left": ends.enter_context(start_gateway(place, first, f"left=unix:{place}/left", shared)),
                         "right": ends.enter_context(start_gateway(place, second, f"right=unix:{place}/right", shared))}
        self.serve_everything("each machine serves all devices")
        self.viewers = {(side, name): ends.enter_context(Watch(gateway, name))
                        for side, gateway in self.gateways.items() for name in EVERYTHING}
        self.everything_is_fresh()
        self.line = second

    def serve_everything(self, what):
        for gateway in self.gateways.values():
            wait_for(lambda at=gateway: states(at) == EVERYTHING, what, SOON)

    def lose_the_other(self):
        for side, other in (("left", "right"), ("right", "left")):
            wait_for(lambda at=side, lost=other: states(self.gateways[at]) == EVERYTHING | {lost: "lost"},
                     f"what was cut off is lost on the {side}", SOON)

    def own_devices_go_on(self):
        for side in self.gateways:
            for name in (side, "shared"):
                self.viewers[side, name].goes_on(f"{name} goes on at the {side}")
                gap = self.viewers[side, name].silence()
                check(gap < 2, f"without a gap: {gap:.2f} s")

    def everything_is_fresh(self):
        for (side, name), viewer in self.viewers.items():
            viewer.goes_on(f"{name} goes on at the {side}")
            viewer.saw_nothing_older()
        for name in EVERYTHING:
            left, right = (self.viewers[side, name] for side in self.gateways)
            wait_for(lambda a=left, b=right: abs(a.counter() - b.counter()) < 15, f"both sides show the same of {name}")


def a_long_cut(halves):
    for viewer in halves.viewers.values():
        viewer.silence()
    halves.line.cut()
    begin = time.monotonic()
    halves.lose_the_other()
    print(f"ROW | what was cut off is lost everywhere after {time.monotonic() - begin:.1f} s")
    halves.own_devices_go_on()
    time.sleep(max(0, begin + LONG - time.monotonic()))
    halves.line.heal()
    begin = time.monotonic()
    halves.serve_everything("each machine serves all devices again")
    print(f"ROW | joined again, all states are right after {time.monotonic() - begin:.1f} s")
    halves.everything_is_fresh()


def a_short_cut(halves):
    """The servers do not notice it, and send what they still have."""
    halves.line.cut()
    halves.lose_the_other()
    halves.line.heal()
    halves.serve_everything("each machine serves all devices again, before the servers noticed")
    halves.everything_is_fresh()


if os.geteuid() != 0:
    sys.exit(77)  # skipped: networks are root's
with folder() as work, machines(2) as made, contextlib.ExitStack() as stack:
    both = Halves(Path(work), made, stack)
    a_long_cut(both)
    a_short_cut(both)
