"""failover.py DEVHOST GATEWAY: two machines were given the same device, a third one has its viewers. Gateway and server of the one
that speaks are killed and frozen: the viewer's gap is short, and nothing older than before is shown."""
import contextlib
import os
import signal
import sys
from pathlib import Path

from fleet_harness import LONGEST_GAP
from harness import check, device, folder, wait_for
from machines import machines, start_server
from watch import SOON, Watch, gap_of, start_gateway, states


class Site:
    """The machines with their programs."""

    def __init__(self, place, three, ends):
        self.place, self.ends = place, ends
        self.machines = {machine.number: machine for machine in three}
        self.servers = {number: self.enter(self.server(number)) for number in self.machines}
        self.gateways = {number: self.enter(self.gateway(number)) for number in self.machines}
        self.front = self.gateways[3]

    def enter(self, program):
        return self.ends.enter_context(program)

    def server(self, number):
        others = [machine for machine in self.machines.values() if machine.number != number]
        return start_server(self.place, self.machines[number], others)

    def gateway(self, number):
        devices = [f"desk=unix:{self.place}/desk"] if number < 3 else []
        return start_gateway(self.place, self.machines[number], *devices)

    def speaker(self):
        """The machine that the third one follows: "via rack-N"."""
        return int(self.front.summary()["address"].rpartition("-")[2])

    def settles(self):
        for number, gateway in self.gateways.items():
            wait_for(lambda at=gateway: states(at) == {"desk": "live"}, f"machine {number} serves the device", SOON)


def row(fault, gap):
    print(f"ROW | {fault} | {gap:.2f} s")
    return gap


def gateway_is_killed(site, viewer):
    number = site.speaker()
    gap = gap_of(viewer, site.gateways[number].process.kill, "another gateway takes over")
    check(site.speaker() != number, "which the viewer's gateway names")
    check(row("the gateway that speaks is killed", gap) <= LONGEST_GAP, "soon")
    site.gateways[number] = site.enter(site.gateway(number))
    site.settles()
    viewer.goes_on("nothing happens when it is back")


def gateway_is_frozen(site, viewer):
    number = site.speaker()
    process = site.gateways[number].process
    gap = gap_of(viewer, lambda: process.send_signal(signal.SIGSTOP), "another gateway takes over from a frozen one")
    check(row("the gateway that speaks is frozen", gap) <= LONGEST_GAP, "soon")
    gap = gap_of(viewer, lambda: process.send_signal(signal.SIGCONT), "it goes on when that one does")
    check(row("it goes on", gap) <= LONGEST_GAP, "soon")
    site.settles()


def server_is_killed(site, viewer, numbers):
    def kill_and_start():
        for number in numbers:
            site.servers[number].end(signal.SIGKILL)
        for number in numbers:  # as the unit does
            site.servers[number] = site.enter(site.server(number))
    gap = gap_of(viewer, kill_and_start, "it goes on without a server")
    check(row(f"NATS servers killed and started again: {len(numbers)}", gap) < 4, "soon")
    site.settles()


if os.geteuid() != 0:
    sys.exit(77)  # skipped: networks are root's
with folder() as work, machines(3) as made, contextlib.ExitStack() as stack, device(f"unix:{work}/desk"):
    fleet = Site(Path(work), made, stack)
    fleet.settles()
    watch = stack.enter_context(Watch(fleet.front))
    watch.goes_on("a viewer at the third machine has values")
    gateway_is_killed(fleet, watch)
    gateway_is_frozen(fleet, watch)
    server_is_killed(fleet, watch, [fleet.speaker()])
    server_is_killed(fleet, watch, [1, 2, 3])
