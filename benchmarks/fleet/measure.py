"""measure.py DEVHOST GATEWAY PLAIN FOLDER ROUNDS [SECONDS]: what gateways with 200 devices need, and what publishing costs one.

Appends to FOLDER/figures.csv, as corvalux-bench-fleet writes it: round,server,subscribers,load,mode,figure,value. For the
number of subscribers it has that of devices. Prints what it waited for.
"""
import contextlib
import csv
import pathlib
import subprocess
import sys
import time

from fleet_harness import Server
from harness import DEVHOST, GATEWAY, Gateway, folder, host, wait_for
from programs import ROOT

PLAIN, RESULTS, ROUNDS = sys.argv[3], pathlib.Path(sys.argv[4]), int(sys.argv[5])
SECONDS = int((sys.argv[6:] or [8])[0])  # of a measurement; metrics are made once a second
SETTLING = 3
ENGINES = 8  # so that the devices' messages do not all come at the same time
CHANNELS = 24  # 4 KB


def cpu(program):
    """Seconds of all its threads so far, by the process's own clock."""
    return time.clock_gettime(~program.process.pid << 3 | 2)


def memory(program):
    return int(pathlib.Path(f"/proc/{program.process.pid}/statm").read_text().split()[1]) * 4096


class Table:
    def __init__(self, file, mode, devices):
        self.rows, self.mode, self.devices = csv.writer(file), mode, devices

    def add(self, number, server, **figures):
        for figure, value in figures.items():
            self.rows.writerow([number, server, self.devices, "devhost", self.mode, figure, value])


class Window:
    """What programs need while its block runs, after it has ended; and how much a series of a gateway grew."""

    def __init__(self, gateway, series, *programs):
        self.gateway, self.series, self.programs = gateway, series, programs

    def sums(self):
        time.sleep(1.1)  # metrics are made once a second
        return [self.gateway.metric(self.series), time.monotonic(), *map(cpu, self.programs)]

    def __enter__(self):
        self.before = self.sums()
        return self

    def __exit__(self, *_):
        count, took, *used = (after - before for after, before in zip(self.sums(), self.before))
        self.rate = count / took
        self.cores = [each / took for each in used]


def engines(root, stack, count, hz):
    """Addresses of engines whose devices send fast meters alone, with memory for many gateways."""
    places = [f"unix:{root}/{number}" for number in range(count)]
    options = ["--log-level", "4", "--channels", CHANNELS, "--fast-hz", hz, "--slow-hz", 0, "--changes-hz", 0]
    hosts = [stack.enter_context(host(DEVHOST, place, *options, "--set", "grpc_memory_kb=400000")) for place in places]
    return places, hosts


def devices(places, count):
    return [f"d{number}={places[number % len(places)]}" for number in range(count)]


def speaks(gateway, count):
    wait_for(lambda: gateway.metric("corvalux_fleet_speaking") == count, "the gateway speaks for its devices")
    time.sleep(SETTLING)


def rack(root, file, count=200, hz=25):
    """A gateway of so many devices, and another one that gets them from it."""
    table = Table(file, "rack", count)
    with contextlib.ExitStack() as stack, Server() as nats:
        places, _ = engines(root, stack, ENGINES, hz)
        edge = stack.enter_context(nats.gateway("edge"))
        alpha = stack.enter_context(nats.gateway("alpha", *devices(places, count)))
        speaks(alpha, count)
        programs = {"publishing": alpha, "receiving": edge, "nats-server": nats.program}
        for number in range(1, ROUNDS + 1):
            with Window(edge, "corvalux_fleet_received_total", *programs.values()) as window:
                time.sleep(SECONDS)
            for (name, program), cores in zip(programs.items(), window.cores):
                table.add(number, name, cores=cores, memory=memory(program))
            table.add(number, "receiving", delivered=window.rate / (count * hz))


def plain(nats, count, together, hz):
    """The C client's CPU time of a message, ns: so many devices have theirs at the same time."""
    command = [PLAIN, nats.url, count, together, hz, max(1, SECONDS // 2)]
    return float(subprocess.run([str(word) for word in command], check=True, capture_output=True, text=True).stdout)


def publishing(root, file, mode, count, hz, sources):
    """The same gateway with a fleet and without, and the plain client at the same pace, all at once."""
    table = Table(file, mode, count)
    with contextlib.ExitStack() as stack, Server() as nats:
        places, _ = engines(root, stack, sources, hz)
        lone = stack.enter_context(Gateway(*devices(places, count)))
        alpha = stack.enter_context(nats.gateway("alpha", *devices(places, count)))
        speaks(alpha, count)
        for number in range(1, ROUNDS + 1):
            with Window(alpha, "corvalux_fleet_published_total", alpha, lone) as window:
                together = plain(nats, count, count // sources, hz)
                singly = plain(nats, count, 1, hz)
            with_fleet, without = window.cores
            table.add(number, "plain", message=together)
            table.add(number, "plain-singly", message=singly)
            table.add(number, "gateway", message=(with_fleet - without) / window.rate * 1e9,
                      following=without / (count * hz) * 1e9, published=window.rate)


def gaps(file):
    """The rows of a test: `ROW | what | 1.23 s`. It fails when a viewer was shown anything older; 77 without root."""
    table = Table(file, "gaps", 1)
    for number in range(1, 1 + max(1, ROUNDS // 3)):
        test = [sys.executable, "-B", ROOT / "tests/fleet/failover.py", DEVHOST, GATEWAY]
        done = subprocess.run(test, capture_output=True, text=True, check=False)
        if done.returncode == 77:
            return
        done.check_returncode()
        for line in done.stdout.splitlines():
            if line.startswith("ROW | "):
                _, what, gap = line.split(" | ")
                table.add(number, what, gap=gap.removesuffix(" s"))


with folder() as place, open(RESULTS / "figures.csv", "a", newline="", encoding="utf-8") as figures:
    rack(place, figures)
    publishing(place, figures, "many", 200, 25, ENGINES)
    publishing(place, figures, "one", 1, 500, 1)
    gaps(figures)
