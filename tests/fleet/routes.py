"""The installed configuration with routes: servers talk to each other by TLS, with certificates of the fleet's authority
only, and find each other again after one of them was killed."""
import signal
import tempfile
import time
from pathlib import Path

from client import gateway, listener
from programs import PATIENCE, check
from servers import Fleet, Server, free_ports

SUBJECT = "corvalux.v1.desk.fast"
REFUSAL = "TLS route handshake error"


def passes(source, target):
    """Whether messages of one server come to reach a listener on another one."""
    with gateway(source) as publisher, listener(target) as hearer:
        hearer.say(f"SUB {SUBJECT} 1")
        end = time.monotonic() + PATIENCE
        while not hearer.messages and time.monotonic() < end:
            publisher.publish(SUBJECT)
            time.sleep(0.05)
            hearer.say()
        return hearer.messages != []


def joins(fleet, port, server, routes, longer):
    """A machine that the one with this server does not name; then that one does."""
    (new,) = free_ports(1)
    with Server(fleet.folder / "new", new, routes):
        check(passes(port, new) and passes(new, port), "a new machine is connected since it names another one")
        (fleet.folder / "a/routes.conf").write_text(longer)
        server.process.send_signal(signal.SIGHUP)
        server.wait_for("takes a longer list of routes", "errors", "Reloaded server configuration")
        check(passes(port, new) and passes(new, port), "and stays connected")


def stays_out(fleet, known, name, routes):
    """A machine with these routes to the server that is known: what is published there does not reach it."""
    (port, server), (strange,) = known, free_ports(1)
    refused = server.count("errors", REFUSAL)
    with Server(fleet.folder / "strange", strange, routes), listener(port) as friend, listener(strange) as spy:
        server.wait_for(f"refuses a machine {name}", "errors", REFUSAL, refused + 1)
        friend.say(f"SUB {SUBJECT} 1")
        spy.say(f"SUB {SUBJECT} 1")
        with gateway(port) as publisher:
            publisher.publish(SUBJECT)
        check(friend.next()[0] == SUBJECT and spy.say() and not spy.messages, f"a machine {name} hears nothing")


def main(folder):
    fleet = Fleet(folder)
    first, second, *ports = free_ports(5)
    first_route, second_route, other = (f"127.0.0.1:{port}" for port in ports)
    here = fleet.routes("first", first_route, [second_route])
    there = fleet.routes("second", second_route, [first_route])
    with Server(folder / "a", first, here) as server:
        with Server(folder / "b", second, there) as killed:
            check(passes(first, second) and passes(second, first), "messages pass between two machines, both ways")
            killed.end(signal.SIGKILL)
        with Server(folder / "b", second, there):
            check(passes(first, second) and passes(second, first), "and again after one was killed and came back")
        joins(fleet, first, server, fleet.routes("new", other, [first_route]), here.replace(
            f'"nats-route://{second_route}"', f'"nats-route://{second_route}", "nats-route://{other}"'))
        alone = fleet.routes("alone", other, [first_route]).split("  tls {")[0] + "}"
        stays_out(fleet, (first, server), "without TLS", alone)
        stays_out(fleet, (first, server), "of another authority", fleet.routes("odd", other, [first_route], "stranger"))


with tempfile.TemporaryDirectory() as work:
    main(Path(work))
