"""A device that answers no more is stale at once and lost within 15 s, whether it was stopped or the network swallows
its packets: silence.py DEVHOST GATEWAY [swallowed]"""
import contextlib
import os
import signal
import subprocess
import sys
import time

from harness import DEVHOST, Gateway, Program, check, device, folder

DEVICE, NEIGHBOUR = (f"corvalux-{side}-{os.getpid()}" for side in ("device", "neighbour"))


def run(*words):
    subprocess.run(words, check=True)


def shows_as_lost(gateway, go_silent, come_back):
    gateway.wait_until("live")
    with gateway.events("?streams=fast&keys=counter") as events:
        begin = time.monotonic()
        go_silent()
        stale = events.until("state")
        check(stale["state"] == "stale" and stale["reason"].startswith("no "), f"stale: {stale['reason']}")
        check(time.monotonic() - begin < 4, "soon")
        lost = events.until("state")
        check(lost["state"] == "lost", f"lost: {lost['reason']}")
        check(time.monotonic() - begin < 15, f"within 15 s: after {time.monotonic() - begin:.1f} s")
        come_back()
        check(events.until("state", lambda data: data["state"] == "live"), "live again when it answers again")


def stopped():
    with folder() as place, device(f"unix:{place}/desk") as desk, Gateway(f"desk=unix:{place}/desk") as gateway:
        shows_as_lost(gateway, lambda: desk.process.send_signal(signal.SIGSTOP),
                      lambda: desk.process.send_signal(signal.SIGCONT))


@contextlib.contextmanager
def two_machines():
    """Networks of a device, 192.0.2.1, and of the gateway, 192.0.2.2, with a link between them."""
    with contextlib.ExitStack() as ends:
        for name in (DEVICE, NEIGHBOUR):
            run("ip", "netns", "add", name)
            ends.callback(run, "ip", "netns", "del", name)
        run("ip", "-n", DEVICE, "link", "add", "veth", "type", "veth", "peer", "name", "veth", "netns", NEIGHBOUR)
        for name, address in ((DEVICE, "192.0.2.1/24"), (NEIGHBOUR, "192.0.2.2/24")):
            run("ip", "-n", name, "addr", "add", address, "dev", "veth")
            run("ip", "-n", name, "link", "set", "veth", "up")
        yield


def swallowed():
    if os.geteuid() != 0:
        sys.exit(77)  # skipped: networks are root's

    def nft(rules):
        run("ip", "netns", "exec", DEVICE, "nft", rules)
    with folder() as place, two_machines(), \
            Program("ip", "netns", "exec", DEVICE, DEVHOST, "--set", "serverUrl=0.0.0.0:50005") as desk:
        desk.wait_for("serves", "output", "serves")
        inside = ["ip", "netns", "exec", NEIGHBOUR]
        with Gateway("desk=192.0.2.1", listen=f"unix:{place}/gateway", before=inside) as gateway:
            shows_as_lost(gateway, lambda: nft(
                "add table inet swallow; add chain inet swallow arriving { type filter hook input priority 0; policy drop; };"
                "add chain inet swallow leaving { type filter hook output priority 0; policy drop; }"),
                          lambda: nft("delete table inet swallow"))


swallowed() if sys.argv[3:] == ["swallowed"] else stopped()
