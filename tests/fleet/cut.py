"""A machine of three is cut off without a word: both sides notice, the others go on, also with the messages of 200 devices, and
when it is back it gets what is new and nothing of what was published meanwhile."""
import os
import pathlib
import sys
import tempfile
import threading
import time

from machines import machines, start_server
from programs import PATIENCE, check
from traffic import DEVICES, Friend, publish

SUBJECT = "corvalux.v1.desk.fast"


class Traffic:
    """Numbers that a client on one machine publishes, and listeners on others hear."""

    def __init__(self, source, hearers):
        self.source, self.hearers, self.number = source, hearers, 0
        for hearer in hearers:
            hearer.say(f"SUB {SUBJECT} 1")

    def until(self, condition, what):
        """Publishes 25 a second until the condition holds; the seconds that it took."""
        begin = time.monotonic()
        while not condition() and time.monotonic() < begin + PATIENCE:
            self.number += 1
            self.source.publish(SUBJECT, str(self.number))
            time.sleep(0.04)
            for hearer in self.hearers:
                hearer.say()
        took = time.monotonic() - begin
        check(condition(), f"{what}, after {took:.1f} s")
        return took

    def heard(self, place):
        return [int(text) for _, text in self.hearers[place].messages]


def nobody_waits(source, others, machine):
    """For one that is cut off while much is published."""
    friends = [Friend(other) for other in others]
    threading.Timer(1, machine.cut).start()
    publish(source)
    for friend in friends:
        print(f"ROW | {DEVICES} devices, a machine is cut off: gap of others | {friend.gap:.2f} s")
        check(friend.gap < 0.5 and friend.has_all(), "nobody waits for it, nor misses anything")


def main(folder, three):
    first, second, third = three
    with start_server(folder, first, [second, third]) as here, start_server(folder, second, [first, third]) as there, \
            start_server(folder, third, [first, second]), first.gateway() as source, second.listener() as lost, \
            third.listener() as friend:
        traffic = Traffic(source, [lost, friend])
        traffic.until(lambda: traffic.heard(0) and traffic.heard(1), "all machines hear the first one")
        noticed = [server.count("errors", "Stale Connection") for server in (here, there)]
        friend.messages.clear()
        second.cut()
        begin = traffic.number
        took = traffic.until(lambda: here.count("errors", "Stale Connection") > noticed[0]
                             and there.count("errors", "Stale Connection") > noticed[1] + 1, "both sides notice")
        check(took < 10, "soon enough")
        others = traffic.heard(1)
        check(others == list(range(others[0], others[-1] + 1)) and others[-1] > begin, "the others miss nothing")
        lost.messages.clear()
        healed = traffic.number
        second.heal()
        traffic.until(lambda: traffic.heard(0), "the lost machine hears again")
        check(traffic.heard(0)[0] > healed, "nothing that was published while it was away")
        with first.listener() as near, third.listener() as far:
            nobody_waits(source, [near, far], second)


if os.geteuid() != 0:
    sys.exit(77)  # skipped: networks are root's
with tempfile.TemporaryDirectory() as name, machines(3) as made:
    main(pathlib.Path(name), made)
