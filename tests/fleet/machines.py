"""Machines of a fleet as network namespaces, each with the real nats-server on its real ports; and lines between them that
can be cut without a word."""
import contextlib
import ctypes
import os
import subprocess
import threading

from client import Client
from servers import Fleet, Server

libc = ctypes.CDLL(None, use_errno=True)


def run(*words):
    subprocess.run(words, check=True)


class Machine:
    """A namespace with loopback, on the network that joins the machines."""

    def __init__(self, number):
        self.number, self.address = number, f"192.0.2.{number}"
        self.name = f"corvalux-{number}-{os.getpid()}"
        self.before = ["ip", "netns", "exec", self.name]

    def connect(self, port, user, password):
        """A client on this machine: it takes a thread there to make the socket."""
        made = []

        def make():
            with open(f"/run/netns/{self.name}") as place:
                if libc.setns(place.fileno(), 0):
                    raise OSError(ctypes.get_errno(), "setns")
            made.append(Client(port, user, password))
        thread = threading.Thread(target=make)
        thread.start()
        thread.join()
        return made[0]

    def gateway(self):
        return self.connect(4250, "gateway", "one")

    def listener(self):
        return self.connect(4250, "listener", "two")

    def cut(self):
        """Packets to and from the others vanish."""
        run("ip", "-n", SWITCH, "link", "set", f"port{self.number}", "down")

    def heal(self):
        run("ip", "-n", SWITCH, "link", "set", f"port{self.number}", "up")


SWITCH = f"corvalux-switch-{os.getpid()}"


@contextlib.contextmanager
def machines(count):
    """On one switch, numbered from 1."""
    made = [Machine(number) for number in range(1, count + 1)]
    with contextlib.ExitStack() as ends:
        for name in (SWITCH, *(machine.name for machine in made)):
            run("ip", "netns", "add", name)
            ends.callback(run, "ip", "netns", "del", name)
        run("ip", "-n", SWITCH, "link", "add", "switch", "type", "bridge")
        run("ip", "-n", SWITCH, "link", "set", "switch", "up")
        for machine in made:
            port = f"port{machine.number}"
            run("ip", "-n", SWITCH, "link", "add", port, "type", "veth", "peer", "name", "line", "netns", machine.name)
            run("ip", "-n", SWITCH, "link", "set", port, "master", "switch", "up")
            run("ip", "-n", machine.name, "addr", "add", f"{machine.address}/24", "dev", "line")
            for link in ("lo", "line"):
                run("ip", "-n", machine.name, "link", "set", link, "up")
        yield made


def start_server(folder, machine, others):
    """With the installed configuration on its own ports, and a certificate for the machine's address."""
    name = f"machine{machine.number}"
    routes = Fleet(folder).routes(name, "0.0.0.0:6250", [f"{other.address}:6250" for other in others], address=machine.address)
    return Server(folder / name, 4250, routes, machine.before)
