"""A listener that does not read is disconnected, and delays nobody; when it comes back it gets what is new."""
import pathlib
import tempfile
import time

from client import gateway, listener
from programs import PATIENCE, check
from servers import Server, free_ports

SUBJECT = "corvalux.v1.desk.fast"
LARGE = 500_000 * "x"


def main(folder):
    port, = free_ports(1)
    with Server(folder, port) as server, gateway(port) as source, listener(port) as friend, listener(port) as slow:
        for each in (friend, slow):
            each.say(f"SUB {SUBJECT} 1")
        end, longest = time.monotonic() + PATIENCE, 0
        while not server.count("errors", "Slow Consumer") and time.monotonic() < end:
            begin = time.monotonic()
            source.publish(SUBJECT, LARGE)
            friend.next()
            longest = max(longest, time.monotonic() - begin)
        server.wait_for("disconnects a listener that does not read", "errors", "Slow Consumer")
        check(longest < 1, f"and the others wait for it no longer than {longest:.3f} s")
        with listener(port) as back:
            back.say(f"SUB {SUBJECT} 1")
            source.publish(SUBJECT, "new")
            check(back.next() == (SUBJECT, "new"), "when it comes back it gets what is new")


with tempfile.TemporaryDirectory() as name:
    main(pathlib.Path(name))
