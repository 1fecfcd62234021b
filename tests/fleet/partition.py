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


def main(place, two, ends):
    (first, second), shared = two, f"shared=unix:{place}/shared"
    for name in ("left", "right", "shared"):
        ends.enter_context(device(f"unix:{place}/{name}"))
    for machine, other in ((first, second), (second, first)):
        ends.enter_context(start_server(place, machine, [other]))
    left = ends.enter_context(start_gateway(place, first, f"left=unix:{place}/left", shared))
    right = ends.enter_context(start_gateway(place, second, f"right=unix:{place}/right", shared))
    everything = dict.fromkeys(("left", "right", "shared"), "live")
    for gateway in (left, right):
        wait_for(lambda at=gateway: states(at) == everything, "each machine serves all devices", SOON)
    watches = {(side, name): Watch(gateway, name) for side, gateway in (("left", left), ("right", right)) for name in everything}

    second.cut()
    wait_for(lambda: states(left) == everything | {"right": "lost"}, "what was cut off is lost on the left", SOON)
    wait_for(lambda: states(right) == everything | {"left": "lost"}, "and on the right", SOON)
    for own in (("left", "left"), ("left", "shared"), ("right", "right"), ("right", "shared")):
        watches[own].goes_on(f"{own[1]} goes on at the {own[0]}")
        check(watches[own].gap < 2, f"without a gap: {watches[own].gap:.2f} s")

    second.heal()
    begin = time.monotonic()
    for gateway in (left, right):
        wait_for(lambda at=gateway: states(at) == everything, "each machine serves all devices again", SOON)
    print(f"ROW | after a cut all states are right in {time.monotonic() - begin:.1f} s")
    for (side, name), watch in watches.items():
        watch.goes_on(f"{name} goes on at the {side}")


if os.geteuid() != 0:
    sys.exit(77)  # skipped: networks are root's
with folder() as work, machines(2) as made, contextlib.ExitStack() as stack:
    main(Path(work), made, stack)
